#include "machine/change_drawing.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "machine/catalog_drawing.h"
#include "machine/defects.h"
#include "machine/text_sections.h"

namespace {

using Texts = std::vector<std::string>;

// The lines of a catalog's entries that would be removed (-) or stop working (!).
Texts DrawChanges(const CatalogChange& change, size_t width) {
    const auto noNote = [](size_t) { return std::string(); };
    const auto removed = [&](size_t i) { return change.remains[i] ? '\0' : '-'; };
    const auto broken = [&](size_t i) { return StopsWorking(change, i) ? '!' : '\0'; };
    Texts lines = DrawEntries(change.entries, Flags(change.entries.size(), true), width, removed, noNote);
    const Texts more = DrawEntries(change.entries, change.remains, width, broken, noNote);
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
    const size_t width = NameWidth(change.catalog64.entries, change.catalog32.entries);
    Texts in64 = DrawChanges(change.catalog64, width);
    Texts in32 = DrawChanges(change.catalog32, width);
    const Texts shared = TakeShared(in64, in32);
    std::string text;
    for (const auto& [catalogs, lines] : {std::pair("both catalogs", &std::as_const(shared)),
                                          std::pair("64-bit catalog", &std::as_const(in64)),
                                          std::pair("32-bit catalog", &std::as_const(in32))}) {
        text += lines->empty() ? ""
                               : std::string("\nEntries that would be removed (-) or stop working (!), ") +
                                     catalogs + "\n";
        for (const std::string& line : Shortened(*lines)) {
            text += line.ends_with('\n') ? line : "    " + line + "\n";
        }
    }
    return text;
}

std::string DrawDefects(const MachineChange& present) {
    const size_t width = NameWidth(present.catalog64.entries, present.catalog32.entries);
    std::string text;
    for (const CatalogChange* catalog : {&present.catalog64, &present.catalog32}) {
        const auto mark = [&](size_t i) { return catalog->worked[i] ? ' ' : '!'; };
        const auto note = [&](size_t i) {
            return catalog->worked[i] ? "" : "does not work: " + WhyNot(*catalog, i);
        };
        text += std::string("\n") + (catalog->is32 ? "32" : "64") +
                "-bit catalog: " + std::to_string(catalog->entries.size()) + " entries\n";
        for (const std::string& line : DrawEntries(catalog->entries, catalog->remains, width, mark, note)) {
            text += line;
        }
    }
    return text;
}
