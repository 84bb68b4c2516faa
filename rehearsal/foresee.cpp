#include "foresee.h"

#include <windows.h>

#include <stdexcept>

#include "common/text_conversion.h"
#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "lsp/update_functions.h"
#include "dll_paths.h"
#include "foreseen_trace.h"
#include "names.h"
#include "trace/trace_log.h"
#include "winsock/simulated_winsock.h"

// In the place of the functions that norvane64.exe looks up in ws2_32.dll; the linker takes this definition. Every 64-bit Windows in use has them.
const ProviderUpdateFunctions& UpdateFunctions() {
    static const ProviderUpdateFunctions functions = {&WSCUpdateProvider, &WSCUpdateProvider32};
    return functions;
}

namespace {

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
    foreseen.trace = TakeForeseenTrace();
    return foreseen;
}
