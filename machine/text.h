// Texts from a machine and from people: encodings, printable texts, words and numbers of a line.
//
// Unless something else is said, a text is in UTF-8 and ends at its first NUL. A conversion that fails is a
// std::runtime_error.
#pragma once

#include <string>
#include <vector>

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

// Decodes UTF-16 or UTF-8 with a byte order mark, UTF-8, or the OEM or ANSI code page, into UTF-8. Which code
// page it is follows from the bytes: letters are in different ranges. A text in UTF-16 ends at its first NUL.
std::string DecodeText(const std::string& bytes);

// The characters of a UTF-16 text; an odd last byte is dropped.
std::wstring WideOf(const std::string& bytes);

// The parts between separators, at least one. A part can be empty.
std::vector<std::string> SplitAt(const std::string& text, const std::string& separator);

// Texts with a separator between them.
std::string Joined(const std::vector<std::string>& texts, const char* separator = ", ");

// Removes the first word, and the blanks behind it, from text and returns it.
std::string TakeWord(std::string& text);

// Removes a word, or a text in double quotes, from text and returns it without the quotes. Throws
// std::runtime_error when the closing quote is missing, or when no blank follows it.
std::string TakeQuoted(std::string& text);

// Reads a whole word as a number from least to most: decimal, or hexadecimal behind 0x. Throws
// std::runtime_error.
long long ParseNumber(const std::string& word, long long least, long long most);

// Reads a number of 32 bits, signed or not. Throws std::runtime_error.
unsigned long ParseNumber32(const std::string& word);
