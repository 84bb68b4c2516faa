#include "rehearsal/report/change_drawing.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "rehearsal/report/drawing.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/sections.h"

namespace {

using Texts = std::vector<std::string>;

// The lines of a catalog's entries that would be removed (-) or stop working (!).
Texts DrawChanges(const CatalogChange& change, size_t width) {
    const auto noNote = [](size_t) { return std::string(); };
    const auto removed = [&](size_t i) { return change.after.present[i] ? '\0' : '-'; };
    const auto broken = [&](size_t i) { return StopsWorking(change, i) ? '!' : '\0'; };
    const Catalog& entries = change.before.facts->entries;
    Texts lines = DrawEntries(entries, change.before.present, width, removed, noNote);
    const Texts more = DrawEntries(entries, change.after.present, width, broken, noNote);
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

// Removes from both lists the lines that they share, and returns these.
Texts TakeShared(Texts& in64, Texts& in32) {
    const std::set<std::string> known32(in32.begin(), in32.end());
    Texts shared;
    std::copy_if(in64.begin(), in64.end(), std::back_inserter(shared),
                 [&](const std::string& line) { return known32.contains(line); });
    const std::set<std::string> known(shared.begin(), shared.end());
    for (Texts* lines : {&in64, &in32}) {
        std::erase_if(*lines, [&](const std::string& line) { return known.contains(line); });
    }
    return shared;
}

} // namespace

std::string DrawAllChanges(const MachineChange& change) {
    const size_t width =
        NameWidth(change.catalog64.before.facts->entries, change.catalog32.before.facts->entries);
    Texts in64 = DrawChanges(change.catalog64, width);
    Texts in32 = DrawChanges(change.catalog32, width);
    const Texts shared = TakeShared(in64, in32);
    std::string text = in64.empty() && in32.empty() ? "" : "\n";
    for (const auto& [catalogs, lines] : {std::pair(NameOfCatalogs(true, true), &std::as_const(shared)),
                                          std::pair(NameOfCatalogs(true, false), &std::as_const(in64)),
                                          std::pair(NameOfCatalogs(false, true), &std::as_const(in32))}) {
        text += lines->empty() ? "" : (text.empty() ? ", " : "  ") + catalogs + "\n";
        for (const std::string& line : Shortened(*lines)) {
            text += line.ends_with('\n') ? line : "    " + line + "\n";
        }
    }
    return text.empty() ? "" : "\nEntries that would be removed (-) or stop working (!)" + text;
}
