// The output of "netsh winsock show catalog", which users send to support.
#pragma once

#include <string>

#include "machine/machine.h"

// Whether a text is such an output.
//   text  UTF-8
bool IsNetshListing(const std::string& text);

// Adds the entries of both catalogs and the namespace providers, and a gap for each thing that shows that the
// text is not whole. A block is read by the order of its values. Lines that a console or a mail
// program wrapped are joined.
//   file  its name, for the gaps
//   text  UTF-8; other text before, between and behind the blocks is passed over
void AddNetshListing(const std::string& file, const std::string& text, Machine& machine);
