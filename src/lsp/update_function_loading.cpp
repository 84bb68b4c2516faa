#include "lsp/update_function_loading.h"

#define STRSAFE_NO_DEPRECATE
#include <strsafe.h>

#include <cstdio>

#include "common/module_function.h"
#include "lsp/update_functions.h"
#include "trace/trace_log.h"

namespace {

constexpr UINT kPathSize = MAX_PATH + 1;

// Called when the system directory cannot be determined. It does not change the path, which remains empty:
// the expansion reads from path and writes to expanded. Kept, see docs/kept-behaviour.md. Returns false after
// a message when a step fails.
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
    SetUpdateFunctions({FindFunction<UpdateProviderFunction>(module, "WSCUpdateProvider"),
                        FindFunction<UpdateProviderFunction>(module, "WSCUpdateProvider32")});
    return module;
}
