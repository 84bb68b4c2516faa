// Formatting with the wide half of the runtime's printf family, from a narrow format and its arguments.
#pragma once

#include <cstdarg>
#include <string>

// Formats as the narrow functions would, but in UTF-16, for messages that the narrow functions refuse because
// a wide argument has a character beyond U+00FF. Narrow %s arguments are read in the ANSI code page.
//   format  narrow, in UTF-8, NUL-terminated
//   args    the arguments of the format; left as they were
// Returns the message; empty when the wide functions refuse the format too. Throws std::runtime_error when a
// text cannot be converted.
std::wstring FormatWide(const char* format, va_list args);
