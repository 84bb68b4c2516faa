// Looking up a function that a module exports.
#pragma once

#include <windows.h>

// Returns the function with the type Function, which is that of a pointer to it; null when the module does
// not export the name, with the cause as the last error.
template <class Function> Function FindFunction(HMODULE module, const char* name) {
    // The compiler warns of a direct cast between types of functions.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
