// Texts from a machine, as UTF-8. A text ends at its first NUL. All of these throw std::runtime_error when a
// conversion fails.
#pragma once

#include <string>

// A text in lower case, whatever the language.
std::wstring LowerCase(std::wstring text);
std::string LowerCase(const std::string& text);

// A text of the ANSI code page.
std::string FromAnsi(const std::string& text);

// A text of the catalogs.
std::string ToUtf8(const std::wstring& text);

// Whether bytes are valid UTF-8.
bool IsUtf8(const std::string& text);

// A text in UTF-8 with "?" for control characters and for characters that are invisible or change the
// direction of a line, which could forge lines of a report.
//   kept  a control character that is not replaced
std::string Printable(const std::string& text, wchar_t kept = L'\0');

// A text of the catalogs, such as a path, printable.
std::string Shown(const std::wstring& text);
