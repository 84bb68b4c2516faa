// The hooks and the import pointers that lead to them.
#include "support/platform_hooks.h"

#include <algorithm>
#include <initializer_list>

template <class F, Hook<F>& hook> struct Stub;

template <class R, class... A, Hook<R(A...)>& hook> struct Stub<R(A...), hook> {
    static R WINAPI Call(A... arguments) { return hook.Call(arguments...); }
};

#define DEFINE_HOOK(library, function, failure, code)                                                        \
    namespace on {                                                                                           \
    constinit Hook<decltype(::function)> function{#function, #library, failure, code};                       \
    }                                                                                                        \
    extern "C" decltype(&::function) __imp_##function;                                                       \
    decltype(&::function) __imp_##function = &Stub<decltype(::function), on::function>::Call;
#define RESET_HOOK(library, function, ...) on::function.Reset();
#define NAME_HOOK(library, function, ...) &on::function,

PLATFORM_CALLS(DEFINE_HOOK)

static const std::initializer_list<HookBase*> kHooks = {PLATFORM_CALLS(NAME_HOOK)};

HookBase* FindHook(const std::string& name) {
    const auto found =
        std::find_if(kHooks.begin(), kHooks.end(), [&](const HookBase* hook) { return name == hook->name; });
    return found == kHooks.end() ? nullptr : *found;
}

void StopFailing() {
    for (HookBase* hook : kHooks) {
        hook->failingCall = 0;
    }
}

void ResetHooks() {
    PLATFORM_CALLS(RESET_HOOK)
}
