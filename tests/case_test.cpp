// Runs the cases of tests/cases, each as a test of its own: those of a file run_... against each build of the executable, the
// others in process. The actions of the latter are here, the other steps in machine_steps.cpp; tests/README.md describes
// them all.
#include <algorithm>
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
#include "netcfg/netcfg_state.h"
#include "security/permission_acquirer.h"
#include "support/case_file.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/text.h"
#include "trace/trace_log.h"
#include "winsock/simulated_winsock.h"

namespace {

using std::to_string;

std::wstring Wide(const std::string& word) {
    return conv_to_wchar(word.c_str());
}

CatalogSelector Selector(const std::string& word) {
    if (word == "other") {
        return 7;
    }
    if (word != "both" && word != "32" && word != "64") {
        throw std::runtime_error("not a selector: " + word);
    }
    return word == "both" ? CatalogBoth : word == "32" ? Catalog32 : Catalog64;
}

// The last entry of the catalogs, with which the operations install and update.
WSAPROTOCOL_INFOW* LastEntry() {
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
    return to_string(result) + (error == 7 ? "" : " error " + to_string(error));
}

std::string Update(const Words& words) {
    int error = 7;
    GUID id = ParseGuid(words[1]);
    const int result = UpdateProvider(Selector(words[0]), &id, L"new.dll", LastEntry(), &error);
    return WithError(result, error);
}

std::string WriteOrder(const Words& words) {
    int error = 7;
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

const std::vector<Step> kActions = {
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
    {"restore-class CLASS", [](const Words& w) { return to_string(RestoreClassOriginalDll(w[0].c_str())); }},
    {"start COMMAND", [](const Words& w) { return to_string(RegSvr32Dll(Wide(w[0]).c_str())); }},
    {"to-wide TEXT", [](const Words& w) { return conv_wchar_to_utf8(conv_to_wchar(w[0].c_str()).c_str()); }},
    {"to-narrow TEXT", [](const Words& w) { return conv_to_char(conv_utf8_to_wchar(w[0].c_str()).c_str()); }},
    {"null-to-utf8", [](const Words&) { return conv_wchar_to_utf8(nullptr); }},
    {"expand TEXT", [](const Words& w) { return ExpandEnvString(w[0].c_str()); }},
    {"expand-null", [](const Words&) { return ExpandEnvString(nullptr); }},
    {"system-error CODE", [](const Words& w) { return FormatSystemError(ParseNumber32(w[0])); }},
    {"open-key VIEW PATH", OpenKey},
    {"acquire-key PATH", AcquireByHandle},
    {"acquire PATH", [](const Words& w) { return Acquire(w, false); }},
    {"acquire-32 PATH", [](const Words& w) { return Acquire(w, true); }},
};

// The changing calls of the simulated Winsock.
std::string Changes() {
    std::string changes;
    for (const std::string& call : Winsock().calls) {
        changes += call.starts_with("WSCEnum") || call.starts_with("WSCGet") ? "" : call + "\n";
    }
    return changes;
}

class CaseTest : public MachineTest {
  public:
    CaseTest(const TextCase& textCase, const std::string& executable)
        : case_(textCase), executable_(executable) {}

    void TestBody() override;

  private:
    std::vector<Step> Steps();
    void SetMachine(const std::string& kind);
    void AddEntries(const std::string& entries);
    void PlanFault(const std::string& call, int number, int error);
    int FaultsThatCame(const std::string& call, int error) const;
    void SetAction(std::string text);
    void Plan(const Words& words);
    void CheckPlanned();
    std::string RunAction(const Step& action, const Words& words);
    std::string ResidueOf(const std::function<void()>& action);
    std::string ActWithFault(const std::string& call, int number, int error);
    void CheckFaults(const Words& words);
    void CheckFault(const std::string& call, int number, std::string expected);
    void Sweep(const Words& words);

    const TextCase& case_;
    const std::string executable_;
    std::vector<Step> steps_;
    WinsockState state_;
    std::function<std::string()> act_; // what faults and sweeps run
    std::vector<std::pair<std::string, int>> planned_;
};

void CaseTest::SetMachine(const std::string& kind) {
    if (kind != "plain" && kind != "update") {
        throw std::runtime_error("not a kind of machine: " + kind);
    }
    UseSystem(kind == "update");
    UseSystemLibrary(kind);
    state_ = {};
}

// Entries with semicolons between them, for both catalogs. One without a GUID has its id in the GUID's place.
void CaseTest::AddEntries(const std::string& entries) {
    for (std::string entry : SplitAt(entries, "; ")) {
        const std::string id = TakeWord(entry);
        state_.catalog64.push_back(
            ParseEntry(id + (entry.starts_with("{") ? " " : " {" + id + "} ") + entry));
    }
    state_.catalog32 = state_.catalog64;
}

// In process the calls of Windows and of the simulated Winsock fail there; all others in the simulations that have them.
void CaseTest::PlanFault(const std::string& call, int number, int error) {
    const std::string line = FormatFault({call, number, error});
    HookBase* hook = executable_.empty() ? FindHook(call) : nullptr;
    if (hook != nullptr && number != 0) {
        hook->Fail(number, static_cast<DWORD>(error));
    } else if (number < 1) {
        throw std::runtime_error("not the number of a call of " + call);
    } else if (IsWinsockFunction(call) && executable_.empty()) {
        state_.faults.push_back({call, number, error});
    } else {
        const std::string file = IsWinsockFunction(call) ? "winsock.txt" : "netcfg.txt";
        AppendToFile("C:\\sandbox\\" + file, line);
        ParseNetcfgState(file == "netcfg.txt" ? line : "");
    }
}

// How often a planned fault came about in the last action.
int CaseTest::FaultsThatCame(const std::string& call, int error) const {
    const HookBase* hook = executable_.empty() ? FindHook(call) : nullptr;
    if (hook != nullptr) {
        return hook->failed;
    }
    if (IsWinsockFunction(call) && executable_.empty()) {
        return Winsock().failures;
    }
    char code[16];
    _snprintf(code, sizeof(code), IsWinsockFunction(call) ? " %d\n" : " = %08X\n", error);
    const std::string calls =
        ReadWholeFile("C:\\sandbox\\winsock.calls.txt") + ReadWholeFile("C:\\sandbox\\netcfg.calls.txt");
    return calls.find(code) != std::string::npos;
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
    on::CoInitializeEx.calls = on::CoInitializeEx.failed = on::CoUninitialize.calls = 0;
    action();
    const int refused = static_cast<LONG>(on::CoInitializeEx.error) < 0 ? on::CoInitializeEx.failed : 0;
    const int com = on::CoInitializeEx.calls - refused - on::CoUninitialize.calls;
    const bool comUsed = on::CoInitializeEx.calls > 0; // it keeps handles of its own, once used
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

// Outputs what the action traces, the changing calls of the simulated Winsock, and its result.
std::string CaseTest::RunAction(const Step& action, const Words& words) {
    ResetWinsock(state_);
    std::string result;
    const std::string residue = ResidueOf([&] {
        try {
            result = action.run(words);
        } catch (const std::runtime_error& error) {
            result = error.what();
        }
    });
    EXPECT_FALSE(result.starts_with("not a ")) << result;
    state_ = Winsock().state;
    state_.faults.clear();
    EXPECT_EQ(residue, "") << action.usage;
    CheckPlanned();
    return Traced() + Changes() + (result.empty() ? "" : "= " + Escaped(result) + "\n");
}

// Takes a step from its whole text; a run of the program gets its exit code for a result.
void CaseTest::SetAction(std::string text) {
    const std::string name = TakeWord(text);
    const Step* step = FindStep(steps_, name);
    if (step == nullptr) {
        throw std::runtime_error("no action: " + name);
    }
    act_ = [=, words = SplitWords(*step, text)] {
        const std::string output = step->run(words);
        return output + (name == "run" ? "= " + to_string(lastExitCode) + "\n" : "");
    };
}

// Runs the action with one call failing. The simulations are as before afterwards.
std::string CaseTest::ActWithFault(const std::string& call, int number, int error) {
    const WinsockState before = state_;
    const std::string files[] = {"C:\\sandbox\\winsock.txt", "C:\\sandbox\\netcfg.txt"};
    const std::string contents[] = {ReadWholeFile(files[0]), ReadWholeFile(files[1])};
    WriteWholeFile("C:\\sandbox\\winsock.calls.txt", "");
    WriteWholeFile("C:\\sandbox\\netcfg.calls.txt", "");
    PlanFault(call, number, error);
    const std::string output = act_();
    const bool unchanged = FormatWinsockState(state_) == FormatWinsockState(before);
    EXPECT_TRUE(unchanged || output.find("= -1\n") == std::string::npos) << "changed, and failed:\n"
                                                                         << output;
    state_ = before;
    WriteWholeFile(files[0], contents[0]);
    WriteWholeFile(files[1], contents[1]);
    return output;
}

// "CODE = RESULT", with what else is expected: " | LINE | LINE" for the whole trace, " has TEXT", or nothing. More of them
// can follow, with semicolons between them.
void CaseTest::CheckFaults(const Words& words) {
    for (const std::string& number : SplitAt(words[1], ",")) {
        for (const std::string& expected : SplitAt(Escaped(words[2]), " ; ")) {
            CheckFault(words[0], static_cast<int>(ParseNumber(number, -1, 1000)), expected);
        }
    }
}

void CaseTest::CheckFault(const std::string& call, int number, std::string expected) {
    const int error = static_cast<int>(ParseNumber32(TakeWord(expected)));
    const size_t more = std::min({expected.find(" | "), expected.find(" has "), expected.size()});
    const std::string result = expected.substr(0, more) + "\n";
    expected.erase(0, more);
    const std::string output = ActWithFault(call, number, error);
    EXPECT_GT(FaultsThatCame(call, error), 0) << "the call did not fail";
    EXPECT_TRUE(result.starts_with("= ") && output.ends_with(result)) << result << "is not the result of\n"
                                                                      << output;
    if (expected.starts_with(" has ")) {
        for (const std::string& text : SplitAt(expected.substr(5), " && ")) {
            EXPECT_NE(output.find(text), std::string::npos) << text << "\nin:\n" << output;
        }
    } else if (!expected.empty()) {
        ReplaceAll(expected, " | ", "\n");
        EXPECT_EQ(output, expected.substr(1) + "\n" + result);
    }
}

// Runs the action with the first, the second ... such call failing, as long as there is one more. Each output must have one
// of the texts, which the output without a fault has not.
void CaseTest::Sweep(const Words& words) {
    const int error = static_cast<int>(ParseNumber32(words[1]));
    const long long calls = ParseNumber(words[2], 0, 1000);
    for (int number = 1;; ++number) {
        const std::string output = ActWithFault(words[0], number, error);
        const bool failed = FaultsThatCame(words[0], error) > 0;
        const std::vector<std::string> texts = SplitAt(words[3], " || ");
        const bool told = std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
            return output.find(text) != std::string::npos;
        });
        EXPECT_EQ(told, failed) << words[0] << " " << number << ":\n" << output;
        if (!failed) {
            EXPECT_EQ(number - 1, calls) << "calls of " << words[0];
            return;
        }
    }
}

// Plans a failure for the next action.
void CaseTest::Plan(const Words& words) {
    const int code = static_cast<int>(ParseNumber32(words[2]));
    PlanFault(words[0], static_cast<int>(ParseNumber(words[1], -1, 1000)), code);
    planned_.emplace_back(words[0], code);
}

// The failures that "fail" planned must have come about by the end of the next action.
void CaseTest::CheckPlanned() {
    for (const auto& [call, error] : std::exchange(planned_, {})) {
        EXPECT_GT(FaultsThatCame(call, error), 0) << call << " did not fail";
    }
}

std::vector<Step> CaseTest::Steps() {
    using enum StepPlace;
    std::vector<Step> steps = MachineSteps();
    for (const Step& action : kActions) {
        steps.push_back({action.usage, [&](const Words& w) { return RunAction(action, w); }, kInProcess});
    }
    for (Step& step : steps) {
        if (step.usage.starts_with("run")) {
            step.run = [this, run = step.run](const Words& w) {
                const std::string output = run(w);
                return CheckPlanned(), output;
            };
        }
    }
    const auto add = [&](const char* usage, StepPlace place, const std::function<void(const Words&)>& run) {
        steps.push_back({usage, [=](const Words& w) { return run(w), std::string(); }, place});
    };
    add("machine KIND", kAnywhere, [this](const Words& w) { SetMachine(w[0]); });
    add("catalog ENTRIES...", kInProcess, [this](const Words& w) { AddEntries(w[0]); });
    add("next-id ID", kInProcess, [this](const Words& w) { state_.nextId = ParseNumber32(w[0]); });
    add("fail CALL NUMBER CODE", kAnywhere, [this](const Words& w) { Plan(w); });
    add("action ACTION...", kAnywhere, [this](const Words& w) { SetAction(w[0]); });
    add("fails CALL NUMBERS CODES...", kAnywhere, [this](const Words& w) { CheckFaults(w); });
    add("sweep CALL CODE CALLS TEXTS...", kAnywhere, [this](const Words& w) { Sweep(w); });
    std::erase_if(
        steps, [&](const Step& step) { return step.place == (executable_.empty() ? kProgram : kInProcess); });
    return steps;
}

void CaseTest::TestBody() {
    PrepareMachine(executable_);
    steps_ = Steps();
    RunCase(case_, steps_);
    EXPECT_TRUE(planned_.empty()) << "a failure is planned behind the last action";
}

// The builds of the executable in the sandbox, by the names of their folders.
std::vector<std::string> Builds() {
    std::vector<std::string> builds = NamesIn("C:\\sandbox\\*");
    std::erase_if(builds, [](const std::string& build) {
        return !FileExists("C:\\sandbox\\" + build + "\\norvane64.exe");
    });
    return builds;
}

std::vector<TextCase> cases;
std::vector<std::string> caseErrors;

TEST(CaseFiles, AreSound) {
    for (const std::string& error : caseErrors) {
        ADD_FAILURE() << error;
    }
    EXPECT_FALSE(cases.empty());
}

void RegisterCase(const TextCase& textCase, const std::string& name, const std::string& executable) {
    testing::RegisterTest(
        textCase.file.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
        [&textCase, executable]() -> MachineTest* { return new CaseTest(textCase, executable); });
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // The first exception of a process opens handles of the runtime's own, which no case should be blamed for.
    try {
        throw std::runtime_error("");
    } catch (const std::runtime_error&) {
    }
    cases = ReadCases(caseErrors);
    for (const TextCase& textCase : cases) {
        if (!textCase.file.starts_with("run_")) {
            RegisterCase(textCase, textCase.name, "");
            continue;
        }
        for (const std::string& build : Builds()) {
            RegisterCase(textCase, textCase.name + "_" + build, "C:\\sandbox\\" + build + "\\norvane64.exe");
        }
    }
    return RUN_ALL_TESTS();
}
