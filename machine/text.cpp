#include "machine/text.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <stdexcept>
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

// Byte order marks.
constexpr char kUtf8[] = "\xEF\xBB\xBF";
constexpr char kUtf16[] = "\xFF\xFE";
constexpr char kUtf16BigEndian[] = "\xFE\xFF";

constexpr char kBinary[] = "1: the file is binary, or cut off within a character";

// Most letters beyond ASCII are at 0x80 to 0xAF in OEM code pages, which have box drawing characters where
// ANSI code pages have most of their letters, at 0xC0 to 0xDF.
UINT CodePageOf(const std::string& bytes) {
    const auto countIn = [&](unsigned char first, unsigned char last) {
        return std::count_if(bytes.begin(), bytes.end(), [=](char c) {
            return static_cast<unsigned char>(c) >= first && static_cast<unsigned char>(c) <= last;
        });
    };
    // In ANSI code pages a no-break space, of which a pasted text has several in each line; else a letter.
    const auto spaces = countIn(0xA0, 0xA0);
    const auto letters = countIn(0x80, 0xAF) - (spaces > countIn('\n', '\n') ? spaces : 0);
    return letters > countIn(0xC0, 0xFF) ? CP_OEMCP : CP_ACP;
}

std::string FromUtf16(const std::string& bytes, bool swapped) {
    std::wstring wide = WideOf(bytes.substr(2));
    for (wchar_t& c : wide) {
        c = swapped ? static_cast<wchar_t>(c << 8 | c >> 8) : c;
    }
    // A NUL would end the text there, and what follows it would be lost in silence.
    if (bytes.size() % 2 != 0 || wide.find(L'\0') != std::wstring::npos) {
        throw std::runtime_error(kBinary);
    }
    return ToUtf8(wide);
}

std::string FromCodePage(UINT codePage, const std::string& bytes) {
    const int size = static_cast<int>(bytes.size());
    std::wstring wide(static_cast<size_t>(MultiByteToWideChar(codePage, 0, bytes.data(), size, nullptr, 0)),
                      L'\0');
    MultiByteToWideChar(codePage, 0, bytes.data(), size, wide.data(), static_cast<int>(wide.size()));
    return ToUtf8(wide);
}

// std::views::split would do it, but clang 14, which the lint check uses, cannot compile that of g++ 12.
template <class Text> std::vector<Text> PartsOf(const Text& text, const Text& separator) {
    std::vector<Text> parts;
    size_t at = 0;
    for (size_t end = 0; (end = text.find(separator, at)) != Text::npos; at = end + separator.size()) {
        parts.push_back(text.substr(at, end - at));
    }
    parts.push_back(text.substr(at));
    return parts;
}

} // namespace

std::wstring LowerCase(std::wstring text) {
    const int length = static_cast<int>(text.size());
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, text.data(), length, text.data(), length);
    return text;
}

std::string LowerCase(const std::string& text) {
    if (std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) >= 0x80; })) {
        return ToUtf8(LowerCase(conv_utf8_to_wchar(text.c_str())));
    }
    return AsciiLowerCase(text);
}

std::string AsciiLowerCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return text;
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

bool IsUnicode(const std::string& bytes) {
    return bytes.starts_with(kUtf16) || bytes.starts_with(kUtf16BigEndian) || IsUtf8(bytes);
}

std::string DecodeText(const std::string& bytes, bool ansi) {
    const bool swapped = bytes.starts_with(kUtf16BigEndian);
    if (swapped || bytes.starts_with(kUtf16)) {
        return FromUtf16(bytes, swapped);
    }
    if (bytes.find('\0') != std::string::npos) {
        throw std::runtime_error(kBinary);
    }
    if (IsUtf8(bytes)) {
        return bytes.starts_with(kUtf8) ? bytes.substr(std::strlen(kUtf8)) : bytes;
    }
    return FromCodePage(ansi ? CP_ACP : CodePageOf(bytes), bytes);
}

std::wstring WideOf(const std::string& bytes) {
    std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(wchar_t));
    return wide;
}

std::vector<std::string> SplitAt(const std::string& text, const std::string& separator) {
    return PartsOf(text, separator);
}

std::vector<std::wstring> SplitAt(const std::wstring& text, const std::wstring& separator) {
    return PartsOf(text, separator);
}

std::string Joined(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (&text == &texts.front() ? "" : separator) + text;
    }
    return joined;
}

std::string TakeWord(std::string& text) {
    const size_t end = std::min(text.find(' '), text.size());
    std::string word = text.substr(0, end);
    text.erase(0, std::min(text.find_first_not_of(' ', end), text.size()));
    return word;
}

std::string TakeQuoted(std::string& text) {
    if (!text.starts_with('"')) {
        return TakeWord(text);
    }
    const size_t end = text.find('"', 1);
    if (end == std::string::npos) {
        throw std::runtime_error("a text without its closing quote");
    }
    std::string quoted = text.substr(1, end - 1);
    text.erase(0, end + 1);
    const std::string behind = TakeWord(text);
    if (!behind.empty()) {
        throw std::runtime_error("something behind a closing quote: " + behind);
    }
    return quoted;
}

long long ParseNumber(const std::string& word, long long least, long long most) {
    char* end = nullptr;
    errno = 0;
    const bool hexadecimal = word.starts_with("0x");
    const long long number = std::strtoll(word.c_str(), &end, hexadecimal ? 16 : 10);
    if (word.empty() || isspace(static_cast<unsigned char>(word[0])) || errno != 0 ||
        end != word.c_str() + word.size() || number < least || number > most) {
        throw std::runtime_error("not a number from " + std::to_string(least) + " to " +
                                 std::to_string(most) + ": " + word);
    }
    return number;
}

unsigned long ParseNumber32(const std::string& word) {
    return static_cast<unsigned long>(ParseNumber(word, -0x80000000LL, 0xFFFFFFFFLL));
}
