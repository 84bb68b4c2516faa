#include "dll_paths.h"

#include <algorithm>
#include <cstdlib>

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

std::string FileIdentity(const std::wstring& path, bool for32Bit) {
    const char* known = std::getenv("SystemRoot");
    const std::string windows = LowerCase(known != nullptr ? FromAnsi(known) : "C:\\Windows");
    std::string file = LowerCase(ToUtf8(path));
    std::replace(file.begin(), file.end(), '/', '\\');
    for (const std::string reference : {"%systemroot%", "%windir%"}) {
        if (file.starts_with(reference)) {
            file.replace(0, reference.size(), windows);
        }
    }
    file.erase(0, file.starts_with("\\\\?\\") ? 4 : 0);
    const std::string system = windows + "\\system32\\";
    return for32Bit && file.starts_with(system) ? windows + "\\syswow64\\" + file.substr(system.size())
                                                : file;
}
