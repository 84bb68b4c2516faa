// Texts from a machine, as UTF-8.
#pragma once

#include <winsock2.h>

#include <string>

// A text in UTF-8 in lower case, whatever the language.
std::string LowerCase(const std::string& text);

// As UTF-8: a text of the ANSI code page, and one of the catalogs.
std::string FromAnsi(const std::string& text);
std::string ToUtf8(const std::wstring& text);

// A text in UTF-8 with "?" for its control characters, which could forge lines of a report.
std::string Printable(std::string text);

// The text of a catalog or a path, printable.
std::string Shown(const std::wstring& text);

// The entry's name, which can lack its terminator, printable.
std::string NameOf(const WSAPROTOCOL_INFOW& entry);
