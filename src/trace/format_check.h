// Checks a trace call's printf format against its arguments while the program is compiled.
//
// The compilers' own format attributes do not know the %ws of the Windows runtime. Only constant formats
// are accepted, so that no text from the machine is ever used as a format.
#pragma once

#include <concepts>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace trace_detail {

enum class Kind : unsigned char { kNarrowText, kWideText, kCharacter, kInteger, kLongInteger, kPointer };

template <class T> consteval Kind KindOf() {
    using D = std::decay_t<T>;
    if constexpr (std::is_same_v<D, const char*> || std::is_same_v<D, char*>) {
        return Kind::kNarrowText;
    } else if constexpr (std::is_same_v<D, const wchar_t*> || std::is_same_v<D, wchar_t*>) {
        return Kind::kWideText;
    } else if constexpr (std::is_null_pointer_v<D> || std::is_pointer_v<D>) {
        static_assert(!std::is_function_v<std::remove_pointer_t<D>>, "not a type that a trace line accepts");
        return Kind::kPointer;
    } else if constexpr (std::is_same_v<D, char>) {
        return Kind::kCharacter;
    } else {
        static_assert(std::is_integral_v<D> && sizeof(D) <= sizeof(long long),
                      "not a type that a trace line accepts");
        return sizeof(D) > sizeof(int) ? Kind::kLongInteger : Kind::kInteger;
    }
}

constexpr bool IsText(Kind kind) {
    return kind == Kind::kNarrowText || kind == Kind::kWideText;
}

// What the wide functions need to know of the conversion of one text, or 0. For a narrow text it is the
// precision plus one, for a wide text the index of the S of a %S in the format.
using Note = unsigned short;

// The notes of the texts among the arguments. Without a text it is empty, and a checked format fits a
// register.
template <size_t count> struct Notes {
    Note values[count] = {};

    constexpr Note* Get() { return values; }
};

template <> struct Notes<0> {
    constexpr Note* Get() { return nullptr; }
};

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

// Returns whether text begins with prefix, and moves text after it in that case.
consteval bool Skip(const char*& text, const char* prefix) {
    const char* place = text;
    for (; *prefix != '\0'; ++prefix, ++place) {
        if (*place != *prefix) {
            return false;
        }
    }
    text = place;
    return true;
}

// Reads the digits at the beginning of text, and moves text after them.
consteval unsigned ReadNumber(const char*& text) {
    unsigned number = 0;
    for (; IsOneOf(*text, "0123456789"); ++text) {
        number = number * 10 + static_cast<unsigned>(*text - '0');
        if (number >= std::numeric_limits<Note>::max()) {
            FormatMismatch("number too large");
        }
    }
    return number;
}

// Reads the size and the letter of a conversion, and leaves text at the letter. Returns the kind of argument
// that the conversion takes. A long has 32 bits on Windows.
consteval Kind ReadType(const char*& text) {
    if (Skip(text, "ll") || Skip(text, "I64")) {
        if (!IsOneOf(*text, "diuxX")) {
            FormatMismatch("not an integer conversion");
        }
        return Kind::kLongInteger;
    }
    const bool isLong = Skip(text, "l");
    const bool isWide = !isLong && Skip(text, "w");
    if (*text == 's') {
        return isLong || isWide ? Kind::kWideText : Kind::kNarrowText;
    }
    if (IsOneOf(*text, "diuxX") && !isWide) {
        return Kind::kInteger;
    }
    if (isLong || isWide || !IsOneOf(*text, "Scp")) {
        FormatMismatch("conversion that trace lines do not use");
    }
    if (*text == 'S') {
        return Kind::kWideText;
    }
    return *text == 'c' ? Kind::kCharacter : Kind::kPointer;
}

// Reads the flags, the width and the precision of a conversion, and moves text after them. Returns the
// precision plus one; 0 when there is none.
consteval unsigned ReadLayout(const char*& text) {
    while (IsOneOf(*text, "-+ #0")) {
        ++text;
    }
    ReadNumber(text);
    return Skip(text, ".") ? ReadNumber(text) + 1 : 0;
}

// Reads all conversions of a format.
//   kinds  those of the count arguments
//   notes  receives a note for each text
consteval void CheckFormat(const char* format, const Kind* kinds, size_t count, Note* notes) {
    size_t used = 0;
    const char* text = format;
    while (*text != '\0') {
        if (Skip(text, "%%")) {
            continue;
        }
        if (!Skip(text, "%")) {
            ++text;
            continue;
        }
        const unsigned precision = ReadLayout(text);
        const Kind wanted = ReadType(text);
        if (used == count || kinds[used] != wanted) {
            FormatMismatch("argument missing or of another kind");
            return;
        }
        if (wanted == Kind::kNarrowText) {
            *notes++ = static_cast<Note>(precision);
        } else if (wanted == Kind::kWideText) {
            *notes++ = *text == 'S' ? static_cast<Note>(text - format) : Note(0);
        }
        ++used;
        ++text;
    }
    if (used != count) {
        FormatMismatch("argument without a conversion");
    }
    if (text - format > std::numeric_limits<Note>::max()) {
        FormatMismatch("format too long");
    }
}

} // namespace trace_detail

// A constant format text whose conversions match Args; made only at compile time.
template <class... Args> struct CheckedFormat {
    static constexpr size_t kTexts = (trace_detail::IsText(trace_detail::KindOf<Args>()) + ... + size_t(0));

    const char* text;
    [[no_unique_address]] trace_detail::Notes<kTexts> notes = {};

    // Releases of clang-format differ over a requires clause.
    // clang-format off
    template <class T>
    requires std::convertible_to<const T&, const char*>
    // clang-format on
    consteval CheckedFormat(const T& format) : text(format) {
        constexpr trace_detail::Kind kinds[] = {trace_detail::KindOf<Args>()...,
                                                trace_detail::Kind::kInteger};
        trace_detail::CheckFormat(format, kinds, sizeof...(Args), notes.Get());
    }
};
