#include "rehearsal/remainders.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/product.h"

namespace {

// The files of a removed product, by which its other parts are recognised.
struct ProductFiles {
    std::set<std::wstring> removed; // of the removed entries, see FileOn
    std::set<std::wstring> names;   // of these files, see PlainName
    std::set<std::wstring> named;   // of the entries and namespace providers that remain
};

ProductFiles CollectFiles(const Machine& machine, const MachineChange& change) {
    ProductFiles files;
    for (const CatalogChange* catalog : {&change.catalog64, &change.catalog32}) {
        for (size_t i = 0; i < catalog->after.present.size(); ++i) {
            const std::wstring& file = catalog->after.facts->files[i];
            if (catalog->after.present[i]) {
                files.named.insert(file);
            } else if (CanBeFile(file)) {
                files.removed.insert(file);
                files.names.insert(PlainName(file));
            }
        }
    }
    for (const NamespaceProvider& provider : machine.namespaces) {
        files.named.insert(FileOfNamespace(machine, provider));
    }
    return files;
}

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

// Whether a stored count is that of a file. Those of the 32-bit view can be of a file that 32-bit programs
// open under that path.
bool IsSameFile(const Machine& machine, const SharedCount& count, const std::wstring& file) {
    const std::wstring path = conv_utf8_to_wchar(count.path.c_str());
    return FileOn(machine, path, false) == file || (!count.isRead && FileOn(machine, path, true) == file);
}

// Whether it is not known which file that is: it has an environment variable that is not known, or a short
// name whose long name only that machine knows.
//   file  see FileOn
bool IsUnresolved(const Machine& machine, const std::wstring& file) {
    return file.find_first_of(machine.live ? L"%" : L"~%") != std::wstring::npos;
}

// Whether a path that is not resolved can open a file.
bool CanOpen(const Machine& machine, const std::wstring& path, const std::wstring& file) {
    if (!IsUnresolved(machine, FileOn(machine, path, false))) {
        return false;
    }
    const std::wstring name = LowerCase(FileNameForWindows(path));
    return name == FileNameForWindows(file) || name.find_first_of(L"~%") != std::wstring::npos;
}

// Whether something that remains can open a file by a path that cannot be resolved.
bool CanBeOpened(const Search& search, const std::wstring& file) {
    const Machine& machine = search.machine;
    for (const CatalogChange* catalog : {&search.change.catalog64, &search.change.catalog32}) {
        for (size_t i = 0; i < catalog->after.present.size(); ++i) {
            if (catalog->after.present[i] && CanOpen(machine, catalog->after.facts->entries[i].path, file)) {
                return true;
            }
        }
    }
    return std::ranges::any_of(machine.namespaces, [&](const NamespaceProvider& provider) {
        return CanOpen(machine, conv_utf8_to_wchar(provider.path.c_str()), file);
    });
}

// Whether no other product needs a file, as far as that is known: the counts of both views and the files of
// the namespace providers.
bool IsKnownUnshared(const Search& search, const std::wstring& file) {
    const Machine& machine = search.machine;
    return machine.hasCounts && machine.hasCounts32 && machine.knowsNamespaces &&
           !IsUnresolved(machine, file) && !CanBeOpened(search, file) &&
           std::ranges::none_of(machine.storedCounts, [&](const SharedCount& count) {
               return count.count > 1 && (IsSameFile(machine, count, file) ||
                                          CanOpen(machine, conv_utf8_to_wchar(count.path.c_str()), file));
           });
}

// A file, which a person can delete afterwards when nothing names it.
Remainder FileRemainder(RemainderKind kind, const Search& search, const std::wstring& path,
                        const std::wstring& file, bool is32) {
    Remainder remainder = {kind, path, OpenedPath(path, search.machine.folders, is32)};
    remainder.inUse = search.files.named.contains(file);
    remainder.deletable = !remainder.inUse && IsRooted(file) && IsKnownUnshared(search, file);
    return remainder;
}

DllReason ReasonOfDll(const Search& search) {
    const std::wstring& path = search.run.dllPath;
    if (search.run.file.sharedCount > 1) {
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
    if (run.file.deleted && run.file.sharedCount == 0) {
        search.found.push_back({RemainderKind::kSharedCount, run.dllPath});
    }
    if (run.file.deleted || run.dllPath.empty() || !HadFile(search.change.catalog64, search.dllFile)) {
        return;
    }
    Remainder dll = FileRemainder(RemainderKind::kDll, search, run.dllPath, search.dllFile, false);
    dll.reason = ReasonOfDll(search);
    search.found.push_back(dll);
}

// The files of the other removed entries, each once.
void LookAtFiles(const CatalogChange& change, Search& search, std::set<std::wstring>& known) {
    const CatalogFacts& facts = *change.before.facts;
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        const std::wstring& file = facts.files[i];
        if (change.after.present[i] || !change.before.hasFile[i] || !known.insert(file).second) {
            continue;
        }
        const std::wstring& path = facts.entries[i].path;
        Remainder remainder = FileRemainder(RemainderKind::kFile, search, path, file, facts.is32);
        remainder.redirected = file != FileOn(search.machine, path, false);
        search.found.push_back(remainder);
    }
}

// Whether an entry is an LSP that only the 32-bit catalog has, and that looks like the 32-bit part of the
// product: its file has the same name but for the marks of 32-bit and 64-bit files, or it has the same name.
bool IsOnly32BitPart(const Search& search, const CatalogFacts& facts, size_t index) {
    const CatalogEntry& entry = facts.entries[index];
    if (!facts.is32 || !IsLsp(entry) ||
        FindProvider(search.change.catalog64.before.facts->entries, entry.info.ProviderId) != nullptr) {
        return false;
    }
    const std::wstring name = RawNameOf(entry.info);
    return search.files.names.contains(PlainName(facts.files[index])) ||
           (search.run.target && !name.empty() && name == RawNameOf(search.run.target->info));
}

// LSPs, and layered entries without one, that belong to the product and would remain.
void LookAtEntries(const CatalogChange& change, Search& search) {
    const CatalogFacts& facts = *change.after.facts;
    for (size_t i = 0; i < facts.entries.size(); ++i) {
        const CatalogEntry& entry = facts.entries[i];
        Remainder remainder = {RemainderKind::kEntry};
        remainder.hasName = FileNameForWindows(entry.path) == search.dllName;
        const bool ofProduct = remainder.hasName || search.files.removed.contains(facts.files[i]) ||
                               IsOnly32BitPart(search, facts, i);
        if (!change.after.present[i] || !ofProduct || (!IsLsp(entry) && !BecomesOrphan(change, i))) {
            continue;
        }
        const CatalogEntry* in64 =
            FindProvider(search.change.catalog64.before.facts->entries, entry.info.ProviderId);
        remainder.is32 = facts.is32;
        remainder.index = i;
        remainder.byRunningAgain = IsLsp(entry) && search.run.found && in64 != nullptr &&
                                   FileNameForCommand(in64->path) == search.dllName;
        search.found.push_back(remainder);
    }
}

void LookAtNamespaces(Search& search) {
    const std::vector<NamespaceProvider>& providers = search.machine.namespaces;
    for (size_t i = 0; i < providers.size(); ++i) {
        const std::wstring file = FileOfNamespace(search.machine, providers[i]);
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
    Search search = {
        machine, run, change, dllName, FileOn(machine, run.dllPath, false), CollectFiles(machine, change),
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
    return search.found;
}

std::vector<SharedCount> FindIgnoredCounts(const Machine& machine, const DryRun& run) {
    std::vector<SharedCount> ignored;
    const std::wstring file = FileOn(machine, run.dllPath, false);
    const std::string read = CountKey(run.dllPath);
    for (const SharedCount& count : machine.storedCounts) {
        const bool isFound = count.isRead && LowerCase(count.path) == read;
        if (run.file.deleted && !isFound && count.count > 1 && IsSameFile(machine, count, file)) {
            ignored.push_back(count);
        }
    }
    return ignored;
}
