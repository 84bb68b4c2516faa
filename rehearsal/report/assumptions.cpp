#include "rehearsal/report/assumptions.h"

#include <set>

#include "machine/text.h"

namespace {

using Texts = std::vector<std::string>;

// The paths with short names, which cannot be resolved without the disk.
Texts ShortNames(const Machine& machine) {
    std::set<std::string> paths;
    for (const NamespaceProvider& provider : machine.namespaces) {
        if (provider.path.find('~') != std::string::npos) {
            paths.insert(Printable(provider.path));
        }
    }
    for (const Catalog* catalog : {&machine.catalogs.catalog64, &machine.catalogs.catalog32}) {
        for (const CatalogEntry& entry : *catalog) {
            if (entry.path.find(L'~') != std::wstring::npos) {
                paths.insert(Shown(entry.path));
            }
        }
    }
    return {paths.begin(), paths.end()};
}

} // namespace

std::vector<std::string> DescribeAssumptions(const Machine& machine) {
    if (machine.live) {
        return {"Windows grants each call of the command"};
    }
    Texts lines = {"Windows grants each call of the command and is in C:\\Windows, each file exists, and the "
                   "code page is that of this computer"};
    if (!machine.knowsNamespaces) {
        lines.push_back("No namespace provider has the DLL: not checked; use a registry export of the key "
                        "Parameters");
    }
    if (!machine.hasCounts) {
        lines.push_back(
            "No other product shares the DLL: not checked; add --from counts.reg, which reg export "
            "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs counts.reg writes");
    }
    if (machine.hasCounts && !machine.hasCounts32) {
        lines.push_back("No other product shares the files of 32-bit programs: not checked; add --from "
                        "counts32.reg, which reg export "
                        "HKLM\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs "
                        "counts32.reg writes");
    }
    const Texts paths = ShortNames(machine);
    if (!paths.empty()) {
        lines.push_back("Short names are other files: " + Joined(paths));
    }
    return lines;
}
