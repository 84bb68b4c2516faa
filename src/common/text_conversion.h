// Converts between narrow and wide text, and expands environment references.
#pragma once

#include <string>

// Converts narrow text in the ANSI code page to wide text. Invalid bytes are replaced by a substitute
// character.
//   text  NUL-terminated, not null
// Throws std::runtime_error "conv_to_wchar called mbstowcs() failed.".
std::wstring conv_to_wchar(const char* text);

// Converts wide text to narrow text in the ANSI code page. A character that the code page does not contain is
// replaced by its default character.
//   text  NUL-terminated
// Throws std::runtime_error "conv_to_char called wcstombs() and failed.".
std::string conv_to_char(const wchar_t* text);

// Converts UTF-8 text to wide text. Invalid bytes are replaced by a substitute character.
//   text  NUL-terminated
// Throws std::runtime_error "conv_utf8_to_wchar called mbstowcs() failed.".
std::wstring conv_utf8_to_wchar(const char* text);

// Converts wide text to UTF-8 text.
//   text  NUL-terminated; null is a failure
// Throws std::runtime_error "conv_to_char called wcstombs() and failed.".
std::string conv_wchar_to_utf8(const wchar_t* text);

// Expands %VAR% references with the environment of the process.
//   text  narrow and NUL-terminated, or null
// Returns the expanded text; an empty text when text is null or the expansion fails.
std::string ExpandEnvString(const char* text);
