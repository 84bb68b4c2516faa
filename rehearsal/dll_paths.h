// Questions about the paths of DLLs.
#pragma once

#include <string>

// What stands behind the last backslash.
std::string FileNameOf(const std::string& path);

// Whether a path has an environment reference, which no file function expands.
bool HasReference(const std::wstring& path);

// Whether the ANSI code page has all of its characters. If not, the path becomes another one there, which mostly names no file.
bool IsInCodePage(const std::wstring& path);

// Whether a path has a drive or a folder in front of the file's name. Without, the file is looked for in the current folder.
bool HasFolder(const std::wstring& path);

// One text for one file, in lower case, with environment references expanded as on this machine. Other spellings of a file,
// such as short names, stay others.
//   for32Bit  whether a 32-bit program uses the path: for it, system32 of the folder of Windows is SysWOW64
std::string FileIdentity(const std::wstring& path, bool for32Bit);
