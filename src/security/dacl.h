// A discretionary ACL: who may do what to an object.
#pragma once

#include <vector>

#include "security/acl.h"

class CDacl : public CAcl {
  public:
    // Empty: grants nobody anything.
    CDacl() = default;

    // Takes over the access entries of a Win32 ACL, which may be damaged; null makes this stand for no ACL at
    // all. Entries of other types (audit, callback, label) are dropped: this program neither needs nor
    // understands them; so are entries that cannot be read. Throws E_INVALIDARG for an entry whose SID is not
    // valid, E_OUTOFMEMORY, and the error of a Windows call that failed.
    CDacl& operator=(const ACL* acl);

    UINT GetAceCount() const override { return static_cast<UINT>(aces_.size()); }
    void RemoveAllAces() override;
    void RemoveAce(UINT index) override;
    const CAce* GetAce(UINT index) const override;
    void SortAces() override;

    // Appends an entry that allows mask to sid; one more when there is such an entry already. When this
    // stood for no ACL at all, it becomes an ACL with the new entry alone.
    // Returns false for a SID that is empty or not valid. Throws E_OUTOFMEMORY.
    bool AddAllowedAce(const CSid& sid, ACCESS_MASK mask, BYTE flags);

  private:
    void Append(std::unique_ptr<CAce> ace);
    void CopyAce(const void* ace);

    std::vector<std::unique_ptr<CAce>> aces_;
};
