// The lines of a text that describes a machine.
#pragma once

#include <functional>
#include <string>

// Calls read with each line that is neither empty nor a comment (#), without its line end, and with its
// number, from 1 on. A std::runtime_error that read throws, or a line that is not UTF-8, becomes a
// std::runtime_error whose text begins with that number and a colon.
void ReadLines(const std::string& text, const std::function<void(std::string line, int number)>& read);
