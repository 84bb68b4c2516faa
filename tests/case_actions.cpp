#include "case_actions.h"

#include <stdexcept>

#include "common/registry_helpers.h"
#include "common/text_conversion.h"
#include "comrestore/original_dll_restore.h"
#include "comrestore/registration_runner.h"
#include "files/file_remover.h"
#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "lsp/remove_lsp_command.h"
#include "lsp/update_function_loading.h"
#include "machine/file_reading.h"
#include "machine/file_writing.h"
#include "machine/text_parsing.h"
#include "netcfg/netcfg_removal.h"
#include "security/permission_acquirer.h"
#include "simulation/simulated_winsock.h"
#include "support/machine_test.h"
#include "support/text.h"
#include "trace/trace_log.h"

namespace {

using std::to_string;

constexpr int kUntouched = 7;                   // an error that no call gives
constexpr CatalogSelector kUnknownSelector = 7; // none of the three

std::wstring Wide(const std::string& word) {
    return conv_to_wchar(word.c_str());
}

CatalogSelector Selector(const std::string& word) {
    if (word == "other") {
        return kUnknownSelector;
    }
    if (word != "both" && word != "32" && word != "64") {
        throw std::runtime_error("not a selector: " + word);
    }
    return word == "both" ? CatalogBoth : word == "32" ? Catalog32 : Catalog64;
}

// The last entry of the catalogs, with which the operations install and update.
WSAPROTOCOL_INFOW* LastEntry() {
    if (Winsock().state.catalog64.empty()) {
        throw std::runtime_error("not a catalog with an entry");
    }
    return &Winsock().state.catalog64.back().info;
}

std::string Enumerate(const Words& words) {
    int count = 0;
    LspFreeIfAny(EnumerateProviders(Selector(words[0]), &count));
    return to_string(count);
}

// Where the selector reads nothing, there is no buffer at all.
std::string EnumerateExisting(const Words& words) {
    WSAPROTOCOL_INFOW entries[8] = {};
    DWORD length = sizeof(entries);
    const bool reads = words[0] == "32" || words[0] == "64";
    return to_string(
        EnumerateProvidersExisting(Selector(words[0]), reads ? entries : nullptr, reads ? &length : nullptr));
}

std::string WithError(int result, int error) {
    return to_string(result) + (error == kUntouched ? "" : " error " + to_string(error));
}

std::string Update(const Words& words) {
    int error = kUntouched;
    GUID id = ParseGuid(words[1]);
    const int result = UpdateProvider(Selector(words[0]), &id, L"new.dll", LastEntry(), &error);
    return WithError(result, error);
}

std::string WriteOrder(const Words& words) {
    int error = kUntouched;
    std::vector<DWORD> ids;
    for (const std::string& id : SplitAt(words[1], " ")) {
        ids.push_back(ParseNumber32(id));
    }
    const int result =
        WriteProviderOrder(Selector(words[0]), ids.data(), static_cast<DWORD>(ids.size()), &error);
    return WithError(result, error);
}

std::string Install(const Words& words) {
    GUID id = ParseGuid(words[1]);
    WSAPROTOCOL_INFOW entry = *LastEntry();
    return to_string(InstallProvider(Selector(words[0]), &id, L"new.dll", &entry, 1));
}

std::string Deinstall(const Words& words) {
    GUID id = ParseGuid(words[1]);
    return to_string(DeinstallProvider(Selector(words[0]), &id));
}

// "hidden id@depth" for each record, the hidden ids of its dependents in brackets, its provider ids in braces.
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

// The ids of both catalogs in their order.
std::string ShowCatalogs(const Words&) {
    for (const SimulatedCatalog* catalog : {&Winsock().state.catalog64, &Winsock().state.catalog32}) {
        std::string ids = catalog == &Winsock().state.catalog64 ? "64:" : "32:";
        for (const SimulatedEntry& entry : *catalog) {
            ids += " " + to_string(entry.info.dwCatalogEntryId);
        }
        Trace("%s", ids.c_str());
    }
    return "";
}

std::string RemoveByName(const Words& words) {
    wchar_t path[kDllPathSize] = L"untouched";
    const int result = RemoveProvider(Selector(words[0]), Wide(words[1]).c_str(), path);
    return to_string(result) + " " + conv_to_char(path);
}

// What is loaded, or why nothing is.
std::string LoadFunctions(const Words&) {
    std::string loaded = "nothing ";
    on::LoadLibraryA.Replace([&](LPCSTR path) {
        loaded = path;
        return GetModuleHandleA(nullptr);
    });
    testing::internal::CaptureStderr();
    LoadUpdateProviderFunctions();
    return loaded + testing::internal::GetCapturedStderr();
}

std::string OpenKey(const Words& words) {
    if (words[0] != "64" && words[0] != "32") {
        throw std::runtime_error("not a view: " + words[0]);
    }
    BYTE use64 = words[0] == "64";
    HKEY key = nullptr;
    const LONG error = RegOpenKeyLogged(HKEY_LOCAL_MACHINE, words[1].c_str(), 0, KEY_READ, &key, use64);
    RegCloseKey(key);
    return to_string(error) + (use64 != 0 ? " 64" : " 32");
}

std::string AcquireByHandle(const Words& words) {
    HKEY key = nullptr;
    RegOpenKeyA(HKEY_CLASSES_ROOT, words[0].c_str(), &key);
    const bool acquired = PermissionAcquirer().SetPermissions(key);
    RegCloseKey(key);
    return to_string(acquired);
}

std::string Acquire(const Words& words, bool view32) {
    return to_string(PermissionAcquirer().SetPermissions(words[0].c_str(), 3, view32));
}

// With what the stand-in says at the end.
std::string Uninstall(const Words& words) {
    WriteWholeFile("C:\\sandbox\\netcfg.calls.txt", "");
    const HRESULT result = HrUninstallNetComponent(Wide(words[0]).c_str());
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
        {"load", LoadFunctions},
        {"enumerate SELECTOR", Enumerate},
        {"enumerate-existing SELECTOR", EnumerateExisting},
        {"install SELECTOR GUID", Install},
        {"deinstall SELECTOR GUID", Deinstall},
        {"update SELECTOR GUID", Update},
        {"order SELECTOR IDS...", WriteOrder},
        {"remove SELECTOR ID",
         [](const Words& w) { return to_string(RemoveProvider(Selector(w[0]), ParseNumber32(w[1]))); }},
        {"remove-name SELECTOR NAME", RemoveByName},
        {"lsp NAME", [](const Words& w) { return RemoveLsp(true, w[0]), ""; }},
        {"delete PATH", [](const Words& w) { return RemoveFile(w[0].c_str(), false, false), ""; }},
        {"delete-64 PATH", [](const Words& w) { return RemoveFile(w[0].c_str(), true, false), ""; }},
        {"delete-later PATH", [](const Words& w) { return RemoveFile(w[0].c_str(), false, true), ""; }},
        {"uninstall ID", Uninstall},
        {"restore-vbs CLASS", [](const Words& w) { return to_string(RestoreOriginalDll(w[0].c_str())); }},
        {"restore-class CLASS",
         [](const Words& w) { return to_string(RestoreClassOriginalDll(w[0].c_str())); }},
        {"start COMMAND", [](const Words& w) { return to_string(RegSvr32Dll(Wide(w[0]).c_str())); }},
        {"to-wide TEXT",
         [](const Words& w) { return conv_wchar_to_utf8(conv_to_wchar(w[0].c_str()).c_str()); }},
        {"to-narrow TEXT",
         [](const Words& w) { return conv_to_char(conv_utf8_to_wchar(w[0].c_str()).c_str()); }},
        {"null-to-utf8", [](const Words&) { return conv_wchar_to_utf8(nullptr); }},
        {"expand TEXT", [](const Words& w) { return ExpandEnvString(w[0].c_str()); }},
        {"expand-null", [](const Words&) { return ExpandEnvString(nullptr); }},
        {"system-error CODE", [](const Words& w) { return FormatSystemError(ParseNumber32(w[0])); }},
        {"open-key VIEW PATH", OpenKey},
        {"acquire-key PATH", AcquireByHandle},
        {"acquire PATH", [](const Words& w) { return Acquire(w, false); }},
        {"acquire-32 PATH", [](const Words& w) { return Acquire(w, true); }},
    };
    return actions;
}
