// Finding the functions that update a catalog entry, in the system's ws2_32.dll.
#pragma once

#include <windows.h>

// Loads the system's ws2_32.dll by its full path and looks the update functions up. A function that is not
// exported is no failure.
// Returns the module, which stays loaded so that the functions stay valid; null on failure, after a message
// to the trace (a path that does not fit) or to standard error (no expansion, no library).
HMODULE LoadUpdateProviderFunctions();
