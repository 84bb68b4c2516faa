// The rehearsal of random machines against the command itself, over the simulated Winsock and the real disk,
// and its conclusions against a model.
#include <algorithm>
#include <regex>

#include "app/command_line.h"
#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/removal_order.h"
#include "rehearsal/report/drawing.h"
#include "rehearsal/report/report.h"
#include "simulation/simulated_winsock.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/random_machine.h"
#include "support/removal_model.h"
#include "support/text.h"

namespace {

// Runs the command on the simulated catalogs. Returns its messages, in UTF-8.
std::vector<std::string> RunCommand(const std::string& dllName) {
    std::string words[] = {"norvane64", "remove", "lsp", dllName};
    char* argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data()};
    TracedMessages();
    EXPECT_EQ(ResidueOf([&] { RunCommandLine(4, argv); }), "");
    std::vector<std::string> messages = TracedMessages();
    for (std::string& message : messages) {
        message = IsUtf8(message) ? message : FromAnsi(message);
    }
    return messages;
}

class RandomMachineTest : public MachineTest {
  protected:
    // Prepares a machine, and what the model knows of it.
    void Prepare(Random& random, int round) {
        machine_ = MakeRandomMachine(random, round);
        files_ = random;
        Reset();
        wideName_ = conv_to_wchar(machine_.dllName.c_str());
        in64_ = LookBefore(machine_.catalogs.catalog64, false);
        in32_ = LookBefore(machine_.catalogs.catalog32, true);
    }

    void Reset() {
        UseFiles(machine_, files_);
        UseCounts(machine_.counts);
        ResetWinsock({machine_.catalogs, false, {}});
    }

    void LookAfterwards() {
        LookAfter(Winsock().state.catalog64, in64_);
        LookAfter(Winsock().state.catalog32, in32_);
    }

    std::string NamespaceFile() const {
        return FileIn(conv_utf8_to_wchar(machine_.provider.path.c_str()), false);
    }

    // Compares what would be removed and stop working, and which entries work already.
    static void CompareCatalog(const ModelCatalog& model, const CatalogChange& change) {
        for (size_t i = 0; i < model.before.size(); ++i) {
            EXPECT_EQ(change.before.works[i], model.worked[i]) << "works, entry " << i;
            EXPECT_EQ(change.after.present[i], model.remains[i]) << "remains, entry " << i;
            EXPECT_EQ(StopsWorking(change, i), model.stops[i]) << "stops, entry " << i;
        }
    }

    void CompareVerdict(const Rehearsal& rehearsal, const std::vector<std::string>& trace) {
        std::smatch hidden;
        const std::string text = Joined(trace, "\n");
        std::regex_search(text, hidden, std::regex("LSP Hidden ID: +(\\d+)"));
        const std::string provider = NamespaceFile();
        const bool breaks = in64_.breaks || in32_.breaks ||
                            (provider != "" && !FileExists(provider) && hadProvider_) ||
                            LosesAnotherLsp(in64_, wideName_, hidden.empty() ? -1 : std::stoll(hidden[1]));
        EXPECT_EQ(rehearsal.verdict == Verdict::kBreaksNetworking, breaks);
        const bool unchanged = DrawCatalogs(machine_.catalogs) == DrawCatalogs(Winsock().state);
        EXPECT_TRUE(rehearsal.verdict != Verdict::kNothingToDo || unchanged);
        EXPECT_FALSE(rehearsal.verdict == Verdict::kClean &&
                     (unchanged || LeavesParts(in64_, in32_, wideName_, provider)));
    }

    // A file that may be deleted by hand is one that nothing names.
    void CheckDeletions(const Rehearsal& rehearsal) {
        std::vector<std::string> named = {NamespaceFile()};
        for (const ModelCatalog* model : {&in64_, &in32_}) {
            for (size_t i = 0; i < model->before.size(); ++i) {
                named.push_back(model->remains[i] ? FileIn(model->before[i].path, model->is32) : "");
            }
        }
        for (const Remainder& remainder : rehearsal.remainders) {
            for (const std::string& file : named) {
                EXPECT_FALSE(remainder.deletable &&
                             LowerCase(FromAnsi(file)) == LowerCase(ToUtf8(remainder.opened)))
                    << file;
            }
        }
    }

    // Runs the command for each step of a removal order, or as often as advised: what remains has to work as
    // before, for an order after each of its steps.
    void FollowOrder(const Rehearsal& rehearsal) {
        if (rehearsal.verdict != Verdict::kBreaksNetworking) {
            return;
        }
        Reset(); // the search for an order looks at the disk
        const RemovalOrder order = FindRemovalOrder(rehearsal);
        std::vector<std::wstring> names(static_cast<size_t>(order.runs), wideName_);
        for (const RemovalStep& step : order.steps) {
            names.push_back(step.dllName);
        }
        Reset(); // the search has left the catalogs of its last run
        for (const std::wstring& name : names) {
            RunCommand(conv_to_char(name.c_str()));
            if (order.runs == 0 || &name == &names.back()) {
                in64_.breaks = in32_.breaks = false;
                LookAfterwards();
                EXPECT_FALSE(in64_.breaks || in32_.breaks) << ToUtf8(name);
            }
        }
        followed_ += names.empty() ? 0 : 1;
    }

    RandomMachine machine_;
    Random files_;
    std::wstring wideName_;
    ModelCatalog in64_;
    ModelCatalog in32_;
    bool hadProvider_ = false;
    int followed_ = 0; // how many orders
};

TEST_F(RandomMachineTest, TheRehearsalForeseesWhatTheCommandDoes) {
    Random random(20261125);
    PrepareMachine("");
    for (int round = 0; round < 400 && !HasFailure(); ++round) {
        Prepare(random, round);
        hadProvider_ = FileExists(NamespaceFile());
        const Machine description = DescriptionOf(machine_);
        const Rehearsal rehearsal = Rehearse(description, machine_.dllName);
        Reset();
        const std::vector<std::string> trace = RunCommand(machine_.dllName);
        EXPECT_EQ(Joined(rehearsal.run.trace, "\n"), Joined(trace, "\n"));
        EXPECT_EQ(DrawCatalogs(rehearsal.run.after), DrawCatalogs(Winsock().state));
        LookAfterwards();
        CompareCatalog(in64_, rehearsal.change.catalog64);
        CompareCatalog(in32_, rehearsal.change.catalog32);
        CompareVerdict(rehearsal, trace);
        CheckDeletions(rehearsal);
        FollowOrder(rehearsal);
        if (HasFailure()) {
            ADD_FAILURE() << "round " << round << ": " << machine_.dllName
                          << (machine_.live ? ", live\n" : "\n")
                          << FormatWinsockState({machine_.catalogs, false, {}})
                          << WriteReport(rehearsal, true);
        }
    }
    EXPECT_GT(followed_, 10);
}

} // namespace
