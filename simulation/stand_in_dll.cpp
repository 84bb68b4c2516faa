// The stand-in ws2_32.dll: the simulated Winsock, with its state in C:\sandbox\winsock.txt and a record of
// the calls in C:\sandbox\winsock.calls.txt.
#include "machine/files.h"
#include "simulation/simulated_winsock.h"

namespace {

constexpr char kStateFile[] = "C:\\sandbox\\winsock.txt";
constexpr char kCallsFile[] = "C:\\sandbox\\winsock.calls.txt";

// Only one call at a time, of all the programs, reads, changes and writes the state. The owner's end releases
// it, too.
HANDLE Turn() {
    static const HANDLE mutex = CreateMutexA(nullptr, FALSE, "norvane_sandbox_winsock");
    return mutex;
}

void ReadState(const std::string&) {
    WaitForSingleObject(Turn(), INFINITE);
    // The file has the faults, but not how often each call was made.
    const std::map<std::string, int> calls = Winsock().state.plan.calls;
    Winsock().state = ParseWinsockState(ReadWholeFile(kStateFile));
    Winsock().state.plan.calls = calls;
}

void WriteState() {
    WriteWholeFile(kStateFile, FormatWinsockState(Winsock().state));
    AppendToFile(kCallsFile, FormatCall(Winsock().calls.back()) + "\n");
    ReleaseMutex(Turn());
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        Winsock().begin = ReadState;
        Winsock().end = WriteState;
    }
    return TRUE;
}
