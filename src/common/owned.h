// The owner of a handle, or of anything else that a function gives back.
#pragma once

#include <windows.h>

#include <utility>

// Calls close with its value when it is destroyed, unless it is empty (the default value of T). It leaves the
// last error as it is.
template <class T, auto close> class Owned {
  public:
    Owned() = default;
    explicit Owned(T value) : value_(value) {}
    Owned(Owned&& other) noexcept : value_(std::exchange(other.value_, T())) {}
    Owned& operator=(Owned&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Owned() {
        if (value_ != T()) {
            const DWORD error = GetLastError();
            close(value_);
            SetLastError(error);
        }
    }

    T Get() const { return value_; }

    // For a call that stores the value through a pointer. The owner must be empty.
    T* Receive() { return &value_; }

  private:
    T value_ = T();
};

// The Windows functions are imported, so that their addresses are not constants.
inline void CloseKernelHandle(HANDLE handle) {
    CloseHandle(handle);
}

inline void CloseRegistryKey(HKEY key) {
    RegCloseKey(key);
}

using KernelHandle = Owned<HANDLE, CloseKernelHandle>;
using RegistryKey = Owned<HKEY, CloseRegistryKey>;
