// Gives a COM class back the DLL that its key InprocServer32 named before something replaced it.
//
// The path is kept beside the default value in "OriginalDll". The two forms differ in how they open the key,
// when they take it over and what they write. Both trace each step, and return a Win32 code: 0 for success
// and for a DLL that does not exist, which leaves the values alone; otherwise that of the registry call that
// failed. "OriginalDll" is deleted even when the default value could not be written.
#pragma once

#include <windows.h>

// Restores one class of the "vbs" command: the path is written expanded where it needs that. The key is taken
// over only once the DLL is known to exist.
//   classId  with its braces
LONG RestoreOriginalDll(const char* classId);

// Restores the class of the "restore-dll" command: the path is written as it was kept, with the type that
// says whether it needs expansion. The key is taken over first of all, so its owner and access list change
// even when nothing is restored.
//   classId  with its braces
LONG RestoreClassOriginalDll(const char* classId);
