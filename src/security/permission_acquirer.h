// Makes a registry key writable for this process when its security would refuse the write.
#pragma once

#include <windows.h>
#include <accctrl.h>

#include "security/access_token.h"
#include "security/dacl.h"
#include "security/security_desc.h"
#include "security/sid.h"

// To use it, construct it, call SetPermissions once, make the registry calls on the same thread, and destroy
// it on that thread. SetPermissions makes the thread impersonate a token with the privileges that could be
// enabled, unless it fails before that step. The impersonation ends when the object is destroyed, whatever
// SetPermissions returned. The changes to keys are permanent. Failures are traced; nothing is thrown.
class PermissionAcquirer {
  public:
    // Reads the user and the owner of the process. Without them SetPermissions fails.
    PermissionAcquirer();
    PermissionAcquirer(const PermissionAcquirer&) = delete;
    PermissionAcquirer& operator=(const PermissionAcquirer&) = delete;

    // Takes ownership of an open key, and grants the owner and the user of the process full access to it.
    // Returns false when a step before the write of the new access list failed, for example the read of the
    // security of the key or the change of its owner. Returns true even if the write of the list failed.
    bool SetPermissions(HKEY key);

    // Does the same for a key by its path, which begins with the name of a predefined root key.
    //   aceFlags  the flags of the added entries, such as CONTAINER_INHERIT_ACE
    //   view32    whether the path is in the 32-bit view
    // Returns false, after a trace line, also when the write of the new access list failed.
    bool SetPermissions(const char* keyPath, BYTE aceFlags, bool view32);

  private:
    struct RevertGuard {
        CAccessToken* token;
        ~RevertGuard() { token->Revert(); }
    };

    bool InitProcessSids();
    bool CheckInited() const;
    void TakePrivileges();
    bool HasOwner() const;
    template <class Key> bool TakeOver(const Key& key, BYTE aceFlags);
    bool ExtendDacl(const CSecurityDesc& descriptor, BYTE aceFlags, CDacl* dacl) const;

    // Members are destroyed in the reverse order of their declaration, and the token must outlive the guard.
    bool inited_;
    CAccessToken token_;
    RevertGuard revertGuard_;
    CSid ownerSid_;
    CSid userSid_;
};
