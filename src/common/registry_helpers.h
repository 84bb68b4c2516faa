// Opens a registry key in the 64-bit view, and traces the cause of a failure.
#pragma once

#include <windows.h>

#include <string>

// Returns a Win32 error code as text: "Error <code>: <message of the system>."; the message is empty when the
// system has none.
std::string FormatSystemError(DWORD code);

// Removes the first "Wow6432Node\" (in any letter case) from path and clears use64. A path with this node
// names a key of the 32-bit view. In a 32-bit process the shorter path names the same key. In this 64-bit
// process it names the key of the 64-bit view, because no view flag is set. Kept, see docs/kept-behaviour.md.
// Does nothing when use64 is 0, or when path does not contain the node.
//   path   in/out, narrow
//   use64  in/out, not 0 for the 64-bit view
void StripWow6432Node(std::string& path, BYTE& use64);

// Calls StripWow6432Node and opens the key, with KEY_WOW64_64KEY added to access when use64 is still set.
//   options  as RegOpenKeyExA takes them
//   result   receives the key, which the caller closes with RegCloseKey
//   use64    in/out, see StripWow6432Node
// Returns the Win32 error code; a failure is traced.
LONG RegOpenKeyLogged(HKEY root, const char* subkey, DWORD options, REGSAM access, HKEY* result, BYTE& use64);
