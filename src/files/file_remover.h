// Deletes one file, now or at the next reboot, with respect to its shared-DLL reference count.
#pragma once

// The key of the shared-DLL reference counts, below HKEY_LOCAL_MACHINE. The name of a value is the path of a
// file, its number the count.
inline constexpr char kSharedDllsKey[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";

// Deletes a file unless its shared-DLL count is above 1, and lowers the count. A file that cannot be deleted
// now is scheduled for deletion at the next reboot. The read-only attribute of the file is cleared even if
// the file is not deleted. For a file that does not exist, writes a trace line and does nothing else. The
// outcome is reported in the trace only.
//   path          full path in the ANSI code page; also the name of the value under kSharedDllsKey
//   use64BitView  whether the key is opened with KEY_WOW64_64KEY, which has no effect in a 64-bit process
//   rebootOnly    whether the file is scheduled without an attempt to delete it now
// After a file was scheduled, the following remain until the reboot: the hidden folder norvane.tmp at the
// root of the drive with an empty temporary file in it, and the pending rename operations of the system.
void RemoveFile(const char* path, bool use64BitView, bool rebootOnly);
