// Texts from a machine, as UTF-8.
#pragma once

#include <winsock2.h>

#include <string>

// With the letters A to Z folded.
std::string LowerCase(std::string text);

// As UTF-8: a text of the ANSI code page, and one of the catalogs.
std::string FromAnsi(const std::string& text);
std::string ToUtf8(const std::wstring& text);

// The entry's name, which can lack its terminator.
std::string NameOf(const WSAPROTOCOL_INFOW& entry);
