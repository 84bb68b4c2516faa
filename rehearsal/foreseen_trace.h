// The trace of a foreseen removal, which is kept instead of written.
#pragma once

#include <string>
#include <vector>

// The messages since the last call, in UTF-8, without stamps and line ends.
std::vector<std::string> TakeForeseenTrace();
