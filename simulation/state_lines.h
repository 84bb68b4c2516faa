// The text of a state file: lines, and fields "key=value" in a line.
#pragma once

#include <functional>
#include <string>

// Calls read with each line that is neither empty nor a comment (#), without its line end, and with its
// number, from 1 on. A std::runtime_error that read throws, or a line that is not UTF-8, becomes a
// std::runtime_error whose text begins with that number and a colon.
void ReadLines(const std::string& text, const std::function<void(std::string line, int number)>& read);

// Calls set with each field of a text, "key=value" with blanks between them; a value can be in double quotes.
// Throws std::runtime_error for other text and for a key that is there twice.
void ReadFields(std::string text,
                const std::function<void(const std::string& key, const std::string& value)>& set);
