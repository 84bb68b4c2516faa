// Holds the lock of the trace log for a scope.
#pragma once

#include <windows.h>

class LockGuard {
  public:
    explicit LockGuard(CRITICAL_SECTION& lock) : lock_(lock) { EnterCriticalSection(&lock_); }
    ~LockGuard() { LeaveCriticalSection(&lock_); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    CRITICAL_SECTION& lock_;
};
