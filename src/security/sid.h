// A security identifier (SID) by value.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

class CSid {
  public:
    // Empty, holding no SID.
    CSid() = default;

    // Copies the SID and shares the cached strings. Throws E_INVALIDARG for a damaged source.
    CSid(const CSid& source);

    virtual ~CSid() = default;

    // Takes over a copy of a binary SID. Throws E_INVALIDARG, and is empty then, for one that is not valid or
    // too long.
    CSid& operator=(PSID sid);

    CSid& operator=(const CSid&) = delete;

    // Whether it holds a SID.
    bool IsValid() const { return valid_; }

    // The binary SID; owned by this object.
    PSID Get() const { return sid_; }

    // The length of the binary SID in bytes. Throws E_FAIL when there is none.
    DWORD GetLength() const;

  private:
    using CachedText = std::shared_ptr<const std::string>; // null while nobody looked the text up

    void CopyFrom(PSID sid);

    mutable BYTE sid_[SECURITY_MAX_SID_SIZE] =
        {}; // the Windows calls take it as not const, and do not change it
    bool valid_ = false;
    SID_NAME_USE use_ = SidTypeUnknown;
    CachedText accountName_;
    CachedText domain_;
    CachedText text_;
    CachedText system_;
};
