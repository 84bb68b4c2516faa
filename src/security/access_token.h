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

// Operations that return false because Windows refused leave the cause as the last error. In this program no
// caller leaves a thread impersonating with a revert object, and none loads a profile.
class CAccessToken {
  public:
    CAccessToken() = default;
    CAccessToken(const CAccessToken&) = delete;
    CAccessToken& operator=(const CAccessToken&) = delete;
    virtual ~CAccessToken();

    // Unloads the profile, closes the token and drops the revert object, without reverting.
    virtual void Clear();

    // Takes the process's token in the place of the one held.
    bool AttachProcessToken(DWORD access);

    // Takes a new thread token, a copy of the process's, in the place of the one held.
    //   access       wanted from the token
    //   impersonate  true leaves the thread impersonating, with a revert object to end it. false ends the
    //                impersonation again. An impersonation from before the call is not put back, with one
    //                exception: when the thread had a token but it could not be opened, the thread
    //                impersonates again, at the level of the token held before, if that has a level
    //   openAsSelf   whether the process's rights decide about the access, not the thread's
    bool OpenImpersonationToken(DWORD access, bool impersonate, bool openAsSelf,
                                SECURITY_IMPERSONATION_LEVEL level);

    // Copies the token's user or owner. Throws as CSid does, or E_OUTOFMEMORY.
    bool GetTokenUser(CSid* user) const;
    bool GetTokenOwner(CSid* owner) const;

    // Enables one privilege. A name that the system does not know, and a privilege that the token does not
    // hold, are no failure: the work that needs it fails by itself, and says so. Throws E_OUTOFMEMORY.
    //   previous  the changed privileges are added to it as they were; may be null
    bool EnablePrivilege(const char* name, CTokenPrivileges* previous);

    // Gives the privileges of the set their attributes; see EnablePrivilege.
    bool EnableDisablePrivileges(CTokenPrivileges* set, CTokenPrivileges* previous);

    // Makes the thread impersonate the token.
    bool Impersonate() const;

    // Ends the impersonation of the thread, with the revert object when there is one.
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
