// In the wide functions %s takes a wide text and %S a narrow one, the other way round than in the narrow
// functions. So the format is rewritten to take wide texts everywhere, and the narrow arguments are
// converted.
#include "trace/wide_format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <deque>
#include <string>
#include <vector>

#include "common/text_conversion.h"

namespace {

// 64-bit Windows passes every variable argument in one slot of eight bytes, and its va_list points to them.
using Slot = std::uintptr_t;
static_assert(sizeof(Slot) == 8 && sizeof(va_list) == sizeof(void*));

struct WideCall {
    std::wstring format;
    std::vector<Slot> slots;
    std::deque<std::wstring> texts; // what the rewritten slots point to; a deque never moves its elements
};

// One conversion of a printf format: "%" flags width "." precision size letter.
struct Conversion {
    std::wstring head; // from the percent sign to before the size
    std::wstring size;
    wchar_t letter = 0; // 0 when the format ends too early
    size_t end = 0;     // index behind the letter
    size_t precision = SIZE_MAX;
};

// Returns the index of the first character from start on that is not in set.
size_t SkipAny(const std::wstring& format, size_t start, const wchar_t* set) {
    return std::min(format.find_first_not_of(set, start), format.size());
}

Conversion ReadConversion(const std::wstring& format, size_t start) {
    Conversion found;
    const size_t size = SkipAny(format, start + 1, L"-+ #0123456789.");
    const size_t letter = SkipAny(format, size, L"hlwI64");
    found.head = format.substr(start, size - start);
    found.size = format.substr(size, letter - size);
    found.letter = letter < format.size() ? format[letter] : L'\0';
    found.end = std::min(letter + 1, format.size());
    const size_t point = found.head.find(L'.');
    if (point != std::wstring::npos) {
        found.precision = std::wcstoul(found.head.c_str() + point + 1, nullptr, 10);
    }
    return found;
}

// In a narrow format %s and %hs take narrow texts, %S, %ls and %ws wide ones.
bool TakesNarrowText(const Conversion& conversion) {
    return conversion.size == L"h" || (conversion.size.empty() && conversion.letter == L's');
}

void AppendText(const Conversion& conversion, Slot slot, WideCall& call) {
    const char* narrow = reinterpret_cast<const char*>(slot);
    if (TakesNarrowText(conversion) && narrow != nullptr) {
        // A precision also bounds how far an argument without a terminator may be read.
        const std::string bounded(narrow, strnlen(narrow, conversion.precision));
        call.texts.push_back(conv_to_wchar(bounded.c_str()));
        slot = reinterpret_cast<Slot>(call.texts.back().c_str());
    }
    call.slots.push_back(slot);
    call.format += conversion.head + L"ls";
}

void AppendConversion(const Conversion& conversion, va_list& args, WideCall& call) {
    if (conversion.letter == L'%' || conversion.letter == L'\0') {
        call.format += L"%%";
        return;
    }
    const Slot slot = va_arg(args, Slot);
    if (conversion.letter == L's' || conversion.letter == L'S') {
        AppendText(conversion, slot, call);
    } else {
        call.slots.push_back(slot);
        call.format += conversion.head + conversion.size + conversion.letter;
    }
}

} // namespace

std::wstring FormatWide(const char* format, va_list args) {
    const std::wstring wideFormat = conv_utf8_to_wchar(format);
    WideCall call;
    va_list walk;
    va_copy(walk, args);
    for (size_t i = 0; i < wideFormat.size();) {
        if (wideFormat[i] != L'%') {
            call.format += wideFormat[i++];
            continue;
        }
        const Conversion conversion = ReadConversion(wideFormat, i);
        AppendConversion(conversion, walk, call);
        i = conversion.end;
    }
    va_end(walk);

    call.slots.push_back(0); // so that data() is not null when there are no arguments
    const va_list wideArgs = reinterpret_cast<va_list>(call.slots.data());
    const int length = _vscwprintf(call.format.c_str(), wideArgs);
    if (length < 0) {
        return {};
    }
    std::wstring message(static_cast<size_t>(length), L'\0');
    _vsnwprintf(message.data(), message.size() + 1, call.format.c_str(), wideArgs);
    return message;
}
