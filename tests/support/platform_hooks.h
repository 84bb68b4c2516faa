// Calls of Windows that a test can make fail, replace and count.
//
// The test program defines the import pointers of these functions itself, so that each call of the linked
// modules comes here first. It is passed on to Windows unless a test plans something else.
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

#include "simulation/fault_plan.h"

// The last error after the failure of a call that returns its error code.
constexpr DWORD kUnrelatedError = 4711;

struct HookBase {
    const char* name;
    const char* library;
    bool returnsError; // whether a failed call returns its error code, and not 0
    int calls = 0;     // without those that failed with an HRESULT
    void (*watcher)(const std::string& call) = nullptr; // receives each call, such as "ImpersonateSelf 0x2"

    constexpr HookBase(const char* hookName, const char* hookLibrary, bool code)
        : name(hookName), library(hookLibrary), returnsError(code) {}

    // Plans the failure of the call with that number from now on, or of each call, see kEachCall. Replaces
    // the plan for this function.
    void Fail(int number, DWORD error) const;

    // Counts a call. Returns the error with which it fails, or nothing.
    std::optional<int> Count();
};

// How a watched call shows its arguments: texts, numbers, and a privilege with its attributes. An argument of
// any other type is not shown.
inline std::string ArgumentText(LPCSTR text) {
    return text == nullptr ? "" : std::string(" ") + text;
}
template <class T> std::string ArgumentText([[maybe_unused]] const T& argument) {
    char text[32] = "";
    if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
        _snprintf(text, sizeof(text), " %#llx", static_cast<unsigned long long>(argument));
    }
    return text;
}
inline std::string ArgumentText(PTOKEN_PRIVILEGES set) {
    const LUID_AND_ATTRIBUTES first = set == nullptr ? LUID_AND_ATTRIBUTES{} : set->Privileges[0];
    return first.Luid.LowPart == 0 ? ""
                                   : ArgumentText(first.Luid.LowPart) + " =" + ArgumentText(first.Attributes);
}

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
        watcher = nullptr;
    }
    R Real(A... arguments) {
        // Never freed: the library is one that the program under test imports.
        const auto real = reinterpret_cast<void*>(GetProcAddress(LoadLibraryExA(library, nullptr, 0), name));
        return reinterpret_cast<R(WINAPI*)(A...)>(real)(arguments...);
    }
    R Call(A... arguments) {
        if (watcher != nullptr) {
            watcher((name + ... + ArgumentText(arguments)));
        }
        if (const std::optional<int> error = Count()) {
            SetLastError(returnsError ? kUnrelatedError : static_cast<DWORD>(*error));
            // Wide enough for each of the results: pointers, handles, numbers.
            const LONG_PTR result = returnsError ? *error : 0;
            if constexpr (!std::is_void_v<R>) {
                return (R)result;
            }
        }
        return replacement != nullptr ? (*replacement)(arguments...) : Real(arguments...);
    }
};

// The library, the function, and whether it returns its error code. Any other function returns 0 when it
// fails.
// clang-format off
#define PLATFORM_CALLS(X) \
    X(kernel32, HeapCreate, false) X(kernel32, HeapAlloc, false) X(kernel32, HeapFree, false) \
    X(kernel32, LoadLibraryA, false) X(kernel32, FreeLibrary, false) X(kernel32, GetSystemDirectoryA, false) \
    X(kernel32, ExpandEnvironmentStringsA, false) X(kernel32, MultiByteToWideChar, false) \
    X(kernel32, WideCharToMultiByte, false) X(kernel32, FormatMessageA, false) \
    X(kernel32, GetFileAttributesExA, false) X(kernel32, SetFileAttributesA, false) \
    X(kernel32, CreateDirectoryA, false) X(kernel32, GetTempFileNameA, false) \
    X(kernel32, MoveFileExA, false) X(kernel32, CreateProcessW, false) X(kernel32, GetLocalTime, false) \
    X(ole32, CoUninitialize, false) X(ole32, CoTaskMemFree, false) X(ole32, CoCreateInstance, true) \
    X(ole32, CoInitializeEx, true) X(advapi32, OpenProcessToken, false) \
    X(advapi32, GetTokenInformation, false) X(advapi32, ImpersonateSelf, false) \
    X(advapi32, OpenThreadToken, false) X(advapi32, SetThreadToken, false) X(advapi32, RevertToSelf, false) \
    X(advapi32, AdjustTokenPrivileges, false) X(advapi32, GetSecurityDescriptorControl, false) \
    X(advapi32, MakeSelfRelativeSD, false) X(advapi32, GetSecurityDescriptorDacl, false) \
    X(advapi32, GetAclInformation, false) X(advapi32, InitializeAcl, false) X(advapi32, AddAce, false) \
    X(advapi32, CopySid, false) X(advapi32, RegOpenKeyExA, true) X(advapi32, RegSetValueA, true) \
    X(advapi32, RegSetValueExA, true) X(advapi32, RegDeleteValueA, true) X(advapi32, GetSecurityInfo, true) \
    X(advapi32, SetSecurityInfo, true) X(advapi32, GetNamedSecurityInfoA, true) \
    X(advapi32, SetNamedSecurityInfoA, true)
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

// Ends the planned failures. What occurred remains known.
void StopFailing();

// Removes all failures and replacements, and starts counting anew.
void ResetHooks();
