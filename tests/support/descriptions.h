// Descriptions of machines in a file.
#pragma once

#include <string>

#include "machine/machine.h"

inline constexpr char kDescription[] = "C:\\sandbox\\machine.reg";

// A machine in the notation of the cases, of which a sound output of netsh has no gaps.
inline constexpr char kMachine[] =
    "1 m *; 2 %SystemRoot%\\system32\\mswsock.dll * type=2 protocol=17; 10 a; 11 a [10,1]; "
    "20 C:\\\xC3\xA9\\b.dll; 21 b [20,11,1]; 30 %X%\\c:d.dll; 31 b [30,1,2]";

// Reads a description of these bytes, from the file kDescription.
Machine ReadDescription(const std::string& bytes);

// What is wrong with a description; empty for nothing.
std::string RefusalOf(const std::string& bytes);

// The gaps of a description, a line each, without the file or the key in front of them.
std::string GapsOf(const std::string& bytes);

// Checks that damage is reported: by an exception with the line or the key, or by a gap. No entry is lost
// without one.
//   sound  the catalogs that were described
void CheckDamaged(const std::string& bytes, const Catalogs& sound);
