#include "security/security_desc.h"

#include <cstring>

#include "security/atl_exception.h"

void CSecurityDesc::Clear() {
    std::vector<BYTE>().swap(descriptor_);
}

CSecurityDesc& CSecurityDesc::operator=(PSECURITY_DESCRIPTOR source) {
    DWORD length = GetSecurityDescriptorLength(source);
    std::vector<BYTE> copy = OrOutOfMemory([length] { return std::vector<BYTE>(length); });
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (!GetSecurityDescriptorControl(source, &control, &revision)) {
        ThrowLastError();
    }
    if ((control & SE_SELF_RELATIVE) != 0) {
        std::memcpy(copy.data(), source, length);
    } else if (!MakeSelfRelativeSD(source, copy.data(), &length)) {
        ThrowLastError();
    }
    descriptor_ = std::move(copy);
    return *this;
}

// Returns whether the list lies within the descriptor; an offset in a damaged descriptor can point anywhere.
bool CSecurityDesc::Contains(const ACL* acl) const {
    const size_t begin = reinterpret_cast<size_t>(descriptor_.data());
    const size_t place = reinterpret_cast<size_t>(acl);
    const size_t size = descriptor_.size();
    return place >= begin && place % alignof(ACL) == 0 && place - begin + sizeof(ACL) <= size &&
           place - begin + acl->AclSize <= size;
}

bool CSecurityDesc::GetDacl(CDacl& dacl) const {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* acl = nullptr;
    if (descriptor_.empty() ||
        !GetSecurityDescriptorDacl(const_cast<BYTE*>(descriptor_.data()), &present, &acl, &defaulted)) {
        return false;
    }
    if (!present) {
        dacl.SetEmpty();
    } else if (acl == nullptr) {
        dacl.SetNull();
    } else if (Contains(acl)) {
        dacl = acl;
    } else {
        SetLastError(ERROR_INVALID_ACL);
        return false;
    }
    return true;
}
