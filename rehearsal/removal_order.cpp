#include "rehearsal/removal_order.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/lsp_graph.h"

namespace {

constexpr size_t kMostSteps = 50;

// Carries a rehearsed removal out on the description of the machine.
void Apply(const Rehearsal& rehearsal, Machine& machine) {
    const DryRun& run = rehearsal.run;
    const auto count = machine.sharedCounts.find(LowerCase(ToUtf8(run.dllPath)));
    if (count != machine.sharedCounts.end() && run.fileExists && --count->second == 0) {
        machine.sharedCounts.erase(count);
    }
    machine.deletedFiles.insert(rehearsal.change.deletedFiles.begin(), rehearsal.change.deletedFiles.end());
    machine.catalogs = run.after;
}

// Rehearses one removal, adds it to the steps and carries it out. Returns whether it removed anything.
bool TakeStep(const std::wstring& dllName, Machine& machine, std::vector<RemovalStep>& steps) {
    const Rehearsal rehearsal = Rehearse(machine, conv_to_char(dllName.c_str()));
    const DryRun& run = rehearsal.run;
    const auto product =
        run.target ? std::optional(ProductOfEntry({run.target->info, run.dllPath})) : std::nullopt;
    steps.push_back({product, dllName, rehearsal.verdict});
    const size_t before = machine.catalogs.catalog64.size();
    Apply(rehearsal, machine);
    return machine.catalogs.catalog64.size() != before;
}

bool IsHarmless(const RemovalStep& step) {
    return step.verdict == Verdict::kClean || step.verdict == Verdict::kIncomplete;
}

// Removes one LSP as a step of an order. Sets the obstacle when something prevents it.
void RemoveTop(const GUID& id, Machine& machine, RemovalOrder& order) {
    const CatalogEntry* lsp = FindLsp(machine.catalogs.catalog64, id);
    if (lsp == nullptr) {
        order.obstacle = Obstacle::kOnly32Bit;
        order.inTheWay = ProductOfEntry(*FindLsp(machine.catalogs.catalog32, id));
        return;
    }
    order.inTheWay = ProductOfEntry(*lsp);
    if (!TakeStep(FileNameForCommand(lsp->path), machine, order.steps)) {
        order.obstacle = Obstacle::kNotFound;
    } else if (!IsHarmless(order.steps.back())) {
        order.obstacle = Obstacle::kBreaks;
    }
}

bool IsLeft(const std::wstring& dllName, const Catalog& catalog) {
    return std::ranges::any_of(catalog, [&](const CatalogEntry& entry) {
        return IsLsp(entry) && FileNameForCommand(entry.path) == dllName;
    });
}

// Runs the command as long as it removes something and an LSP has the name.
void RunWhileFound(const std::wstring& dllName, Machine& machine, std::vector<RemovalStep>& steps) {
    while (TakeStep(dllName, machine, steps) && IsLeft(dllName, machine.catalogs.catalog64)) {
    }
}

// How often the command has to run until no LSP has its name. Returns 0 if that breaks something, or if one
// run is enough.
int CountRuns(const std::wstring& dllName, const Machine& start) {
    Machine machine = start;
    std::vector<RemovalStep> steps;
    RunWhileFound(dllName, machine, steps);
    const MachineChange change = FindChange(Examine(start), machine.catalogs, machine.deletedFiles);
    const auto hasName = [&](const CatalogEntry& lsp) { return FileNameForCommand(lsp.path) == dllName; };
    return FindBroken(start, change, hasName).empty() && steps.size() > 1 ? static_cast<int>(steps.size())
                                                                          : 0;
}

} // namespace

RemovalOrder FindRemovalOrder(const Rehearsal& rehearsal) {
    RemovalOrder order;
    Machine machine = rehearsal.machine;
    const std::wstring name = conv_to_wchar(rehearsal.dllName.c_str());
    const GUID target = rehearsal.run.target ? rehearsal.run.target->info.ProviderId : GUID{};
    while (order.obstacle == Obstacle::kNone) {
        const LspGraph graph = GraphOf(machine.catalogs);
        const GuidSet above = FindAbove(graph, target);
        if (above.empty()) {
            RunWhileFound(name, machine, order.steps);
            break;
        }
        const GUID* top = FindTop(above, graph);
        if (top == nullptr || order.steps.size() == kMostSteps) {
            order.obstacle = Obstacle::kTooManyOrCircle;
        } else {
            RemoveTop(*top, machine, order);
        }
    }
    if (order.obstacle != Obstacle::kNone ||
        !std::ranges::all_of(order.steps, [](const RemovalStep& step) { return IsHarmless(step); })) {
        order.steps.clear();
        order.runs = CountRuns(name, rehearsal.machine);
    }
    return order;
}
