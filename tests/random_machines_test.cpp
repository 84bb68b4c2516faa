// The rehearsal of random machines against the command itself, over the simulated Winsock and the real disk,
// and its conclusions against a model.
#include <algorithm>
#include <map>
#include <optional>
#include <regex>
#include <set>

#include "app/command_line.h"
#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/removal_order.h"
#include "rehearsal/report/advice.h"
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

// The machine after some runs, as the command left it.
struct State {
    WinsockState winsock;
    std::set<std::string> files;
    std::vector<std::string> runs;
    bool safe = true;

    std::string Key() const {
        return FormatWinsockState(winsock) + Joined({files.begin(), files.end()}) + (safe ? "" : runs.back());
    }
};

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
        ResetCatalogs();
    }

    void ResetCatalogs() const { ResetWinsock({machine_.catalogs, false, {}}); }

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
        const bool breaks =
            in64_.breaks || in32_.breaks || (hadProvider_ && !FileExists(provider)) ||
            LosesAnotherLsp(in64_, in32_, wideName_, hidden.empty() ? -1 : std::stoll(hidden[1]));
        EXPECT_EQ(rehearsal.verdict == Verdict::kBreaksNetworking, breaks);
        const bool unchanged = DrawCatalogs(machine_.catalogs) == DrawCatalogs(Winsock().state);
        const bool removes =
            rehearsal.verdict == Verdict::kClean || rehearsal.verdict == Verdict::kLeavesParts;
        EXPECT_TRUE(breaks || removes != unchanged);
        EXPECT_FALSE(rehearsal.verdict == Verdict::kClean && LeavesParts(in64_, in32_, wideName_, provider));
    }

    // No step repeats another, and a reset or a removal comes behind a backup.
    static void CheckSteps(const Steps& steps) {
        bool backup = false;
        for (size_t i = 0; i < steps.size(); ++i) {
            EXPECT_EQ(std::count(steps.begin(), steps.end(), steps[i]), 1) << steps[i];
            const bool changes = steps[i].find("winsock reset") != std::string::npos ||
                                 steps[i].find("norvane64 remove") != std::string::npos;
            EXPECT_TRUE(!changes || backup) << steps[i];
            backup = backup || steps[i].starts_with("Back up");
        }
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

    // Runs the command for each run of an order: at the end of each step, what remains works as before.
    void FollowOrder(const Rehearsal& rehearsal) {
        const RemovalOrder order = FindRemovalOrder(rehearsal);
        ResetCatalogs(); // the search has left the catalogs of its last run
        for (size_t i = 0; i < order.runs.size(); ++i) {
            RunCommand(conv_to_char(order.runs[i].dllName.c_str()));
            if (i + 1 == order.runs.size() || order.runs[i + 1].dllName != order.runs[i].dllName) {
                in64_.breaks = in32_.breaks = false;
                LookAfterwards();
                EXPECT_FALSE(in64_.breaks || in32_.breaks) << ToUtf8(order.runs[i].dllName);
            }
        }
        followed_ += order.runs.empty() ? 0 : 1;
        const std::optional<size_t> shortest = FewestRuns(rehearsal);
        EXPECT_TRUE(!shortest || (!order.runs.empty() && order.runs.size() <= *shortest))
            << *shortest << " runs";
    }

    // The number of runs of the shortest safe order, by running the command with each name again and again.
    // Nothing for more than five, and for a machine for which that takes too long or the names are not clear.
    std::optional<size_t> FewestRuns(const Rehearsal& rehearsal);

    // The state that a run of the command leads to.
    State RunFrom(const State& state, const std::string& dllName) const;

    RandomMachine machine_;
    Random files_;
    std::wstring wideName_;
    ModelCatalog in64_;
    ModelCatalog in32_;
    bool hadProvider_ = false;
    int followed_ = 0; // how many orders
};

bool HasIdTwice(const Catalog& catalog) {
    std::set<DWORD> ids;
    return !std::ranges::all_of(
        catalog, [&](const CatalogEntry& entry) { return ids.insert(entry.info.dwCatalogEntryId).second; });
}

bool HasId(const Catalog& catalog, DWORD id) {
    return std::ranges::any_of(catalog,
                               [&](const CatalogEntry& entry) { return entry.info.dwCatalogEntryId == id; });
}

State RandomMachineTest::RunFrom(const State& state, const std::string& dllName) const {
    KeepFiles(state.files);
    ResetWinsock(state.winsock);
    RunCommand(dllName);
    State after = {Winsock().state, ExistingFiles(), state.runs};
    after.winsock.plan = {};
    after.runs.push_back(dllName);
    ModelCatalog in64 = in64_;
    ModelCatalog in32 = in32_;
    in64.breaks = in32.breaks = false;
    LookAfter(after.winsock.catalog64, in64);
    LookAfter(after.winsock.catalog32, in32);
    after.safe = !in64.breaks && !in32.breaks && (!hadProvider_ || FileExists(NamespaceFile()));
    return after;
}

std::optional<size_t> RandomMachineTest::FewestRuns(const Rehearsal& rehearsal) {
    const Catalogs& catalogs = machine_.catalogs;
    const std::optional<CatalogEntry>& target = rehearsal.run.target;
    if (!target || !machine_.counts.empty() || HasIdTwice(catalogs.catalog64) ||
        HasIdTwice(catalogs.catalog32) || catalogs.catalog64.size() > 14) {
        return std::nullopt;
    }
    Reset();
    std::vector<State> level = {{Winsock().state, ExistingFiles(), {}}};
    std::set<std::string> seen;
    for (size_t runs = 1; runs <= 5; ++runs) {
        std::vector<State> next;
        for (const State& state : level) {
            for (const std::wstring& name : NamesOver(catalogs, target->info.ProviderId)) {
                const std::string ansi = conv_to_char(name.c_str());
                if (!state.safe && ansi != state.runs.back()) {
                    continue;
                }
                const State after = RunFrom(state, ansi);
                if (after.safe && !HasId(after.winsock.catalog64, target->info.dwCatalogEntryId)) {
                    return runs;
                }
                if (seen.insert(after.Key()).second) {
                    next.push_back(after);
                }
            }
        }
        level = next;
    }
    return std::nullopt;
}

TEST_F(RandomMachineTest, TheRehearsalForeseesWhatTheCommandDoes) {
    Random random(20261125);
    PrepareMachine("");
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        Prepare(random, round);
        hadProvider_ = FileExists(NamespaceFile());
        const Machine description = DescriptionOf(machine_);
        const Rehearsal rehearsal = Rehearse(description, wideName_);
        ResetCatalogs(); // a rehearsal changes nothing else
        const std::vector<std::string> trace = RunCommand(machine_.dllName);
        EXPECT_EQ(Joined(rehearsal.run.trace, "\n"), Joined(trace, "\n"));
        EXPECT_EQ(DrawCatalogs(rehearsal.run.after), DrawCatalogs(Winsock().state));
        LookAfterwards();
        CompareCatalog(in64_, rehearsal.change.catalog64);
        CompareCatalog(in32_, rehearsal.change.catalog32);
        CompareVerdict(rehearsal, trace);
        CheckDeletions(rehearsal);
        Reset(); // the search for an order looks at the disk
        CheckSteps(Advise(rehearsal));
        CheckSteps(AdviseOnMachine(description, Examine(description)));
        if (rehearsal.verdict == Verdict::kBreaksNetworking) {
            FollowOrder(rehearsal);
        }
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
