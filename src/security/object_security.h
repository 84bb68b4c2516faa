// Reading the security descriptor of an object.
#pragma once

#include <windows.h>
#include <accctrl.h>

#include "security/security_desc.h"

// Read an object's descriptor, by its handle or by its name.
//   descriptor         receives a copy; null makes the call fail
//   information        the parts wanted, such as DACL_SECURITY_INFORMATION
//   requestPrivileges  whether the privilege that a system ACL needs is enabled for the time of the call, in
//                      a token of its own that the thread impersonates meanwhile; an impersonation before it
//                      is not restored
// Return false with the cause as the last error. Throw as CSecurityDesc does.
bool GetObjectSecurityDescriptor(HANDLE handle, SE_OBJECT_TYPE type, CSecurityDesc* descriptor,
                                 SECURITY_INFORMATION information, bool requestPrivileges);
bool GetNamedObjectSecurityDescriptor(const char* name, SE_OBJECT_TYPE type, CSecurityDesc* descriptor,
                                      SECURITY_INFORMATION information, bool requestPrivileges);
