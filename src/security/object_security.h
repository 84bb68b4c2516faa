// Reads the security descriptor of an object.
#pragma once

#include <windows.h>
#include <accctrl.h>

#include "security/security_desc.h"

// Read the descriptor of an object, by its handle or by its name.
//   descriptor         receives a copy; null is a failure
//   information        the parts to read, such as DACL_SECURITY_INFORMATION
//   requestPrivileges  whether the privilege that a system ACL needs is enabled during the call, in a
//                      separate token that the thread impersonates; an earlier impersonation is not restored
// Return false with the cause as the last error. Throw as CSecurityDesc does.
bool GetObjectSecurityDescriptor(HANDLE handle, SE_OBJECT_TYPE type, CSecurityDesc* descriptor,
                                 SECURITY_INFORMATION information, bool requestPrivileges);
bool GetNamedObjectSecurityDescriptor(const char* name, SE_OBJECT_TYPE type, CSecurityDesc* descriptor,
                                      SECURITY_INFORMATION information, bool requestPrivileges);

// Do the same for a descriptor that exists in any case.
inline bool GetObjectSecurityDescriptor(HANDLE handle, SE_OBJECT_TYPE type, CSecurityDesc& descriptor,
                                        SECURITY_INFORMATION information, bool requestPrivileges) {
    return GetObjectSecurityDescriptor(handle, type, &descriptor, information, requestPrivileges);
}
inline bool GetNamedObjectSecurityDescriptor(const char* name, SE_OBJECT_TYPE type, CSecurityDesc& descriptor,
                                             SECURITY_INFORMATION information, bool requestPrivileges) {
    return GetNamedObjectSecurityDescriptor(name, type, &descriptor, information, requestPrivileges);
}
