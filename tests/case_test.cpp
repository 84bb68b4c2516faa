// Runs each file of tests/cases: those named run_... against each build of the executable, the others in process. Its
// steps in process:
//   machine KIND           a machine whose ws2_32.dll has the update functions ("update") or not ("plain")
//   entry ..., next-id N   the catalogs, as in a state of the simulated Winsock: both alike
//   fail CALL N ERROR      the N-th such call of Windows or of the simulated Winsock from now on fails
//   sweep CALL ERROR ACTION  runs an action with the first, the second ... such call failing, as long as there is
//                          one more; each output must have the text, or one of the two, of the last "told A || B"
// the steps of machine_steps.h, and the actions below, whose empty words are written "". An action outputs its
// trace (a star before result lines), the changing calls of the simulated Winsock, and its result; that it leaves nothing
// behind is checked each time. %N% stands for N characters.
#include <algorithm>
#include <map>
#include <set>
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
#include "lsp/update_functions.h"
#include "netcfg/netcfg_removal.h"
#include "security/permission_acquirer.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/text_case.h"
#include "winsock/simulated_winsock.h"

namespace {

using Words = std::vector<std::string>;

using std::to_string;

std::wstring Wide(const std::string& word) {
    return conv_to_wchar(word.c_str());
}

CatalogSelector Selector(const std::string& word) {
    return word == "both" ? CatalogBoth : word == "32" ? Catalog32 : word == "64" ? Catalog64 : 7;
}

// One operation on the catalogs; what it installs or updates with is their last entry.
std::string Operate(const Words& words) {
    const CatalogSelector catalog = Selector(words[1]);
    GUID guid = ParseGuid(words.size() > 2 ? words[2] : "{0}");
    WSAPROTOCOL_INFOW entries[8] = {};
    std::transform(Winsock().state.catalog64.rbegin(), Winsock().state.catalog64.rend(), entries,
                   [](const SimulatedEntry& entry) { return entry.info; });
    DWORD ids[] = {3, 2, 1, 0};
    DWORD length = sizeof(entries);
    int error = 7;
    int result = 0;
    if (words[0] == "enumerate") {
        LspFreeIfAny(EnumerateProviders(catalog, &result));
    } else if (words[0] == "enumerate-existing") {
        result = EnumerateProvidersExisting(catalog, entries, &length);
    } else if (words[0] == "install") {
        result = InstallProvider(catalog, &guid, L"new.dll", entries, 1);
    } else if (words[0] == "deinstall") {
        result = DeinstallProvider(catalog, &guid);
    } else if (words[0] == "update") {
        result = UpdateProvider(catalog, &guid, L"new.dll", entries, &error);
    } else {
        result = WriteProviderOrder(catalog, ids, words[0] == "order" ? 3 : 4, &error);
    }
    return to_string(result) + (error == 7 ? "" : " error " + to_string(error));
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

std::string RemoveByName(const Words& words) {
    wchar_t path[kDllPathSize] = L"untouched";
    const int result = RemoveProvider(Selector(words[1]), Wide(words[2]).c_str(), path);
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
    BYTE use64 = words[2] == "64";
    HKEY key = nullptr;
    const LONG error = RegOpenKeyLogged(HKEY_LOCAL_MACHINE, words[1].c_str(), 0, KEY_READ, &key, use64);
    RegCloseKey(key);
    return to_string(error) + (use64 != 0 ? " 64" : " 32");
}

std::string AcquireByHandle(const Words& words) {
    HKEY key = nullptr;
    if (words[1] != "null") {
        RegOpenKeyA(HKEY_CLASSES_ROOT, words[1].c_str(), &key);
    }
    const bool acquired = PermissionAcquirer().SetPermissions(key);
    RegCloseKey(key);
    return to_string(acquired);
}

const std::map<std::string, std::function<std::string(const Words&)>> kActions = {
    {"map", MapText},
    {"load", LoadFunctions},
    {"remove", [](const Words& w) { return to_string(RemoveProvider(Selector(w[1]), std::stoul(w[2]))); }},
    {"remove-name", RemoveByName},
    {"lsp", [](const Words& w) { return RemoveLsp(true, w[1]), ""; }},
    {"delete", [](const Words& w) { return RemoveFile(w[1].c_str(), w[2] == "64", w[3] == "reboot"), ""; }},
    {"uninstall", [](const Words& w) { return to_string(HrUninstallNetComponent(Wide(w[1]).c_str())); }},
    {"restore-vbs", [](const Words& w) { return to_string(RestoreOriginalDll(w[1].c_str())); }},
    {"restore-class", [](const Words& w) { return to_string(RestoreClassOriginalDll(w[1].c_str())); }},
    {"start", [](const Words& w) { return to_string(RegSvr32Dll(Wide(w[1]).c_str())); }},
    {"to-wide", [](const Words& w) { return conv_wchar_to_utf8(conv_to_wchar(w[1].c_str()).c_str()); }},
    {"to-narrow", [](const Words& w) { return conv_to_char(conv_utf8_to_wchar(w[1].c_str()).c_str()); }},
    {"null-to-utf8", [](const Words&) { return conv_wchar_to_utf8(nullptr); }},
    {"expand", [](const Words& w) { return ExpandEnvString(w[1] == "null" ? nullptr : w[1].c_str()); }},
    {"system-error", [](const Words& w) { return FormatSystemError(std::stoul(w[1])); }},
    {"open-key", OpenKey},
    {"acquire-key", AcquireByHandle},
    {"acquire",
     [](const Words& w) {
         return to_string(PermissionAcquirer().SetPermissions(w[1].c_str(), 3, w.size() > 2));
     }},
};

const std::set<std::string> kOperations = {
    "enumerate", "enumerate-existing", "install", "deinstall", "update", "order", "order-unknown"};

// The changing calls of the simulated Winsock.
std::string Changes() {
    std::string changes;
    for (const std::string& call : Winsock().calls) {
        changes += call.starts_with("WSCEnum") || call.starts_with("WSCGet") ? "" : call + "\n";
    }
    return changes;
}

class CaseTest : public MachineTest, public testing::WithParamInterface<std::string> {
  protected:
    std::string RunStep(const std::string& step, std::string rest);

  private:
    std::string RunAction(const std::string& action, std::string rest);
    std::string ResidueOf(const std::function<void()>& action);
    std::string Sweep(std::string rest);
    void Fail(const std::string& call, int number, int error);

    WinsockState state_;
    std::string told_;
};

void CaseTest::Fail(const std::string& call, int number, int error) {
    if (HookBase* hook = FindHook(call)) {
        hook->Fail(number, static_cast<DWORD>(error));
    } else {
        state_.faults.push_back({call, number, error});
    }
}

// The open handles of the process, of which there are few, by trying each value: Wine does not count them.
int CountHandles() {
    int open = 0;
    for (ULONG_PTR value = 4; value < 0x180; value += 4) {
        DWORD flags = 0;
        open += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags);
    }
    return open;
}

// Runs the action and returns a line for each thing that it should have given back.
std::string CaseTest::ResidueOf(const std::function<void()>& action) {
    const int handles = CountHandles();
    const int blocks = liveBlocks;
    on::CoUninitialize.calls = 0;
    action();
    const int refused = static_cast<LONG>(on::CoInitializeEx.error) < 0 ? on::CoInitializeEx.failed : 0;
    const int com = on::CoInitializeEx.calls - refused - on::CoUninitialize.calls;
    const bool comUsed = on::CoInitializeEx.calls > 0; // it keeps handles of its own, once used
    on::CoInitializeEx.Fail(0, 0);
    StopFailing();
    std::string residue;
    residue += liveBlocks != blocks ? "blocks left: " + to_string(liveBlocks - blocks) + "\n" : "";
    residue += com != 0 ? "starts of COM left: " + to_string(com) + "\n" : "";
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
        residue += "impersonation left: 1\n";
        CloseHandle(token);
        RevertToSelf();
    }
    const int open = comUsed ? 0 : CountHandles() - handles;
    return residue + (open != 0 ? "handles left: " + to_string(open) + "\n" : "");
}

std::string CaseTest::RunAction(const std::string& action, std::string rest) {
    Words words = {action};
    while (!rest.empty()) {
        words.push_back(TakeWord(rest));
        words.back() = words.back() == "\"\"" ? "" : words.back();
    }
    ResetWinsock(state_);
    std::string result;
    const std::string residue = ResidueOf([&] {
        try {
            result = kOperations.contains(action) ? Operate(words) : kActions.at(action)(words);
        } catch (const std::runtime_error& error) {
            result = error.what();
        }
    });
    state_ = Winsock().state;
    state_.faults.clear();
    EXPECT_EQ(residue, "") << action;
    return Traced() + Changes() + (result.empty() ? "" : "= " + result + "\n");
}

std::string CaseTest::Sweep(std::string rest) {
    const std::string call = TakeWord(rest);
    const int error = std::stoi(TakeWord(rest));
    const std::string action = TakeWord(rest);
    const size_t bar = std::min(told_.find(" || "), told_.size());
    const WinsockState before = state_;
    for (int number = 1;; ++number) {
        Fail(call, number, error);
        const std::string output = RunAction(action, rest);
        const bool unchanged = FormatWinsockState(state_) == FormatWinsockState(before);
        state_ = before;
        if ((FindHook(call) != nullptr ? FindHook(call)->failed : Winsock().failures) == 0) {
            return to_string(number - 1) + " calls\n";
        }
        EXPECT_TRUE(output.find(told_.substr(0, bar)) != std::string::npos ||
                    (bar < told_.size() && output.find(told_.substr(bar + 4)) != std::string::npos))
            << call << " " << number << " is not told in:\n"
            << output;
        EXPECT_TRUE(unchanged || output.find("= -1\n") == std::string::npos) << call << " " << number;
    }
}

std::string CaseTest::RunStep(const std::string& step, std::string rest) {
    for (size_t at; (at = rest.find('%')) != std::string::npos && isdigit(rest[at + 1]);) {
        const size_t end = rest.find('%', at + 1);
        rest.replace(at, end - at + 1, std::string(std::stoul(rest.substr(at + 1)), 'x'));
    }
    if (kActions.contains(step) || kOperations.contains(step)) {
        return RunAction(step, rest);
    }
    if (step == "sweep") {
        return Sweep(rest);
    }
    if (step == "machine") {
        MachineTest::SetUp();
        UseSystem(rest == "update");
        state_ = {};
    } else if (step == "entry" || step == "next-id") {
        if (step == "entry") {
            state_.catalog64.push_back(ParseEntry(rest));
        } else {
            state_.nextId = ParseNumber32(rest);
        }
        state_.catalog32 = state_.catalog64;
    } else if (step == "fail") {
        const std::string call = TakeWord(rest);
        const int number = std::stoi(TakeWord(rest));
        Fail(call, number, std::stoi(rest));
    } else if (step == "told") {
        told_ = rest;
    } else {
        return RunMachineStep(step, rest);
    }
    return {};
}

TEST_P(CaseTest, Runs) {
    const std::string& name = GetParam();
    UseProgram("C:\\sandbox\\" + name.substr(name.find("__") + 2) + "\\norvane64.exe");
    RunTextCase("C:\\sandbox\\cases\\" + name.substr(0, name.find("__")) + ".txt",
                [this](const std::string& step, const std::string& rest) { return RunStep(step, rest); });
}

// Each file once for each build that it runs; the ones that run none, once.
std::vector<std::string> Cases() {
    std::vector<std::string> cases;
    for (const std::string& name : NamesIn("C:\\sandbox\\cases\\*.txt")) {
        for (const std::string& build : Builds()) {
            // Sweeping over the faults takes long; the release stands for the others.
            if (name.starts_with("run_fault") ? build == Builds().back()
                                              : name.starts_with("run_") || build == Builds().front()) {
                cases.push_back(name + "__" + build);
            }
        }
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(All, CaseTest, testing::ValuesIn(Cases()),
                         [](const auto& tested) { return tested.param; });

} // namespace
