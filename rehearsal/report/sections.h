// The sections that the texts of the program are made of. In UTF-8, lines with a line feed.
#pragma once

#include <string>
#include <vector>

constexpr size_t kMostLines = 19; // of a list; a further line says how many more there are

// A heading with its lines, each made printable; empty without lines. A long list is shortened.
std::string Section(const std::string& heading, const std::vector<std::string>& lines);

// The same with numbered lines.
std::string NumberedSection(const std::string& heading, const std::vector<std::string>& lines);

// The first lines of a list that could be very long, and how many more there are.
std::vector<std::string> Shortened(std::vector<std::string> lines);
