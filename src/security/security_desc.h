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

    // Takes over a copy in self-relative form. Throws E_OUTOFMEMORY or the error of the Windows call that
    // failed.
    CSecurityDesc& operator=(PSECURITY_DESCRIPTOR source);

    // Copies the discretionary ACL: one that is present but null becomes no ACL at all, one that is not
    // present an empty one. Returns false when there is no descriptor, or none that can be read. Throws as
    // CDacl does.
    bool GetDacl(CDacl* dacl) const;

  private:
    bool Contains(const ACL* acl) const;

    std::vector<BYTE> descriptor_; // self-relative, or empty
};
