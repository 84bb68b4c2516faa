#include "rehearsal/report/assumptions.h"

#include <set>

#include "machine/text.h"

namespace {

using Texts = std::vector<std::string>;

// The paths with short names, which cannot be resolved without the disk.
Texts ShortNames(const Catalogs& catalogs) {
    std::set<std::string> paths;
    for (const Catalog* catalog : {&catalogs.catalog64, &catalogs.catalog32}) {
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
    Texts lines = {"Windows grants each call of the command"};
    if (machine.live) {
        return lines;
    }
    lines.push_back(
        "Windows is in C:\\Windows, each file exists, and the code page is that of this computer");
    if (machine.fromListing) {
        lines.push_back(
            "No namespace provider has the DLL: netsh prints neither their files nor the next id");
    }
    if (!machine.hasCounts) {
        lines.push_back(
            "No other product shares the DLL: no file has the shared counts (the key SharedDLLs)");
    }
    const Texts paths = ShortNames(machine.catalogs);
    if (!paths.empty()) {
        lines.push_back("Short names are other files: " + Joined(paths));
    }
    return lines;
}
