#include "rehearsal/dry_run.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "common/registry_helpers.h"
#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "lsp/update_functions.h"
#include "machine/text.h"
#include "simulation/simulated_winsock.h"
#include "trace/trace_log.h"

namespace {

std::vector<std::string> messages; // of the trace, in UTF-8

// Keeps a message of the trace. A message that is valid UTF-8 is taken for that, any other for ANSI: the log
// writes UTF-8 where the code page lacks a character.
void KeepMessage(const char* text, size_t length, void*, unsigned) {
    const std::string message(text, length);
    messages.push_back(IsUtf8(message) ? message : FromAnsi(message));
}

// The hidden entry of the LSP that was removed, whose provider id is deinstalled last; nothing for orphans,
// and for another LSP than the one that has the name, which damaged catalogs can lead to.
std::optional<CatalogEntry> FindTarget(const Catalog& before, const std::wstring& dllPath) {
    const std::vector<WinsockCall>& calls = Winsock().calls;
    const auto last = std::find_if(calls.rbegin(), calls.rend(), [](const WinsockCall& call) {
        return call.function == "WSCDeinstallProvider";
    });
    if (last == calls.rend()) {
        return std::nullopt;
    }
    const auto hasId = [&](const CatalogEntry& entry) { return SameGuid(entry.info.ProviderId, last->id); };
    const CatalogEntry* first = FindProvider(before, last->id);
    const auto target =
        std::ranges::find_if(before, [&](const CatalogEntry& entry) { return hasId(entry) && IsLsp(entry); });
    return target != before.end() && first->path == dllPath ? std::optional(*target) : std::nullopt;
}

void RunOnCatalogs(const Machine& machine, const std::wstring& dllName, DryRun& run) {
    int error = 0;
    wchar_t path[kDllPathSize] = {};
    if (LspCreateHeap(&error) != 0) {
        throw std::runtime_error("no memory for the removal");
    }
    SetUpdateFunctions({&WSCUpdateProvider, &WSCUpdateProvider32}); // as on every 64-bit Windows in use
    ResetWinsock({machine.catalogs, false, {}});
    // As the command does. For both catalogs, the 32-bit one is not even read through ws2_32.dll.
    run.found = RemoveProvider(CatalogBoth, dllName.c_str(), path) == 0;
    LspReleaseHeap();
    run.after = Winsock().state;
    run.dllPath = path;
    run.target = FindTarget(machine.catalogs.catalog64, run.dllPath);
}

// What the command writes where the key of the shared counts is missing.
void TraceMissingCounts() {
    HKEY key = nullptr;
    BYTE use64 = 0;
    if (RegOpenKeyLogged(HKEY_LOCAL_MACHINE, kSharedDllsKey, 0, KEY_READ, &key, use64) == ERROR_SUCCESS) {
        RegCloseKey(key);
    }
}

// The messages of RemoveFile.
void TraceFile(const Machine& machine, const std::string& path, const DllFate& file) {
    if (!file.exists) {
        Trace("warning: file '%s' not exist", path.c_str());
        return;
    }
    const bool keyIsMissing = machine.live && !machine.hasCounts;
    for (int opened = 0; keyIsMissing && opened < 2; ++opened) {
        TraceMissingCounts();
    }
    if (!file.deleted) {
        Trace("warning: shared file '%s' can not be deleted, refcount is %i", path.c_str(), file.sharedCount);
    }
    // A stored 0 is lowered below zero, and the deletion is then not reported.
    if (file.sharedCount == 1 && !keyIsMissing) {
        TraceAtLevel(kExtraFileLevel, "File deleted: %s", path.c_str());
    }
}

} // namespace

std::string CountKey(const std::wstring& path) {
    return LowerCase(FromAnsi(conv_to_char(path.c_str())));
}

DllFate FindDllFate(const Machine& machine, const std::wstring& path) {
    const std::string ansi = conv_to_char(path.c_str()); // by which the command decides
    DllFate file;
    file.exists = machine.live ? GetFileAttributesA(ansi.c_str()) != INVALID_FILE_ATTRIBUTES
                               : IsRooted(path) && IsInCodePage(path) && !HasReference(path, machine.folders);
    file.exists = file.exists && !machine.deletedFiles.contains(FileOn(machine, path, false));
    const auto counted = machine.sharedCounts.find(CountKey(path));
    if (file.exists && counted != machine.sharedCounts.end()) {
        file.sharedCount = counted->second;
    }
    file.deleted = file.exists && file.sharedCount <= 1;
    return file;
}

DryRun RunDry(const Machine& machine, const std::wstring& dllName) {
    DryRun run;
    const std::string name = conv_to_char(dllName.c_str());        // as the command receives it
    traceLog->AddSink({KeepMessage, nullptr, kDefaultTraceLevel}); // a second call adds nothing
    messages.clear();
    Trace("64-bit utility started, params: 'remove lsp %s'", name.c_str());
    Trace("Command detected: remove lsp '%s'", name.c_str());
    Trace("removing LSP '%s'...", name.c_str());
    RunOnCatalogs(machine, conv_to_wchar(name.c_str()), run);
    run.file = FindDllFate(machine, run.dllPath);
    TraceFile(machine, conv_to_char(run.dllPath.c_str()), run.file);
    Trace("64-bit utility finished, return code = %d", 0); // whatever happened
    run.trace = std::exchange(messages, {});
    return run;
}
