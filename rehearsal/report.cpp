#include "rehearsal/report.h"

#include <algorithm>
#include <set>
#include <utility>

#include "machine/assumptions.h"
#include "machine/catalog_drawing.h"
#include "machine/change_drawing.h"
#include "machine/defects.h"
#include "machine/lsp_list.h"
#include "machine/text_sections.h"
#include "machine/utf8_text.h"
#include "rehearsal/advice.h"

namespace {

using Texts = std::vector<std::string>;

Texts DescribeRemoval(const Rehearsal& rehearsal) {
    const MachineChange& change = rehearsal.change;
    const size_t removed64 = CountRemoved(change.catalog64);
    const size_t removed32 = CountRemoved(change.catalog32);
    Texts lines;
    if (removed64 + removed32 > 0) {
        const std::set<std::string> products = RemovedProducts(change);
        lines.push_back("Entries: " + std::to_string(removed64) + " of the 64-bit catalog, " +
                        std::to_string(removed32) + " of the 32-bit catalog, of " +
                        Joined({products.begin(), products.end()}));
    }
    if (rehearsal.foreseen.fileDeleted) {
        lines.push_back("File " + Shown(rehearsal.foreseen.dllPath) +
                        " (at the next restart if it is in use)");
    }
    lines.push_back(removed64 + removed32 > 0
                        ? "A restart would be due: running programs keep the old catalogs"
                        : "Nothing, and no restart would be due");
    if (!rehearsal.foreseen.found && FromAnsi(rehearsal.dllName).find_first_of("\\/:") != std::string::npos) {
        lines.push_back("The name has to be the file name of the DLL alone, without a folder");
    }
    return lines;
}

Texts DescribeBroken(const std::vector<Broken>& broken) {
    Texts lines;
    for (const Broken& each : broken) {
        lines.push_back(each.product + ": " + Programs(each.in64, each.in32) + " that " + each.notice);
    }
    return Shortened(lines);
}

// The texts of findings, a line each.
template <class T> Texts TextsOf(const std::vector<T>& findings) {
    Texts lines;
    for (const T& finding : findings) {
        lines.push_back(finding.text);
    }
    return Shortened(lines);
}

std::string DrawEverything(const Rehearsal& rehearsal) {
    std::string text = "\nThe catalogs before\n" + DrawCatalogs(rehearsal.machine.state) +
                       "\nThe catalogs afterwards\n" + DrawCatalogs(rehearsal.foreseen.after) +
                       "\nThe trace that the command would write\n\n";
    for (const std::string& message : rehearsal.foreseen.trace) {
        text += Printable(message, L'\n') + "\n";
    }
    return text;
}

} // namespace

std::string WriteReport(const Rehearsal& rehearsal, bool full) {
    const std::string verdict = VerdictText(rehearsal.verdict);
    const std::vector<Defect> defects = FindDefects(FindNoChange(rehearsal.machine));
    std::string text = "Rehearsal: nothing was changed.\n" + verdict + ": norvane64 remove lsp " +
                       Typed(FromAnsi(rehearsal.dllName)) + ", on " + Printable(rehearsal.machine.name) +
                       "\n";
    text += Section("Would be removed", DescribeRemoval(rehearsal));
    text += Section("Would stop working", DescribeBroken(rehearsal.broken));
    text += Section("Would remain", TextsOf(rehearsal.remainders));
    text += Section("Does not work already", TextsOf(defects));
    std::vector<std::string> advice = Advise(rehearsal);
    const std::vector<std::string> more = AdviseOnDefects(defects);
    advice.insert(advice.end(), more.begin(), more.end());
    text += NumberedSection("What to do", advice);
    text += Section("Assumptions", DescribeAssumptions(rehearsal.machine));
    text += Section("Warnings", Shortened(rehearsal.machine.warnings));
    text += DrawAllChanges(rehearsal.change);
    text += full ? DrawEverything(rehearsal) : "";
    return text + "\n" + verdict + " (exit code " + std::to_string(static_cast<int>(rehearsal.verdict)) +
           ")\n";
}

std::string WriteBrief(const Rehearsal& rehearsal) {
    std::string text = Printable(rehearsal.machine.name) + "\t" + VerdictText(rehearsal.verdict);
    for (const size_t count :
         {CountRemoved(rehearsal.change.catalog64), CountRemoved(rehearsal.change.catalog32),
          rehearsal.remainders.size(), rehearsal.broken.size(), CountDefects(FindNoChange(rehearsal.machine)),
          rehearsal.machine.warnings.size()}) {
        text += "\t" + std::to_string(count);
    }
    return text + "\n";
}
