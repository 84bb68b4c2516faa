#include "rehearsal/report/list.h"

#include <algorithm>

#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "rehearsal/defects.h"
#include "rehearsal/report/advice.h"
#include "rehearsal/report/assumptions.h"
#include "rehearsal/report/command_text.h"
#include "rehearsal/report/defect_text.h"
#include "rehearsal/report/machine_drawing.h"
#include "rehearsal/report/names.h"
#include "rehearsal/report/sections.h"

namespace {

using Texts = std::vector<std::string>;

struct ListedLsp {
    const CatalogEntry* in64 = nullptr; // its hidden entry in each catalog; null where that lacks it
    const CatalogEntry* in32 = nullptr;
};

// The LSPs of both catalogs, by their provider ids, in the order of the catalogs.
std::vector<ListedLsp> CollectLsps(const Catalogs& catalogs) {
    std::vector<ListedLsp> lsps;
    for (const Catalog* catalog : {&catalogs.catalog64, &catalogs.catalog32}) {
        for (const CatalogEntry& entry : *catalog) {
            if (!IsLsp(entry)) {
                continue;
            }
            auto lsp = std::ranges::find_if(lsps, [&](const ListedLsp& each) {
                return SameGuid((each.in64 != nullptr ? each.in64 : each.in32)->info.ProviderId,
                                entry.info.ProviderId);
            });
            if (lsp == lsps.end()) {
                lsps.emplace_back();
                lsp = lsps.end() - 1;
            }
            const CatalogEntry*& side = catalog == &catalogs.catalog64 ? lsp->in64 : lsp->in32;
            side = side == nullptr ? &entry : side;
        }
    }
    return lsps;
}

std::string NameOfLsp(const CatalogEntry& entry) {
    const std::string name = NameOf(entry.info);
    return name.empty() ? "entry " + std::to_string(entry.info.dwCatalogEntryId) : name;
}

// "Guard: guardlsp.dll in C:\g, both catalogs"
std::string DescribeLsp(const ListedLsp& lsp) {
    const CatalogEntry& entry = lsp.in64 != nullptr ? *lsp.in64 : *lsp.in32;
    const std::wstring name = FileNameForCommand(entry.path);
    const std::wstring other = lsp.in32 != nullptr ? FileNameForCommand(lsp.in32->path) : name;
    const bool hasFolder = FolderOf(entry.path) != entry.path && !FolderOf(entry.path).empty();
    return NameOfLsp(entry) + (lsp.in64 == nullptr ? " (not found by the command)" : "") + ": " +
           Typed(name) + (hasFolder ? " in " + Shown(FolderOf(entry.path)) : "") +
           (other != name ? ", for 32-bit programs " + Typed(other) : "") + ", " +
           NameOfCatalogs(lsp.in64 != nullptr, lsp.in32 != nullptr);
}

Texts DescribeLsps(const Machine& machine) {
    Texts lines;
    for (const ListedLsp& lsp : CollectLsps(machine.catalogs)) {
        lines.push_back(DescribeLsp(lsp));
    }
    if (lines.empty()) {
        lines.push_back(machine.gaps.empty() ? "none" : "none in what could be read");
    }
    return lines;
}

size_t CountAllFaults(const MachineHealth& health) {
    return CountFaults(health.catalog64) + CountFaults(health.catalog32);
}

// The answer in words.
std::string AnswerText(const Machine& machine, const MachineHealth& health) {
    switch (JudgeMachine(machine, health)) {
    case Soundness::kCannotTell:
        return "CANNOT TELL";
    case Soundness::kDefect:
        return CountAllFaults(health) == 0
                   ? "A catalog has no base provider"
                   : "Entries that do not work: " + std::to_string(CountAllFaults(health));
    case Soundness::kSound:
        break;
    }
    return machine.live ? "All entries work" : "No fault in the catalogs";
}

std::string ExitCodeText(Soundness soundness) {
    return " (exit code " + std::to_string(static_cast<int>(soundness)) + ")\n";
}

} // namespace

Soundness JudgeMachine(const Machine& machine, const MachineHealth& health) {
    if (!machine.gaps.empty()) {
        return Soundness::kCannotTell;
    }
    return HasDefects(health) ? Soundness::kDefect : Soundness::kSound;
}

std::string ListText(const Machine& machine, const MachineHealth& health, bool full) {
    const std::string answer = AnswerText(machine, health);
    return answer + ": the Winsock catalogs of " + Printable(machine.name) + "\n" + GapText(machine) +
           Section("LSPs: name, DLL name for the command, folder, catalogs", DescribeLsps(machine)) +
           Section("Does not work", DescribeDefects(health)) + DrawMachine(health, full) +
           NumberedSection("What to do", AdviseOnMachine(machine, health)) +
           Section("Assumptions", DescribeAssumptions(machine)) +
           Section("Incomplete or damaged", machine.gaps) + Section("Warnings", machine.warnings) +
           (machine.live ? "" : "\nNot checked: whether the files exist\n") + "\n" + answer +
           ExitCodeText(JudgeMachine(machine, health));
}

std::string BriefListText(const Machine& machine, const MachineHealth& health) {
    Texts lsps;
    for (const ListedLsp& lsp : CollectLsps(machine.catalogs)) {
        lsps.push_back(NameOf(ProductOfEntry(lsp.in64 != nullptr ? *lsp.in64 : *lsp.in32)));
    }
    const Texts columns = {Printable(machine.name),
                           std::to_string(static_cast<int>(JudgeMachine(machine, health))),
                           Joined(Shortened(lsps)),
                           std::to_string(CountFaults(health.catalog64)),
                           std::to_string(CountFaults(health.catalog32)),
                           std::to_string(machine.warnings.size() + machine.gaps.size())};
    return Joined(columns, "\t") + "\n";
}
