// The owner of a handle, or of another value that a function must release.
#pragma once

#include <windows.h>

#include <utility>

// Calls close with its value when it is destroyed, unless it is empty (the default value of T).
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
            close(value_);
        }
    }

    T Get() const { return value_; }

    // For a call that stores the value through a pointer. The owner must be empty.
    T* Receive() { return &value_; }

  private:
    T value_ = T();
};

// The Windows functions themselves cannot be template arguments, because they are imported.
inline void CloseKernelHandle(HANDLE handle) {
    CloseHandle(handle);
}

inline void CloseRegistryKey(HKEY key) {
    RegCloseKey(key);
}

using KernelHandle = Owned<HANDLE, CloseKernelHandle>;
using RegistryKey = Owned<HKEY, CloseRegistryKey>;
