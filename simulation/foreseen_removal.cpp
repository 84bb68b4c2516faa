#include "simulation/foreseen_removal.h"

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
#include "machine/utf8_text.h"
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
std::optional<WSAPROTOCOL_INFOW> FindTarget(const SimulatedCatalog& before, const std::wstring& dllPath) {
    const std::string call = "WSCDeinstallProvider ";
    const std::vector<std::string>& calls = Winsock().calls;
    const auto last = std::find_if(calls.rbegin(), calls.rend(),
                                   [&](const std::string& each) { return each.starts_with(call); });
    if (last == calls.rend()) {
        return std::nullopt;
    }
    const GUID id = ParseGuid(last->substr(call.size(), last->find(' ', call.size()) - call.size()));
    const auto hasId = [&](const SimulatedEntry& entry) { return SameGuid(entry.info.ProviderId, id); };
    const auto first =
        std::find_if(before.begin(), before.end(), hasId); // Windows asks this one for the path
    const auto target = std::find_if(first, before.end(), [&](const SimulatedEntry& entry) {
        return hasId(entry) && IsKind(entry.info, LAYERED_PROTOCOL);
    });
    return target != before.end() && first->path == dllPath ? std::optional(target->info) : std::nullopt;
}

void ForeseeCatalogs(const Machine& machine, const std::wstring& dllName, Foreseen& foreseen) {
    int error = 0;
    wchar_t path[kDllPathSize] = {};
    if (LspCreateHeap(&error) != 0) {
        throw std::runtime_error("no memory for the removal");
    }
    SetUpdateFunctions({&WSCUpdateProvider, &WSCUpdateProvider32}); // as on every 64-bit Windows in use
    ResetWinsock(machine.state);
    // As the command does. For both catalogs, the 32-bit one is not even read through ws2_32.dll.
    foreseen.found = RemoveProvider(CatalogBoth, dllName.c_str(), path) == 0;
    LspReleaseHeap();
    foreseen.after = Winsock().state;
    foreseen.dllPath = path;
    foreseen.target = FindTarget(machine.state.catalog64, foreseen.dllPath);
}

// What the command writes where the key of the shared counts is missing.
void TraceMissingCounts() {
    HKEY key = nullptr;
    BYTE use64 = 0;
    if (RegOpenKeyLogged(HKEY_LOCAL_MACHINE, kSharedDllsKey, 0, KEY_READ, &key, use64) == ERROR_SUCCESS) {
        RegCloseKey(key);
    }
}

// The messages of RemoveFile, which decides by the path as it is in the ANSI code page.
void ForeseeFile(const Machine& machine, Foreseen& foreseen) {
    const std::string path = conv_to_char(foreseen.dllPath.c_str());
    foreseen.fileExists = machine.live ? GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES
                                       : IsRooted(foreseen.dllPath) && IsInCodePage(foreseen.dllPath) &&
                                             !HasReference(foreseen.dllPath, machine.folders);
    foreseen.fileExists = foreseen.fileExists &&
                          !machine.deletedFiles.contains(FileOf(foreseen.dllPath, machine.folders, false));
    if (!foreseen.fileExists) {
        Trace("warning: file '%s' not exist", path.c_str());
        return;
    }
    const bool keyIsMissing = machine.live && !machine.hasCounts;
    for (int opened = 0; keyIsMissing && opened < 2; ++opened) {
        TraceMissingCounts();
    }
    const auto counted = machine.sharedCounts.find(LowerCase(FromAnsi(path)));
    foreseen.sharedCount = counted == machine.sharedCounts.end() ? 1 : counted->second;
    foreseen.fileDeleted = foreseen.sharedCount <= 1;
    if (!foreseen.fileDeleted) {
        Trace("warning: shared file '%s' can not be deleted, refcount is %i", path.c_str(),
              foreseen.sharedCount);
    }
    // A stored 0 is lowered below zero, and the deletion is then not reported.
    if (foreseen.sharedCount == 1 && !keyIsMissing) {
        TraceAtLevel(kExtraFileLevel, "File deleted: %s", path.c_str());
    }
}

} // namespace

Foreseen Foresee(const Machine& machine, const std::string& dllName) {
    Foreseen foreseen;
    traceLog->AddSink({KeepMessage, nullptr, kDefaultTraceLevel}); // a second call adds nothing
    messages.clear();
    Trace("64-bit utility started, params: 'remove lsp %s'", dllName.c_str());
    Trace("Command detected: remove lsp '%s'", dllName.c_str());
    Trace("removing LSP '%s'...", dllName.c_str());
    ForeseeCatalogs(machine, conv_to_wchar(dllName.c_str()), foreseen);
    ForeseeFile(machine, foreseen);
    Trace("64-bit utility finished, return code = %d", 0); // whatever happened
    foreseen.trace = std::exchange(messages, {});
    return foreseen;
}
