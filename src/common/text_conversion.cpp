#include "common/text_conversion.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <vector>

namespace {

std::wstring ToWide(UINT codePage, const char* text, size_t capacity, const char* failure) {
    std::vector<wchar_t> buffer(capacity);
    if (MultiByteToWideChar(codePage, 0, text, -1, buffer.data(), static_cast<int>(capacity)) == 0) {
        throw std::runtime_error(failure);
    }
    return buffer.data();
}

// The exception has the same text for both code pages, although it names neither the UTF-8 function nor the
// Windows call, because support staff search for it. Kept, see docs/kept-behaviour.md.
std::string ToNarrow(UINT codePage, const wchar_t* text) {
    const int size = WideCharToMultiByte(codePage, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::vector<char> buffer(static_cast<size_t>(size) + 1);
    if (size == 0 ||
        WideCharToMultiByte(codePage, 0, text, -1, buffer.data(), size + 1, nullptr, nullptr) == 0) {
        throw std::runtime_error("conv_to_char called wcstombs() and failed.");
    }
    return buffer.data();
}

} // namespace

std::wstring conv_to_wchar(const char* text) {
    return ToWide(CP_ACP, text, std::strlen(text) + 1, "conv_to_wchar called mbstowcs() failed.");
}

std::string conv_to_char(const wchar_t* text) {
    return ToNarrow(CP_ACP, text);
}

std::wstring conv_utf8_to_wchar(const char* text) {
    constexpr char kFailure[] = "conv_utf8_to_wchar called mbstowcs() failed.";
    const int size = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (size == 0) {
        throw std::runtime_error(kFailure);
    }
    return ToWide(CP_UTF8, text, static_cast<size_t>(size) + 1, kFailure);
}

std::string conv_wchar_to_utf8(const wchar_t* text) {
    return ToNarrow(CP_UTF8, text);
}

std::string ExpandEnvString(const char* text) {
    const DWORD size = text == nullptr ? 0 : ExpandEnvironmentStringsA(text, nullptr, 0);
    if (size == 0) {
        return {};
    }
    // The environment can grow between the calls. Windows then fills its part of the buffer without a
    // terminator, so the last byte is not part of it and remains zero.
    std::vector<char> buffer(static_cast<size_t>(size) + 2);
    ExpandEnvironmentStringsA(text, buffer.data(), size + 1);
    return buffer.data();
}
