#include "support/residue.h"

#include <windows.h>

#include "support/machine_test.h"

namespace {

// The open handles of the process, of which there are few, by trying each value: Wine does not count them.
int CountHandles() {
    int open = 0;
    for (ULONG_PTR value = 4; value < 0x180; value += 4) {
        DWORD flags = 0;
        open += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags);
    }
    return open;
}

// How often COM refused to start, as planned.
int RefusedStartsOfCom() {
    int refused = 0;
    for (const PlannedFault& fault : PlatformFaults().faults) {
        refused += fault.call == on::CoInitializeEx.name && fault.code < 0 ? fault.occurrences : 0;
    }
    return refused;
}

} // namespace

std::string ResidueOf(const std::function<void()>& action) {
    const int handles = CountHandles();
    const int blocks = MachineTest::liveBlocks;
    on::CoInitializeEx.calls = on::CoUninitialize.calls = 0;
    action();
    const int com = on::CoInitializeEx.calls - RefusedStartsOfCom() - on::CoUninitialize.calls;
    const bool comUsed = on::CoInitializeEx.calls > 0; // it keeps handles of its own, once used
    StopFailing();
    std::string residue;
    residue += MachineTest::liveBlocks != blocks
                   ? "blocks left: " + std::to_string(MachineTest::liveBlocks - blocks) + "\n"
                   : "";
    residue += com != 0 ? "starts of COM left: " + std::to_string(com) + "\n" : "";
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
        residue += "impersonation left: 1\n";
        CloseHandle(token);
        RevertToSelf();
    }
    const int open = comUsed ? 0 : CountHandles() - handles;
    return residue + (open != 0 ? "handles left: " + std::to_string(open) + "\n" : "");
}
