#include "rehearsal/findings.h"

#include <algorithm>
#include <set>

#include "common/file_name.h"
#include "common/text_conversion.h"
#include "lsp/provider_entries.h"
#include "machine/utf8_text.h"
#include "rehearsal/dll_paths.h"

namespace {

using Texts = std::vector<std::string>;
using Ids = std::set<DWORD>;

// One catalog before and after, and what it is looked at for.
struct CatalogChange {
    bool is32;
    const SimulatedCatalog& before;
    const SimulatedCatalog& after;
    const Foreseen& foreseen;
    const std::string dllName;     // in UTF-8
    const std::string deletedFile; // as FileIdentity has it; empty when none is deleted
    Ids idsBefore;
    Ids idsAfter;
    Ids broken; // entries whose way down, or DLL, goes with this removal
};

Ids IdsOf(const SimulatedCatalog& catalog) {
    Ids ids;
    for (const SimulatedEntry& entry : catalog) {
        ids.insert(entry.info.dwCatalogEntryId);
    }
    return ids;
}

void AddOnce(Texts& texts, const std::string& text) {
    std::erase(texts, text);
    texts.push_back(text);
}

// The first entry that passes a test; null for none.
const SimulatedEntry* FirstOf(const SimulatedCatalog& catalog, auto passes) {
    const auto found = std::find_if(catalog.begin(), catalog.end(), passes);
    return found == catalog.end() ? nullptr : &*found;
}

// The first entry with the GUID of another catalog's entry.
const SimulatedEntry* FindProvider(const SimulatedCatalog& catalog, const SimulatedEntry& wanted) {
    return FirstOf(catalog, [&](const SimulatedEntry& entry) {
        return SameGuid(entry.info.ProviderId, wanted.info.ProviderId);
    });
}

// The LSP that a layered entry belongs to, by the first id of its chain; null for an orphan, and for other entries.
const SimulatedEntry* OwnerOf(const SimulatedEntry& layer, const SimulatedCatalog& catalog) {
    return FirstOf(catalog, [&](auto& each) { return IsLayerOf(layer.info, each.info.dwCatalogEntryId); });
}

// "64-bit catalog: 1021 Filter over TCP (C:\a.dll), of the LSP 1020 Filter,": that LSP with its DLL where it is another one.
std::string Title(const SimulatedEntry& entry, const CatalogChange& change) {
    const SimulatedEntry* owner = OwnerOf(entry, change.after);
    std::string title = (change.is32 ? "32-bit catalog: " : "64-bit catalog: ") +
                        std::to_string(entry.info.dwCatalogEntryId) + " " + NameOf(entry.info) + " (" +
                        Shown(entry.path) + ")";
    if (owner != nullptr) {
        title += ", of the LSP " + std::to_string(owner->info.dwCatalogEntryId) + " " + NameOf(owner->info) +
                 (owner->path == entry.path ? "" : " (" + Shown(owner->path) + ")") + ",";
    }
    return title;
}

// An entry of an LSP, whose chain can name ids that are gone: some of them since this removal, or all of them before it.
void LookAtChain(const SimulatedEntry& entry, CatalogChange& change, Findings& findings) {
    std::string named;
    bool goneNow = false;
    for (int i = 0; i < ChainLength(entry.info); ++i) {
        const DWORD id = entry.info.ProtocolChain.ChainEntries[i];
        goneNow = goneNow || (change.idsBefore.contains(id) && !change.idsAfter.contains(id));
        named +=
            id == 0 || change.idsAfter.contains(id) ? "" : (named.empty() ? "" : ", ") + std::to_string(id);
    }
    if (goneNow) {
        change.broken.insert(entry.info.dwCatalogEntryId);
    }
    if (!named.empty()) {
        (goneNow ? findings.breaks : findings.already)
            .push_back(Title(entry, change) + " names ids that are gone: " + named);
    }
}

// A layered entry that has no LSP. It matters when its LSP goes, when it has the DLL, and when orphans are looked for.
void LookAtOrphan(const SimulatedEntry& entry, const CatalogChange& change, Findings& findings) {
    const bool matters = OwnerOf(entry, change.before) != nullptr || change.dllName.empty() ||
                         FileNameOf(ToUtf8(entry.path)) == change.dllName;
    Texts& texts = matters ? findings.leaves : findings.already;
    texts.push_back(Title(entry, change) + " stays, and belongs to no LSP" +
                    (change.is32 ? ": it goes only with an entry of the same GUID in the 64-bit catalog"
                                 : ": rehearse \"lsp \"\"\", which takes such entries out"));
}

// The LSP of the 64-bit catalog by whose DLL name a further run removes this one; null for none.
const SimulatedEntry* FindByName(const SimulatedEntry& entry, const CatalogChange& change) {
    const SimulatedEntry* lsp = FindProvider(change.foreseen.after.catalog64, entry);
    const bool found = lsp != nullptr && IsKind(lsp->info, LAYERED_PROTOCOL);
    return found && FileNameOf(ToUtf8(lsp->path)).find('/') == std::string::npos ? lsp : nullptr;
}

// An entry that stays and whose DLL is deleted. An LSP that a further run removes is only work that is left; until then, what
// lies over it is broken all the same.
void LookAtLost(const SimulatedEntry& entry, CatalogChange& change, Findings& findings) {
    const SimulatedEntry* owner = OwnerOf(entry, change.after);
    const SimulatedEntry* lsp = FindByName(owner == nullptr ? entry : *owner, change);
    change.broken.insert(entry.info.dwCatalogEntryId);
    if (lsp == nullptr || FileIdentity(lsp->path, false) != change.deletedFile) {
        findings.breaks.push_back(Title(entry, change) + " has the DLL that is deleted");
    } else if (owner == nullptr) {
        findings.leaves.push_back(Title(entry, change) + " stays without its DLL: run the command for " +
                                  FileNameOf(ToUtf8(lsp->path)) + ", too");
    }
}

// Why an LSP with the name that was given stays.
std::string ReasonOfName(const SimulatedEntry& entry, const CatalogChange& change) {
    const SimulatedEntry* lsp = FindByName(entry, change);
    if (change.foreseen.found && lsp != nullptr && FileNameOf(ToUtf8(lsp->path)) == change.dllName) {
        return " stays: run the command until the name is not found";
    }
    if (change.is32) {
        const SimulatedEntry* other = FindProvider(change.foreseen.after.catalog64, entry);
        return " stays: names are looked for in the 64-bit catalog alone" +
               (other == nullptr ? "" : ", which has it with the DLL " + Shown(other->path));
    }
    return " stays: the command does not find it, see the trace";
}

// An LSP that stays and keeps its DLL.
void LookAtLsp(const SimulatedEntry& entry, const CatalogChange& change, Findings& findings) {
    std::string path = ToUtf8(entry.path);
    std::replace(path.begin(), path.end(), '/', '\\'); // other programs take both
    const bool otherLetters = LowerCase(FileNameOf(path)) == LowerCase(change.dllName);
    const bool only32 = change.is32 && FindProvider(change.foreseen.after.catalog64, entry) == nullptr;
    const std::string title = Title(entry, change);
    if (FileNameOf(path) == change.dllName) {
        findings.leaves.push_back(title + ReasonOfName(entry, change));
    } else if (only32 && (change.foreseen.found || !otherLetters)) {
        (change.foreseen.found ? findings.leaves : findings.hints)
            .push_back(title + " stays: only the 32-bit catalog has it");
    } else if (otherLetters && change.foreseen.fileGoes) {
        findings.leaves.push_back(title + " stays, and can have the deleted file under another path");
    } else if (otherLetters) {
        findings.hints.push_back(title + " has the name in other letters, and letter case counts");
    }
}

// Entries that stay and name one that breaks, at once or through others.
void LookAtWhatLiesOver(CatalogChange& change, Findings& findings) {
    for (size_t known = 0; known != change.broken.size();) {
        known = change.broken.size();
        for (const SimulatedEntry& entry : change.after) {
            const DWORD* ids = entry.info.ProtocolChain.ChainEntries;
            const DWORD* end = ids + ChainLength(entry.info);
            const DWORD* lower = std::find_if(ids, end, [&](DWORD id) { return change.broken.contains(id); });
            if (lower != end && OwnerOf(entry, change.after) != nullptr &&
                change.broken.insert(entry.info.dwCatalogEntryId).second) {
                findings.breaks.push_back(Title(entry, change) + " lies over " + std::to_string(*lower) +
                                          ", which breaks");
            }
        }
    }
}

// An entry that goes: a base provider, another LSP, one of an LSP that stays, or one with another DLL.
void LookAtGone(const SimulatedEntry& entry, const CatalogChange& change, Findings& findings) {
    const std::string title = Title(entry, change) + " goes, too";
    const std::string file = FileIdentity(entry.path, change.is32);
    const bool isOther = !file.empty() && file != FileIdentity(change.foreseen.dllPath, false);
    if (IsKind(entry.info, BASE_PROTOCOL)) {
        findings.breaks.push_back(title +
                                  ": a base provider with the GUID of a removed entry; only the reset helps");
    } else if (IsKind(entry.info, LAYERED_PROTOCOL) && isOther && !change.is32) {
        findings.breaks.push_back(title + ": an LSP with the GUID or id of a removed entry");
    } else if (OwnerOf(entry, change.after) != nullptr) {
        findings.breaks.push_back(title + ", and its LSP stays");
    } else if (isOther) {
        AddOnce(findings.leaves, std::string("The DLL of ") +
                                     (change.is32 ? "the 32-bit half" : "a removed entry") +
                                     " stays on the disk: " + file);
    }
}

void LookAtCatalog(CatalogChange change, Findings& findings) {
    change.idsBefore = IdsOf(change.before);
    change.idsAfter = IdsOf(change.after);
    for (const SimulatedEntry& entry : change.after) {
        const bool isChain = IsKind(entry.info, PROTOCOL_CHAIN);
        if (isChain && OwnerOf(entry, change.after) == nullptr) {
            LookAtOrphan(entry, change, findings);
            continue;
        }
        if (isChain) {
            LookAtChain(entry, change, findings);
        }
        if (!change.deletedFile.empty() && FileIdentity(entry.path, change.is32) == change.deletedFile) {
            LookAtLost(entry, change, findings);
        } else if (IsKind(entry.info, LAYERED_PROTOCOL)) {
            LookAtLsp(entry, change, findings);
        }
    }
    LookAtWhatLiesOver(change, findings);
    for (const SimulatedEntry& entry : change.before) {
        if (FindProvider(change.after, entry) == nullptr) {
            LookAtGone(entry, change, findings);
        }
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
    if (!IsRooted(foreseen.dllPath)) {
        return "its path begins with neither a drive nor a backslash";
    }
    return IsInCodePage(foreseen.dllPath) ? "" : "its path is not in the code page";
}

void LookAtFile(const Foreseen& foreseen, Findings& findings) {
    const std::string reason = ReasonToStay(foreseen);
    if (!foreseen.dllPath.empty() && !foreseen.fileGoes && !reason.empty()) {
        findings.leaves.push_back("The DLL stays, as " + reason + ": " + ToUtf8(foreseen.dllPath));
    }
    if (foreseen.fileGoes && foreseen.sharedCount == 0) {
        findings.leaves.push_back("A wrong shared count, 4294967295, stays for the DLL");
    }
}

void LookAtNamespaces(const Machine& machine, const CatalogChange& change, Findings& findings) {
    for (auto [name, path] : machine.namespaces) {
        std::replace(path.begin(), path.end(), '/', '\\');
        if (!change.dllName.empty() && LowerCase(FileNameOf(path)) == LowerCase(change.dllName)) {
            const bool loses = !change.deletedFile.empty() &&
                               FileIdentity(conv_utf8_to_wchar(path.c_str()), false) == change.deletedFile;
            AddOnce(findings.leaves, "The namespace provider \"" + name + "\" names " +
                                         (loses ? "the DLL that is deleted, and look-ups fail without it: "
                                                : "a DLL of that name: ") +
                                         path);
        }
    }
}

} // namespace

const char* VerdictText(Verdict verdict) {
    const char* const texts[] = {"CLEAN", "", "NOTHING TO DO", "LEAVES WORK", "BREAKS OTHERS"};
    return texts[static_cast<size_t>(verdict)];
}

Findings FindConsequences(const Machine& machine, const Foreseen& foreseen, const std::string& dllName) {
    const std::string deleted = foreseen.fileGoes ? FileIdentity(foreseen.dllPath, false) : "";
    const auto change = [&](bool is32, const SimulatedCatalog& before, const SimulatedCatalog& after) {
        return CatalogChange{is32, before, after, foreseen, FromAnsi(dllName), deleted, {}, {}, {}};
    };
    const CatalogChange change64 = change(false, machine.state.catalog64, foreseen.after.catalog64);
    const CatalogChange change32 = change(true, machine.state.catalog32, foreseen.after.catalog32);
    Findings findings;
    LookAtFile(foreseen, findings);
    LookAtCatalog(change64, findings);
    LookAtCatalog(change32, findings);
    LookAtNamespaces(machine, change64, findings);
    if (machine.incomplete) {
        findings.leaves.push_back("Not all of this machine could be read: see the warnings");
    }
    findings.gone64 = change64.before.size() - change64.after.size();
    findings.gone32 = change32.before.size() - change32.after.size();
    findings.verdict = std::max({foreseen.found ? Verdict::kClean : Verdict::kNothingToDo,
                                 findings.leaves.empty() ? Verdict::kClean : Verdict::kLeavesWork,
                                 findings.breaks.empty() ? Verdict::kClean : Verdict::kBreaksOthers});
    return findings;
}
