// The escapes of the cases, and helpers for texts.
#pragma once

#include <string>

#include "machine/text.h"

// Replaces the escapes of a step: <lf>, <cr>, <nul>, a byte such as <e9>, a repetition such as <300*x>.
// Throws std::logic_error for any other.
std::string Unescaped(const std::string& text);

// Makes a text one line: line feeds, carriage returns and NULs become escapes, and in a text that is not
// UTF-8 the bytes beyond ASCII, too.
std::string Escaped(const std::string& text);

// Takes a command line apart: words, and texts in double quotes, with blanks between them.
std::vector<std::string> SplitArguments(std::string line);

// Replaces every occurrence. The replacements themselves are not searched.
void ReplaceAll(std::string& text, const std::string& from, const std::string& to);

// The same with a copy, which it returns.
std::string Replaced(std::string text, const std::string& from, const std::string& to);

// Replaces the stamp at the start of each trace message: process, thread and time.
std::string ReplaceStamps(const std::string& trace, const std::string& to);
