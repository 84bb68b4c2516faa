// Entries that allow or deny access to a whole object, or to the part of it that a GUID names.
#pragma once

#include "security/acl.h"

class CAccessAce : public CAcl::CAce {
  public:
    CAccessAce(const CSid& sid, ACCESS_MASK mask, BYTE flags, bool allow)
        : CAce(sid, mask, flags), allow_(allow) {}

    void Build(void* buffer) const override;
    DWORD GetLength() const override;
    BYTE GetType() const override { return allow_ ? ACCESS_ALLOWED_ACE_TYPE : ACCESS_DENIED_ACE_TYPE; }

  protected:
    // Writes the header and the mask, which are the same in every entry.
    void BuildHead(void* buffer) const;

    bool allow_;
};

class CAccessObjectAce : public CAccessAce {
  public:
    // Copies the GUIDs; null means that there is none. Throws E_OUTOFMEMORY.
    CAccessObjectAce(const CSid& sid, ACCESS_MASK mask, BYTE flags, bool allow, const GUID* objectType,
                     const GUID* inheritedObjectType);

    void Build(void* buffer) const override;
    DWORD GetLength() const override;
    BYTE GetType() const override {
        return allow_ ? ACCESS_ALLOWED_OBJECT_ACE_TYPE : ACCESS_DENIED_OBJECT_ACE_TYPE;
    }
    bool IsObjectAce() const override { return true; }
    const GUID* GetObjectType() const override { return objectType_.get(); }
    const GUID* GetInheritedObjectType() const override { return inheritedObjectType_.get(); }

  private:
    std::unique_ptr<GUID> objectType_;
    std::unique_ptr<GUID> inheritedObjectType_;
};
