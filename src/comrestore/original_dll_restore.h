// Restores the DLL of a COM class that the key InprocServer32 named before its default value was replaced.
//
// The path of the DLL is kept in the value "OriginalDll" of the same key. The two forms differ in how they
// open the key, when they take ownership of it and what they write. Both trace each step and return a Win32
// code: 0 for success, and for a DLL that does not exist, in which case the values remain unchanged;
// otherwise the code of the registry call that failed. "OriginalDll" is deleted even if the default value
// cannot be written.
#pragma once

#include <windows.h>

// Restores one class of the "vbs" command. Writes the expanded path when only that one exists. Takes
// ownership of the key only if the DLL exists.
//   classId  with its braces
LONG RestoreOriginalDll(const char* classId);

// Restores the class of the "restore-dll" command. Writes the path without expansion, with the type
// REG_EXPAND_SZ when it needs one. Takes ownership of the key as the first step, so the owner and the access
// list of the key change even if nothing is restored.
//   classId  with its braces
LONG RestoreClassOriginalDll(const char* classId);
