// Reading the description of a machine.
#pragma once

#include <string>
#include <vector>

#include "machine/machine.h"

// Reads the machine that this runs on, or the machine that files describe, when there are any: registry
// exports, or the output of "netsh winsock show catalog". Only one of them may have catalogs. What the
// description lacks is in the gaps of the machine. Throws std::runtime_error, with file and line or with the
// key, for what cannot be read, and for a description without any entry.
Machine ReadMachine(const std::vector<std::wstring>& files);
