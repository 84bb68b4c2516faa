#include "machine/utf8_text.h"

#include <windows.h>

#include <cwchar>

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

std::string Printable(const std::string& text, wchar_t kept) {
    std::wstring wide = conv_utf8_to_wchar(text.c_str());
    for (wchar_t& c : wide) {
        const bool control = (c < 0x20 && c != kept) || (c >= 0x7F && c <= 0x9F);
        const bool lineOrDirection = (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) ||
                                     c == 0x200E || c == 0x200F || c == 0x061C;
        c = control || lineOrDirection ? L'?' : c;
    }
    return ToUtf8(wide);
}

std::string Shown(const std::wstring& text) {
    return Printable(ToUtf8(text));
}

std::string NameOf(const WSAPROTOCOL_INFOW& entry) {
    return Shown({entry.szProtocol, wcsnlen(entry.szProtocol, WSAPROTOCOL_LEN + 1)});
}
