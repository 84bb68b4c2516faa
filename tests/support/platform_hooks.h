// Windows calls of the program under test that a test can make fail, replace and count.
//
// The test program defines the import pointers of these functions itself, so every call of the modules linked
// into it passes here, and on to Windows unless a test says otherwise.
#pragma once

#include <winsock2.h>
#include <windows.h>
#include <objbase.h>
#include <aclapi.h>

#include <cstdio>
#include <cwchar>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "machine/fault_plan.h"

struct HookBase {
    const char* name;
    const char* library;
    LONG_PTR failure;  // what a failed call returns
    bool returnsError; // whether it returns its error code instead
    int calls = 0;

    constexpr HookBase(const char* hookName, const char* hookLibrary, LONG_PTR failureResult, bool code)
        : name(hookName), library(hookLibrary), failure(failureResult), returnsError(code) {}

    // The number-th call from now on fails; or each, see kEachCall. Replaces what was planned for this function.
    void Fail(int number, DWORD error) const;

    // The error with which a call fails; counts the call.
    std::optional<int> Count();
};

template <class F> struct Hook;

template <class R, class... A> struct Hook<R(A...)> : HookBase {
    using HookBase::HookBase;
    std::function<R(A...)>* replacement = nullptr; // not a smart pointer: a call can come before main

    void Replace(std::function<R(A...)> with) {
        delete replacement;
        replacement = new std::function<R(A...)>(std::move(with));
    }
    void Reset() {
        delete std::exchange(replacement, nullptr);
        calls = 0;
    }
    R Real(A... arguments) {
        // Never freed: the library is one that the program under test imports.
        const auto real = reinterpret_cast<void*>(GetProcAddress(LoadLibraryExA(library, nullptr, 0), name));
        return reinterpret_cast<R(WINAPI*)(A...)>(real)(arguments...);
    }
    R Call(A... arguments) {
        if (const std::optional<int> error = Count()) {
            SetLastError(static_cast<DWORD>(*error));
            // Wide enough for each of the results: pointers, handles, numbers.
            const LONG_PTR result = returnsError ? *error : failure;
            if constexpr (!std::is_void_v<R>) {
                return (R)result;
            }
        }
        return replacement != nullptr ? (*replacement)(arguments...) : Real(arguments...);
    }
};

// library, function, result of a failed call, whether that is the error code instead
// clang-format off
#define PLATFORM_CALLS(X) \
    X(kernel32, HeapCreate, 0, false) X(kernel32, HeapAlloc, 0, false) X(kernel32, HeapFree, 0, false) \
    X(kernel32, HeapDestroy, 0, false) X(kernel32, LoadLibraryA, 0, false) \
    X(kernel32, FreeLibrary, 0, false) X(kernel32, GetSystemDirectoryA, 0, false) \
    X(kernel32, ExpandEnvironmentStringsA, 0, false) X(kernel32, MultiByteToWideChar, 0, false) \
    X(kernel32, WideCharToMultiByte, 0, false) X(kernel32, FormatMessageA, 0, false) \
    X(kernel32, GetFileAttributesExA, 0, false) X(kernel32, SetFileAttributesA, 0, false) \
    X(kernel32, CreateFileA, -1, false) X(kernel32, CreateDirectoryA, 0, false) \
    X(kernel32, GetTempFileNameA, 0, false) X(kernel32, MoveFileA, 0, false) \
    X(kernel32, MoveFileExA, 0, false) X(kernel32, CreateProcessW, 0, false) \
    X(kernel32, WaitForSingleObject, -1, false) X(kernel32, CloseHandle, 0, false) \
    X(ole32, CoCreateInstance, 0, true) \
    X(ole32, CoInitializeEx, 0, true) X(ole32, CoUninitialize, 0, false) X(ole32, CoTaskMemFree, 0, false) \
    X(advapi32, RegOpenKeyA, 0, true) X(advapi32, RegOpenKeyExA, 0, true) \
    X(advapi32, RegQueryValueExA, 0, true) X(advapi32, RegSetValueA, 0, true) \
    X(advapi32, RegSetValueExA, 0, true) X(advapi32, RegDeleteValueA, 0, true) \
    X(advapi32, OpenProcessToken, 0, false) X(advapi32, GetTokenInformation, 0, false) \
    X(advapi32, ImpersonateSelf, 0, false) X(advapi32, OpenThreadToken, 0, false) \
    X(advapi32, SetThreadToken, 0, false) X(advapi32, RevertToSelf, 0, false) \
    X(advapi32, AdjustTokenPrivileges, 0, false) X(advapi32, GetSecurityInfo, 0, true) \
    X(advapi32, SetSecurityInfo, 0, true) X(advapi32, GetNamedSecurityInfoA, 0, true) \
    X(advapi32, SetNamedSecurityInfoA, 0, true) X(advapi32, GetSecurityDescriptorControl, 0, false) \
    X(advapi32, MakeSelfRelativeSD, 0, false) X(advapi32, GetSecurityDescriptorDacl, 0, false) \
    X(advapi32, GetAclInformation, 0, false) X(advapi32, InitializeAcl, 0, false) \
    X(advapi32, AddAce, 0, false) X(advapi32, CopySid, 0, false)
// clang-format on

namespace on {

#define DECLARE_HOOK(library, function, ...) extern Hook<decltype(::function)> function;
PLATFORM_CALLS(DECLARE_HOOK)
#undef DECLARE_HOOK

} // namespace on

// The hook of that name, or null.
HookBase* FindHook(const std::string& name);

// The failures planned for these functions.
const FaultPlan& PlatformFaults();

// Lets no further call fail. What occurred stays known.
void StopFailing();

// Removes all failures and replacements, and starts counting anew.
void ResetHooks();
