// The text that a person probably meant.
#pragma once

#include <string>
#include <vector>

// The known texts, the one most like the given text first: with the fewest characters to insert, remove or
// replace, letter case apart. All are UTF-8.
std::vector<std::string> SortedByLikeness(const std::string& text, const std::vector<std::string>& known);

// Whether two texts differ in so few characters that one was probably meant as the other.
bool IsAlike(const std::string& text, const std::string& known);
