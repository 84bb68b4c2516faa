// Conversions between narrow and wide text, and the expansion of environment references.
#pragma once

#include <string>

// Narrow text in the ANSI code page to wide text. Bytes that are no character of the code page are replaced
// by a substitute character.
//   text  NUL-terminated, not null
// Throws std::runtime_error "conv_to_wchar called mbstowcs() failed.".
std::wstring conv_to_wchar(const char* text);

// Wide text to narrow text in the ANSI code page. A character that the code page does not have is replaced by
// its default character.
//   text  NUL-terminated
// Throws std::runtime_error "conv_to_char called wcstombs() and failed.".
std::string conv_to_char(const wchar_t* text);

// UTF-8 text to wide text. Bytes that are not valid UTF-8 are replaced by a substitute character.
//   text  NUL-terminated
// Throws std::runtime_error "conv_utf8_to_wchar called mbstowcs() failed.".
std::wstring conv_utf8_to_wchar(const char* text);

// Wide text to UTF-8 text.
//   text  NUL-terminated; null makes the conversion throw
// Throws std::runtime_error "conv_to_char called wcstombs() and failed.".
std::string conv_wchar_to_utf8(const wchar_t* text);

// Expands %VAR% references with the environment of the process.
//   text  narrow and NUL-terminated, or null
// Returns the expanded text; empty when text is null or Windows refuses, without another sign of failure.
std::string ExpandEnvString(const char* text);
