#include "comrestore/registration_runner.h"

#include <cstdio>
#include <cwchar>
#include <vector>

#include "common/owned.h"
#include "trace/trace_log.h"

namespace {

// CreateProcess modifies its command line, so it receives a copy. The command line is the format of the call
// that makes the copy: a percent sign would be read as a conversion, but neither command line has one. Kept,
// see docs/kept-behaviour.md.
std::vector<wchar_t> CopyCommandLine(const wchar_t* commandLine) {
    const size_t count = std::wcslen(commandLine) + 1;
    std::vector<wchar_t> copy(count);
    _snwprintf(copy.data(), count, commandLine);
    copy.back() = L'\0';
    return copy;
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
    const KernelHandle process(processInfo.hProcess);
    const KernelHandle thread(processInfo.hThread); // closed before the process
    if (process.Get() != nullptr) {
        Trace("RegSvr32Dll WaitProcess h=0x%08X pid=%u",
              static_cast<unsigned>(reinterpret_cast<uintptr_t>(process.Get())), processInfo.dwProcessId);
        const DWORD waited = WaitForSingleObject(process.Get(), INFINITE);
        Trace("RegSvr32Dll WaitProcess ret=%u", waited);
    }
    return 0;
}
