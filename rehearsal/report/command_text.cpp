#include "rehearsal/report/command_text.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "machine/windows_path.h"
#include "rehearsal/report/similar_text.h"

namespace {

constexpr wchar_t kInQuotes[] = L" &()^;,'@#=+{}[]"; // harmless in quotes
constexpr wchar_t kPlain[] = L"._-~\\:/";            // harmless in a name or a path
constexpr size_t kMostNames = 20;

bool IsLetterOrDigit(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c >= 0xC0;
}

bool IsPlain(const std::wstring& name) {
    return !name.empty() && std::ranges::all_of(name, [](wchar_t c) {
        return IsLetterOrDigit(c) || std::wstring(kPlain).find(c) != std::wstring::npos;
    });
}

// The DLL names of the LSPs that the command can find, each once.
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

} // namespace

bool CanBeTyped(const std::wstring& name) {
    // A backslash before the closing quote would take it away, and a hyphen at the start makes an option.
    return !name.ends_with(L'\\') && IsInCodePage(name) && Shown(name) == ToUtf8(name) &&
           std::ranges::all_of(name, [](wchar_t c) {
               return IsLetterOrDigit(c) || std::wstring(kPlain).find(c) != std::wstring::npos ||
                      std::wstring(kInQuotes).find(c) != std::wstring::npos;
           });
}

std::string Typed(const std::wstring& name) {
    if (!CanBeTyped(name)) {
        return Shown(name) + " (This name cannot be typed.)";
    }
    return IsPlain(name) ? Shown(name) : "\"" + Shown(name) + "\"";
}

std::string CommandFor(const std::string& command, const std::wstring& dllName) {
    if (!CanBeTyped(dllName)) {
        return "not possible with the DLL name " + Shown(dllName) + ". This name cannot be typed.";
    }
    return command + (dllName.starts_with(L'-') && command == kRehearseCommand ? " -- " : " ") +
           Typed(dllName) + (dllName.empty() ? " (in PowerShell '\"\"')" : "");
}

std::string SubjectFor(const std::wstring& dllName) {
    return CanBeTyped(dllName) ? std::string(kRemoveCommand) + " " + Typed(dllName)
                               : "the removal of " + Typed(dllName);
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
    typed.reserve(names.size() + 1);
    for (const std::string& name : names) {
        typed.push_back(Typed(conv_utf8_to_wchar(name.c_str())));
    }
    if (typed.size() > kMostNames) {
        typed.resize(kMostNames);
        typed.push_back("...");
    }
    const bool isAlike = IsAlike(wanted, names.front()) || wanted + ".dll" == names.front();
    return (isAlike ? "Did you mean " + typed.front() + "? " : "") +
           std::string("The DLL names of this machine are: ") + Joined(typed);
}
