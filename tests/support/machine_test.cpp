#include "support/machine_test.h"

#include <stdexcept>

#include "common/text_conversion.h"
#include "lsp/private_heap.h"
#include "lsp/update_function_loading.h"
#include "machine/files.h"
#include "simulation/simulated_winsock.h"
#include "support/guarded_memory.h"
#include "support/text.h"
#include "trace/trace_log.h"

namespace {

constexpr DWORD kSecondsForAProgram = 60;

struct Message {
    std::string text;
    unsigned level;
};

std::vector<Message> traced;

void Capture(const char* text, size_t length, void*, unsigned level) {
    traced.push_back({std::string(text, length), level});
}

// The open handles of the process. Wine's GetProcessHandleCount always returns 0.
int CountHandles() {
    constexpr int kSystemExtendedHandleInformation = 64;
    static const auto query = reinterpret_cast<LONG(WINAPI*)(int, void*, ULONG, ULONG*)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll"), "NtQuerySystemInformation")));
    // The number of all handles, a reserved field, and for each handle five fields of which the second is the
    // process.
    static ULONG_PTR handles[2 + 5 * 0x10000];
    EXPECT_EQ(query(kSystemExtendedHandleInformation, handles, sizeof(handles), nullptr), 0);
    int open = 0;
    for (size_t i = 0; i < handles[0]; ++i) {
        open += handles[2 + 5 * i + 1] == GetCurrentProcessId();
    }
    return open;
}

} // namespace

DWORD lastExitCode = 0;

void MachineTest::SetUp() {
    traceLog->AddSink({Capture, nullptr, 1000});
    ResetHooks();
    ResetWinsock({});
    UseSystem(true);
    int error = 0;
    LspReleaseHeap();
    ASSERT_EQ(LspCreateHeap(&error), 0);
    liveBlocks = 0;
    on::HeapAlloc.Replace([](HANDLE heap, DWORD flags, SIZE_T size) {
        EXPECT_EQ(flags, static_cast<DWORD>(HEAP_ZERO_MEMORY));
        ++liveBlocks;
        EXPECT_NE(heap, nullptr);
        return AllocateGuarded(size);
    });
    on::HeapFree.Replace([](HANDLE heap, DWORD flags, LPVOID block) {
        EXPECT_NE(block, nullptr);
        --liveBlocks;
        EXPECT_TRUE(heap != nullptr && flags == 0);
        FreeGuarded(block);
        return TRUE;
    });
    traced.clear();
}

void MachineTest::TearDown() {
    LspReleaseHeap();
    ResetHooks();
}

void MachineTest::UseSystem(bool withUpdateFunctions) {
    // This executable exports what a ws2_32.dll with update functions does; kernel32 exports none of it.
    on::LoadLibraryA.Replace(
        [=](LPCSTR) { return GetModuleHandleA(withUpdateFunctions ? nullptr : "kernel32.dll"); });
    LoadUpdateProviderFunctions();
}

std::string Traced() {
    std::string lines;
    for (const Message& message : std::exchange(traced, {})) {
        lines += (message.level == kExtraFileLevel ? "* " : "") + Escaped(message.text) + "\n";
    }
    return lines;
}

std::vector<std::string> TracedMessages() {
    std::vector<std::string> texts;
    for (Message& message : std::exchange(traced, {})) {
        texts.push_back(std::move(message.text));
    }
    return texts;
}

void Watch(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        HookBase* const hook = FindHook(name);
        if (hook == nullptr) {
            throw std::runtime_error("no hooked call: " + name);
        }
        hook->watcher = [](const std::string& call) {
            HANDLE token = nullptr;
            on::OpenThreadToken.Real(GetCurrentThread(), TOKEN_QUERY, TRUE, &token);
            traced.push_back({(token == nullptr ? "> " : ">> ") + call, kDefaultTraceLevel});
            CloseHandle(token);
        };
    }
}

std::string Changes() {
    std::string changes;
    for (const WinsockCall& call : Winsock().calls) {
        const bool reads = call.function.starts_with("WSCEnum") || call.function.starts_with("WSCGet");
        changes += reads ? "" : FormatCall(call) + "\n";
    }
    return changes;
}

std::string ResidueOf(const std::function<void()>& action) {
    const int handles = CountHandles();
    const int blocks = MachineTest::liveBlocks;
    on::CoInitializeEx.calls = on::CoUninitialize.calls = 0;
    action();
    const int com = on::CoInitializeEx.calls - on::CoUninitialize.calls;
    const bool comUsed = on::CoInitializeEx.calls > 0; // it keeps handles of its own, once used
    StopFailing();
    std::string residue;
    const auto add = [&](const char* what, int count) {
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

DWORD RunProgram(const std::string& commandLine, HANDLE output) {
    const char* const text = commandLine.c_str();
    std::wstring wide = IsUtf8(commandLine) ? conv_utf8_to_wchar(text) : conv_to_wchar(text);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output;
    PROCESS_INFORMATION process = {};
    // Once in some thousand starts Wine refuses a process with this error.
    BOOL started = FALSE;
    for (int tries = 0; !started && (tries == 0 || GetLastError() == ERROR_INTERNAL_ERROR) && tries < 3;
         ++tries) {
        started = CreateProcessW(nullptr, wide.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                                 &process);
    }
    EXPECT_TRUE(started) << commandLine.substr(0, 200) << ": error " << GetLastError();
    if (started && WaitForSingleObject(process.hProcess, kSecondsForAProgram * 1000) == WAIT_TIMEOUT) {
        ADD_FAILURE() << "not ended after " << kSecondsForAProgram << " s: " << commandLine.substr(0, 200);
        TerminateProcess(process.hProcess, 1);
        WaitForSingleObject(process.hProcess, 5000);
    }
    DWORD exitCode = MAXDWORD;
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return exitCode;
}

std::string RunChild(const std::string& commandLine, ChildOutput to) {
    constexpr char kOutput[] = "C:\\sandbox\\output.txt";
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    const HANDLE output = CreateFileA(kOutput, to == ChildOutput::kFile ? GENERIC_WRITE : GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    lastExitCode = RunProgram(commandLine, to == ChildOutput::kNone ? nullptr : output);
    CloseHandle(output);
    return ReadWholeFile(kOutput);
}

bool FileExists(const std::string& pathOrPattern) {
    return !NamesIn(pathOrPattern).empty();
}

std::vector<std::string> NamesIn(const std::string& pattern) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA found = {};
    const HANDLE search = FindFirstFileA(pattern.c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        names.push_back(found.cFileName);
    }
    FindClose(search);
    std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
    return names;
}

void WriteRegistry(HKEY root, const std::string& key, const std::string& name, DWORD type,
                   const std::string& bytes) {
    EXPECT_EQ(RegSetKeyValueA(root, key.c_str(), name.c_str(), type, bytes.data(),
                              static_cast<DWORD>(bytes.size())),
              0);
}
