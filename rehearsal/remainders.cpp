#include "rehearsal/remainders.h"

#include "rehearsal/product_files.h"

namespace {

// What the remainders are looked for with.
struct Search {
    const Machine& machine;
    const DryRun& run;
    const MachineChange& change;
    const std::wstring& dllName;
    std::wstring dllFile; // of the LSP that was found
    ProductFiles files;
    std::vector<Remainder> found;
};

// A file, which a person can delete afterwards when nothing names it.
Remainder FileRemainder(RemainderKind kind, const Search& search, const std::wstring& path,
                        const std::wstring& file, bool is32) {
    Remainder remainder = {kind, path, OpenedPath(path, search.machine.folders, is32)};
    remainder.inUse = search.files.named.contains(file);
    remainder.deletable = !remainder.inUse && IsRooted(file);
    return remainder;
}

DllReason ReasonOfDll(const Search& search) {
    const std::wstring& path = search.run.dllPath;
    if (search.run.sharedCount > 1) {
        return DllReason::kShared;
    }
    if (HasReference(path, search.machine.folders)) {
        return DllReason::kReference;
    }
    if (!IsRooted(path)) {
        return DllReason::kNotRooted;
    }
    return IsInCodePage(path) ? DllReason::kCannotOpen : DllReason::kCodePage;
}

void LookAtDll(Search& search) {
    const DryRun& run = search.run;
    if (run.fileDeleted && run.sharedCount == 0) {
        search.found.push_back({RemainderKind::kSharedCount, run.dllPath});
    }
    if (run.fileDeleted || run.dllPath.empty() || !HadFile(search.change.catalog64, search.dllFile)) {
        return;
    }
    Remainder dll = FileRemainder(RemainderKind::kDll, search, run.dllPath, search.dllFile, false);
    dll.reason = ReasonOfDll(search);
    dll.deletable = dll.deletable && dll.reason != DllReason::kShared;
    search.found.push_back(dll);
}

// The files of the other removed entries, each once.
void LookAtFiles(const CatalogChange& change, Search& search, std::set<std::wstring>& known) {
    const CatalogHealth& before = change.before;
    for (size_t i = 0; i < before.entries.size(); ++i) {
        const std::wstring& file = before.files[i];
        if (change.after.present[i] || file.empty() || !before.hasFile[i] || !known.insert(file).second) {
            continue;
        }
        const std::wstring& path = before.entries[i].path;
        Remainder remainder = FileRemainder(RemainderKind::kFile, search, path, file, before.is32);
        remainder.redirected = file != FileOf(path, search.machine.folders, false);
        search.found.push_back(remainder);
    }
}

// LSPs, and layered entries without one, that belong to the product and would remain.
void LookAtEntries(const CatalogChange& change, Search& search) {
    const CatalogHealth& after = change.after;
    for (size_t i = 0; i < after.entries.size(); ++i) {
        const CatalogEntry& entry = after.entries[i];
        Remainder remainder = {RemainderKind::kEntry};
        remainder.hasName = FileNameForWindows(entry.path) == search.dllName;
        const bool ofProduct =
            remainder.hasName || search.files.removed.contains(after.files[i]) ||
            IsOnly32BitPart(search.change, change, i, search.files, search.machine.folders);
        if (!after.present[i] || !ofProduct || (!IsLsp(entry) && !BecomesOrphan(change, i))) {
            continue;
        }
        const CatalogEntry* in64 =
            FindProvider(search.change.catalog64.before.entries, entry.info.ProviderId);
        remainder.is32 = after.is32;
        remainder.index = i;
        remainder.byRunningAgain = IsLsp(entry) && search.run.found && in64 != nullptr &&
                                   FileNameForCommand(in64->path) == search.dllName;
        search.found.push_back(remainder);
    }
}

void LookAtNamespaces(Search& search) {
    const std::vector<NamespaceProvider>& providers = search.machine.namespaces;
    for (size_t i = 0; i < providers.size(); ++i) {
        const std::wstring file = FileOfNamespace(providers[i], search.machine.folders);
        if (search.files.removed.contains(file) && !search.change.deletedFiles.contains(file)) {
            Remainder remainder = {RemainderKind::kNamespace};
            remainder.index = i;
            search.found.push_back(remainder);
        }
    }
}

} // namespace

std::vector<Remainder> FindRemainders(const Machine& machine, const DryRun& run, const MachineChange& change,
                                      const std::wstring& dllName) {
    Search search = {machine,
                     run,
                     change,
                     dllName,
                     FileOf(run.dllPath, machine.folders, false),
                     CollectFiles(machine, change),
                     {}};
    LookAtDll(search);
    std::set<std::wstring> known = {search.dllFile};
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        LookAtFiles(*catalog, search, known);
    }
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        LookAtEntries(*catalog, search);
    }
    LookAtNamespaces(search);
    if (machine.incomplete) {
        search.found.push_back({RemainderKind::kUnread});
    }
    return search.found;
}
