#include "machine/defects.h"

#include <algorithm>
#include <set>

#include "lsp/provider_entries.h"
#include "machine/entry_names.h"
#include "machine/lsp_list.h"
#include "machine/text_sections.h"
#include "machine/utf8_text.h"

namespace {

// The DLL name by which the command finds the LSP of an entry.
std::string RemovableBy(const MachineChange& present, const CatalogChange& change, size_t i) {
    const size_t owner = FindOwner(change.entries, change.entries[i]);
    const SimulatedEntry& lsp = change.entries[owner == change.entries.size() ? i : owner];
    const SimulatedEntry* in64 = FindProvider(present.catalog64.entries, lsp.info.ProviderId);
    return in64 != nullptr && IsKind(in64->info, LAYERED_PROTOCOL) ? DllNameOf(*in64) : "";
}

// Whether the command finds a layered entry without an LSP. It looks in the 64-bit catalog, for those whose
// first id no other entry has.
bool IsFoundAsOrphan(const CatalogChange& present64, const GUID& id) {
    const IdCounts& ids = present64.ids;
    return std::any_of(present64.entries.begin(), present64.entries.end(), [&](const SimulatedEntry& entry) {
        const DWORD first = entry.info.ProtocolChain.ChainEntries[0];
        const auto found = ids.find(first);
        return SameGuid(entry.info.ProviderId, id) && IsKind(entry.info, PROTOCOL_CHAIN) &&
               (found == ids.end() || found->second == (first == entry.info.dwCatalogEntryId ? 1 : 0));
    });
}

std::vector<Defect> DefectsOf(const MachineChange& present, const CatalogChange& change) {
    std::vector<Defect> defects;
    for (size_t i = 0; i < change.entries.size(); ++i) {
        if (change.worked[i]) {
            continue;
        }
        const SimulatedEntry& entry = change.entries[i];
        const bool layered = IsKind(entry.info, PROTOCOL_CHAIN);
        const bool orphan = layered && FindOwner(change.entries, entry) == change.entries.size();
        const std::string product = ProductOf(change.entries, entry);
        defects.push_back(
            {TitleOf(entry.info) + (layered && !orphan ? ", of " + product : "") + ": " + WhyNot(change, i),
             RemovableBy(present, change, i),
             orphan && IsFoundAsOrphan(present.catalog64, entry.info.ProviderId)});
    }
    return defects;
}

std::set<std::string> TextsOf(const std::vector<Defect>& defects) {
    std::set<std::string> texts;
    for (const Defect& defect : defects) {
        texts.insert(defect.text);
    }
    return texts;
}

} // namespace

std::string WhyNot(const CatalogChange& change, size_t i) {
    return WhyNotWorking(change.entries, i, change.ids, change.hadFile, change.worked);
}

std::vector<Defect> FindDefects(const MachineChange& present) {
    const std::vector<Defect> in64 = DefectsOf(present, present.catalog64);
    const std::vector<Defect> in32 = DefectsOf(present, present.catalog32);
    const std::set<std::string> texts64 = TextsOf(in64);
    const std::set<std::string> texts32 = TextsOf(in32);
    std::vector<Defect> all;
    for (Defect defect : in64) {
        defect.text = Catalogs(true, texts32.contains(defect.text)) + ": " + defect.text;
        all.push_back(defect);
    }
    for (Defect defect : in32) {
        if (!texts64.contains(defect.text)) {
            defect.text = Catalogs(false, true) + ": " + defect.text;
            all.push_back(defect);
        }
    }
    return all;
}

size_t CountDefects(const MachineChange& present) {
    const auto count = [](const Flags& worked) { return std::count(worked.begin(), worked.end(), false); };
    return static_cast<size_t>(count(present.catalog64.worked) + count(present.catalog32.worked));
}

std::vector<std::string> AdviseOnDefects(const std::vector<Defect>& defects) {
    std::set<std::string> names;
    bool orphans = false;
    bool others = false;
    for (const Defect& defect : defects) {
        orphans = orphans || defect.isOrphan;
        others = others || (!defect.isOrphan && defect.dllName.empty());
        if (!defect.isOrphan && !defect.dllName.empty()) {
            names.insert(defect.dllName);
        }
    }
    std::vector<std::string> advice;
    advice.reserve(names.size() + 2);
    for (const std::string& name : names) {
        advice.push_back("Reinstall the product of " + Printable(name) +
                         ", or rehearse its removal: norvane64-rehearse lsp " + Typed(name));
    }
    if (orphans) {
        advice.push_back(
            "Rehearse the removal of the layered entries without an LSP: norvane64-rehearse lsp \"\" (in "
            "PowerShell '\"\"')");
    }
    if (others) {
        advice.push_back("The command cannot repair every entry: \"netsh winsock reset\" and a restart "
                         "remove all LSPs and "
                         "rebuild the catalogs");
    }
    return advice;
}
