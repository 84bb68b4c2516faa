// Reading the description of a machine.
#pragma once

#include <string>
#include <vector>

#include "machine/machine.h"

// Reads the machine that this runs on, or the machine that files describe, when there are any: registry
// exports, or the output of "netsh winsock show catalog". Only one of them may have catalogs. Throws std::runtime_error, with file and line or with the key, for what cannot be read.
//   files  paths in the ANSI code page
Machine ReadMachine(const std::vector<std::string>& files);
