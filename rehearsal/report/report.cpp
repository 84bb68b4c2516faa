#include "rehearsal/report/report.h"

#include <algorithm>
#include <set>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/report/advice.h"
#include "rehearsal/report/assumptions.h"
#include "rehearsal/report/change_drawing.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/defect_text.h"
#include "rehearsal/report/drawing.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/remainder_text.h"
#include "rehearsal/report/sections.h"

namespace {

using Texts = std::vector<std::string>;

// The products that the removed entries belong to.
Texts RemovedProducts(const MachineChange& change) {
    std::set<std::string> products;
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->before.present.size(); ++i) {
            if (!catalog->after.present[i]) {
                products.insert(NameOf(ProductOf(catalog->before, i)));
            }
        }
    }
    return {products.begin(), products.end()};
}

Texts DescribeRemoval(const Rehearsal& rehearsal) {
    const MachineChange& change = rehearsal.change;
    const size_t removed64 = CountRemoved(change.catalog64);
    const size_t removed32 = CountRemoved(change.catalog32);
    Texts lines;
    if (removed64 + removed32 > 0) {
        lines.push_back("Entries: " + std::to_string(removed64) + " of the 64-bit catalog, " +
                        std::to_string(removed32) + " of the 32-bit catalog, of " +
                        Joined(Shortened(RemovedProducts(change))));
    }
    if (rehearsal.run.file.deleted) {
        lines.push_back(
            CanBeFile(rehearsal.run.dllPath)
                ? "File " + Shown(rehearsal.run.dllPath) + " (at the next restart if it is in use)"
                : "Folder " + Shown(rehearsal.run.dllPath) + ", at the next restart, if it is empty");
    }
    if (removed64 + removed32 == 0) {
        lines.push_back("No entries, and no restart would be due");
    }
    if (!rehearsal.run.found && rehearsal.dllName.find_first_of(L"\\/:") != std::wstring::npos) {
        lines.push_back("The name has to be the file name of the DLL alone, without a folder");
    }
    return lines;
}

const char* HarmText(Harm harm) {
    switch (harm) {
    case Harm::kConnections:
        return "connect through it would fail";
    case Harm::kUse:
        return "use it would fail";
    case Harm::kBaseRemoved:
        return "use it would fail: this base provider would be removed, too";
    case Harm::kLspRemoved:
        return "use it would fail: it has the provider id of a removed entry, and would be removed, too";
    case Harm::kLookups:
        break;
    }
    return "look up names through it would fail: its file would be deleted";
}

Texts DescribeBroken(const std::vector<Broken>& broken) {
    Texts lines;
    for (const Broken& each : broken) {
        lines.push_back(NameOf(each.product) + ": " + NameOfPrograms(each.in64, each.in32) + " that " +
                        HarmText(each.harm));
    }
    return lines;
}

// The warnings of the reader, and the shared counts that the command does not find.
Texts DescribeWarnings(const Rehearsal& rehearsal) {
    Texts lines;
    for (const SharedCount& count : rehearsal.ignoredCounts) {
        lines.push_back(
            "SharedDLLs: " + count.path + " has the count " + std::to_string(count.count) +
            ". The command does not find it under this name or type, and deletes the file all the "
            "same");
    }
    lines.insert(lines.end(), rehearsal.machine.warnings.begin(), rehearsal.machine.warnings.end());
    return lines;
}

std::string DrawEverything(const Rehearsal& rehearsal) {
    std::string text = "\nThe catalogs before\n" + DrawCatalogs(rehearsal.machine.catalogs) +
                       "\nThe catalogs afterwards\n" + DrawCatalogs(rehearsal.run.after) +
                       "\nThe trace that the command would write\n\n";
    for (const std::string& message : rehearsal.run.trace) {
        text += Printable(message, L'\n') + "\n";
    }
    return text;
}

} // namespace

const char* VerdictText(Verdict verdict) {
    switch (verdict) {
    case Verdict::kClean:
        return "CLEAN";
    case Verdict::kNotFound:
        return "NOT FOUND";
    case Verdict::kLeavesParts:
        return "LEAVES PARTS";
    case Verdict::kBreaksNetworking:
        return "BREAKS NETWORKING";
    case Verdict::kCannotRemove:
        return "CANNOT REMOVE";
    case Verdict::kCannotTell:
        break;
    }
    return "CANNOT TELL";
}

std::string WriteReport(const Rehearsal& rehearsal, bool full) {
    const std::string verdict = VerdictText(rehearsal.verdict);
    const Machine& machine = rehearsal.machine;
    std::string text = verdict + ": " + SubjectFor(rehearsal.dllName) + ", on " + Printable(machine.name) +
                       "\n" + GapText(machine) + "Rehearsal: nothing was changed.\n";
    text += Section("Would be removed", DescribeRemoval(rehearsal));
    text += Section("Would stop working", DescribeBroken(rehearsal.broken));
    text += Section("Would remain", DescribeRemainders(rehearsal));
    text += Section("Does not work already", DescribeDefects(HealthBefore(rehearsal)));
    text += NumberedSection("What to do", Advise(rehearsal));
    text += Section("Assumptions", DescribeAssumptions(machine));
    text += Section("Incomplete or damaged", machine.gaps);
    text += Section("Warnings", DescribeWarnings(rehearsal));
    text += DrawAllChanges(rehearsal.change);
    text += full ? DrawEverything(rehearsal) : "";
    return text + "\n" + verdict + " (exit code " + std::to_string(static_cast<int>(rehearsal.verdict)) +
           ")\n";
}

std::string WriteBrief(const Rehearsal& rehearsal) {
    std::string text = Printable(rehearsal.machine.name) + "\t" + VerdictText(rehearsal.verdict);
    const MachineHealth before = HealthBefore(rehearsal);
    for (const size_t count :
         {CountRemoved(rehearsal.change.catalog64), CountRemoved(rehearsal.change.catalog32),
          rehearsal.remainders.size(), rehearsal.broken.size(),
          CountFaults(before.catalog64) + CountFaults(before.catalog32),
          DescribeWarnings(rehearsal).size() + rehearsal.machine.gaps.size()}) {
        text += "\t" + std::to_string(count);
    }
    return text + "\n";
}
