// The escapes of the cases, and the taking apart of texts.
#pragma once

#include <string>
#include <vector>

// Replaces the escapes of a step: <lf> and its like, <0a>, <300*x>. Throws std::runtime_error for others.
std::string Unescaped(const std::string& text);

// Makes a text one line: line feeds, NULs and, where it is not UTF-8, its bytes beyond ASCII become escapes.
std::string Escaped(const std::string& text);

// The parts of a text that has a separator between them; at least one.
std::vector<std::string> SplitAt(const std::string& text, const std::string& between);

// Replaces every occurrence; what is put in is not looked through again.
void ReplaceAll(std::string& text, const std::string& from, const std::string& to);
