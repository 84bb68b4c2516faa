#include "rehearsal/removal_order.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/lsp_graph.h"
#include "machine/lsp_list.h"
#include "machine/utf8_text.h"

namespace {

constexpr size_t kMostSteps = 50;

// Carries a rehearsed removal out on the description of the machine.
void Apply(const Rehearsal& rehearsal, Machine& machine) {
    const Foreseen& foreseen = rehearsal.foreseen;
    const auto count = machine.sharedCounts.find(LowerCase(ToUtf8(foreseen.dllPath)));
    if (count != machine.sharedCounts.end() && foreseen.fileExists && --count->second == 0) {
        machine.sharedCounts.erase(count);
    }
    machine.deletedFiles.insert(rehearsal.change.deletedFiles.begin(), rehearsal.change.deletedFiles.end());
    machine.state = foreseen.after;
}

// Rehearses one removal, adds it to the steps and carries it out. Returns whether it removed anything.
bool TakeStep(const std::string& dllName, Machine& machine, std::vector<RemovalStep>& steps) {
    const Rehearsal rehearsal = Rehearse(machine, conv_to_char(conv_utf8_to_wchar(dllName.c_str()).c_str()));
    const Foreseen& foreseen = rehearsal.foreseen;
    const std::string product = foreseen.target ? ProductOf({}, {*foreseen.target, foreseen.dllPath})
                                                : "the layered entries without an LSP";
    steps.push_back({product, dllName, rehearsal.verdict});
    const size_t before = machine.state.catalog64.size();
    Apply(rehearsal, machine);
    return machine.state.catalog64.size() != before;
}

bool IsHarmless(const RemovalStep& step) {
    return step.verdict == Verdict::kClean || step.verdict == Verdict::kIncomplete;
}

// Removes one LSP as a step of an order. Returns what prevents it; empty for nothing.
std::string RemoveTop(const LspKey& key, Machine& machine, std::vector<RemovalStep>& steps) {
    const SimulatedEntry* lsp = FindLsp(machine.state.catalog64, key);
    if (lsp == nullptr) {
        return "only the 32-bit catalog has " + ProductOf({}, *FindLsp(machine.state.catalog32, key));
    }
    const std::string product = ProductOf({}, *lsp);
    if (!TakeStep(DllNameOf(*lsp), machine, steps)) {
        return "the command does not find " + product;
    }
    return !IsHarmless(steps.back()) ? "the removal of " + product + " would break networking, too" : "";
}

// Runs the command as long as it removes something and an LSP has the name.
void RunWhileFound(const std::string& dllName, Machine& machine, std::vector<RemovalStep>& steps) {
    const auto isLeft = [&] {
        const std::vector<std::string> names = DllNames(machine.state);
        return std::find(names.begin(), names.end(), dllName) != names.end();
    };
    while (TakeStep(dllName, machine, steps) && isLeft()) {
    }
}

// How often the command has to run until no LSP has its name. Returns 0 if that breaks something, or if one
// run is enough.
int CountRuns(const std::string& dllName, const Machine& start) {
    Machine machine = start;
    std::vector<RemovalStep> steps;
    RunWhileFound(dllName, machine, steps);
    const MachineChange change = FindChange(start, machine.state, machine.deletedFiles);
    return !HarmsOthers(start, change, dllName) && steps.size() > 1 ? static_cast<int>(steps.size()) : 0;
}

} // namespace

RemovalOrder FindRemovalOrder(const Rehearsal& rehearsal) {
    RemovalOrder order;
    Machine machine = rehearsal.machine;
    const std::string name = FromAnsi(rehearsal.dllName);
    const LspKey target = rehearsal.foreseen.target ? KeyOf(*rehearsal.foreseen.target) : "";
    while (order.obstacle.empty()) {
        const LspGraph graph = GraphOf(machine.state);
        const LspKeys above = FindAbove(graph, target);
        if (above.empty()) {
            RunWhileFound(name, machine, order.steps);
            break;
        }
        const LspKey* top = FindTop(above, graph);
        order.obstacle = top == nullptr || order.steps.size() == kMostSteps
                             ? "too many LSPs lie over one another, or in a circle"
                             : RemoveTop(*top, machine, order.steps);
    }
    if (!order.obstacle.empty() || std::any_of(order.steps.begin(), order.steps.end(),
                                               [](const RemovalStep& step) { return !IsHarmless(step); })) {
        order.steps.clear();
        order.runs = CountRuns(name, rehearsal.machine);
    }
    return order;
}
