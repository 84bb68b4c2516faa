// Texts from a machine, as UTF-8. A text ends at its first NUL. All of these throw std::runtime_error when a conversion to or from UTF-8 fails.
#pragma once

#include <winsock2.h>

#include <string>

// A text in UTF-8 in lower case, whatever the language.
std::string LowerCase(const std::string& text);

// A text of the ANSI code page.
std::string FromAnsi(const std::string& text);

// A text of the catalogs.
std::string ToUtf8(const std::wstring& text);

// A text in UTF-8 with "?" for its control characters and those that change lines or directions, which could forge lines of a
// report.
//   kept  a control character that stays
std::string Printable(const std::string& text, wchar_t kept = L'\0');

// A text of the catalogs, such as a path, printable.
std::string Shown(const std::wstring& text);

// The entry's name, which can lack its terminator, printable.
std::string NameOf(const WSAPROTOCOL_INFOW& entry);
