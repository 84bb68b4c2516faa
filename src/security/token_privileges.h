// A set of privileges with their attributes, and the Win32 structure that the set is handed over in.
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

    // Adds the privilege of that name. Returns false, and adds nothing, when the system does not know it.
    // Throws E_OUTOFMEMORY.
    bool Add(const char* name, DWORD attributes);

    // Adds all of a Win32 set. Throws E_OUTOFMEMORY.
    //   size  of the set's buffer, in bytes: a count that goes beyond it is not trusted
    void Add(const TOKEN_PRIVILEGES* privileges, DWORD size);

    bool IsEmpty() const { return attributes_.empty(); }

    // The size of the Win32 set, in bytes.
    DWORD GetLength() const;

    // The Win32 set; owned by this object, and valid until it is changed. Throws E_OUTOFMEMORY.
    const TOKEN_PRIVILEGES* GetBinary();

  private:
    void Set(LUID luid, DWORD attributes);

    bool dirty_ = true;
    std::map<LONGLONG, DWORD> attributes_; // the key is a LUID as one 64-bit number
    std::vector<BYTE> binary_;
};
