// The parts that texts of the program are made of. In UTF-8, lines with a line feed.
#pragma once

#include <string>
#include <vector>

// A heading with its lines, each made printable; empty without lines.
std::string Section(const std::string& heading, const std::vector<std::string>& lines);

// The same with numbered lines.
std::string NumberedSection(const std::string& heading, const std::vector<std::string>& lines);

// "both catalogs", "64-bit catalog" or "32-bit catalog".
std::string Catalogs(bool in64, bool in32);

// "64-bit and 32-bit programs", "64-bit programs" or "32-bit programs".
std::string Programs(bool in64, bool in32);

// Texts with commas between them.
std::string Joined(const std::vector<std::string>& texts);

// The first lines of a list that could be very long, and how many more there are.
std::vector<std::string> Shortened(std::vector<std::string> lines);
