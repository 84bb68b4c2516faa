// Writing of whole files. Separate from the reading: the rehearsal links no function that can change a file.
#pragma once

#include <string>

// Writes a file with that content, and replaces one that exists. Throws std::runtime_error, and may leave a
// part of it.
void WriteWholeFile(const std::string& path, const std::string& content);

// Appends content to a file, which it creates if it is missing. Throws std::runtime_error.
void AppendToFile(const std::string& path, const std::string& content);
