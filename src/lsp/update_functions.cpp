// Finding ws2_32.dll and its optional exports.
#include "lsp/update_functions.h"

#define STRSAFE_NO_DEPRECATE
#include <strsafe.h>

#include <cstdio>

#include "trace/trace_log.h"

namespace {

constexpr UINT kPathSize = MAX_PATH + 1;

ProviderUpdateFunctions functions = {};

UpdateProviderFunction FindUpdateFunction(HMODULE module, const char* name) {
    return reinterpret_cast<UpdateProviderFunction>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// Stands in when Windows does not tell its system directory, deliberately without effect: source and target
// of the expansion have always been this way round, so the path stays empty and the library is looked for as
// \ws2_32.dll.
bool ExpandFallback(const char* path) {
    char expanded[kPathSize] = {};
    const HRESULT copied = StringCchCopyA(expanded, kPathSize, "%SYSTEMROOT%\\system32");
    if (FAILED(copied)) {
        Trace("LoadUpdateProviderFunctions: StringCchCopyA failed: 0x%x\n", copied);
        return false;
    }
    if (ExpandEnvironmentStringsA(path, expanded, kPathSize) == 0) {
        fprintf(stderr, "LoadUpdateProviderFunctions: Unable to expand environment string: %d\n",
                static_cast<int>(GetLastError()));
        return false;
    }
    return true;
}

} // namespace

HMODULE LoadUpdateProviderFunctions() {
    char path[kPathSize] = {};
    if (GetSystemDirectoryA(path, kPathSize) == 0 && !ExpandFallback(path)) {
        return nullptr;
    }
    const HRESULT appended = StringCchCatA(path, kPathSize, "\\ws2_32.dll");
    if (FAILED(appended)) {
        Trace("LoadUpdateProviderFunctions: StringCchCatA failed: 0x%x\n", appended);
        return nullptr;
    }
    const HMODULE module = LoadLibraryA(path);
    if (module == nullptr) {
        fprintf(stderr, "LoadUpdateProviderFunctions: Unable to load %s: %d\n", path,
                static_cast<int>(GetLastError()));
        return nullptr;
    }
    functions.update64 = FindUpdateFunction(module, "WSCUpdateProvider");
    functions.update32 = FindUpdateFunction(module, "WSCUpdateProvider32");
    return module;
}

const ProviderUpdateFunctions& UpdateFunctions() {
    return functions;
}
