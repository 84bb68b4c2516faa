#include "comrestore/registration_runner.h"

#include <cstdio>
#include <cwchar>
#include <vector>

#include "trace/trace_log.h"

namespace {

// CreateProcess writes into its command line, so it gets a copy. The copy is made with the command line as
// the format. A percent sign would be taken for a conversion, but the commands have none.
std::vector<wchar_t> CopyCommandLine(const wchar_t* commandLine) {
    const size_t count = std::wcslen(commandLine) + 1;
    std::vector<wchar_t> copy(count);
    _snwprintf(copy.data(), count, commandLine);
    copy.back() = L'\0';
    return copy;
}

void CloseIfOpen(HANDLE handle) {
    if (handle != nullptr) {
        CloseHandle(handle);
    }
}

} // namespace

LONG RegSvr32Dll(const wchar_t* commandLine) {
    Trace("RegSvr32Dll");
    STARTUPINFOW startupInfo = {};
    startupInfo.cb = sizeof(startupInfo);
    PROCESS_INFORMATION processInfo = {};
    std::vector<wchar_t> copy = CopyCommandLine(commandLine);
    const BOOL ok = CreateProcessW(nullptr, copy.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                   &startupInfo, &processInfo);
    const DWORD code = ok ? 0 : GetLastError();
    Trace("RegSvr32Dll CreateProcess ret=%d code=%u", ok, code);
    if (processInfo.hProcess != nullptr) {
        Trace("RegSvr32Dll WaitProcess h=0x%08X pid=%u",
              static_cast<unsigned>(reinterpret_cast<uintptr_t>(processInfo.hProcess)),
              processInfo.dwProcessId);
        const DWORD waited = WaitForSingleObject(processInfo.hProcess, INFINITE);
        Trace("RegSvr32Dll WaitProcess ret=%u", waited);
    }
    CloseIfOpen(processInfo.hThread);
    CloseIfOpen(processInfo.hProcess);
    return 0;
}
