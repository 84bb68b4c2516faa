// The "lsp" command: removes an LSP from the Winsock catalogs and deletes its DLL.
#pragma once

#include <string>

// Removes the LSP whose DLL has the given name, and then that DLL, even if the removal failed. Starts Winsock
// and creates the private heap before, and cleans both up afterwards. The outcome is reported in the trace
// only.
//   bothCatalogs  true for both catalogs, false for the 32-bit catalog
//   dllName       bare file name in the letter case of the catalog; ANSI code page
// ws2_32.dll remains loaded. A std::runtime_error of a text conversion passes through; the heap and Winsock
// are not cleaned up then.
void RemoveLsp(bool bothCatalogs, const std::string& dllName);
