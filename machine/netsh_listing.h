// The output of "netsh winsock show catalog", which users send to support.
#pragma once

#include <string>

#include "machine/machine.h"

// Whether a text is such an output.
//   text  UTF-8
bool IsNetshListing(const std::string& text);

// Adds the entries of both catalogs and the namespace providers. The labels are in the language of that
// Windows, so a block is read by the order of its values. Adds a warning, with the line, for a block that
// cannot be read; the machine is incomplete then. Throws std::runtime_error when no block can be read.
//   file  its name, for warnings
//   text  UTF-8; other text before, between and behind the blocks is passed over
void AddNetshListing(const std::string& file, const std::string& text, Machine& machine);
