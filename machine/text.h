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

// A text with the letters A to Z in lower case, of the same length.
std::string AsciiLowerCase(std::string text);

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

// Whether bytes are UTF-16 with a byte order mark, or UTF-8: those of another text are in a code page, and do
// not say in which.
bool IsUnicode(const std::string& bytes);

// Decodes UTF-16 with a byte order mark, UTF-8, or a code page, into UTF-8 without byte order mark. Throws
// std::runtime_error, with the number of the line, for bytes that are no text.
//   ansi  whether bytes in a code page are in the ANSI one. Otherwise it is this or the OEM code page, which
//         follows from the bytes: letters are in different ranges
std::string DecodeText(const std::string& bytes, bool ansi = false);

// The characters of a UTF-16 text; an odd last byte is dropped.
std::wstring WideOf(const std::string& bytes);

// The parts between separators, at least one. A part can be empty.
std::vector<std::string> SplitAt(const std::string& text, const std::string& separator);
std::vector<std::wstring> SplitAt(const std::wstring& text, const std::wstring& separator);

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
