#include "support/residue.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "support/machine_test.h"

namespace {

// What NtQuerySystemInformation returns for SystemExtendedHandleInformation.
struct SystemHandle {
    void* object;
    ULONG_PTR process;
    ULONG_PTR value;
    ULONG access;
    USHORT stackTrace, type;
    ULONG attributes, reserved;
};
struct SystemHandles {
    ULONG_PTR count, reserved;
    SystemHandle handles[0x10000];
};
constexpr int kSystemExtendedHandleInformation = 64;

// The open handles of the process. Wine's GetProcessHandleCount always says 0.
std::ptrdiff_t CountHandles() {
    static SystemHandles all;
    static const auto query = reinterpret_cast<LONG(WINAPI*)(int, void*, ULONG, ULONG*)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll"), "NtQuerySystemInformation")));
    EXPECT_EQ(query(kSystemExtendedHandleInformation, &all, sizeof(all), nullptr), 0);
    return std::count_if(all.handles, all.handles + all.count,
                         [](const SystemHandle& handle) { return handle.process == GetCurrentProcessId(); });
}

} // namespace

std::string ResidueOf(const std::function<void()>& action) {
    const auto handles = CountHandles();
    const int blocks = MachineTest::liveBlocks;
    on::CoInitializeEx.calls = on::CoUninitialize.calls = 0;
    action();
    const int com = on::CoInitializeEx.calls - on::CoUninitialize.calls;
    const bool comUsed = on::CoInitializeEx.calls > 0; // it keeps handles of its own, once used
    StopFailing();
    std::string residue;
    const auto add = [&](const char* what, std::ptrdiff_t count) {
        residue += count == 0 ? "" : what + (": " + std::to_string(count)) + "\n";
    };
    add("blocks of the private heap not freed", MachineTest::liveBlocks - blocks);
    add("starts of COM not ended", com);
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
        add("impersonations not ended", 1);
        CloseHandle(token);
        RevertToSelf();
    }
    add("handles not closed", comUsed ? 0 : CountHandles() - handles);
    return residue;
}
