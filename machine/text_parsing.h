// Words, quoted texts and numbers of a line. What does not fit is refused.
#pragma once

#include <string>

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
