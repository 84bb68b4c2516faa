// Opening a registry key in the 64-bit view, with the reason of a failure in the trace.
#pragma once

#include <windows.h>

#include <string>

// The readable form of a Win32 error code: "Error <code>: <text of the system>.", the text empty when the
// system has none.
std::string FormatSystemError(DWORD code);

// Takes the first "Wow6432Node\" (in any letter case) out of path and clears use64. A path with that node
// names a key of the 32-bit view. A 32-bit process finds this key under the stripped path. This 64-bit
// process finds the key of the 64-bit view there, as no view flag is set; callers have always got that key.
// Does nothing when use64 is 0 or nothing is found.
//   path   in/out, narrow
//   use64  in/out, not 0 when the 64-bit view is wanted
void StripWow6432Node(std::string& path, BYTE& use64);

// Opens a key after StripWow6432Node, with KEY_WOW64_64KEY added to access while use64 is still set.
//   options  as RegOpenKeyExA takes them
//   result   receives the key, which the caller closes with RegCloseKey
//   use64    in/out, see StripWow6432Node
// Returns the Win32 error code; a failure is traced.
LONG RegOpenKeyLogged(HKEY root, const char* subkey, DWORD options, REGSAM access, HKEY* result, BYTE& use64);
