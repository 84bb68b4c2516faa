#include "security/permission_acquirer.h"

#include <aclapi.h>

#include <cstring>
#include <string>

#include "security/atl_exception.h"
#include "security/object_security.h"
#include "trace/trace_log.h"

namespace {

constexpr DWORD kProcessTokenAccess = READ_CONTROL | TOKEN_QUERY_SOURCE | TOKEN_QUERY;
constexpr DWORD kThreadTokenAccess = TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY | TOKEN_IMPERSONATE;
constexpr SECURITY_INFORMATION kWholeDescriptor = OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION |
                                                  DACL_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION;

// Returns a registry path in the form that the security functions take. The root's name is looked for
// anywhere in the path, with its letter case, but its length is always cut off the front. So only a path that
// begins with the root's name gives a sensible result. A path without one gives an empty name, which Windows
// refuses.
std::string TranslateKeyPath(const char* keyPath) {
    static const struct {
        const char* root;
        const char* translated;
    } kRoots[] = {{"HKEY_LOCAL_MACHINE", "MACHINE"},
                  {"HKEY_CLASSES_ROOT", "CLASSES_ROOT"},
                  {"HKEY_CURRENT_USER", "CURRENT_USER"},
                  {"HKEY_USERS", "USERS"}};
    for (const auto& row : kRoots) {
        if (std::strstr(keyPath, row.root) != nullptr) {
            return std::string(row.translated) + (keyPath + std::strlen(row.root));
        }
    }
    return {};
}

// The steps in which the two forms of SetPermissions differ.
struct KeyByHandle {
    HKEY key;

    static constexpr DWORD kTokenAccess = kThreadTokenAccess;
    // The caller tries to write all the same: this process owns the key by then, so the write may succeed.
    // Kept, see docs/kept-behaviour.md.
    static constexpr bool kSucceedsWithoutDacl = true;

    bool Read(CSecurityDesc* descriptor) const {
        return GetObjectSecurityDescriptor(key, SE_REGISTRY_KEY, descriptor, kWholeDescriptor, true);
    }
    bool IsGiven() const { return key != nullptr; }
    DWORD Write(SECURITY_INFORMATION information, PSID owner, ACL* dacl) const {
        return SetSecurityInfo(key, SE_REGISTRY_KEY, information, owner, nullptr, dacl, nullptr);
    }
    static void TraceUnread() { Trace("Failure retrieving SecurityDescruiptor, err %d", GetLastError()); }
    static void TraceNoToken() { Trace("Requesting privileges:  failed, err %d", GetLastError()); }
};

struct KeyByName {
    std::string name; // as the security functions take it
    SE_OBJECT_TYPE type;

    static constexpr DWORD kTokenAccess = kThreadTokenAccess | TOKEN_DUPLICATE;
    static constexpr bool kSucceedsWithoutDacl = false;

    bool Read(CSecurityDesc* descriptor) const {
        return GetNamedObjectSecurityDescriptor(name.c_str(), type, descriptor, kWholeDescriptor, true);
    }
    bool IsGiven() const { return name.c_str() != nullptr; } // always: an empty name counts as given
    DWORD Write(SECURITY_INFORMATION information, PSID owner, ACL* dacl) const {
        std::string copy = name; // the call takes it as not const
        return SetNamedSecurityInfoA(copy.data(), type, information, owner, nullptr, dacl, nullptr);
    }
    static void TraceUnread() { Trace("Failure retrieving SecurityDescruiptor , err %d", GetLastError()); }
    static void TraceNoToken() { Trace("Requesting privileges:  failed, res %d", GetLastError()); }
};

// The code of a security call becomes the last error, for the messages to show. Returns whether it is
// success.
bool Succeeded(DWORD error) {
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

// Adds two entries: one with the generic rights and one with the rights special to keys, because an access
// check on a key looks only at the latter.
void AddFullAccess(CDacl* dacl, const CSid& sid, BYTE aceFlags, const char* whose) {
    if (!dacl->AddAllowedAce(sid, GENERIC_ALL | STANDARD_RIGHTS_ALL, aceFlags)) {
        Trace("SetPermissions(): Fail AddAllowedAce for %s with (GENERIC_ALL | STANDARD_RIGHTS_ALL), err %d",
              whose, GetLastError());
    }
    if (!dacl->AddAllowedAce(sid, KEY_ALL_ACCESS, aceFlags)) {
        Trace("SetPermissions(): Fail AddAllowedAce for %s with (KEY_ALL_ACCESS), err %d", whose,
              GetLastError());
    }
}

// Runs the body of an operation whose exceptions are reported as a plain failure.
template <class F> bool ReportExceptions(F operation) {
    try {
        return OrOutOfMemory(operation);
    } catch (const CAtlException& exception) {
        Trace("SetPermissions(): ATL Exception, error %d", static_cast<HRESULT>(exception));
        return false;
    }
}

} // namespace

PermissionAcquirer::PermissionAcquirer() : inited_(false), revertGuard_{&token_} {
    inited_ = InitProcessSids();
}

bool PermissionAcquirer::InitProcessSids() {
    return ReportExceptions([this] {
        if (!token_.AttachProcessToken(kProcessTokenAccess)) {
            Trace("Could not open process token, err %d", GetLastError());
            return false;
        }
        if (!token_.GetTokenUser(userSid_)) {
            Trace("Could not get user, err %d", GetLastError());
            return false;
        }
        if (!token_.GetTokenOwner(ownerSid_)) {
            Trace("Could not get owner, err %d", GetLastError());
            return false;
        }
        return true;
    });
}

bool PermissionAcquirer::CheckInited() const {
    if (!inited_) {
        Trace("User or Owner not inited");
    }
    return inited_;
}

// A failure here is only traced: the work on the key goes on with the rights that there are. The thread
// impersonates the token from here on, for the caller's registry work. The privileges are enabled in that
// token alone, and end with it.
void PermissionAcquirer::TakePrivileges() {
    CTokenPrivileges previous;
    if (!token_.EnablePrivilege("SeSecurityPrivilege", &previous)) {
        Trace("EnablePrivilege(SE_SECURITY_NAME) failed, err=%d", GetLastError());
    }
    if (!token_.EnablePrivilege("SeTakeOwnershipPrivilege", &previous)) {
        Trace("EnablePrivilege(SE_TAKE_OWNERSHIP_NAME) failed, err=%d", GetLastError());
    }
    if (!token_.Impersonate()) {
        Trace("Impersonate failed, err %d", GetLastError());
    }
}

bool PermissionAcquirer::HasOwner() const {
    return ownerSid_.IsValid() && IsValidSid(ownerSid_.Get());
}

// The key's access list with four more entries. Owner and user can be the same; their entries then stand
// twice.
bool PermissionAcquirer::ExtendDacl(const CSecurityDesc& descriptor, BYTE aceFlags, CDacl* dacl) const {
    if (!descriptor.GetDacl(*dacl)) {
        Trace("GetDacl failed, err %d", GetLastError());
        return false;
    }
    AddFullAccess(dacl, ownerSid_, aceFlags, "ProcessOwner");
    AddFullAccess(dacl, userSid_, aceFlags, "ProcessUser");
    return true;
}

template <class Key> bool PermissionAcquirer::TakeOver(const Key& key, BYTE aceFlags) {
    CSecurityDesc descriptor;
    if (!key.Read(&descriptor)) {
        Key::TraceUnread();
        return false;
    }
    if (!token_.OpenImpersonationToken(Key::kTokenAccess, false, false, SecurityImpersonation)) {
        Key::TraceNoToken();
        return false;
    }
    TakePrivileges();
    if (!key.IsGiven() || !HasOwner() ||
        !Succeeded(key.Write(OWNER_SECURITY_INFORMATION, ownerSid_.Get(), nullptr))) {
        Trace("Could not change owner, err %d", GetLastError());
        return false;
    }
    CDacl dacl;
    if (!ExtendDacl(descriptor, aceFlags, &dacl)) {
        return false;
    }
    // The security calls take the list as not const, and only read it.
    if (!Succeeded(key.Write(DACL_SECURITY_INFORMATION, nullptr, const_cast<ACL*>(dacl.BuildAcl())))) {
        Trace("AtlSetDacl failed, err %d", GetLastError());
        return Key::kSucceedsWithoutDacl;
    }
    return true;
}

bool PermissionAcquirer::SetPermissions(HKEY key) {
    return ReportExceptions([&] { return CheckInited() && TakeOver(KeyByHandle{key}, 0); });
}

bool PermissionAcquirer::SetPermissions(const char* keyPath, BYTE aceFlags, bool view32) {
    return ReportExceptions([&] {
        const SE_OBJECT_TYPE type = view32 ? SE_REGISTRY_WOW64_32KEY : SE_REGISTRY_KEY;
        return CheckInited() && TakeOver(KeyByName{TranslateKeyPath(keyPath), type}, aceFlags);
    });
}
