// Checks a trace call's printf format against its arguments while the program is compiled.
//
// The compilers' own format attributes do not know the %ws of the Windows runtime. Only constant formats
// pass, so that no text from the machine is ever taken for a format.
#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>

namespace trace_detail {

enum class Kind { kNarrowText, kWideText, kInteger };

template <class T> consteval Kind KindOf() {
    using D = std::decay_t<T>;
    if constexpr (std::is_same_v<D, const char*> || std::is_same_v<D, char*>) {
        return Kind::kNarrowText;
    } else if constexpr (std::is_same_v<D, const wchar_t*> || std::is_same_v<D, wchar_t*>) {
        return Kind::kWideText;
    } else {
        static_assert(std::is_integral_v<D> && sizeof(D) <= sizeof(int),
                      "not a type that a trace line takes");
        return Kind::kInteger;
    }
}

// Not constexpr: a check at compile time that reaches a call to it is an error, and the compiler then shows
// the call with its text.
inline void FormatMismatch(const char*) {}

consteval bool IsOneOf(char c, const char* set) {
    for (; *set != '\0'; ++set) {
        if (c == *set) {
            return true;
        }
    }
    return false;
}

consteval void CheckFormat(const char* text, const Kind* kinds, size_t count) {
    size_t used = 0;
    for (; *text != '\0'; ++text) {
        if (*text != '%') {
            continue;
        }
        ++text;
        if (*text == '%') {
            continue;
        }
        while (IsOneOf(*text, "-0123456789.")) {
            ++text;
        }
        const bool wide = IsOneOf(*text, "lw");
        text += wide ? 1 : 0;
        Kind wanted = Kind::kInteger;
        if (*text == 's') {
            wanted = wide ? Kind::kWideText : Kind::kNarrowText;
        } else if (*text == 'S') {
            wanted = Kind::kWideText;
        } else if (wide || !IsOneOf(*text, "diuxX")) {
            FormatMismatch("conversion that trace lines do not use");
        }
        if (used == count || kinds[used] != wanted) {
            FormatMismatch("argument missing or of another kind");
        }
        ++used;
    }
    if (used != count) {
        FormatMismatch("argument without a conversion");
    }
}

} // namespace trace_detail

// A constant format text whose conversions match Args; built only at compile time.
template <class... Args> struct CheckedFormat {
    const char* text;

    // Releases of clang-format differ over a requires clause.
    // clang-format off
    template <class T>
    requires std::convertible_to<const T&, const char*>
    // clang-format on
    consteval CheckedFormat(const T& format) : text(format) {
        constexpr trace_detail::Kind kinds[] = {trace_detail::KindOf<Args>()...,
                                                trace_detail::Kind::kInteger};
        trace_detail::CheckFormat(format, kinds, sizeof...(Args));
    }
};
