// Runs the cases of tests/cases, each as a test of its own: those of a file run_... against each build of the executable, the
// others in process. tests/README.md describes the steps: those that fail or catch failures are here, the actions in case_actions.cpp,
// the others in machine_steps.cpp.
#include <algorithm>
#include <stdexcept>

#include "case_actions.h"
#include "machine/file_reading.h"
#include "machine/file_writing.h"
#include "machine/netcfg_state.h"
#include "machine/text_parsing.h"
#include "machine/winsock_functions.h"
#include "simulation/simulated_winsock.h"
#include "support/case_file.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/residue.h"
#include "support/text.h"
#include "trace/trace_log.h"

namespace {

using std::to_string;

constexpr char kWinsockFile[] = "C:\\sandbox\\winsock.txt";
constexpr char kNetcfgFile[] = "C:\\sandbox\\netcfg.txt";

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
    bool Occurred(const std::string& call, int error) const;
    void SetAction(std::string text);
    void Plan(const Words& words);
    void CheckPlanned();
    std::string RunAction(const Step& action, const Words& words);
    std::string ActWithFault(const std::string& call, int number, int error, bool* occurred);
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
    const PlannedFault fault = {call, number, error};
    const HookBase* hook = executable_.empty() ? FindHook(call) : nullptr;
    const bool winsock = kWinsockFunctions.contains(call);
    if (hook != nullptr && number != 0) {
        hook->Fail(number, static_cast<DWORD>(error));
    } else if (number < 1) {
        throw std::runtime_error("not the number of a call of " + call);
    } else if (winsock && executable_.empty()) {
        state_.plan.faults.push_back(fault);
    } else {
        ParseNetcfgState(winsock ? "" : FormatFault(fault));
        AppendToFile(winsock ? kWinsockFile : kNetcfgFile, FormatFault(fault));
    }
}

// Whether a planned fault occurred in the last action.
bool CaseTest::Occurred(const std::string& call, int error) const {
    return (executable_.empty() &&
            (HasOccurred(PlatformFaults(), call, error) || HasOccurred(Winsock().state.plan, call, error))) ||
           HasOccurred(ParseNetcfgState(ReadWholeFile(kNetcfgFile)).plan, call, error) ||
           HasOccurred(ParseWinsockState(ReadWholeFile(kWinsockFile)).plan, call, error);
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
    state_.plan = {};
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
std::string CaseTest::ActWithFault(const std::string& call, int number, int error, bool* occurred) {
    const WinsockState before = state_;
    const std::string winsock = ReadWholeFile(kWinsockFile);
    const std::string netcfg = ReadWholeFile(kNetcfgFile);
    PlanFault(call, number, error);
    const std::string output = act_();
    *occurred = Occurred(call, error);
    // What reports a failure must have changed nothing.
    const bool unchanged = FormatWinsockState(state_) == FormatWinsockState(before);
    EXPECT_TRUE(unchanged || output.find("= -1\n") == std::string::npos) << "changed, and failed:\n"
                                                                         << output;
    state_ = before;
    WriteWholeFile(kWinsockFile, winsock);
    WriteWholeFile(kNetcfgFile, netcfg);
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
    bool occurred = false;
    const std::string output = ActWithFault(call, number, error, &occurred);
    EXPECT_TRUE(occurred) << "the call did not fail";
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
    const long long calls = ParseNumber(words[2], 1, 1000);
    for (int number = 1; number <= calls + 1; ++number) {
        bool failed = false;
        const std::string output = ActWithFault(words[0], number, error, &failed);
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
    ADD_FAILURE() << "more calls of " << words[0] << " than " << calls;
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
        EXPECT_TRUE(Occurred(call, error)) << call << " did not fail";
    }
}

std::vector<Step> CaseTest::Steps() {
    using enum StepPlace;
    std::vector<Step> steps = MachineSteps();
    for (const Step& action : Actions()) {
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
