// The stand-in ws2_32.dll: the simulated Winsock, with its state in C:\sandbox\winsock.txt and a record of
// the calls in C:\sandbox\winsock.calls.txt.
#include "winsock/simulated_winsock.h"

namespace {

constexpr char kStateFile[] = "C:\\sandbox\\winsock.txt";
constexpr char kCallsFile[] = "C:\\sandbox\\winsock.calls.txt";

void ReadState(const std::string&) {
    Winsock().state = ParseWinsockState(ReadWholeFile(kStateFile));
}

void WriteState() {
    WriteWholeFile(kStateFile, FormatWinsockState(Winsock().state));
    AppendToFile(kCallsFile, Winsock().calls.back() + "\n");
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        Winsock().begin = ReadState;
        Winsock().end = WriteState;
    }
    return TRUE;
}
