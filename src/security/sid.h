// A security identifier (SID) by value.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

class CSid {
  public:
    // Makes an empty object without a SID.
    CSid() = default;

    // Copies the SID and shares the cached texts. Throws E_INVALIDARG for a damaged source.
    CSid(const CSid& source);

    virtual ~CSid() = default;

    // Copies a binary SID. Throws E_INVALIDARG for one that is not valid or too long; this is empty then.
    CSid& operator=(PSID sid);

    CSid& operator=(const CSid&) = delete;

    // Returns whether this holds a SID.
    bool IsValid() const { return valid_; }

    // Returns the binary SID; owned by this object.
    PSID Get() const { return sid_; }

    // Returns the length of the binary SID in bytes. Throws E_FAIL when there is none.
    DWORD GetLength() const;

  private:
    using CachedText = std::shared_ptr<const std::string>; // null until the text is looked up

    void CopyFrom(PSID sid);

    // Mutable because the parameters of the Windows calls are not const; they do not change it.
    alignas(SID) mutable BYTE sid_[SECURITY_MAX_SID_SIZE] = {};
    bool valid_ = false;
    SID_NAME_USE use_ = SidTypeUnknown;
    CachedText accountName_;
    CachedText domain_;
    CachedText text_;
    CachedText system_;
};
