// Runs the cases of tests/cases, each as a test of its own: those of a file run_... with the release build of
// the executable, the others in process. The steps that plan failures are here, the actions in
// case_actions.cpp, the others in machine_steps.cpp.
#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "case_actions.h"
#include "common/text_conversion.h"
#include "machine/files.h"
#include "machine/machine_reading.h"
#include "rehearsal/report/answer.h"
#include "simulation/netcfg_state.h"
#include "simulation/simulated_winsock.h"
#include "simulation/winsock_functions.h"
#include "support/case_file.h"
#include "support/catalog_notation.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

constexpr char kNetcfgFile[] = "C:\\sandbox\\netcfg.txt";
constexpr char kWinsockFile[] = "C:\\sandbox\\winsock.txt";

class CaseTest : public MachineTest {
  public:
    CaseTest(const TextCase& textCase, const std::string& executable)
        : case_(textCase), executable_(executable) {}

    void TestBody() override {
        PrepareMachine(executable_);
        AddSteps();
        RunCase(case_, steps_);
    }

  private:
    void SetMachine(const std::string& kind) {
        UseSystemLibrary(kind);
        UseSystem(kind == "update");
        state_ = {};
    }

    // Adds entries to the catalogs of the case, or of the state file of a program.
    void AddToCatalogs(const std::string& entries) {
        if (executable_.empty()) {
            AddEntries(entries, state_);
            return;
        }
        WinsockState state = ParseWinsockState(ReadWholeFile(kWinsockFile));
        AddEntries(entries, state);
        WriteWholeFile(kWinsockFile, FormatWinsockState(state));
    }

    // Runs the rehearsal on the catalogs of the case, or on the files that the arguments name.
    std::string RunRehearsal(const std::string& words) {
        try {
            std::vector<std::wstring> given;
            for (const std::string& word : SplitArguments(words)) {
                given.push_back(conv_to_wchar(word.c_str()));
            }
            const Arguments arguments = ParseArguments(given);
            Machine machine;
            machine.name = "machine";
            machine.catalogs = state_;
            const Answer answer =
                AnswerTo(arguments, arguments.files.empty() ? machine : ReadMachine(arguments.files));
            lastExitCode = static_cast<DWORD>(answer.code);
            return answer.text;
        } catch (const std::runtime_error& error) {
            lastExitCode = 1;
            return std::string(error.what()) + "\n";
        }
    }

    // Outputs what the action traces, the changing calls of the simulated Winsock, and its result.
    std::string RunAction(const Step& action, const Words& words) {
        ResetWinsock(state_);
        std::string result;
        const std::string residue = ResidueOf([&] { result = action.run(words); });
        state_ = Winsock().state;
        state_.plan = {};
        EXPECT_EQ(residue, "") << action.usage;
        return Traced() + Changes() + (result.empty() ? "" : "= " + Escaped(result) + "\n");
    }

    // Plans the failure of a call of Windows, of the simulated Winsock, or of the network configuration.
    void PlanFault(const PlannedFault& fault) {
        if (const HookBase* hook = FindHook(fault.call)) {
            hook->Fail(fault.number, static_cast<DWORD>(fault.code));
        } else if (kWinsockFunctions.contains(fault.call)) {
            state_.plan.faults.push_back(fault);
        } else {
            AppendToFile(kNetcfgFile, FormatFault(fault));
        }
    }

    // Runs the action with one call failing, and restores the simulations. Sets occurred_.
    std::string ActWithFault(const std::string& call, int number, const std::string& code) {
        const WinsockState before = state_;
        const std::string netcfg = ReadWholeFile(kNetcfgFile);
        const PlannedFault fault = {call, number, static_cast<int>(ParseNumber32(code))};
        PlanFault(fault);
        const std::string output = RunStep(steps_, action_);
        occurred_ = HasOccurred(PlatformFaults(), call, fault.code) ||
                    HasOccurred(Winsock().state.plan, call, fault.code) ||
                    HasOccurred(ParseNetcfgState(ReadWholeFile(kNetcfgFile)).plan, call, fault.code);
        const bool unchanged = FormatWinsockState(state_) == FormatWinsockState(before);
        EXPECT_TRUE(unchanged || !output.ends_with("= -1\n")) << "changed, although it failed:\n" << output;
        state_ = before;
        WriteWholeFile(kNetcfgFile, netcfg);
        return output;
    }

    std::string Fail(const Words& words) {
        const int number = static_cast<int>(ParseNumber(words[1], kEachCall, 1000));
        const std::string output = ActWithFault(words[0], number, words[2]);
        EXPECT_TRUE(occurred_) << "the call did not fail";
        return output;
    }

    // Runs the action with the first, the second ... such call failing, until there is no further one. Each
    // output must have one of the texts; the output without a failure must have none.
    std::string Sweep(const Words& words) {
        const std::vector<std::string> texts = SplitAt(words[2], " || ");
        int calls = -1;
        do {
            ++calls;
            const std::string output = ActWithFault(words[0], calls + 1, words[1]);
            const bool reported = std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
                return output.find(text) != std::string::npos;
            });
            EXPECT_EQ(reported, occurred_) << words[0] << " " << calls + 1 << ":\n" << output;
        } while (occurred_);
        return calls > 0 ? "more than 0 calls\n" : "no calls\n";
    }

    void AddSteps() {
        steps_ = executable_.empty() ? MachineSteps() : ProgramSteps();
        const std::initializer_list<Step> more = {
            Silent("machine KIND", [this](const Words& w) { SetMachine(w[0]); }),
            Silent("action ACTION...", [this](const Words& w) { action_ = w[0]; }),
            Silent("catalog ENTRIES...", [this](const Words& w) { AddToCatalogs(w[0]); }),
            {"fail CALL NUMBER CODE", [this](const Words& w) { return Fail(w); }},
            {"sweep CALL CODE TEXTS...", [this](const Words& w) { return Sweep(w); }},
            Silent("watch CALLS...", [](const Words& w) { Watch(SplitAt(w[0], " ")); })};
        steps_.insert(steps_.end(), more.begin(), more.end());
        if (executable_.empty()) {
            steps_.push_back(
                {"rehearse ARGUMENTS...", [this](const Words& w) { return RunRehearsal(w[0]); }});
            for (const Step& action : Actions()) {
                steps_.push_back({action.usage, [&](const Words& w) { return RunAction(action, w); }});
            }
        }
    }

    const TextCase& case_;
    const std::string executable_;
    std::vector<Step> steps_;
    WinsockState state_;
    std::string action_; // the step that "fail" and "sweep" run
    bool occurred_ = false;
};

std::string ExecutableOf(const std::string& build) {
    return "C:\\sandbox\\" + build + "\\norvane64.exe";
}

void RegisterCase(const TextCase& textCase, const std::string& name, const std::string& executable) {
    testing::RegisterTest(
        textCase.file.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
        [&textCase, executable]() -> MachineTest* { return new CaseTest(textCase, executable); });
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // The first exception of a process opens handles of the runtime's own, which no case should be blamed
    // for.
    try {
        throw std::runtime_error("");
    } catch (const std::runtime_error&) {
    }
    const std::vector<TextCase> cases = ReadCases();
    if (cases.empty()) {
        std::puts("There are no cases in C:\\sandbox\\cases.");
        return 1;
    }
    for (const TextCase& textCase : cases) {
        if (!textCase.file.starts_with("run_")) {
            RegisterCase(textCase, textCase.name, "");
            continue;
        }
        RegisterCase(textCase, textCase.name, ExecutableOf("release"));
        // The whole traces also with undefined behaviour trapped.
        if (textCase.file == "run_traces") {
            RegisterCase(textCase, textCase.name + "_checked", ExecutableOf("checked"));
        }
    }
    return RUN_ALL_TESTS();
}
