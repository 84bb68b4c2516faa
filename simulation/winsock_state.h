// The simulated Winsock catalogs as data, and their text form.
//
// The text can be read and written by hand, one line for each thing:
//   next-id 1040   the catalog id of the next installed entry
//   not-elevated   the program runs without administrator's rights
//   fail WSCDeinstallProvider 2 10107
//                  the second call of that function in a process fails with that error; the simulation writes
//                  "failed" for "fail" once it did
//   catalog 64     the entries that follow are in the 64-bit catalog
//   entry 1011 {GUID} chain=1010,1001 path="C:\a.dll" name="Example over TCP" family=2 type=1 protocol=6
// "length=" is a chain length other than the number of elements (a base provider has "length=1"). Empty lines
// and lines that begin with # are passed over; any other line is an error.
#pragma once

#include <string>

#include "machine/catalog.h"
#include "simulation/fault_plan.h"

struct WinsockState : Catalogs {
    bool notElevated = false;
    FaultPlan plan;
};

// Reads the text form (UTF-8). Throws std::runtime_error whose text begins with the number of the line that
// is wrong.
WinsockState ParseWinsockState(const std::string& text);

// Reads what is behind "entry". Throws std::runtime_error.
CatalogEntry ParseEntry(std::string text);

// Writes the text form.
std::string FormatWinsockState(const WinsockState& state);

// Whether a path names something that no drive letter leads to: a share, a device, the host of a Wine prefix.
bool LeavesSandbox(const std::string& path);

// The letters of the drives that the paths of the state name, in lower case, each once.
std::string DrivesOf(const Catalogs& catalogs);
