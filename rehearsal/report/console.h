// The output of the program, on a console or into a file.
#pragma once

#include <cstdio>
#include <string>

// Writes a text in UTF-8 to standard output or standard error. A console gets its characters, whatever its
// code page is. Returns whether the whole text was written.
bool Print(std::FILE* stream, const std::string& text);
