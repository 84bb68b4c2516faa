// A set of privileges with their attributes, and the Win32 structure for the set.
#pragma once

#include <windows.h>

#include <map>
#include <vector>

class CTokenPrivileges {
  public:
    CTokenPrivileges() = default;
    CTokenPrivileges(const CTokenPrivileges&) = delete;
    CTokenPrivileges& operator=(const CTokenPrivileges&) = delete;
    virtual ~CTokenPrivileges() = default;

    // Adds the privilege with this name. Returns false and adds nothing when the system does not know it.
    // Throws E_OUTOFMEMORY.
    bool Add(const char* name, DWORD attributes);

    // Adds all privileges of a Win32 set. Throws E_OUTOFMEMORY.
    //   size  the size of the buffer in bytes, which limits the number of privileges that are read
    void Add(const TOKEN_PRIVILEGES* privileges, DWORD size);

    bool IsEmpty() const { return attributes_.empty(); }

    // Returns the size of the Win32 set in bytes.
    DWORD GetLength() const;

    // Returns the Win32 set; owned by this object, and valid until the set changes. Throws E_OUTOFMEMORY.
    const TOKEN_PRIVILEGES* GetBinary();

  private:
    void Set(LUID luid, DWORD attributes);

    bool dirty_ = true;
    std::map<LONGLONG, DWORD> attributes_; // the key is a LUID as one 64-bit number
    std::vector<BYTE> binary_;
};
