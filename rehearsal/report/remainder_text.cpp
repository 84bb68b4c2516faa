#include "rehearsal/report/remainder_text.h"

#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "rehearsal/report/names.h"

namespace {

std::string ReasonText(const Remainder& dll, DWORD sharedCount) {
    switch (dll.reason) {
    case DllReason::kShared:
        return "other programs share it (count " + std::to_string(sharedCount) + ", which would become " +
               std::to_string(sharedCount - 1) + ")";
    case DllReason::kReference:
        return "the command does not replace the environment reference in its path";
    case DllReason::kNotRooted:
        return "its path begins with neither a drive and a backslash nor a backslash";
    case DllReason::kCodePage:
        return "the code page lacks a character of its path";
    case DllReason::kCannotOpen:
        break;
    }
    return "the command cannot open it";
}

std::string FileText(const Remainder& file) {
    return "File " + (file.redirected ? Shown(file.opened) + ", which 32-bit programs open as " : "") +
           Shown(file.path) + ": the command does not delete it" +
           (file.inUse       ? ""
            : file.deletable ? "; nothing would use it"
                             : "; whether it is used is not known");
}

// Whether programs can use an entry, or, of an LSP with layered entries, one of these.
bool IsUsable(const CatalogHealth& health, size_t index) {
    bool hasLayers = false;
    for (size_t i = 0; i < health.present.size(); ++i) {
        const bool isLayer = health.facts->owners[i] == index;
        hasLayers = hasLayers || isLayer;
        if (isLayer && health.works[i]) {
            return true;
        }
    }
    return !hasLayers && health.works[index];
}

// Whether an entry that remains is a layered one, and no other entry has the first id of its chain.
bool IsFoundByEmptyName(const CatalogHealth& after, size_t index) {
    const Catalog& entries = after.facts->entries;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (i != index && after.present[i] &&
            IsLayerOf(entries[index].info, entries[i].info.dwCatalogEntryId)) {
            return false;
        }
    }
    return IsLayered(entries[index]);
}

std::string EntryText(const Remainder& remainder, const CatalogChange& change) {
    const CatalogHealth& after = change.after;
    const CatalogEntry& entry = after.facts->entries[remainder.index];
    const bool is32 = after.facts->is32;
    const bool works = IsUsable(after, remainder.index);
    std::string text = (IsLsp(entry) ? "LSP " : "Layered entry without LSP ") +
                       TitleOf(entry.info.dwCatalogEntryId, ProductOfEntry(entry)) + " (" +
                       Shown(entry.path) + ") of the " + NameOfCatalogs(!is32, is32) + ": " +
                       (works ? NameOfPrograms(!is32, is32) + " would keep using it"
                        : IsUsable(change.before, remainder.index) ? "it would never work again"
                                                                   : "it does not work");
    if (remainder.byRunningAgain) {
        return text + (works ? " until the command is run again" : "; the same command removes it");
    }
    if (!remainder.hasName) {
        return text;
    }
    if (is32) {
        return text + "; the command looks for names in the 64-bit catalog alone";
    }
    return text + (IsFoundByEmptyName(after, remainder.index) ? "; the empty name finds it"
                                                              : "; the command does not find it");
}

std::string NamespaceText(const NamespaceProvider& provider) {
    return "Namespace provider " + NameOf(ProductOfNamespace(provider)) + " (" + provider.path + ")" +
           (provider.enabled ? ": name lookups would keep using it, if its file exists" : ": it is disabled");
}

std::string TextOf(const Remainder& remainder, const Rehearsal& rehearsal) {
    switch (remainder.kind) {
    case RemainderKind::kSharedCount:
        return "The shared count of the deleted file: it is 0 and would become 4294967295";
    case RemainderKind::kDll:
        return "File " + Shown(remainder.path) + ": " + ReasonText(remainder, rehearsal.run.file.sharedCount);
    case RemainderKind::kFile:
        return FileText(remainder);
    case RemainderKind::kEntry:
        return EntryText(remainder, remainder.is32 ? rehearsal.change.catalog32 : rehearsal.change.catalog64);
    case RemainderKind::kNamespace:
        break;
    }
    return NamespaceText(rehearsal.machine.namespaces[remainder.index]);
}

} // namespace

std::vector<std::string> DescribeRemainders(const Rehearsal& rehearsal) {
    std::vector<std::string> lines;
    lines.reserve(rehearsal.remainders.size());
    for (const Remainder& remainder : rehearsal.remainders) {
        lines.push_back(TextOf(remainder, rehearsal));
    }
    return lines;
}
