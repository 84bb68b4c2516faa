#include "security/acl.h"

#include "security/atl_exception.h"

const ACE_HEADER* CAcl::CAce::GetBinary() const {
    if (binary_ == nullptr) {
        auto built = AllocateBytes(GetLength());
        Build(built.get());
        binary_ = std::move(built);
    }
    return reinterpret_cast<const ACE_HEADER*>(binary_.get());
}

const ACL* CAcl::BuildAcl() {
    if (cached_ != nullptr || null_) {
        return reinterpret_cast<const ACL*>(cached_.get());
    }
    DWORD size = sizeof(ACL);
    for (UINT i = 0; i < GetAceCount(); ++i) {
        size += GetAce(i)->GetLength();
    }
    auto buffer = AllocateBytes(size);
    ACL* acl = reinterpret_cast<ACL*>(buffer.get());
    if (!InitializeAcl(acl, size, revision_)) {
        ThrowLastError();
    }
    SortAces();
    for (UINT i = 0; i < GetAceCount(); ++i) {
        const CAce* ace = GetAce(i);
        // AddAce does not change the entry, although its parameter is not const.
        if (!AddAce(acl, revision_, MAXDWORD, const_cast<ACE_HEADER*>(ace->GetBinary()), ace->GetLength())) {
            ThrowLastError();
        }
    }
    cached_ = std::move(buffer);
    return acl;
}

void CAcl::SetNull() {
    RemoveAllAces();
    null_ = true;
}

void CAcl::SetEmpty() {
    RemoveAllAces();
    null_ = false;
}
