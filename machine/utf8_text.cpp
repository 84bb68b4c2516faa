#include "machine/utf8_text.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <utility>

#include "common/text_conversion.h"

namespace {

// Control characters, and characters that are invisible or change the direction of a line. The last range are
// the high surrogates of the invisible characters for tags.
constexpr std::pair<wchar_t, wchar_t> kUnprintable[] = {
    {0x0001, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD}, {0x034F, 0x034F}, {0x061C, 0x061C},
    {0x115F, 0x1160}, {0x17B4, 0x17B5}, {0x180B, 0x180F}, {0x200B, 0x200F}, {0x2028, 0x202E},
    {0x2060, 0x206F}, {0x3164, 0x3164}, {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0},
    {0xFFF0, 0xFFFB}, {0xDB40, 0xDB43}};

} // namespace

std::wstring LowerCase(std::wstring text) {
    const int length = static_cast<int>(text.size());
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, text.data(), length, text.data(), length);
    return text;
}

std::string LowerCase(const std::string& text) {
    return ToUtf8(LowerCase(conv_utf8_to_wchar(text.c_str())));
}

std::string FromAnsi(const std::string& text) {
    return ToUtf8(conv_to_wchar(text.c_str()));
}

std::string ToUtf8(const std::wstring& text) {
    return conv_wchar_to_utf8(text.c_str());
}

bool IsUtf8(const std::string& text) {
    return text.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                               static_cast<int>(text.size()), nullptr, 0) != 0;
}

std::string Printable(const std::string& text, wchar_t kept) {
    std::wstring wide = conv_utf8_to_wchar(text.c_str());
    for (wchar_t& c : wide) {
        const bool unprintable =
            std::any_of(std::begin(kUnprintable), std::end(kUnprintable),
                        [c](const auto& range) { return c >= range.first && c <= range.second; });
        c = unprintable && c != kept ? L'?' : c;
    }
    return ToUtf8(wide);
}

std::string Shown(const std::wstring& text) {
    return Printable(ToUtf8(text));
}
