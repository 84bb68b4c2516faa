// A copy of an object's security descriptor.
#pragma once

#include <windows.h>

#include <vector>

#include "security/dacl.h"

class CSecurityDesc {
  public:
    CSecurityDesc() = default;
    CSecurityDesc(const CSecurityDesc&) = delete;
    CSecurityDesc& operator=(const CSecurityDesc&) = delete;
    virtual ~CSecurityDesc() = default;

    // Frees the descriptor.
    virtual void Clear();

    // Copies a descriptor, in self-relative form. Throws E_OUTOFMEMORY, or the error of the Windows call that
    // failed.
    CSecurityDesc& operator=(PSECURITY_DESCRIPTOR source);

    // Copies the discretionary ACL to dacl. A null ACL becomes a null ACL, a missing one becomes an empty
    // ACL. Returns false when there is no descriptor, or when its ACL cannot be read. Throws as CDacl does.
    bool GetDacl(CDacl& dacl) const;

  private:
    bool Contains(const ACL* acl) const;

    std::vector<BYTE> descriptor_; // self-relative, or empty
};
