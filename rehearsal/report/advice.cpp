#include "rehearsal/report/advice.h"

#include <algorithm>
#include <span>

#include "machine/text.h"
#include "rehearsal/defects.h"
#include "rehearsal/removal_order.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/sections.h"

namespace {

using Runs = std::span<const RemovalRun>;

constexpr char kIndent[] = "\n       ";
constexpr char kUninstallRest[] = "Uninstall the rest of the product with its own uninstaller";

// A text with lines of its own below it.
std::string WithLines(std::string text, const Steps& lines) {
    for (const std::string& line : Shortened(lines)) {
        text += kIndent + line;
    }
    return text;
}

// A command for a file, and what stands behind the file.
std::string CommandForFile(const std::string& command, const std::wstring& file, const std::string& more) {
    return CanBeTyped(file) ? command + " \"" + Shown(file) + "\"" + more
                            : Shown(file) + " (This name cannot be typed: use the Explorer.)";
}

// Adds a step that copies files. Copies that would have the same name are numbered.
void AddCopies(const std::vector<std::wstring>& files, Steps& steps) {
    std::vector<std::wstring> names;
    Steps lines;
    for (const std::wstring& file : files) {
        const std::wstring name = FileNameForWindows(file);
        names.push_back(LowerCase(name));
        const auto number = std::ranges::count(names, names.back());
        lines.push_back(CommandForFile(
            "copy", file, number == 1 ? "" : " \"" + std::to_string(number) + "-" + Shown(name) + "\""));
    }
    if (!files.empty()) {
        steps.push_back(WithLines("Copy what is deleted into the current folder:", lines));
    }
}

Steps NamesOf(const std::vector<Product>& products) {
    Steps names;
    for (const Product& product : products) {
        names.push_back(NameOf(product));
    }
    return names;
}

// The runs that a report can show: the first ones, up to the end of a step. After them nothing has stopped
// working. None when one of them cannot be typed.
Runs ShowableRuns(Runs runs) {
    size_t shown = runs.size() <= kMostLines ? runs.size() : 0;
    for (size_t i = 1; i <= std::min(kMostLines, runs.size() - 1); ++i) {
        shown = runs.size() > kMostLines && runs[i].dllName != runs[i - 1].dllName ? i : shown;
    }
    const bool typed =
        std::ranges::all_of(runs, [](const RemovalRun& run) { return CanBeTyped(run.dllName); });
    return runs.first(typed ? shown : 0);
}

// Adds a step that runs the command for each run.
void AddRuns(Runs runs, Steps& steps) {
    Steps lines;
    for (const RemovalRun& run : runs) {
        lines.push_back(CommandFor(kRemoveCommand, run.dllName));
    }
    steps.push_back(
        WithLines("Where that is not possible, run in an elevated console, in this order. Rehearse "
                  "each name before its first run: it shows what remains of the product",
                  lines));
}

Steps AdviseOnOrder(const Rehearsal& rehearsal, const RemovalOrder& order, Runs runs) {
    Steps steps = {kBackup};
    std::vector<std::wstring> files;
    for (const RemovalRun& run : runs) {
        if (!run.deletedFile.empty() && std::ranges::find(files, run.deletedFile) == files.end()) {
            files.push_back(run.deletedFile);
        }
    }
    AddCopies(files, steps);
    steps.push_back("Uninstall these products with their own uninstallers, in this order: " +
                    Joined(Shortened(NamesOf(order.products))) +
                    (order.products.size() > 1 ? ". Reinstall afterwards what is still wanted" : ""));
    AddRuns(runs, steps);
    if (runs.size() < order.runs.size()) {
        steps.push_back("Rehearse again, for the other runs: " +
                        CommandFor(kRehearseCommand, rehearsal.dllName));
    }
    steps.push_back(kCheck);
    return steps;
}

std::string WhyNoOrder(const RemovalOrder& order) {
    switch (order.search) {
    case OrderSearch::kOnly32:
        return ": the command cannot remove " + NameOf(order.inTheWay) + " from the 32-bit catalog";
    case OrderSearch::kGivenUp:
        return " within " + std::to_string(kMostRuns) + " runs and the time for the search";
    case OrderSearch::kFound:
        return " that can be typed in a few lines";
    case OrderSearch::kNone:
        break;
    }
    return "";
}

Steps AdviseOnBroken(const Rehearsal& rehearsal) {
    const RemovalOrder order = FindRemovalOrder(rehearsal);
    const Runs runs = ShowableRuns(order.runs);
    if (!runs.empty()) {
        return AdviseOnOrder(rehearsal, order, runs);
    }
    Steps products = NamesOf(order.products);
    for (const Broken& broken : rehearsal.broken) {
        if (order.products.empty()) {
            products.push_back(NameOf(broken.product));
        }
    }
    return {"Do not run the command: no safe order of removals was found" + WhyNoOrder(order), kBackup,
            "Uninstall these products with their own uninstallers, in this order, and rehearse again: " +
                Joined(Shortened(products)),
            std::string("Where that is not possible: ") + kReset};
}

// What to do about what remains after the command.
void AdviseOnRemainders(const Rehearsal& rehearsal, Steps& steps) {
    Steps deletions;
    bool more = false;
    bool again = false;
    for (const Remainder& remainder : rehearsal.remainders) {
        if (remainder.deletable) {
            deletions.push_back(CommandForFile("del", remainder.opened, ""));
        }
        again = again || remainder.byRunningAgain;
        more = more || (!remainder.deletable && !remainder.inUse && !remainder.byRunningAgain &&
                        remainder.kind != RemainderKind::kSharedCount);
    }
    if (again) {
        steps.push_back("Rehearse again, for the next LSP with this name: " +
                        CommandFor(kRehearseCommand, rehearsal.dllName));
    }
    if (!deletions.empty()) {
        steps.push_back(WithLines("After the restart, delete by hand:", deletions));
    }
    if (more) {
        steps.push_back(kUninstallRest);
    }
}

// The files that the command deletes, and those that a person can delete afterwards.
std::vector<std::wstring> FilesToCopy(const Rehearsal& rehearsal) {
    std::vector<std::wstring> files;
    if (rehearsal.run.file.deleted && CanBeFile(rehearsal.run.dllPath)) {
        files.push_back(OpenedPath(rehearsal.run.dllPath, rehearsal.machine.folders, false));
    }
    for (const Remainder& remainder : rehearsal.remainders) {
        if (remainder.deletable) {
            files.push_back(remainder.opened);
        }
    }
    return files;
}

// What to do about a product that the command cannot remove.
Steps AdviseOnUninstalling(const std::string& why) {
    return {why + ". Uninstall the product with its own uninstaller", kBackup,
            std::string("Where there is no uninstaller: ") + kReset};
}

// Whether the empty name removes entries with the DLL name: layered entries without an LSP.
bool IsOfOrphans(const Rehearsal& rehearsal) {
    return std::ranges::any_of(FindDefects(HealthBefore(rehearsal)), [&](const Defect& defect) {
        return defect.isOrphan && defect.product.fileName == rehearsal.dllName;
    });
}

Steps AdviseOnRemoval(const Rehearsal& rehearsal) {
    if (!CanBeTyped(rehearsal.dllName)) {
        return AdviseOnUninstalling("This name cannot be typed");
    }
    Steps steps = {kBackup};
    AddCopies(FilesToCopy(rehearsal), steps);
    steps.push_back("Run in an elevated console: " + CommandFor(kRemoveCommand, rehearsal.dllName));
    steps.push_back(kCheck);
    AdviseOnRemainders(rehearsal, steps);
    return steps;
}

Steps AdviseOnGaps(const Machine& machine) {
    if (machine.live) {
        return {kBackup, std::string("If the network fails: ") + kReset};
    }
    return {machine.fromListing
                ? "Save the whole output on that machine: netsh winsock show catalog > catalog.txt"
                : "Export the whole key on that machine: reg export "
                  "HKLM\\SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters winsock.reg",
            machine.fromListing
                ? "If the same is missing again, use a registry export of the key Parameters, "
                  "or run norvane64-rehearse on that machine"
                : "If the same is missing again, run norvane64-rehearse on that machine"};
}

// What to do about entries that do not work. What depends on them alone works again with them.
Steps AdviseOnDefects(const std::vector<Defect>& defects) {
    const bool isCaused = std::ranges::any_of(defects, [](const Defect& defect) {
        return defect.dllName && defect.reason.fault != Fault::kBrokenId;
    });
    Steps steps;
    bool isLeftOut = false;
    for (const Defect& defect : defects) {
        if (isCaused && defect.reason.fault == Fault::kBrokenId) {
            isLeftOut = true;
        } else if (defect.dllName) {
            steps.push_back("Reinstall " + NameOf(defect.product) +
                            ", or rehearse its removal: " + CommandFor(kRehearseCommand, *defect.dllName));
        }
    }
    if (isLeftOut) {
        steps.push_back("Then repeat this list: what depends on these entries can work again");
    }
    return steps;
}

Steps AdviseOnOrphans() {
    return {"Rehearse the removal of the layered entries without an LSP: " +
            CommandFor(kRehearseCommand, L"")};
}

} // namespace

Steps Advise(const Rehearsal& rehearsal) {
    switch (rehearsal.verdict) {
    case Verdict::kCannotTell:
        return AdviseOnGaps(rehearsal.machine);
    case Verdict::kNotFound:
        return {SuggestNames(rehearsal.machine.catalogs, rehearsal.dllName)};
    case Verdict::kCannotRemove:
        return IsOfOrphans(rehearsal) ? AdviseOnOrphans()
                                      : AdviseOnUninstalling("The command cannot remove it");
    case Verdict::kBreaksNetworking:
        return AdviseOnBroken(rehearsal);
    case Verdict::kClean:
    case Verdict::kLeavesParts:
        break;
    }
    return AdviseOnRemoval(rehearsal);
}

Steps AdviseOnMachine(const Machine& machine, const MachineHealth& health) {
    if (!machine.gaps.empty()) {
        return AdviseOnGaps(machine);
    }
    const std::vector<Defect> defects = FindDefects(health);
    if (std::ranges::any_of(defects, &Defect::isOrphan)) {
        return AdviseOnOrphans();
    }
    Steps steps = AdviseOnDefects(defects);
    const bool hasBases = HasBase(health.catalog64) && HasBase(health.catalog32);
    if (!hasBases || (steps.empty() && HasDefects(health))) {
        return {kBackup, std::string("No removal repairs this: ") + kReset};
    }
    return steps;
}

std::string GapText(const Machine& machine) {
    if (machine.gaps.empty()) {
        return "";
    }
    return "Incomplete or damaged: " + Printable(machine.gaps.front()) + ". " +
           (machine.live
                ? "The catalogs of this machine are damaged; netsh winsock reset rebuilds them, after a "
                  "backup"
                : AdviseOnGaps(machine).front()) +
           "\n";
}
