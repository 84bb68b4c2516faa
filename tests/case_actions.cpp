#include "case_actions.h"

#include <map>

#include "common/text_conversion.h"
#include "comrestore/original_dll_restore.h"
#include "files/file_remover.h"
#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "lsp/remove_lsp_command.h"
#include "machine/files.h"
#include "machine/text.h"
#include "netcfg/netcfg_removal.h"
#include "security/permission_acquirer.h"
#include "simulation/simulated_winsock.h"
#include "support/machine_test.h"
#include "support/text.h"
#include "trace/trace_log.h"

namespace {

using std::to_string;

const std::map<std::string, CatalogSelector> kSelectors = {
    {"both", CatalogBoth}, {"32", Catalog32}, {"64", Catalog64}, {"other", 7}};

constexpr int kUntouched = 7; // an error that no call reports
GUID thirdId = {3, 0, 0, {}}; // of the provider that the operations deinstall and update

// The last entry of the 64-bit catalog.
WSAPROTOCOL_INFOW* LastEntry() {
    return &Winsock().state.catalog64.back().info;
}

int Enumerate(CatalogSelector catalog) {
    int count = kUntouched;
    LspFreeIfAny(EnumerateProviders(catalog, &count));
    return count;
}

int EnumerateExisting(CatalogSelector catalog) {
    WSAPROTOCOL_INFOW entries[3] = {};
    DWORD length = sizeof(entries);
    return EnumerateProvidersExisting(catalog, entries, &length);
}

// Installs under a provider id that is new each time.
int Install(CatalogSelector catalog) {
    GUID id = {Winsock().state.nextId, 0, 0, {}};
    WSAPROTOCOL_INFOW entry = *LastEntry();
    return InstallProvider(catalog, &id, L"new.dll", &entry, 1);
}

int Update(CatalogSelector catalog) {
    int error = kUntouched;
    return UpdateProvider(catalog, &thirdId, L"new.dll", LastEntry(), &error);
}

int WriteOrder(CatalogSelector catalog) {
    int error = kUntouched;
    DWORD ids[] = {3, 2, 1};
    return WriteProviderOrder(catalog, ids, 3, &error);
}

// An operation of which the selector is the only argument.
Step OnCatalog(const char* usage, int (*operation)(CatalogSelector)) {
    return {usage, [=](const Words& w) { return to_string(operation(kSelectors.at(w[0]))); }};
}

// "hidden id@depth" for each record, the hidden ids of its dependents in brackets, its provider ids in
// braces.
std::string MapText(const Words&) {
    int count = 0;
    int length = 0;
    WSAPROTOCOL_INFOW* providers = EnumerateProviders(Catalog64, &count);
    LspEntry* map = BuildLspMap(providers, count, &length);
    std::string text = to_string(length) + ":";
    for (int i = 0; map != nullptr && i < length; ++i) {
        const LspEntry& record = map[i];
        text += " " + to_string(record.hiddenEntry.dwCatalogEntryId) + "@" + to_string(record.depth);
        for (int d = 0; d < record.dependentCount; ++d) {
            text += "[" + to_string(map[record.dependents[d]].hiddenEntry.dwCatalogEntryId) + "]";
        }
        for (int g = 0; g < record.layerGuidCount; ++g) {
            text += FormatGuid(record.layerGuids[g]);
        }
        text += record.isOrphanSet == 1 ? "orphans" : "";
    }
    if (map != nullptr) {
        ReleaseLspMap(map, length);
    }
    LspFree(providers);
    return text;
}

// The entries of a catalog in their order: the id, and the path if there is one.
std::string EntriesOf(const Catalog& catalog) {
    std::string entries;
    for (const CatalogEntry& entry : catalog) {
        entries += " " + to_string(entry.info.dwCatalogEntryId);
        entries += entry.path.empty() ? "" : "=" + conv_to_char(entry.path.c_str());
    }
    return entries;
}

std::string ShowCatalogs(const Words&) {
    return "64:" + EntriesOf(Winsock().state.catalog64) + " 32:" + EntriesOf(Winsock().state.catalog32);
}

std::string RemoveByName(const Words& words) {
    wchar_t path[kDllPathSize] = L"untouched";
    const int result = RemoveProvider(kSelectors.at(words[0]), conv_to_wchar(words[1].c_str()).c_str(), path);
    return to_string(result) + " " + conv_to_char(path);
}

std::string AcquireByHandle(const Words& words) {
    HKEY key = nullptr;
    RegOpenKeyA(HKEY_CLASSES_ROOT, words[0].c_str(), &key);
    const bool acquired = PermissionAcquirer().SetPermissions(key);
    RegCloseKey(key);
    return to_string(acquired);
}

std::string Acquire(const Words& words) {
    return to_string(PermissionAcquirer().SetPermissions(words[0].c_str(),
                                                         OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, false));
}

// Also traces what the stand-in reports at its end.
std::string Uninstall(const Words& words) {
    WriteWholeFile("C:\\sandbox\\netcfg.calls.txt", "");
    const HRESULT result = HrUninstallNetComponent(conv_to_wchar(words[0].c_str()).c_str());
    const std::string calls = ReadWholeFile("C:\\sandbox\\netcfg.calls.txt");
    const size_t last = calls.rfind("all released");
    if (last != std::string::npos) {
        Trace("%s", calls.substr(last, calls.size() - last - 1).c_str());
    }
    EXPECT_EQ(last != std::string::npos, calls.starts_with("CreateInstance = 00000000")) << calls;
    char text[16];
    _snprintf(text, sizeof(text), result < 0 ? "0x%08lX" : "%ld", result);
    return text;
}

} // namespace

const std::vector<Step>& Actions() {
    static const std::vector<Step> actions = {
        {"map", MapText},
        {"catalogs", ShowCatalogs},
        OnCatalog("enumerate SELECTOR", Enumerate),
        OnCatalog("enumerate-existing SELECTOR", EnumerateExisting),
        OnCatalog("install SELECTOR", Install),
        OnCatalog("deinstall SELECTOR", [](CatalogSelector s) { return DeinstallProvider(s, &thirdId); }),
        OnCatalog("update SELECTOR", Update),
        OnCatalog("order SELECTOR", WriteOrder),
        {"remove SELECTOR ID",
         [](const Words& w) { return to_string(RemoveProvider(kSelectors.at(w[0]), ParseNumber32(w[1]))); }},
        {"remove-name SELECTOR NAME", RemoveByName},
        Silent("lsp NAME", [](const Words& w) { RemoveLsp(true, w[0]); }),
        Silent("delete PATH", [](const Words& w) { RemoveFile(w[0].c_str(), false, false); }),
        Silent("delete-64 PATH", [](const Words& w) { RemoveFile(w[0].c_str(), true, false); }),
        Silent("delete-later PATH", [](const Words& w) { RemoveFile(w[0].c_str(), false, true); }),
        {"uninstall ID", Uninstall},
        {"restore-vbs CLASS", [](const Words& w) { return to_string(RestoreOriginalDll(w[0].c_str())); }},
        {"restore-class CLASS",
         [](const Words& w) { return to_string(RestoreClassOriginalDll(w[0].c_str())); }},
        {"acquire-key PATH", AcquireByHandle},
        {"acquire PATH", Acquire},
    };
    return actions;
}
