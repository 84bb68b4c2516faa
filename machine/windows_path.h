// The file that a program opens for the path of a catalog entry, and the names of paths.
#pragma once

#include <map>
#include <string>

// The folders of a Windows, by the names that environment references give them, in lower case: "systemroot".
using Folders = std::map<std::wstring, std::wstring>;

// The folders of a Windows that can only be assumed: it is in C:\Windows.
Folders AssumedFolders();

// The folders of the machine that this runs on.
Folders LiveFolders();

// Whether a path has a reference to one of the folders. File functions do not expand it.
bool HasReference(const std::wstring& path, const Folders& folders);

// Whether a path begins with a drive and a separator, or with a separator.
bool IsRooted(const std::wstring& path);

// Whether the ANSI code page has all characters of a path.
bool IsInCodePage(const std::wstring& path);

// The path that a program opens, in the spelling of the catalog: with the references to known folders
// replaced, backslashes alone, and without the parts that make no difference (a prefix \\?\ or \\.\, the
// components . and .., repeated backslashes, dots and blanks at the end of a component). A name without a
// folder is in system32, where Windows looks first.
//   for32Bit  whether a 32-bit program opens it. Windows then redirects system32 to SysWOW64, and Sysnative
//   to system32
std::wstring OpenedPath(const std::wstring& spelling, const Folders& folders, bool for32Bit);

// The same in lower case: equal texts are one file.
std::wstring FileOf(const std::wstring& path, const Folders& folders, bool for32Bit);

// The file name of a path as the command compares it: what is behind the last backslash.
std::wstring FileNameForCommand(const std::wstring& path);

// The file name of a path as Windows opens it: a slash is a separator, too.
std::wstring FileNameForWindows(const std::wstring& path);

// The part of a file, as FileOf has it, before its last backslash.
std::wstring FolderOf(const std::wstring& file);

// The name of a file, as FileOf has it, without what makes no difference between the names of the 64-bit and
// the 32-bit file of a product: 32, 64, 86, x86, x64, i386, amd64, underscores, hyphens and dots.
std::wstring PlainName(const std::wstring& file);

// Whether a path can be that of a file: not empty, without a backslash or a slash at its end, not in quotes.
bool CanBeFile(const std::wstring& path);

// A path with the long names of its components, which this machine knows; the same path for a file that it
// does not have.
std::wstring LongPath(const std::wstring& path);
