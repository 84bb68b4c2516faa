// A discretionary ACL: which access to an object is allowed or denied to whom.
#pragma once

#include <vector>

#include "security/acl.h"

class CDacl : public CAcl {
  public:
    // Makes an empty ACL, which grants no access.
    CDacl() = default;

    // Copies the access entries of a Win32 ACL, which can be damaged; null makes this a null ACL. Entries of
    // other types (audit, callback, label) and entries that cannot be read are not copied. Throws
    // E_INVALIDARG for an entry whose SID is not valid, E_OUTOFMEMORY, and the error of a Windows call that
    // failed.
    CDacl& operator=(const ACL* acl);

    UINT GetAceCount() const override { return static_cast<UINT>(aces_.size()); }
    void RemoveAllAces() override;
    void RemoveAce(UINT index) override;
    const CAce* GetAce(UINT index) const override;
    void SortAces() override;

    // Appends an entry that allows mask to sid, even if there is an equal entry. A null ACL becomes an ACL
    // with only the new entry. Returns false for a SID that is empty or not valid. Throws E_OUTOFMEMORY.
    bool AddAllowedAce(const CSid& sid, ACCESS_MASK mask, BYTE flags);

  private:
    void Append(std::unique_ptr<CAce> ace);
    void CopyAce(const void* ace);

    std::vector<std::unique_ptr<CAce>> aces_;
};
