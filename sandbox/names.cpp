#include "names.h"

#include <windows.h>

#include <algorithm>

#include "common/text_conversion.h"

std::string LowerCase(const std::string& text) {
    std::wstring wide = conv_utf8_to_wchar(text.c_str());
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, wide.data(), static_cast<int>(wide.size()), wide.data(),
                 static_cast<int>(wide.size()));
    return ToUtf8(wide);
}

std::string FromAnsi(const std::string& text) {
    return ToUtf8(conv_to_wchar(text.c_str()));
}

std::string ToUtf8(const std::wstring& text) {
    return conv_wchar_to_utf8(text.c_str());
}

std::string NameOf(const WSAPROTOCOL_INFOW& entry) {
    std::wstring name(entry.szProtocol, wcsnlen(entry.szProtocol, WSAPROTOCOL_LEN + 1));
    std::replace_if(
        name.begin(), name.end(), [](wchar_t c) { return c < L' '; }, L'?');
    return ToUtf8(name);
}
