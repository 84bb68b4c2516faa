// The removal, between the start and the cleanup of Winsock and the private heap.
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

// Never freed, because the update functions are in it.
HMODULE winsockModule = nullptr;

// The file is removed with the path as in the catalog; environment references are not expanded. When no LSP
// is found, the path remains empty, and RemoveFile reports that the file does not exist. Kept, see
// docs/kept-behaviour.md.
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
        // The line shows the result instead of the error code, as support staff know it. Kept, see
        // docs/kept-behaviour.md.
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
