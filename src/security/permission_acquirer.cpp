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

// Returns a registry path in the form that the security functions take. The search for the name of the root
// is case-sensitive and covers the whole path, but the characters are always removed from the beginning of
// the path. So only a path that begins with the name of a root gives a useful result. A path without one
// gives an empty name, which Windows rejects. Kept, see docs/kept-behaviour.md.
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

// The steps that differ between the two forms of SetPermissions.
struct KeyByHandle {
    HKEY key;

    static constexpr DWORD kTokenAccess = kThreadTokenAccess;
    // The caller writes to the key in any case. The write can succeed, because this process owns the key
    // then. Kept, see docs/kept-behaviour.md.
    static constexpr bool kSucceedsWithoutDacl = true;

    bool Read(CSecurityDesc& descriptor) const {
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

    bool Read(CSecurityDesc& descriptor) const {
        return GetNamedObjectSecurityDescriptor(name.c_str(), type, descriptor, kWholeDescriptor, true);
    }
    bool IsGiven() const { return name.c_str() != nullptr; } // always true, also for an empty name
    DWORD Write(SECURITY_INFORMATION information, PSID owner, ACL* dacl) const {
        std::string copy = name; // the parameter of the call is not const
        return SetNamedSecurityInfoA(copy.data(), type, information, owner, nullptr, dacl, nullptr);
    }
    static void TraceUnread() { Trace("Failure retrieving SecurityDescruiptor , err %d", GetLastError()); }
    static void TraceNoToken() { Trace("Requesting privileges:  failed, res %d", GetLastError()); }
};

// Sets the last error, which the messages show, to the result of a security call. Returns whether the call
// succeeded.
bool Succeeded(DWORD error) {
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

// Adds two entries: one with the generic rights, and one with the specific rights of keys, because the access
// check of a key uses only the specific rights.
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

// Runs an operation, and reports an exception of it as a failure.
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

// A failure is traced, and the work continues with the rights that the thread has. From here on the thread
// impersonates the token, also for the registry calls of the caller. The privileges are enabled in this token
// only.
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

// Copies the access list of the descriptor and adds four entries. When the owner and the user are the same,
// there are two pairs of equal entries. Kept, see docs/kept-behaviour.md.
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
    if (!key.Read(descriptor)) {
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
    // The security calls do not change the list, although their parameter is not const.
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
