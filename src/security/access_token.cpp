#include "security/access_token.h"

#include <cstddef>
#include <new>
#include <string>

#include "common/module_function.h"
#include "security/atl_exception.h"

namespace {

// Bytes on the stack, or on the heap where more are needed.
class TokenBuffer {
  public:
    explicit TokenBuffer(DWORD size) {
        if (size > sizeof(local_)) {
            heap_ = AllocateBytes(size);
        }
    }
    void* Get() { return heap_ != nullptr ? heap_.get() : local_; }

  private:
    alignas(std::max_align_t) BYTE local_[1024] = {};
    std::unique_ptr<BYTE[]> heap_;
};

// Opens the token of the thread and closes it again. Returns false when the token cannot be opened, unless
// the cause is that the thread has none.
bool ProbeThreadToken() {
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), 0, FALSE, &token)) {
        CloseHandle(token);
        return true;
    }
    return GetLastError() == ERROR_NO_TOKEN;
}

// Loads userenv.dll from the system directory, and only here, where it is needed. It is not imported, because
// Windows can load an imported userenv.dll from another directory.
void UnloadProfile(HANDLE token, HANDLE profile) {
    char directory[MAX_PATH] = "";
    const UINT length = GetSystemDirectoryA(directory, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return;
    }
    const HMODULE userenv = LoadLibraryA((std::string(directory) + "\\userenv.dll").c_str());
    if (userenv == nullptr) {
        return;
    }
    using UnloadFunction = BOOL(WINAPI*)(HANDLE token, HANDLE profile);
    const auto unload = FindFunction<UnloadFunction>(userenv, "UnloadUserProfile");
    if (unload != nullptr) {
        unload(token, profile);
    }
    FreeLibrary(userenv);
}

// Reads the SID of a TOKEN_USER or TOKEN_OWNER, both of which begin with the pointer to it.
bool ReadSid(HANDLE token, TOKEN_INFORMATION_CLASS what, size_t recordSize, CSid& sid) {
    DWORD size = 0;
    if (GetTokenInformation(token, what, nullptr, 0, &size) || GetLastError() != ERROR_INSUFFICIENT_BUFFER ||
        size < recordSize) {
        return false;
    }
    TokenBuffer buffer(size);
    if (!GetTokenInformation(token, what, buffer.Get(), size, &size)) {
        return false;
    }
    sid = *static_cast<const PSID*>(buffer.Get());
    return true;
}

} // namespace

bool CRevertToSelf::Revert() {
    return RevertToSelf() != FALSE;
}

CAccessToken::~CAccessToken() {
    CAccessToken::Clear();
}

void CAccessToken::Clear() {
    if (token_ != nullptr && profile_ != nullptr) {
        UnloadProfile(token_, profile_);
    }
    profile_ = nullptr;
    if (token_ != nullptr) {
        CloseHandle(token_);
        token_ = nullptr;
    }
    revert_.reset();
}

bool CAccessToken::AttachProcessToken(DWORD access) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), access, &token)) {
        return false;
    }
    Clear();
    token_ = token;
    return true;
}

CAccessToken::ImpersonationLevel CAccessToken::ReadImpersonationLevel() const {
    SECURITY_IMPERSONATION_LEVEL level = SecurityAnonymous;
    DWORD size = sizeof(level);
    if (!GetTokenInformation(token_, TokenImpersonationLevel, &level, size, &size)) {
        return std::nullopt;
    }
    return level;
}

bool CAccessToken::OpenImpersonationToken(DWORD access, bool impersonate, bool openAsSelf,
                                          SECURITY_IMPERSONATION_LEVEL level) {
    ImpersonationLevel toRestore;
    if (!ProbeThreadToken() && !impersonate) {
        toRestore = ReadImpersonationLevel();
    }
    if (!ImpersonateSelf(level)) {
        return false;
    }
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), access, openAsSelf, &token)) {
        return KeepImpersonationToken(token, impersonate, toRestore);
    }
    const DWORD cause = GetLastError();
    if (!RevertToSelf()) {
        return false;
    }
    if (toRestore) {
        ImpersonateSelf(*toRestore);
    }
    SetLastError(cause);
    return false;
}

bool CAccessToken::KeepImpersonationToken(HANDLE token, bool impersonate, ImpersonationLevel toRestore) {
    Clear();
    token_ = token;
    if (impersonate) {
        revert_.reset(new (std::nothrow) CRevertToSelf);
        if (revert_ == nullptr) {
            RevertToSelf();
            Clear();
            SetLastError(ERROR_OUTOFMEMORY);
            return false;
        }
    } else if (RevertToSelf() && toRestore) {
        ImpersonateSelf(*toRestore);
    }
    return true;
}

bool CAccessToken::GetTokenUser(CSid& user) const {
    return ReadSid(token_, TokenUser, sizeof(TOKEN_USER), user);
}

bool CAccessToken::GetTokenOwner(CSid& owner) const {
    return ReadSid(token_, TokenOwner, sizeof(TOKEN_OWNER), owner);
}

bool CAccessToken::EnablePrivilege(const char* name, CTokenPrivileges* previous) {
    CTokenPrivileges set;
    set.Add(name, SE_PRIVILEGE_ENABLED);
    return EnableDisablePrivileges(&set, previous);
}

bool CAccessToken::EnableDisablePrivileges(CTokenPrivileges* set, CTokenPrivileges* previous) {
    if (set->IsEmpty()) {
        return true;
    }
    const DWORD size = set->GetLength();
    TokenBuffer before(size);
    DWORD returned = 0;
    auto* state = static_cast<TOKEN_PRIVILEGES*>(before.Get());
    // The call takes the new state as not const, and does not change it.
    if (!AdjustTokenPrivileges(token_, FALSE, const_cast<TOKEN_PRIVILEGES*>(set->GetBinary()), size, state,
                               &returned)) {
        return false;
    }
    if (previous != nullptr) {
        previous->Add(state, size);
    }
    return true;
}

bool CAccessToken::Impersonate() const {
    ProbeThreadToken(); // as OpenImpersonationToken does; the result is not used here
    return token_ != nullptr && SetThreadToken(nullptr, token_);
}

bool CAccessToken::Revert() {
    if (revert_ == nullptr) {
        return SetThreadToken(nullptr, nullptr) != FALSE;
    }
    const std::unique_ptr<CRevert> revert = std::move(revert_);
    return revert->Revert();
}
