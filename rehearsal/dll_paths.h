// Questions about the paths of DLLs.
#pragma once

#include <string>

// Whether a path has an environment reference, which no file function expands.
bool HasReference(const std::wstring& path);

// Whether the ANSI code page has all of its characters. If not, the path becomes another one there, which mostly names no file.
bool IsInCodePage(const std::wstring& path);

// Whether a path begins with a drive or a slash. Without, the file is looked for below the current folder.
bool IsRooted(const std::wstring& path);

// One text for one file, in lower case, with environment references expanded as on this machine and without dots. Short names
// stay other files.
//   for32Bit  whether a 32-bit program uses the path: for it, system32 of the folder of Windows is SysWOW64
std::string FileIdentity(const std::wstring& path, bool for32Bit);
