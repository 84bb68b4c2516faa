// The "lsp" command: takes an LSP out of the Winsock catalogs and deletes its DLL.
#pragma once

#include <string>

// Removes the LSP whose DLL has the given name, then that DLL, even when the removal failed. Starts and
// cleans up Winsock and the private heap around it. The outcome is in the trace only.
//   bothCatalogs  true for both catalogs, false for the 32-bit one
//   dllName       bare file name, in the letter case of the catalog; ANSI code page
// Leaves ws2_32.dll loaded. A std::runtime_error from a text conversion passes through, and then the heap and
// Winsock are left to the end of the process.
void RemoveLsp(bool bothCatalogs, const std::string& dllName);
