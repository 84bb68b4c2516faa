#include "rehearsal/report/console.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"

namespace {

constexpr size_t kPart = 8000; // characters; older consoles refuse long texts

// The end of the part that begins at an index. It does not divide a pair of surrogates.
size_t EndOfPart(const std::wstring& text, size_t at) {
    const size_t end = std::min(at + kPart, text.size());
    return end < text.size() && IS_LOW_SURROGATE(text[end]) ? end - 1 : end;
}

bool WriteConsolePart(HANDLE console, const std::wstring& part) {
    DWORD written = 0;
    return WriteConsoleW(console, part.data(), static_cast<DWORD>(part.size()), &written, nullptr) &&
           written == part.size();
}

} // namespace

bool Print(std::FILE* stream, const std::string& lines) {
    const std::string text = Joined(SplitAt(lines, "\n"), "\r\n");
    const HANDLE output = GetStdHandle(stream == stderr ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode)) {
        _setmode(_fileno(stream), _O_BINARY);
        return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
    }
    const std::wstring wide = conv_utf8_to_wchar(text.c_str());
    bool written = true;
    for (size_t at = 0; written && at < wide.size();) {
        const size_t end = EndOfPart(wide, at);
        written = WriteConsolePart(output, wide.substr(at, end - at));
        at = end;
    }
    return written;
}
