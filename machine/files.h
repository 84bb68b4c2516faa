// Reading and writing of whole files.
#pragma once

#include <string>

// Returns the content of a file. Throws std::runtime_error for a file that cannot be opened, or not be read
// to its end.
std::string ReadWholeFile(const std::string& path);

// The same for a file of a user, whose name can have any characters. Throws for a folder, too, and for a file
// of more than 500 MB. The message begins with a blank.
std::string ReadWholeFile(const std::wstring& path);

// Writes a file with that content, and replaces one that exists. Throws std::runtime_error, and may leave a
// part of it.
void WriteWholeFile(const std::string& path, const std::string& content);

// Appends content to a file, which it creates if it is missing. Throws std::runtime_error.
void AppendToFile(const std::string& path, const std::string& content);
