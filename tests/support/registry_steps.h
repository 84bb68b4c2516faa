// Values and access lists of registry keys, in the words of the cases: a key begins with HKCR or HKLM, the name @ is the
// default value's. What the words get wrong is thrown as std::runtime_error.
#pragma once

#include <windows.h>

#include <string>

// The parts of a security descriptor that are shown.
constexpr SECURITY_INFORMATION kOwnerAndDacl = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

// Writes a value. The type is sz, expand, binary, multi, dword, qword or short-dword, which has the text's bytes.
void WriteValue(const std::string& key, const std::string& name, const std::string& type,
                const std::string& text);

// A value's type and content as a line, or the line "error N".
std::string ShowValue(const std::string& key, const std::string& name);

// Gives a key the access list, and the owner where there is one, of a descriptor in text form, in which ME is the user's SID.
void WriteSecurity(const std::string& key, std::string sddl);

// A key's owner and access list in text form, as a line, with ME and OWNER for the SIDs of the process.
std::string ShowSecurity(const std::string& key);
