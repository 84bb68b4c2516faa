// Reading the texts that describe a machine, strictly: what is not understood is refused, with its line.
//
// In all of them a number is decimal, or hexadecimal with 0x before it.
#pragma once

#include <functional>
#include <string>

// Calls read with each line that is neither empty nor a comment (#), without its line end, and with its number, from 1 on. What
// read throws of std::runtime_error, or a line that is not UTF-8, comes out as another whose text begins with that number and a
// colon.
void ReadLines(const std::string& text, const std::function<void(std::string line, int number)>& read);

// Takes the first word, and the blanks behind it, out of text and returns it.
std::string TakeWord(std::string& text);

// Takes a word, or a text in double quotes, out of text and returns it without the quotes. Throws std::runtime_error when
// the quotes are not closed, or something follows them at once.
std::string TakeQuoted(std::string& text);

// Reads a whole word as a number from least to most. Throws std::runtime_error.
long long ParseNumber(const std::string& word, long long least, long long most);

// Reads a number of 32 bits, signed or not. Throws std::runtime_error.
unsigned long ParseNumber32(const std::string& word);

// Faults as the states have them: the call-th call of a function, or method, in a process fails with that code.
struct PlannedFault {
    std::string function;
    int call; // from 1 on
    int error;
};

// Reads "FUNCTION CALL CODE". Throws std::runtime_error, also for a function that is none of known, which ends with a null
// pointer.
PlannedFault ParseFault(std::string text, const char* const* known);

// Writes a line of a state: "fail FUNCTION CALL CODE".
std::string FormatFault(const PlannedFault& fault);

// A whole file as it is. Throws std::runtime_error for one that cannot be opened, or not be read to its end.
std::string ReadWholeFile(const std::string& path);

// Makes a file of that content, in the place of what it has. Throws std::runtime_error, and may leave a part of it.
void WriteWholeFile(const std::string& path, const std::string& content);

// Writes content to the end of a file, which it makes when it is not there. Throws std::runtime_error.
void AppendToFile(const std::string& path, const std::string& content);
