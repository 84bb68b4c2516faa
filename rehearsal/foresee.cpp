#include "rehearsal/foresee.h"

#include <windows.h>

#include <stdexcept>
#include <utility>

#include "common/text_conversion.h"
#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "lsp/update_functions.h"
#include "machine/utf8_text.h"
#include "rehearsal/dll_paths.h"
#include "simulation/simulated_winsock.h"
#include "trace/trace_log.h"

namespace {

std::vector<std::string> messages; // of the trace, in UTF-8

// Keeps a message of the trace. A message that is valid UTF-8 is taken for that, any other for ANSI: the log writes UTF-8 where
// the code page lacks a character.
void KeepMessage(const char* text, size_t length, void*, unsigned) {
    const bool utf8 = length == 0 || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text,
                                                         static_cast<int>(length), nullptr, 0) != 0;
    const std::string message(text, length);
    messages.push_back(utf8 ? message : FromAnsi(message));
}

// The messages of RemoveFile, which decides by the path as it is in the ANSI code page.
void ForeseeFile(const Machine& machine, Foreseen& foreseen) {
    const std::string path = conv_to_char(foreseen.dllPath.c_str());
    const bool exists = machine.live ? GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES
                                     : IsRooted(foreseen.dllPath) && !HasReference(foreseen.dllPath) &&
                                           IsInCodePage(foreseen.dllPath);
    if (!exists) {
        Trace("warning: file '%s' not exist", path.c_str());
        return;
    }
    const auto counted = machine.sharedCounts.find(LowerCase(FromAnsi(path)));
    foreseen.sharedCount = counted == machine.sharedCounts.end() ? 1 : counted->second;
    foreseen.fileGoes = foreseen.sharedCount <= 1;
    if (!foreseen.fileGoes) {
        Trace("warning: shared file '%s' can not be deleted, refcount is %i", path.c_str(),
              foreseen.sharedCount);
    }
    // A stored 0 is lowered below zero, and the deletion is then not reported.
    if (foreseen.sharedCount == 1) {
        TraceAtLevel(kExtraFileLevel, "File deleted: %s", path.c_str());
    }
}

} // namespace

Foreseen Foresee(const Machine& machine, const std::string& dllName) {
    Foreseen foreseen;
    traceLog->AddSink(
        {KeepMessage, nullptr, kDefaultTraceLevel}); // registered once, however often it is added
    SetUpdateFunctions({&WSCUpdateProvider, &WSCUpdateProvider32}); // as on every 64-bit Windows in use
    wchar_t path[kDllPathSize] = {};
    int error = 0;
    Trace("64-bit utility started, params: 'remove lsp %s'", dllName.c_str());
    Trace("Command detected: remove lsp '%s'", dllName.c_str());
    Trace("removing LSP '%s'...", dllName.c_str());
    ResetWinsock(machine.state);
    if (LspCreateHeap(&error) != 0) {
        throw std::runtime_error("no memory for the removal");
    }
    // As the command does. For both catalogs, the 32-bit one is not even read through ws2_32.dll.
    foreseen.found = RemoveProvider(CatalogBoth, conv_to_wchar(dllName.c_str()).c_str(), path) == 0;
    LspReleaseHeap();
    foreseen.after = Winsock().state;
    foreseen.dllPath = path;
    ForeseeFile(machine, foreseen);
    Trace("64-bit utility finished, return code = %d", 0); // whatever happened
    foreseen.trace = std::exchange(messages, {});
    return foreseen;
}
