// Makes a registry key writable for this process when its security would refuse the write.
#pragma once

#include <windows.h>
#include <accctrl.h>

#include "security/access_token.h"
#include "security/dacl.h"
#include "security/security_desc.h"
#include "security/sid.h"

// Construct it, call SetPermissions once, do the registry work on the same thread, and destroy it there.
// Unless SetPermissions fails before that step, it makes the thread impersonate a token with the privileges
// that it could enable. This lasts until the object is destroyed, whatever SetPermissions returned. The
// changes to keys are permanent. Failures are traced; nothing is thrown.
class PermissionAcquirer {
  public:
    // Reads the user and the owner of the process; SetPermissions refuses to work without them.
    PermissionAcquirer();
    PermissionAcquirer(const PermissionAcquirer&) = delete;
    PermissionAcquirer& operator=(const PermissionAcquirer&) = delete;

    // Takes the ownership of an open key and gives the process's owner and user full access to it. Returns
    // false when the work ended before the new access list was written, for example when the key's security
    // could not be read or its owner could not be changed. True does not mean that Windows accepted the new
    // list.
    bool SetPermissions(HKEY key);

    // Does so for a key by its path, which begins with the name of a predefined root key.
    //   aceFlags  of the added entries, such as CONTAINER_INHERIT_ACE
    //   view32    whether the path is meant in the 32-bit view
    // Returns false, after a trace line, also when the new access list was refused.
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

    // The order matters: members are destroyed in the reverse order, and the token must outlive the guard.
    bool inited_;
    CAccessToken token_;
    RevertGuard revertGuard_;
    CSid ownerSid_;
    CSid userSid_;
};
