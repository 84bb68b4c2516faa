// Finds the functions that update a catalog entry, in the ws2_32.dll of the system.
#pragma once

#include <windows.h>

// Loads the ws2_32.dll of the system by its full path and looks up the update functions. A function that is
// not exported is not a failure.
// Returns the module, which remains loaded so that the functions remain valid. Returns null on failure, after
// a message to the trace (the path does not fit its buffer) or to standard error (the expansion or the load
// failed).
HMODULE LoadUpdateProviderFunctions();
