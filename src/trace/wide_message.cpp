// The narrow texts and the format are converted, and one call of the wide functions formats the message.
#include "trace/wide_message.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "common/text_conversion.h"

namespace trace_detail {

namespace {

WideArgument TakeArgument(Kind kind, va_list& args) {
    switch (kind) {
    case Kind::kNarrowText:
    case Kind::kWideText:
    case Kind::kPointer:
        return {0, va_arg(args, const void*)};
    case Kind::kLongInteger:
        return {va_arg(args, long long), nullptr};
    default:
        return {va_arg(args, int), nullptr};
    }
}

// A text need not have a terminator when the precision of its conversion bounds it.
std::wstring ConvertText(const char* text, unsigned short precision) {
    const size_t most = precision == kNoPrecision ? SIZE_MAX : precision;
    return conv_to_wchar(std::string(text, strnlen(text, most)).c_str());
}

// In the wide functions %s, %ws and %ls take a wide text, but %S takes a narrow one.
std::wstring ConvertFormat(const TypedFormat& format) {
    std::string text = format.text;
    for (size_t i = 0; i < format.types->count; ++i) {
        if (format.conversions[i].upperS != 0) {
            text[format.conversions[i].upperS] = 's';
        }
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
    const size_t count = format.types->count;
    std::vector<WideArgument> arguments(count);
    std::vector<std::wstring> converted(count);
    for (size_t i = 0; i < count; ++i) {
        arguments[i] = TakeArgument(format.types->kinds[i], args);
        const auto* text = static_cast<const char*>(arguments[i].address);
        if (format.types->kinds[i] == Kind::kNarrowText && text != nullptr) {
            converted[i] = ConvertText(text, format.conversions[i].precision);
            arguments[i].address = converted[i].c_str();
        } else if (format.types->kinds[i] == Kind::kCharacter) {
            const char character[] = {static_cast<char>(arguments[i].number), '\0'};
            arguments[i].number = conv_to_wchar(character)[0];
        }
    }
    return format.types->format(ConvertFormat(format).c_str(), arguments.data());
}

} // namespace trace_detail
