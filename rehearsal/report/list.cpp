#include "rehearsal/report/list.h"

#include <algorithm>
#include <map>

#include "machine/text.h"
#include "rehearsal/defects.h"
#include "rehearsal/report/advice.h"
#include "rehearsal/report/change_drawing.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/sections.h"

namespace {

struct ListedLsp {
    const CatalogEntry* entry; // the first one
    bool in64 = false;
    bool in32 = false;
};

// The LSPs of both catalogs, by their provider ids, in the order of the catalogs.
std::vector<ListedLsp> CollectLsps(const Catalogs& catalogs) {
    std::vector<ListedLsp> lsps;
    std::map<GUID, size_t, GuidOrder> known;
    for (const Catalog* catalog : {&catalogs.catalog64, &catalogs.catalog32}) {
        for (const CatalogEntry& entry : *catalog) {
            if (!IsLsp(entry)) {
                continue;
            }
            const auto [place, isNew] = known.emplace(entry.info.ProviderId, lsps.size());
            if (isNew) {
                lsps.push_back({&entry});
            }
            (catalog == &catalogs.catalog32 ? lsps[place->second].in32 : lsps[place->second].in64) = true;
        }
    }
    return lsps;
}

// A line for each LSP: its name, its DLL name as it is typed, its folder, and the catalogs that have it.
std::vector<std::string> DescribeLsps(const Catalogs& catalogs) {
    std::vector<std::string> lines;
    for (const ListedLsp& lsp : CollectLsps(catalogs)) {
        const std::wstring& path = lsp.entry->path;
        const std::string name = NameOf(lsp.entry->info);
        lines.push_back((name.empty() ? "entry " + std::to_string(lsp.entry->info.dwCatalogEntryId) : name) +
                        ": " + (lsp.in64 ? Typed(FileNameForCommand(path)) : "(not found by the command)") +
                        " in " + Shown(FolderOf(path)) + ", " + NameOfCatalogs(lsp.in64, lsp.in32));
    }
    return lines.empty() ? std::vector<std::string>{"none"} : lines;
}

} // namespace

std::string ListText(const Machine& machine, const MachineHealth& health) {
    const size_t count = CountFaults(health.catalog64) + CountFaults(health.catalog32);
    return "The Winsock catalogs of " + Printable(machine.name) + "\n" +
           Section("LSPs, with the DLL name for the command, the folder and the catalogs",
                   DescribeLsps(machine.catalogs)) +
           DrawDefects(health) + Section("Warnings", machine.warnings) +
           Section("What to do", AdviseOnDefects(FindDefects(health))) +
           (count == 0 ? "\nAll entries work (exit code 0)\n"
                       : "\nEntries that do not work: " + std::to_string(count) + " (exit code 5)\n");
}
