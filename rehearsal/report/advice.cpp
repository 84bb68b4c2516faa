#include "rehearsal/report/advice.h"

#include <algorithm>

#include "machine/text.h"
#include "rehearsal/defects.h"
#include "rehearsal/removal_order.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/sections.h"

namespace {

constexpr char kIndent[] = "\n       ";
constexpr char kUninstallRest[] = "Uninstall the rest of the product with its own uninstaller";

// A command for each of the files, on lines of their own.
std::string CommandsFor(const std::string& what, const std::string& command,
                        const std::vector<std::wstring>& files) {
    std::vector<std::string> lines;
    lines.reserve(files.size());
    for (const std::wstring& file : files) {
        lines.push_back(CanBeTyped(file) ? command + " \"" + Shown(file) + "\""
                                         : Shown(file) + " (This name cannot be typed: use the Explorer.)");
    }
    std::string text = what;
    for (const std::string& line : Shortened(lines)) {
        text += kIndent + line;
    }
    return text;
}

void AddCopies(const std::vector<std::wstring>& files, Steps& steps) {
    if (!files.empty()) {
        steps.push_back(CommandsFor("Copy what is deleted into the current folder:", "copy", files));
    }
}

// The products of the runs, in their order, each once.
std::vector<std::string> ProductsOf(const std::vector<RemovalRun>& runs) {
    std::vector<std::string> names;
    for (const RemovalRun& run : runs) {
        for (const Product& product : run.products) {
            if (std::ranges::find(names, NameOf(product)) == names.end()) {
                names.push_back(NameOf(product));
            }
        }
    }
    return Shortened(names);
}

Steps AdviseOnOrder(const Rehearsal& rehearsal, const std::vector<RemovalRun>& runs) {
    Steps steps = {kBackup};
    std::vector<std::wstring> files;
    std::string commands = "Where that is not possible, run in an elevated console, in this order:";
    for (const RemovalRun& run : runs) {
        commands += kIndent + CommandFor(kRemoveCommand, run.dllName);
        if (!run.deletedFile.empty() && std::ranges::find(files, run.deletedFile) == files.end()) {
            files.push_back(run.deletedFile);
        }
    }
    AddCopies(files, steps);
    std::vector<std::string> others = ProductsOf(runs);
    steps.push_back("Uninstall these products with their own uninstallers, in this order: " + Joined(others));
    steps.push_back(commands);
    steps.push_back(kCheck);
    if (rehearsal.run.target) {
        std::erase(others, NameOf(ProductOfEntry(*rehearsal.run.target)));
    }
    if (!others.empty()) {
        steps.push_back("Reinstall these products if they are still wanted: " + Joined(others));
    }
    return steps;
}

std::string WhyNoOrder(const RemovalOrder& order) {
    switch (order.search) {
    case OrderSearch::kOnly32:
        return ": only the 32-bit catalog has " + NameOf(order.inTheWay);
    case OrderSearch::kGivenUp:
        return " within 50 runs and the time for the search";
    case OrderSearch::kNone:
    case OrderSearch::kFound:
        break;
    }
    return "";
}

Steps AdviseOnBroken(const Rehearsal& rehearsal) {
    const RemovalOrder order = FindRemovalOrder(rehearsal);
    if (order.search == OrderSearch::kFound) {
        return AdviseOnOrder(rehearsal, order.runs);
    }
    return {"Do not run the command: no safe order of removals was found" + WhyNoOrder(order), kBackup,
            "Uninstall the products with their own uninstallers",
            std::string("Where that is not possible: ") + kReset};
}

// What to do about what remains after the command.
void AdviseOnRemainders(const Rehearsal& rehearsal, Steps& steps) {
    std::vector<std::wstring> files;
    bool more = false;
    bool again = false;
    for (const Remainder& remainder : rehearsal.remainders) {
        if (remainder.deletable) {
            files.push_back(remainder.opened);
        }
        again = again || remainder.byRunningAgain;
        more = more || (!remainder.deletable && !remainder.inUse && !remainder.byRunningAgain &&
                        remainder.kind != RemainderKind::kSharedCount);
    }
    if (again) {
        steps.push_back("Rehearse again, for the next LSP with this name: " +
                        CommandFor(kRehearseCommand, rehearsal.dllName));
    }
    if (!files.empty()) {
        steps.push_back(CommandsFor("After the restart, delete by hand:", "del", files));
    }
    if (more) {
        steps.push_back(kUninstallRest);
    }
}

Steps AdviseOnRemoval(const Rehearsal& rehearsal) {
    Steps steps = {kBackup};
    if (rehearsal.run.file.deleted) {
        AddCopies({OpenedPath(rehearsal.run.dllPath, rehearsal.machine.folders, false)}, steps);
    }
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
            "If the same is missing again, run norvane64-rehearse on that machine"};
}

} // namespace

Steps Advise(const Rehearsal& rehearsal) {
    switch (rehearsal.verdict) {
    case Verdict::kCannotTell:
        return AdviseOnGaps(rehearsal.machine);
    case Verdict::kNotFound:
        return {SuggestNames(rehearsal.machine.catalogs, rehearsal.dllName)};
    case Verdict::kCannotRemove:
        return {"The command cannot remove it. Uninstall the product with its own uninstaller", kBackup,
                std::string("Where there is no uninstaller: ") + kReset};
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
        return {"Rehearse the removal of the layered entries without an LSP: " +
                CommandFor(kRehearseCommand, L"")};
    }
    Steps steps;
    for (const Defect& defect : defects) {
        if (!defect.dllName.empty()) {
            steps.push_back("Reinstall " + NameOf(defect.product) +
                            ", or rehearse its removal: " + CommandFor(kRehearseCommand, defect.dllName));
        }
    }
    if (steps.empty() && HasDefects(health)) {
        return {kBackup, std::string("No removal repairs this: ") + kReset};
    }
    return steps;
}

std::string GapText(const Machine& machine) {
    if (machine.gaps.empty()) {
        return "";
    }
    return "Missing: " + Printable(machine.gaps.front()) + ". " +
           (machine.live
                ? "The catalogs of this machine are damaged; netsh winsock reset rebuilds them, after a "
                  "backup"
                : AdviseOnGaps(machine).front()) +
           "\n";
}
