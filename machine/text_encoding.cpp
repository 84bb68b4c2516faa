#include "machine/text_encoding.h"

#include <windows.h>

#include <algorithm>

#include "machine/registry.h"
#include "machine/utf8_text.h"

namespace {

// Most letters beyond ASCII are at 0x80 to 0xAF in OEM code pages, which have box drawing characters where
// ANSI code pages have most of their letters, at 0xC0 to 0xDF.
UINT CodePageOf(const std::string& bytes) {
    const auto countIn = [&](unsigned char first, unsigned char last) {
        return std::count_if(bytes.begin(), bytes.end(), [=](char c) {
            return static_cast<unsigned char>(c) >= first && static_cast<unsigned char>(c) <= last;
        });
    };
    return countIn(0x80, 0xAF) > countIn(0xC0, 0xFF) ? CP_OEMCP : CP_ACP;
}

std::string FromCodePage(UINT codePage, const std::string& bytes) {
    const int size = static_cast<int>(bytes.size());
    std::wstring wide(static_cast<size_t>(MultiByteToWideChar(codePage, 0, bytes.data(), size, nullptr, 0)),
                      L'\0');
    MultiByteToWideChar(codePage, 0, bytes.data(), size, wide.data(), static_cast<int>(wide.size()));
    return ToUtf8(wide);
}

} // namespace

std::string DecodeText(const std::string& bytes) {
    if (bytes.starts_with("\xFF\xFE")) {
        return ToUtf8(WideOf(bytes.substr(2)));
    }
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        return bytes.substr(3);
    }
    return IsUtf8(bytes) ? bytes : FromCodePage(CodePageOf(bytes), bytes);
}
