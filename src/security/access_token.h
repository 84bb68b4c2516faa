// An access token, and the impersonation that is done with it.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>

#include "security/sid.h"
#include "security/token_privileges.h"

// A way to end an impersonation.
class CRevert {
  public:
    virtual ~CRevert() = default;
    virtual bool Revert() = 0;
};

class CRevertToSelf : public CRevert {
  public:
    bool Revert() override;
};

// An operation that returns false because a Windows call failed leaves the cause as the last error. In this
// program nothing uses a revert object, and nothing loads a profile.
class CAccessToken {
  public:
    CAccessToken() = default;
    CAccessToken(const CAccessToken&) = delete;
    CAccessToken& operator=(const CAccessToken&) = delete;
    virtual ~CAccessToken();

    // Unloads the profile, closes the token and deletes the revert object; the impersonation does not end.
    virtual void Clear();

    // Opens the token of the process and holds it instead of the present one.
    bool AttachProcessToken(DWORD access);

    // Opens a new thread token, a copy of that of the process, and holds it instead of the present one.
    //   access       the access to the token
    //   impersonate  true leaves the thread impersonating, with a revert object that ends the impersonation.
    //                false ends the impersonation again. An earlier impersonation of the thread is not
    //                restored, with one exception: when the thread had a token that could not be opened, it
    //                impersonates itself again, at the level of the token held before, if that has a level
    //   openAsSelf   whether the access check uses the rights of the process instead of those of the thread
    bool OpenImpersonationToken(DWORD access, bool impersonate, bool openAsSelf,
                                SECURITY_IMPERSONATION_LEVEL level);

    // Copies the token's user or owner. Throws as CSid does, or E_OUTOFMEMORY.
    bool GetTokenUser(CSid& user) const;
    bool GetTokenOwner(CSid& owner) const;

    // Enables one privilege. A name that the system does not know and a privilege that the token does not
    // hold are not failures: the operation that needs the privilege reports its own error. Throws
    // E_OUTOFMEMORY.
    //   previous  receives the earlier state of the changed privileges, added to its contents; may be null
    bool EnablePrivilege(const char* name, CTokenPrivileges* previous);

    // Sets the attributes of all privileges in the set; see EnablePrivilege.
    bool EnableDisablePrivileges(CTokenPrivileges* set, CTokenPrivileges* previous);

    // Makes the thread impersonate the token.
    bool Impersonate() const;

    // Ends the impersonation of the thread: by the revert object when there is one.
    bool Revert();

  protected:
    HANDLE token_ = nullptr;
    HANDLE profile_ = nullptr;
    std::unique_ptr<CRevert> revert_;

  private:
    using ImpersonationLevel = std::optional<SECURITY_IMPERSONATION_LEVEL>;

    ImpersonationLevel ReadImpersonationLevel() const;
    bool KeepImpersonationToken(HANDLE token, bool impersonate, ImpersonationLevel toRestore);
};
