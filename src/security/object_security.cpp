#include "security/object_security.h"

#include <aclapi.h>

#include "common/owned.h"
#include "security/access_token.h"

namespace {

constexpr DWORD kPrivateTokenAccess = TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY | TOKEN_IMPERSONATE;

// Does not change the last error, because the callers of this file report it.
void FreeLocal(PSECURITY_DESCRIPTOR descriptor) {
    const DWORD error = GetLastError();
    LocalFree(descriptor);
    SetLastError(error);
}

// A token of its own, with the privilege that is needed to read a system ACL, which the thread impersonates.
class SecurityPrivilege {
  public:
    SecurityPrivilege() = default;
    SecurityPrivilege(const SecurityPrivilege&) = delete;
    SecurityPrivilege& operator=(const SecurityPrivilege&) = delete;

    // Reverts only when GiveBack threw, which it does when memory runs out.
    ~SecurityPrivilege() {
        if (acquired_) {
            token_.Revert();
        }
    }

    bool Acquire() {
        acquired_ = token_.OpenImpersonationToken(kPrivateTokenAccess, false, false, SecurityImpersonation) &&
                    token_.EnablePrivilege("SeSecurityPrivilege", &before_) && token_.Impersonate();
        return acquired_;
    }

    // Reverts even if the privilege could not be restored.
    bool GiveBack() {
        const bool restored = token_.EnableDisablePrivileges(&before_, nullptr);
        const DWORD error = GetLastError();
        acquired_ = false;
        const bool reverted = token_.Revert();
        if (!restored) {
            SetLastError(error);
        }
        return restored && reverted;
    }

  private:
    bool acquired_ = false;
    CAccessToken token_;
    CTokenPrivileges before_;
};

// The part that both functions share. They differ only in the Windows call that reads the descriptor.
template <class Read>
bool ReadDescriptor(CSecurityDesc* descriptor, SECURITY_INFORMATION information, bool requestPrivileges,
                    Read read) {
    if (descriptor == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    SecurityPrivilege privilege;
    const bool privileged = (information & SACL_SECURITY_INFORMATION) != 0 && requestPrivileges;
    if (privileged && !privilege.Acquire()) {
        return false;
    }
    Owned<PSECURITY_DESCRIPTOR, FreeLocal> found;
    const DWORD error = read(found.Receive());
    if (privileged && !privilege.GiveBack()) {
        return false;
    }
    if (error != ERROR_SUCCESS || found.Get() == nullptr) {
        SetLastError(error != ERROR_SUCCESS ? error : static_cast<DWORD>(ERROR_INVALID_SECURITY_DESCR));
        return false;
    }
    *descriptor = found.Get();
    return true;
}

} // namespace

bool GetObjectSecurityDescriptor(HANDLE handle, SE_OBJECT_TYPE type, CSecurityDesc* descriptor,
                                 SECURITY_INFORMATION information, bool requestPrivileges) {
    return ReadDescriptor(descriptor, information, requestPrivileges, [&](PSECURITY_DESCRIPTOR* found) {
        return GetSecurityInfo(handle, type, information, nullptr, nullptr, nullptr, nullptr, found);
    });
}

bool GetNamedObjectSecurityDescriptor(const char* name, SE_OBJECT_TYPE type, CSecurityDesc* descriptor,
                                      SECURITY_INFORMATION information, bool requestPrivileges) {
    return ReadDescriptor(descriptor, information, requestPrivileges, [&](PSECURITY_DESCRIPTOR* found) {
        return GetNamedSecurityInfoA(name, type, information, nullptr, nullptr, nullptr, nullptr, found);
    });
}
