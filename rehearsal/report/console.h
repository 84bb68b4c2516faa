// The output of the program, on a console or into a file.
#pragma once

#include <cstdio>
#include <string>

// Writes a text in UTF-8, whose lines end with a line feed, to standard output or standard error. There they
// end as in Windows, with CR LF. A console gets the characters of the text, whatever its code page is.
// Returns whether the whole text was written.
bool Print(std::FILE* stream, const std::string& lines);
