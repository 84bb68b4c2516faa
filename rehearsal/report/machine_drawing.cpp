#include "rehearsal/report/machine_drawing.h"

#include <algorithm>
#include <vector>

#include "rehearsal/report/defect_text.h"
#include "rehearsal/report/drawing.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/sections.h"

namespace {

// The lines of a catalog. Of a long one those with a mark come first, and the rest is cut.
std::string DrawCatalog(const CatalogHealth& health, size_t width, bool full) {
    const CatalogFacts& facts = *health.facts;
    const auto mark = [&](size_t i) {
        const char plain = full || !IsBase(facts.entries[i]) ? ' ' : '\0';
        return health.works[i] ? plain : '!';
    };
    size_t reasons = 0; // which take time
    const auto note = [&](size_t i) {
        const bool shown = !health.works[i] && (full || reasons++ < kMostLines);
        return shown ? "does not work: " + ReasonText(FindFault(health, i)) : "";
    };
    std::vector<std::string> lines = DrawEntries(facts.entries, health.present, width, mark, note);
    if (!full && lines.size() > kMostLines) {
        std::stable_partition(lines.begin(), lines.end(),
                              [](const std::string& line) { return line[2] == '!'; });
        lines = Shortened(lines);
        lines.back() = "    " + lines.back() + "; --full shows all\n";
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line;
    }
    return text;
}

} // namespace

std::string DrawMachine(const MachineHealth& health, bool full) {
    const size_t width = NameWidth(health.catalog64.facts->entries, health.catalog32.facts->entries);
    std::string text;
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        text += "\n" + NameOfCatalogs(!catalog->facts->is32, catalog->facts->is32) + ": " +
                std::to_string(catalog->present.size()) + " entries\n" + DrawCatalog(*catalog, width, full);
    }
    return text;
}
