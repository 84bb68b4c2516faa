// Set-up and tear-down around the removal.
#include "lsp/remove_lsp_command.h"

#include <winsock2.h>
#include <windows.h>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "lsp/update_function_loading.h"
#include "trace/trace_log.h"

namespace {

// Never freed: the update functions point into it.
HMODULE winsockModule = nullptr;

// The DLL is removed under the path as the catalog has it: environment references are not expanded. When no
// LSP is found, the path stays empty, and RemoveFile traces that the file does not exist.
void RemoveFromCatalogAndDisk(CatalogSelector catalog, const std::string& dllName) {
    const std::wstring wideName = conv_to_wchar(dllName.c_str());
    wchar_t removedPath[kDllPathSize] = {};
    RemoveProvider(catalog, wideName.c_str(), removedPath);
    constexpr bool kUse64BitView = false;
    constexpr bool kRebootOnly = false;
    RemoveFile(conv_to_char(removedPath).c_str(), kUse64BitView, kRebootOnly);
}

} // namespace

void RemoveLsp(bool bothCatalogs, const std::string& dllName) {
    WSADATA data = {};
    const int started = WSAStartup(MAKEWORD(2, 2), &data);
    if (started != 0) {
        Trace("Unable to load Winsock: %d\n", started);
        return;
    }
    int error = 0;
    const int created = LspCreateHeap(&error);
    if (created != 0) {
        // Traces the result and not the error code: support staff know the line. Kept, see docs/kept-behaviour.md.
        Trace("LspCreateHeap failed: error = %d", created);
        WSACleanup();
        return;
    }
    winsockModule = LoadUpdateProviderFunctions();
    if (winsockModule != nullptr) {
        RemoveFromCatalogAndDisk(bothCatalogs ? CatalogBoth : Catalog32, dllName);
    }
    LspReleaseHeap();
    WSACleanup();
}
