#include "names.h"

#include <cstring>

#include "common/text_conversion.h"

std::string LowerCase(std::string text) {
    _strlwr(text.data());
    return text;
}

std::string FromAnsi(const std::string& text) {
    return ToUtf8(conv_to_wchar(text.c_str()));
}

std::string ToUtf8(const std::wstring& text) {
    return conv_wchar_to_utf8(text.c_str());
}

std::string NameOf(const WSAPROTOCOL_INFOW& entry) {
    return ToUtf8(std::wstring(entry.szProtocol, wcsnlen(entry.szProtocol, WSAPROTOCOL_LEN + 1)));
}
