// Reading of whole files.
#pragma once

#include <string>

// Returns the content of a file. Throws std::runtime_error for a file that cannot be opened, or not be read
// to its end.
std::string ReadWholeFile(const std::string& path);
