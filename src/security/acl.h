// An access control list (ACL) whose entries (ACEs) are objects, and the Win32 ACL that is built from them.
#pragma once

#include <windows.h>

#include <memory>

#include "security/sid.h"

class CAcl {
  public:
    // One entry.
    class CAce {
      public:
        CAce(const CSid& sid, ACCESS_MASK mask, BYTE flags) : sid_(sid), mask_(mask), flags_(flags) {}
        CAce(const CAce&) = delete;
        CAce& operator=(const CAce&) = delete;
        virtual ~CAce() = default;

        // Writes the Win32 entry to a buffer of GetLength bytes. Throws E_FAIL without a SID.
        virtual void Build(void* buffer) const = 0;
        virtual DWORD GetLength() const = 0;
        virtual BYTE GetType() const = 0;
        virtual bool IsObjectAce() const { return false; }
        virtual const GUID* GetObjectType() const { return nullptr; }
        virtual const GUID* GetInheritedObjectType() const { return nullptr; }

        BYTE GetFlags() const { return flags_; }

        // Returns the Win32 entry, which the first call builds; owned by this object. Throws as Build does,
        // or E_OUTOFMEMORY.
        const ACE_HEADER* GetBinary() const;

      protected:
        CSid sid_;
        ACCESS_MASK mask_;
        BYTE flags_; // of the Win32 header

      private:
        mutable std::unique_ptr<BYTE[]> binary_;
    };

    CAcl() = default;
    CAcl(const CAcl&) = delete;
    CAcl& operator=(const CAcl&) = delete;
    virtual ~CAcl() = default;

    virtual UINT GetAceCount() const = 0;
    virtual void RemoveAllAces() = 0;
    // Both throw E_INVALIDARG for an index out of range.
    virtual void RemoveAce(UINT index) = 0;
    virtual const CAce* GetAce(UINT index) const = 0;
    // Sorts the entries into the canonical order.
    virtual void SortAces() = 0;

    // Sorts the entries and returns the Win32 ACL, which is built again after each change of the entries;
    // owned by this object. Returns null for a null ACL. Throws E_OUTOFMEMORY, or the error of the Windows
    // call that failed.
    const ACL* BuildAcl();

    // Makes this a null ACL, which grants full access to everyone.
    void SetNull();
    // Makes this an ACL without entries, which grants no access.
    void SetEmpty();

  protected:
    void DropCached() { cached_.reset(); }

    std::unique_ptr<BYTE[]> cached_;
    bool null_ = false;
    DWORD revision_ = ACL_REVISION;
};
