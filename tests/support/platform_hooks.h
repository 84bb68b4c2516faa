// Windows calls of the program under test that a test can make fail, replace and count.
//
// The test program defines the import pointers of these functions itself, so every call of the modules linked
// into it passes here, and on to Windows unless a test says otherwise.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <functional>
#include <type_traits>
#include <utility>

struct HookBase {
    const char* name;
    const char* library;
    LONG_PTR failure;  // what a failed call returns
    bool returnsError; // whether it returns its error code instead
    int calls = 0;
    int failingCall = 0; // 0 for none, -1 for every one
    DWORD error = 0;

    constexpr HookBase(const char* hookName, const char* hookLibrary, LONG_PTR failed, bool code)
        : name(hookName), library(hookLibrary), failure(failed), returnsError(code) {}

    // The call-th call from now on.
    void Fail(int call, DWORD withError) {
        calls = 0;
        failingCall = call;
        error = withError;
    }
    bool Counted() { return ++calls == failingCall || failingCall == -1; }
};

template <class F> struct Hook;

template <class R, class... A> struct Hook<R(A...)> : HookBase {
    using HookBase::HookBase;
    std::function<R(A...)>* replacement = nullptr;

    void Replace(std::function<R(A...)> with) {
        delete replacement;
        replacement = new std::function<R(A...)>(std::move(with));
    }
    R Real(A... arguments) {
        const auto real = reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA(library), name));
        return reinterpret_cast<R(WINAPI*)(A...)>(real)(arguments...);
    }
    R Call(A... arguments) {
        if (Counted()) {
            SetLastError(error);
            const LONG_PTR result = returnsError ? static_cast<LONG>(error) : failure;
            if constexpr (std::is_pointer_v<R>) {
                return reinterpret_cast<R>(result);
            } else {
                return static_cast<R>(result);
            }
        }
        return replacement != nullptr ? (*replacement)(arguments...) : Real(arguments...);
    }
};

// library, function, result of a failed call
#define PLATFORM_CALLS(VALUE, CODE)                                                                          \
    VALUE(kernel32, HeapCreate, 0)                                                                           \
    VALUE(kernel32, HeapAlloc, 0)                                                                            \
    VALUE(kernel32, HeapFree, 0)                                                                             \
    VALUE(kernel32, HeapDestroy, 0)                                                                          \
    VALUE(kernel32, LoadLibraryA, 0)                                                                         \
    VALUE(kernel32, FreeLibrary, 0)                                                                          \
    VALUE(kernel32, GetSystemDirectoryA, 0)                                                                  \
    VALUE(kernel32, ExpandEnvironmentStringsA, 0)                                                            \
    VALUE(kernel32, MultiByteToWideChar, 0)                                                                  \
    VALUE(kernel32, WideCharToMultiByte, 0)                                                                  \
    VALUE(kernel32, FormatMessageA, 0)                                                                       \
    VALUE(kernel32, GetFileAttributesExA, 0)                                                                 \
    VALUE(kernel32, SetFileAttributesA, 0)                                                                   \
    VALUE(kernel32, CreateFileA, -1)                                                                         \
    VALUE(kernel32, CreateDirectoryA, 0)                                                                     \
    VALUE(kernel32, GetTempFileNameA, 0)                                                                     \
    VALUE(kernel32, MoveFileA, 0)                                                                            \
    VALUE(kernel32, MoveFileExA, 0)                                                                          \
    VALUE(msvcrt, _vscprintf, -1)                                                                            \
    VALUE(msvcrt, _vscwprintf, -1)                                                                           \
    CODE(advapi32, RegOpenKeyExA)                                                                            \
    CODE(advapi32, RegQueryValueExA)                                                                         \
    CODE(advapi32, RegSetValueExA)                                                                           \
    CODE(advapi32, RegDeleteValueA)

namespace on {

#define DECLARE_HOOK(library, function, failure) extern Hook<decltype(::function)> function;
#define DECLARE_CODE_HOOK(library, function) DECLARE_HOOK(library, function, 0)
PLATFORM_CALLS(DECLARE_HOOK, DECLARE_CODE_HOOK)
#undef DECLARE_HOOK
#undef DECLARE_CODE_HOOK

} // namespace on

// Takes back all failures and replacements, and starts counting anew.
void ResetHooks();
