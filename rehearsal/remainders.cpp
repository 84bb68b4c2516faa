#include "rehearsal/remainders.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "lsp/provider_entries.h"
#include "machine/entry_names.h"
#include "machine/lsp_list.h"
#include "machine/product_files.h"
#include "machine/utf8_text.h"

namespace {

// What the remainders are looked for with.
struct Search {
    const Machine& machine;
    const Foreseen& foreseen;
    const MachineChange& change;
    const std::string& dllName;
    std::wstring dllFile; // of the LSP that was found
    ProductFiles files;
    std::vector<Remainder> found;
};

// A file that nothing names afterwards.
std::string DeletableFile(const Search& search, const std::wstring& file, const std::wstring& path) {
    return search.files.named.contains(file) || !IsRooted(file) ? "" : Shown(path);
}

// Why the DLL of the command would remain.
std::string ReasonOfDll(const Search& search) {
    const Foreseen& foreseen = search.foreseen;
    const std::wstring& path = foreseen.dllPath;
    if (foreseen.sharedCount > 1) {
        return "other programs share it (count " + std::to_string(foreseen.sharedCount) +
               ", which would become " + std::to_string(foreseen.sharedCount - 1) + ")";
    }
    if (HasReference(path, search.machine.folders)) {
        return "the command does not replace the environment reference in its path";
    }
    if (!IsRooted(path)) {
        return "its path begins with neither a drive and a backslash nor a backslash";
    }
    return IsInCodePage(path) ? "the command cannot open it" : "the code page lacks a character of its path";
}

void LookAtDll(Search& search) {
    const Foreseen& foreseen = search.foreseen;
    if (foreseen.fileDeleted && foreseen.sharedCount == 0) {
        search.found.push_back(
            {"The shared count of the deleted file: it is 0 and would become 4294967295", ""});
    }
    if (foreseen.fileDeleted || foreseen.dllPath.empty() ||
        !HadFile(search.change.catalog64, search.dllFile)) {
        return;
    }
    const std::wstring opened = OpenedPath(foreseen.dllPath, search.machine.folders, false);
    search.found.push_back({"File " + Shown(foreseen.dllPath) + ": " + ReasonOfDll(search),
                            foreseen.sharedCount > 1 ? "" : DeletableFile(search, search.dllFile, opened)});
}

// The files of the other removed entries, each once.
void LookAtFiles(const CatalogChange& catalog, Search& search, std::set<std::wstring>& known) {
    for (size_t i = 0; i < catalog.entries.size(); ++i) {
        const std::wstring& file = catalog.files[i];
        if (catalog.remains[i] || file.empty() || !catalog.hadFile[i] || !known.insert(file).second) {
            continue;
        }
        const std::wstring& path = catalog.entries[i].path;
        const std::wstring opened = OpenedPath(path, search.machine.folders, catalog.is32);
        const bool redirected = file != FileOf(path, search.machine.folders, false);
        search.found.push_back({"File " +
                                    (redirected ? Shown(opened) + ", which 32-bit programs open as " : "") +
                                    Shown(path) + ": the command does not delete it" +
                                    (search.files.named.contains(file) ? "" : "; nothing would use it"),
                                DeletableFile(search, file, opened)});
    }
}

std::string DescribeEntry(const CatalogChange& catalog, size_t i, bool again, bool hasName) {
    const SimulatedEntry& entry = catalog.entries[i];
    const std::string bits = catalog.is32 ? "32-bit " : "64-bit ";
    const std::string title =
        std::string(IsKind(entry.info, LAYERED_PROTOCOL) ? "LSP " : "Layered entry without LSP ") +
        TitleOf(entry.info) + " (" + Shown(entry.path) + ") of the " + bits +
        "catalog: " + (catalog.works[i] ? bits + "programs would keep using it" : "it would not work");
    if (again || !hasName) {
        return title + (again ? " until the command is run again" : "");
    }
    return title + (catalog.is32 ? "; the command looks for names in the 64-bit catalog alone"
                                 : "; the command does not find it");
}

// LSPs, and layered entries without one, that belong to the product and would remain.
void LookAtEntries(const CatalogChange& catalog, Search& search) {
    for (size_t i = 0; i < catalog.entries.size(); ++i) {
        const SimulatedEntry& entry = catalog.entries[i];
        const bool isLsp = IsKind(entry.info, LAYERED_PROTOCOL);
        const bool hasName = ToUtf8(NameOfFile(entry.path)) == search.dllName;
        const bool ofProduct =
            hasName || search.files.removed.contains(catalog.files[i]) ||
            IsOnly32BitPart(search.change, catalog, i, search.files, search.machine.folders);
        if (!catalog.remains[i] || !ofProduct || (!isLsp && !BecomesOrphan(catalog, i))) {
            continue;
        }
        const SimulatedEntry* in64 = FindProvider(search.change.catalog64.entries, entry.info.ProviderId);
        const bool again =
            isLsp && search.foreseen.found && in64 != nullptr && DllNameOf(*in64) == search.dllName;
        search.found.push_back({DescribeEntry(catalog, i, again, hasName), "", true, again});
    }
}

void LookAtNamespaces(Search& search) {
    for (const NamespaceProvider& provider : search.machine.namespaces) {
        const std::wstring file = FileOfNamespace(provider, search.machine.folders);
        if (search.files.removed.contains(file) && !search.change.deletedFiles.contains(file)) {
            search.found.push_back({"Namespace provider " + NameOfNamespace(provider.name, provider.path) +
                                        " (" + provider.path + "): name lookups would keep using it",
                                    "", true});
        }
    }
}

} // namespace

std::vector<Remainder> FindRemainders(const Machine& machine, const Foreseen& foreseen,
                                      const MachineChange& change, const std::string& dllName) {
    Search search = {machine,
                     foreseen,
                     change,
                     dllName,
                     FileOf(foreseen.dllPath, machine.folders, false),
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
        search.found.push_back({"Entries that could not be read: see the warnings", ""});
    }
    return search.found;
}
