// Formats a message in wide characters, for one that the narrow printf functions refuse.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <utility>

#include "trace/format_check.h"

namespace trace_detail {

// The value of one argument for the wide functions: a number, or the address of a text or an object.
struct WideArgument {
    long long number = 0;
    const void* address = nullptr;
    std::wstring converted; // of a narrow text; address points into it
};

// Returns the value with the type that the wide functions take for an argument of this kind.
template <Kind kind> auto ValueOf(const WideArgument& argument) {
    if constexpr (kind == Kind::kNarrowText || kind == Kind::kWideText) {
        return static_cast<const wchar_t*>(argument.address);
    } else if constexpr (kind == Kind::kPointer) {
        return argument.address;
    } else if constexpr (kind == Kind::kLongInteger) {
        return argument.number;
    } else {
        return static_cast<int>(argument.number);
    }
}

// Formats with the wide functions of the runtime. Returns an empty text when they refuse the format.
std::wstring FormatWide(const wchar_t* format, ...);

// The types of a line's arguments.
struct ArgumentTypes {
    const Kind* kinds;
    size_t count;
    std::wstring (*format)(const wchar_t* format, const WideArgument* arguments); // calls FormatWide
};

template <Kind... kinds> struct TypesOf {
    template <size_t... indices>
    static std::wstring Format(const wchar_t* format, [[maybe_unused]] const WideArgument* arguments,
                               std::index_sequence<indices...>) {
        return FormatWide(format, ValueOf<kinds>(arguments[indices])...);
    }
    static std::wstring FormatAll(const wchar_t* format, const WideArgument* arguments) {
        return Format(format, arguments, std::make_index_sequence<sizeof...(kinds)>());
    }
    // The last element is there because an array cannot be empty.
    static constexpr Kind kKinds[] = {kinds..., Kind::kInteger};
    static constexpr ArgumentTypes kTypes = {kKinds, sizeof...(kinds), &FormatAll};
};

// A format that was checked, and the types of its arguments.
struct TypedFormat {
    const char* text; // in UTF-8
    const Note* notes;
    const ArgumentTypes* types;
};

// Formats as the narrow functions would, but with wide characters. Narrow texts and characters are read in
// the ANSI code page.
//   args  the arguments of the format
// Returns the message; empty when the wide functions refuse it too. Throws std::runtime_error when a text
// cannot be converted.
std::wstring WideMessage(const TypedFormat& format, va_list args);

} // namespace trace_detail
