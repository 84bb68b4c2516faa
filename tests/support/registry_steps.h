// Values and access lists of registry keys, in the notation of the cases: a key begins with HKCR or HKLM;
// CLASS is the class {T}'s key InprocServer32, COUNTS the key of the shared counts; the name @ is the default
// value. An error in the notation is thrown as std::runtime_error.
#pragma once

#include <windows.h>

#include <string>

// The parts of a security descriptor that are shown.
constexpr SECURITY_INFORMATION kOwnerAndDacl = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

// Writes a value. The type is sz, expand, binary, multi or short-dword, each with the value's bytes, or dword
// with a number.
void WriteValue(const std::string& key, const std::string& name, const std::string& type,
                const std::string& text);

// Returns the type and the content of a value as a line, or the line "error N".
std::string ShowValue(const std::string& key, const std::string& name);

// Sets the access list of a key, and the owner if there is one, from a descriptor in text form. ME is the
// user's SID.
void WriteSecurity(const std::string& key, std::string sddl);

// Returns the owner and the access list of a key in text form, as a line, with ME and OWNER for the SIDs of
// the process.
std::string ShowSecurity(const std::string& key);
