// The exception of the security classes.
#pragma once

#include <windows.h>

#include <memory>
#include <new>

class CAtlException {
  public:
    explicit CAtlException(HRESULT hr) : hr_(hr) {}
    operator HRESULT() const { return hr_; }

  private:
    HRESULT hr_;
};

// Throws the last error of the thread as an HRESULT.
[[noreturn]] inline void ThrowLastError() {
    throw CAtlException(HRESULT_FROM_WIN32(GetLastError()));
}

// Runs an action. When memory runs out in it, throws E_OUTOFMEMORY.
template <class F> auto OrOutOfMemory(F action) {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        throw CAtlException(E_OUTOFMEMORY);
    }
}

// Allocates zeroed bytes. Throws E_OUTOFMEMORY.
inline std::unique_ptr<BYTE[]> AllocateBytes(size_t size) {
    return OrOutOfMemory([size] { return std::make_unique<BYTE[]>(size); });
}
