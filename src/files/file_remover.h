// Deletion of one file, now or at the next reboot, with respect for its shared-DLL reference count.
#pragma once

// Deletes a file unless its count under SharedDLLs is above 1, and lowers the count. A file that cannot be
// deleted now is scheduled for the next reboot. A read-only file loses that attribute, even when it is not
// deleted. A file that does not exist gives a trace line and nothing else. The outcome is in the trace only.
//   path          full path, ANSI code page; also the name of its value under SharedDLLs
//   use64BitView  whether SharedDLLs is opened with KEY_WOW64_64KEY, which makes no difference in a 64-bit
//                 process
//   rebootOnly    true goes to the reboot schedule without trying to delete now
// Leaves behind, after a reboot schedule: the hidden folder norvane.tmp at the root of the drive with an
// empty temporary file in it, and the system's pending renames.
void RemoveFile(const char* path, bool use64BitView, bool rebootOnly);
