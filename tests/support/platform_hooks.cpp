// The hooks and the import pointers that lead to them.
#include "support/platform_hooks.h"

#include <algorithm>
#include <initializer_list>

template <class F, Hook<F>& hook> struct Stub;

template <class R, class... A, Hook<R(A...)>& hook> struct Stub<R(A...), hook> {
    static R WINAPI Call(A... arguments) { return hook.Call(arguments...); }
};

#define DEFINE_HOOK(library, function, code)                                                                 \
    namespace on {                                                                                           \
    constinit Hook<decltype(::function)> function{#function, #library, code};                                \
    }                                                                                                        \
    extern "C" decltype(&::function) __imp_##function;                                                       \
    decltype(&::function) __imp_##function = &Stub<decltype(::function), on::function>::Call;
#define RESET_HOOK(library, function, ...) on::function.Reset();
#define NAME_HOOK(library, function, ...) &on::function,

PLATFORM_CALLS(DEFINE_HOOK)

static const std::initializer_list<HookBase*> kHooks = {PLATFORM_CALLS(NAME_HOOK)};

// A call can come before main, when no plan can be there yet.
static constinit bool failuresPlanned = false;

static FaultPlan& Plan() {
    static FaultPlan plan;
    return plan;
}

HookBase* FindHook(const std::string& name) {
    const auto found =
        std::find_if(kHooks.begin(), kHooks.end(), [&](const HookBase* hook) { return name == hook->name; });
    return found == kHooks.end() ? nullptr : *found;
}

void HookBase::Fail(int number, DWORD error) const {
    FaultPlan& plan = Plan();
    std::erase_if(plan.faults, [this](const PlannedFault& fault) { return fault.call == name; });
    plan.calls.erase(name);
    plan.faults.push_back({name, number, static_cast<int>(error)});
    failuresPlanned = true;
}

std::optional<int> HookBase::Count() {
    const std::optional<int> error = failuresPlanned ? NextFault(Plan(), name) : std::nullopt;
    calls += !error || *error >= 0;
    return error;
}

const FaultPlan& PlatformFaults() {
    return Plan();
}

void StopFailing() {
    for (PlannedFault& fault : Plan().faults) {
        fault.number = 0;
    }
    failuresPlanned = false;
}

void ResetHooks() {
    Plan() = {};
    failuresPlanned = false;
    PLATFORM_CALLS(RESET_HOOK)
}
