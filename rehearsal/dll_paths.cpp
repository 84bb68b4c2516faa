#include "dll_paths.h"

#include <algorithm>

#include "common/text_conversion.h"
#include "names.h"

std::string FileNameOf(const std::string& path) {
    return path.substr(path.rfind('\\') + 1);
}

bool HasReference(const std::wstring& path) {
    const size_t start = path.find(L'%');
    return start != std::wstring::npos && path.find(L'%', start + 1) != std::wstring::npos;
}

bool IsInCodePage(const std::wstring& path) {
    return conv_to_wchar(conv_to_char(path.c_str()).c_str()) == path;
}

bool HasFolder(const std::wstring& path) {
    return path.starts_with(L"\\") || (path.size() > 2 && path[1] == L':');
}

std::string FileIdentity(const std::wstring& path, bool for32Bit) {
    const std::string system = LowerCase(FromAnsi(ExpandEnvString("%SystemRoot%\\system32\\")));
    std::string file = ToUtf8(path);
    if (IsInCodePage(path) && HasReference(path)) {
        file = FromAnsi(ExpandEnvString(conv_to_char(path.c_str()).c_str()));
    }
    file = LowerCase(file);
    std::replace(file.begin(), file.end(), '/', '\\');
    file.erase(0, file.starts_with("\\\\?\\") ? 4 : 0);
    return for32Bit && file.starts_with(system)
               ? system.substr(0, system.size() - 9) + "syswow64\\" + file.substr(system.size())
               : file;
}
