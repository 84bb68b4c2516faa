#include "findings.h"

#include <algorithm>
#include <set>

#include "common/text_conversion.h"
#include "lsp/provider_entries.h"
#include "dll_paths.h"
#include "names.h"

namespace {

// What the search works with.
struct Search {
    const Machine& machine;
    const Foreseen& foreseen;
    const std::string dllName; // in UTF-8
    Findings findings;
};

bool SameInOtherLetters(const std::string& a, const std::string& b) {
    return LowerCase(a) == LowerCase(b);
}

// "64-bit catalog: 1021 Filter over Example TCP (C:\filter.dll)"
std::string Title(const SimulatedEntry& entry, bool is32) {
    return std::string(is32 ? "32-bit" : "64-bit") +
           " catalog: " + std::to_string(entry.info.dwCatalogEntryId) + " " + NameOf(entry.info) + " (" +
           Shown(entry.path) + ")";
}

// The first entry with the GUID of another catalog's entry; null for none.
const SimulatedEntry* FindProvider(const SimulatedCatalog& catalog, const SimulatedEntry& wanted) {
    const auto found = std::find_if(catalog.begin(), catalog.end(), [&](const SimulatedEntry& entry) {
        return SameGuid(entry.info.ProviderId, wanted.info.ProviderId);
    });
    return found == catalog.end() ? nullptr : &*found;
}

void AddOnce(std::vector<std::string>& texts, const std::string& text) {
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) {
        texts.push_back(text);
    }
}

// Why a DLL that the command was given is not deleted; empty when there is no reason to tell.
std::string ReasonToStay(const Foreseen& foreseen) {
    if (foreseen.sharedCount > 1) {
        return "it has a shared count of " + std::to_string(foreseen.sharedCount) + ", which becomes " +
               std::to_string(foreseen.sharedCount - 1);
    }
    if (HasReference(foreseen.dllPath)) {
        return "its path has an environment reference";
    }
    if (!HasFolder(foreseen.dllPath)) {
        return "its path has no folder";
    }
    return IsInCodePage(foreseen.dllPath) ? "" : "its path is not in the code page";
}

void LookAtFile(Search& search) {
    const Foreseen& foreseen = search.foreseen;
    const std::string reason = ReasonToStay(foreseen);
    if (!foreseen.dllPath.empty() && !foreseen.fileGoes && !reason.empty()) {
        search.findings.leaves.push_back("The DLL stays, as " + reason + ": " + ToUtf8(foreseen.dllPath));
    }
    if (foreseen.fileGoes && foreseen.sharedCount == 0) {
        search.findings.leaves.push_back("A wrong shared count, 4294967295, stays for the DLL");
    }
}

// The LSP that a layered entry belongs to, by the first id of its chain; null for an orphan.
const SimulatedEntry* OwnerOf(const SimulatedEntry& layer, const SimulatedCatalog& catalog) {
    const auto found = std::find_if(catalog.begin(), catalog.end(), [&](const SimulatedEntry& entry) {
        return IsLayerOf(layer.info, entry.info.dwCatalogEntryId);
    });
    return found == catalog.end() ? nullptr : &*found;
}

// The same as words, with its DLL where that is another one.
std::string OwnerText(const SimulatedEntry& layer, const SimulatedCatalog& catalog) {
    const SimulatedEntry* owner = OwnerOf(layer, catalog);
    if (owner == nullptr) {
        return ", of no LSP,";
    }
    return ", of the LSP " + std::to_string(owner->info.dwCatalogEntryId) + " " + NameOf(owner->info) +
           (owner->path == layer.path ? "" : " (" + Shown(owner->path) + ")") + ",";
}

bool IsChain(const SimulatedEntry& entry) {
    return ChainLength(entry.info) >= PROTOCOL_CHAIN;
}

using Ids = std::set<DWORD>;

Ids IdsOf(const SimulatedCatalog& catalog) {
    Ids ids;
    for (const SimulatedEntry& entry : catalog) {
        ids.insert(entry.info.dwCatalogEntryId);
    }
    return ids;
}

// A chain that names ids that are gone: some of them since this removal, or all of them before it.
void LookAtChain(const SimulatedEntry& entry, const SimulatedCatalog& catalog, bool is32, const Ids& before,
                 const Ids& after, Search& search) {
    std::string named;
    bool goneNow = false;
    for (int i = 0; i < ChainLength(entry.info); ++i) {
        const DWORD id = entry.info.ProtocolChain.ChainEntries[i];
        goneNow = goneNow || (before.contains(id) && !after.contains(id));
        named += after.contains(id) ? "" : (named.empty() ? "" : ", ") + std::to_string(id);
    }
    if (IsChain(entry) && !named.empty()) {
        (goneNow ? search.findings.breaks : search.findings.already)
            .push_back(Title(entry, is32) + OwnerText(entry, catalog) + " names ids that are gone: " + named);
    }
}

// Why an LSP with that DLL name stays.
std::string ReasonOfName(const SimulatedEntry& entry, bool is32, const Search& search) {
    if (is32) {
        const SimulatedEntry* other = FindProvider(search.foreseen.after.catalog64, entry);
        return " stays: names are looked for in the 64-bit catalog alone" +
               (other == nullptr ? "" : ", which has it with the DLL " + Shown(other->path));
    }
    return search.foreseen.found && FileNameOf(ToUtf8(entry.path)) == search.dllName
               ? " stays: run the command until the name is not found"
               : " stays: the command does not find it, see the trace";
}

// An entry that stays, and whose DLL goes or has the name.
void LookAtDll(const SimulatedEntry& entry, const SimulatedCatalog& catalog, bool is32, Search& search) {
    const Foreseen& foreseen = search.foreseen;
    const std::string identity = FileIdentity(entry.path, is32);
    const bool losesFile = foreseen.fileGoes && identity == FileIdentity(foreseen.dllPath, false);
    if (losesFile) {
        search.findings.breaks.push_back(Title(entry, is32) +
                                         (IsChain(entry) ? OwnerText(entry, catalog) : "") +
                                         " has the DLL that is deleted");
    }
    if (!IsKind(entry.info, LAYERED_PROTOCOL) || entry.path.empty()) {
        return;
    }
    std::string path = ToUtf8(entry.path);
    std::replace(path.begin(), path.end(), '/', '\\'); // other programs take both
    const std::string file = FileNameOf(path);
    if (file == search.dllName) {
        search.findings.leaves.push_back(Title(entry, is32) + ReasonOfName(entry, is32, search));
    } else if (SameInOtherLetters(file, search.dllName) && foreseen.fileGoes && !losesFile) {
        search.findings.leaves.push_back(Title(entry, is32) +
                                         " stays, and can have the deleted file under another path");
    } else if (SameInOtherLetters(file, search.dllName) && !losesFile) {
        search.findings.hints.push_back(Title(entry, is32));
    } else if (is32 && foreseen.found && !losesFile &&
               FindProvider(search.machine.state.catalog64, entry) == nullptr) {
        search.findings.leaves.push_back(Title(entry, is32) + " stays: only the 32-bit catalog has it");
    }
}

// An entry that goes: a base provider, another LSP, one of an LSP that stays, or one with another DLL.
void LookAtGone(const SimulatedEntry& entry, const Ids& staying, bool is32, Search& search) {
    const DWORD owner = entry.info.ProtocolChain.ChainEntries[0];
    const std::string file = FileIdentity(entry.path, is32);
    const bool isOther = !file.empty() && file != FileIdentity(search.foreseen.dllPath, false);
    if (IsKind(entry.info, BASE_PROTOCOL)) {
        search.findings.breaks.push_back(Title(entry, is32) +
                                         " goes, too: a base provider with the GUID of an entry that is "
                                         "removed; only the reset brings it back");
    } else if (IsKind(entry.info, LAYERED_PROTOCOL) && isOther && !is32) {
        search.findings.breaks.push_back(Title(entry, is32) +
                                         " goes, too: an LSP with the GUID of an entry that is removed");
    } else if (IsChain(entry) && staying.contains(owner)) {
        search.findings.breaks.push_back(Title(entry, is32) + " goes, too, and its LSP " +
                                         std::to_string(owner) + " stays");
    } else if (isOther) {
        AddOnce(search.findings.leaves, (is32 ? "The DLL of the 32-bit half stays on the disk: "
                                              : "The DLL of a removed entry stays on the disk: ") +
                                            file);
    }
}

// A chain entry that stays although its LSP is gone, with the DLL that is looked for, or while orphans are.
void LookAtOrphan(const SimulatedEntry& entry, const SimulatedCatalog& catalog, bool is32, Search& search) {
    const bool isMeant = search.dllName.empty() || FileNameOf(ToUtf8(entry.path)) == search.dllName;
    if (IsChain(entry) && OwnerOf(entry, catalog) == nullptr && isMeant) {
        search.findings.leaves.push_back(
            Title(entry, is32) + " stays, and belongs to no LSP" +
            (is32 ? ": those of the 32-bit catalog go only with one of the same GUID in the 64-bit catalog"
                  : ": \"remove lsp \"\"\" takes such entries out"));
    }
}

// Returns the number of entries that go.
size_t LookAtCatalog(const SimulatedCatalog& before, const SimulatedCatalog& after, bool is32,
                     Search& search) {
    const Ids idsBefore = IdsOf(before);
    const Ids idsAfter = IdsOf(after);
    for (const SimulatedEntry& entry : after) {
        LookAtChain(entry, after, is32, idsBefore, idsAfter, search);
        LookAtDll(entry, after, is32, search);
        LookAtOrphan(entry, after, is32, search);
    }
    for (const SimulatedEntry& entry : before) {
        if (!idsAfter.contains(entry.info.dwCatalogEntryId)) {
            LookAtGone(entry, idsAfter, is32, search);
        }
    }
    return before.size() - after.size();
}

} // namespace

const char* VerdictText(Verdict verdict) {
    switch (verdict) {
    case Verdict::kClean:
        return "CLEAN";
    case Verdict::kNothingToDo:
        return "NOTHING TO DO";
    case Verdict::kLeavesWork:
        return "LEAVES WORK";
    case Verdict::kBreaksOthers:
        return "BREAKS OTHERS";
    }
    return "";
}

Findings FindConsequences(const Machine& machine, const Foreseen& foreseen, const std::string& dllName) {
    Search search = {machine, foreseen, FromAnsi(dllName), {}};
    LookAtFile(search);
    search.findings.gone64 = LookAtCatalog(machine.state.catalog64, foreseen.after.catalog64, false, search);
    search.findings.gone32 = LookAtCatalog(machine.state.catalog32, foreseen.after.catalog32, true, search);
    for (auto [name, path] : machine.namespaces) {
        std::replace(path.begin(), path.end(), '/', '\\');
        if (!dllName.empty() && SameInOtherLetters(FileNameOf(path), search.dllName)) {
            AddOnce(search.findings.leaves, "The namespace provider \"" + name + "\" names the DLL: " + path +
                                                (foreseen.fileGoes ? "; name look-ups fail without it" : ""));
        }
    }
    if (machine.incomplete) {
        search.findings.leaves.push_back("Not all of this machine could be read: see the warnings");
    }
    search.findings.verdict = !search.findings.breaks.empty()   ? Verdict::kBreaksOthers
                              : !search.findings.leaves.empty() ? Verdict::kLeavesWork
                              : foreseen.found                  ? Verdict::kClean
                                                                : Verdict::kNothingToDo;
    return search.findings;
}
