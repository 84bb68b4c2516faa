#include "rehearsal/dll_paths.h"

#include <windows.h>

#include <cstring>

#include "common/text_conversion.h"
#include "machine/utf8_text.h"

bool HasReference(const std::wstring& path) {
    const size_t start = path.find(L'%');
    return start != std::wstring::npos && path.find(L'%', start + 1) != std::wstring::npos;
}

bool IsInCodePage(const std::wstring& path) {
    return conv_to_wchar(conv_to_char(path.c_str()).c_str()) == path;
}

bool IsRooted(const std::wstring& path) {
    return path.starts_with(L"\\") || path.starts_with(L"/") || (path.size() > 2 && path[1] == L':');
}

std::string FileIdentity(const std::wstring& path, bool for32Bit) {
    std::wstring file = path.substr(path.starts_with(L"\\\\?\\") ? 4 : 0);
    if (IsInCodePage(file)) {
        const std::string expanded = ExpandEnvString(conv_to_char(file.c_str()).c_str());
        char full[MAX_PATH] = {};
        const DWORD length = GetFullPathNameA(expanded.c_str(), sizeof(full), full, nullptr);
        const bool usable = IsRooted(conv_to_wchar(expanded.c_str())) && length < sizeof(full);
        file = conv_to_wchar(usable ? full : expanded.c_str());
    }
    std::string identity = LowerCase(ToUtf8(file));
    // On whatever drive: the Windows of a picture can be on another one than this machine's.
    const std::string windows = LowerCase(FromAnsi(ExpandEnvString("%SystemRoot%\\"))).substr(1);
    if (for32Bit && identity.find(windows + "system32\\") == 1) {
        identity.replace(1 + windows.size(), std::strlen("system32"), "syswow64");
    }
    return identity;
}
