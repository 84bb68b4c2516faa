#include "machine/windows_path.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <ranges>
#include <vector>

#include "common/file_name.h"
#include "common/text_conversion.h"
#include "machine/text.h"

namespace {

constexpr wchar_t kSystem32[] = L"\\system32";
constexpr wchar_t kSysWow64[] = L"\\SysWOW64";
constexpr wchar_t kSysnative[] = L"\\sysnative";

// What makes no difference between the names of the 64-bit and the 32-bit file of a product, the longest
// first.
constexpr std::wstring_view kMarks[] = {L"amd64", L"i386", L"x86", L"x64", L"32",
                                        L"64",    L"86",   L"_",   L"-",   L"."};

// The folder that the reference at a percent sign stands for, or null. For 32-bit programs two names have
// other folders.
//   end  receives the index behind the reference
const std::wstring* FindReference(const std::wstring& path, size_t percent, const Folders& folders,
                                  bool for32Bit, size_t* end) {
    const size_t close = path.find(L'%', percent + 1);
    if (close == std::wstring::npos) {
        return nullptr;
    }
    *end = close + 1;
    std::wstring name = LowerCase(path.substr(percent + 1, close - percent - 1));
    if (for32Bit && (name == L"programfiles" || name == L"commonprogramfiles")) {
        name += L"(x86)";
    }
    const auto found = folders.find(name);
    return found == folders.end() ? nullptr : &found->second;
}

std::wstring ExpandFolders(const std::wstring& path, const Folders& folders, bool for32Bit) {
    std::wstring expanded;
    for (size_t at = 0; at < path.size();) {
        size_t end = at + 1;
        const std::wstring* folder =
            path[at] == L'%' ? FindReference(path, at, folders, for32Bit, &end) : nullptr;
        expanded += folder != nullptr ? *folder : std::wstring(1, path[at]);
        at = folder != nullptr ? end : at + 1;
    }
    return expanded;
}

void AddComponent(std::wstring component, size_t fixed, std::vector<std::wstring>& kept) {
    if (component == L"..") {
        if (kept.size() > fixed) {
            kept.pop_back();
        }
        return;
    }
    component.resize(component.find_last_not_of(L" .") + 1);
    if (!component.empty()) {
        kept.push_back(component);
    }
}

// Removes what makes no difference to the file. A path without a drive is on the drive of Windows.
std::wstring Normalized(std::wstring path, const std::wstring& systemDrive) {
    std::replace(path.begin(), path.end(), L'/', L'\\');
    const bool hasPrefix = path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\");
    if (hasPrefix && LowerCase(path.substr(4, 4)) == L"unc\\") {
        path.erase(2, 6); // a share
    } else if (hasPrefix) {
        path.erase(0, 4);
    }
    const bool share = path.starts_with(L"\\\\");
    if (!share && path.starts_with(L"\\")) {
        path = systemDrive + path;
    }
    size_t fixed = share ? 2 : 0; // the components that ".." does not remove
    fixed += path.size() > 1 && path[1] == L':' ? 1u : 0u;
    std::vector<std::wstring> kept;
    for (const std::wstring& component : SplitAt(path, L"\\")) {
        AddComponent(component, fixed, kept);
    }
    std::wstring joined = share ? L"\\" : L"";
    for (const std::wstring& component : kept) {
        joined += (joined.empty() ? L"" : L"\\") + component;
    }
    return joined;
}

// Whether a path is the folder, or below it.
bool IsIn(const std::wstring& path, const std::wstring& folder) {
    return LowerCase(path.substr(0, folder.size())) == LowerCase(folder) &&
           (path.size() == folder.size() || path[folder.size()] == L'\\');
}

std::wstring Redirected(const std::wstring& path, const std::wstring& windows) {
    const std::wstring start = path.substr(0, windows.size());
    if (IsIn(path, windows + kSystem32)) {
        return start + kSysWow64 + path.substr(windows.size() + std::size(kSystem32) - 1);
    }
    if (IsIn(path, windows + kSysnative)) {
        return start + kSystem32 + path.substr(windows.size() + std::size(kSysnative) - 1);
    }
    return path;
}

} // namespace

Folders AssumedFolders() {
    return {{L"systemroot", L"C:\\Windows"},
            {L"windir", L"C:\\Windows"},
            {L"systemdrive", L"C:"},
            {L"programfiles", L"C:\\Program Files"},
            {L"programfiles(x86)", L"C:\\Program Files (x86)"},
            {L"programw6432", L"C:\\Program Files"},
            {L"commonprogramfiles", L"C:\\Program Files\\Common Files"},
            {L"commonprogramfiles(x86)", L"C:\\Program Files (x86)\\Common Files"},
            {L"commonprogramw6432", L"C:\\Program Files\\Common Files"},
            {L"programdata", L"C:\\ProgramData"},
            {L"allusersprofile", L"C:\\ProgramData"}};
}

Folders LiveFolders() {
    Folders folders = AssumedFolders();
    for (auto& [name, folder] : folders) {
        const char* value = std::getenv(conv_to_char(name.c_str()).c_str());
        folder = value != nullptr ? conv_to_wchar(value) : folder;
    }
    return folders;
}

bool HasReference(const std::wstring& path, const Folders& folders) {
    return ExpandFolders(path, folders, false) != path;
}

bool IsRooted(const std::wstring& path) {
    const auto isSeparator = [&](size_t at) {
        return path.size() > at && (path[at] == L'\\' || path[at] == L'/');
    };
    return isSeparator(0) || (path.size() > 2 && path[1] == L':' && isSeparator(2));
}

bool IsInCodePage(const std::wstring& path) {
    return conv_to_wchar(conv_to_char(path.c_str()).c_str()) == path;
}

std::wstring OpenedPath(const std::wstring& spelling, const Folders& folders, bool for32Bit) {
    const std::wstring expanded = ExpandFolders(spelling, folders, for32Bit);
    const bool isName = !expanded.empty() && expanded.find_first_of(L"\\/:") == std::wstring::npos;
    const std::wstring path = isName ? folders.at(L"systemroot") + kSystem32 + L"\\" + expanded : expanded;
    const std::wstring opened = Normalized(path, folders.at(L"systemdrive"));
    return for32Bit ? Redirected(opened, folders.at(L"systemroot")) : opened;
}

std::wstring FileOf(const std::wstring& path, const Folders& folders, bool for32Bit) {
    return LowerCase(OpenedPath(path, folders, for32Bit));
}

std::wstring FileNameForCommand(const std::wstring& path) {
    return FileNameOf(path);
}

std::wstring FileNameForWindows(const std::wstring& path) {
    return path.substr(path.find_last_of(L"\\/") + 1);
}

std::wstring FolderOf(const std::wstring& file) {
    return file.substr(0, std::min(file.rfind(L'\\'), file.size()));
}

std::wstring PlainName(const std::wstring& file) {
    const std::wstring name = FileNameForWindows(file);
    std::wstring plain;
    for (size_t at = 0; at < name.size();) {
        const std::wstring_view rest = std::wstring_view(name).substr(at);
        const auto mark = std::ranges::find_if(kMarks, [&](auto text) { return rest.starts_with(text); });
        plain += mark == std::end(kMarks) ? name.substr(at, 1) : L"";
        at += mark == std::end(kMarks) ? 1 : mark->size();
    }
    return plain;
}

bool CanBeFile(const std::wstring& path) {
    return path.find_last_not_of(L"\\/\"") == path.size() - 1 && !path.empty() && path[0] != L'"';
}

std::wstring LongPath(const std::wstring& path) {
    std::wstring resolved(GetLongPathNameW(path.c_str(), nullptr, 0), L'\0');
    const DWORD length = static_cast<DWORD>(resolved.size());
    resolved.resize(length == 0 ? 0 : GetLongPathNameW(path.c_str(), resolved.data(), length));
    return resolved.empty() || resolved.size() >= length ? path : resolved;
}
