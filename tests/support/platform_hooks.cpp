// The hooks and the import pointers that lead to them.
#include "support/platform_hooks.h"

template <class F, Hook<F>& hook> struct Stub;

template <class R, class... A, Hook<R(A...)>& hook> struct Stub<R(A...), hook> {
    static R WINAPI Call(A... arguments) { return hook.Call(arguments...); }
};

#define VALUE_HOOK(library, function, failure)                                                               \
    namespace on {                                                                                           \
    constinit Hook<decltype(::function)> function{#function, #library, failure, false};                      \
    }                                                                                                        \
    extern "C" decltype(&::function) __imp_##function;                                                       \
    decltype(&::function) __imp_##function = &Stub<decltype(::function), on::function>::Call;
#define CODE_HOOK(library, function)                                                                         \
    namespace on {                                                                                           \
    constinit Hook<decltype(::function)> function{#function, #library, 0, true};                             \
    }                                                                                                        \
    extern "C" decltype(&::function) __imp_##function;                                                       \
    decltype(&::function) __imp_##function = &Stub<decltype(::function), on::function>::Call;

PLATFORM_CALLS(VALUE_HOOK, CODE_HOOK)

namespace {

template <class F> void Reset(Hook<F>& hook) {
    delete hook.replacement;
    hook.replacement = nullptr;
    hook.calls = 0;
    hook.failingCall = 0;
}

} // namespace

void ResetHooks() {
#define RESET_HOOK(library, function, failure) Reset(on::function);
#define RESET_CODE_HOOK(library, function) Reset(on::function);
    PLATFORM_CALLS(RESET_HOOK, RESET_CODE_HOOK)
}
