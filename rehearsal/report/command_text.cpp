#include "rehearsal/report/command_text.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "machine/windows_path.h"
#include "rehearsal/report/similar_text.h"

std::vector<std::wstring> DllNames(const Catalogs& catalogs) {
    std::vector<std::wstring> names;
    for (const CatalogEntry& entry : catalogs.catalog64) {
        const std::wstring name = FileNameForCommand(entry.path);
        if (IsLsp(entry) && std::ranges::find(names, name) == names.end()) {
            names.push_back(name);
        }
    }
    return names;
}

std::string Typed(const std::wstring& dllName) {
    const bool plain = !dllName.empty() && dllName.find_first_of(L" &()^;,'`{}") == std::wstring::npos;
    return plain ? Shown(dllName) : "\"" + Shown(dllName) + "\"";
}

std::string CommandFor(const std::wstring& dllName) {
    return "norvane64 remove lsp " + Typed(dllName) + (dllName.empty() ? " (in PowerShell '\"\"')" : "");
}

std::string SuggestNames(const Catalogs& catalogs, const std::wstring& dllName) {
    std::vector<std::string> names;
    for (const std::wstring& name : DllNames(catalogs)) {
        names.push_back(ToUtf8(name));
    }
    if (names.empty()) {
        return "The 64-bit catalog has no LSP: there is nothing that the command could remove";
    }
    std::vector<std::string> typed;
    const std::string wanted = ToUtf8(dllName);
    names = SortedByLikeness(wanted, names);
    for (const std::string& name : names) {
        typed.push_back(Typed(conv_utf8_to_wchar(name.c_str())));
    }
    return (IsAlike(wanted, names.front()) ? "Did you mean " + typed.front() + "? " : "") +
           std::string("The DLL names of this machine are: ") + Joined(typed);
}
