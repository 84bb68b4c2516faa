// The narrow texts and the format are converted, and one call of the wide functions formats the message.
#include "trace/wide_message.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "common/text_conversion.h"

namespace trace_detail {

namespace {

// A text need not have a terminator when the precision of its conversion bounds it.
std::wstring ConvertText(const char* text, Note note) {
    const size_t longest = note == 0 ? SIZE_MAX : note - 1u;
    return conv_to_wchar(std::string(text, strnlen(text, longest)).c_str());
}

// Takes the next argument, and converts it when it is narrow.
void TakeArgument(Kind kind, const Note* note, va_list& args, WideArgument& argument) {
    if (kind == Kind::kInteger) {
        argument.number = va_arg(args, int);
    } else if (kind == Kind::kLongInteger) {
        argument.number = va_arg(args, long long);
    } else if (kind == Kind::kCharacter) {
        const char character[] = {static_cast<char>(va_arg(args, int)), '\0'};
        argument.number = conv_to_wchar(character)[0];
    } else {
        argument.address = va_arg(args, const void*);
    }
    if (kind == Kind::kNarrowText && argument.address != nullptr) {
        argument.converted = ConvertText(static_cast<const char*>(argument.address), *note);
        argument.address = argument.converted.c_str();
    }
}

// In the wide functions %s, %ws and %ls take a wide text, but %S takes a narrow one.
std::wstring ConvertFormat(const TypedFormat& format) {
    std::string text = format.text;
    const Note* note = format.notes;
    for (size_t i = 0; i < format.types->count; ++i) {
        const Kind kind = format.types->kinds[i];
        if (kind == Kind::kWideText && *note != 0) {
            text[*note] = 's';
        }
        note += IsText(kind) ? 1 : 0;
    }
    return conv_utf8_to_wchar(text.c_str());
}

} // namespace

std::wstring FormatWide(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = _vscwprintf(format, args);
    va_end(args);
    std::wstring message(length < 0 ? 0 : static_cast<size_t>(length), L'\0');
    va_start(args, format);
    _vsnwprintf(message.data(), message.size(), format, args);
    va_end(args);
    return message;
}

std::wstring WideMessage(const TypedFormat& format, va_list args) {
    std::vector<WideArgument> arguments(format.types->count);
    const Note* note = format.notes;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const Kind kind = format.types->kinds[i];
        TakeArgument(kind, note, args, arguments[i]);
        note += IsText(kind) ? 1 : 0;
    }
    return format.types->format(ConvertFormat(format).c_str(), arguments.data());
}

} // namespace trace_detail
