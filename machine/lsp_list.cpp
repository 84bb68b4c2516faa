#include "machine/lsp_list.h"

#include <algorithm>
#include <map>

#include "common/file_name.h"
#include "lsp/provider_entries.h"
#include "machine/entry_names.h"
#include "machine/similar_text.h"
#include "machine/text_sections.h"
#include "machine/utf8_text.h"

namespace {

struct ListedLsp {
    std::string name;
    std::string dllName; // as it is typed
    std::string folder;
    bool in64 = false;
    bool in32 = false;
};

// The LSPs of both catalogs, by their provider ids, in the order of the catalogs.
std::vector<ListedLsp> ListLsps(const WinsockState& state) {
    std::vector<ListedLsp> lsps;
    std::map<std::string, size_t> known;
    for (const auto& [catalog, is32] :
         {std::pair(&state.catalog64, false), std::pair(&state.catalog32, true)}) {
        for (const SimulatedEntry& entry : *catalog) {
            if (!IsKind(entry.info, LAYERED_PROTOCOL)) {
                continue;
            }
            const auto [place, isNew] = known.emplace(FormatGuid(entry.info.ProviderId), lsps.size());
            if (isNew) {
                const std::string name = NameOf(entry.info);
                const std::wstring folder =
                    entry.path.substr(0, std::min(entry.path.rfind(L'\\'), entry.path.size()));
                lsps.push_back({name.empty() ? "entry " + TitleOf(entry.info) : name,
                                is32 ? "(not found by the command)" : Typed(DllNameOf(entry)),
                                Shown(folder)});
            }
            (is32 ? lsps[place->second].in32 : lsps[place->second].in64) = true;
        }
    }
    return lsps;
}

} // namespace

std::string DllNameOf(const SimulatedEntry& lsp) {
    return ToUtf8(FileNameOf(lsp.path));
}

std::vector<std::string> DllNames(const WinsockState& state) {
    std::vector<std::string> names;
    for (const SimulatedEntry& entry : state.catalog64) {
        const std::string name = DllNameOf(entry);
        if (IsKind(entry.info, LAYERED_PROTOCOL) &&
            std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    return names;
}

std::string Typed(const std::string& dllName) {
    const bool plain = !dllName.empty() && dllName.find_first_of(" &()^;,'`{}") == std::string::npos;
    return plain ? Printable(dllName) : "\"" + Printable(dllName) + "\"";
}

std::string CommandFor(const std::string& dllName) {
    return "norvane64 remove lsp " + Typed(dllName) + (dllName.empty() ? " (in PowerShell '\"\"')" : "");
}

std::string SuggestNames(const WinsockState& state, const std::string& dllName) {
    const std::vector<std::string> known = SortedByLikeness(dllName, DllNames(state));
    if (known.empty()) {
        return "The 64-bit catalog has no LSP: there is nothing that the command could remove";
    }
    std::string typed;
    for (const std::string& name : known) {
        typed += (typed.empty() ? "" : ", ") + Typed(name);
    }
    return (IsAlike(dllName, known.front()) ? "Did you mean " + Typed(known.front()) + "? " : "") +
           std::string("The DLL names of this machine are: ") + typed;
}

std::vector<std::string> DescribeLsps(const WinsockState& state) {
    std::vector<std::string> lines;
    for (const ListedLsp& lsp : ListLsps(state)) {
        lines.push_back(lsp.name + ": " + lsp.dllName + " in " + lsp.folder + ", " +
                        Catalogs(lsp.in64, lsp.in32));
    }
    return lines.empty() ? std::vector<std::string>{"none"} : lines;
}
