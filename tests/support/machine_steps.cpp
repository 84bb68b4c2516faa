#include "support/machine_steps.h"

#include <windows.h>

#include <algorithm>
#include <regex>
#include <stdexcept>
#include <tuple>

#include "machine/file_reading.h"
#include "machine/file_writing.h"
#include "machine/netcfg_state.h"
#include "machine/text_parsing.h"
#include "machine/winsock_state.h"
#include "support/machine_test.h"
#include "support/registry_steps.h"
#include "support/text.h"
#include "trace/trace_log.h"

namespace {

const std::string kSandbox = "C:\\sandbox\\";

// By handle, Wine refuses to read a system access list, and with it the rest.
void MakeReadable() {
    on::GetSecurityInfo.Replace(
        [](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, auto... rest) {
            EXPECT_EQ(parts, kOwnerAndDacl | GROUP_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION);
            return on::GetSecurityInfo.Real(handle, type, parts ^ DWORD{SACL_SECURITY_INFORMATION}, rest...);
        });
}

// Returns the deletions that wait for the next start, and removes them.
std::string TakePending() {
    const std::string manager = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const std::string pending = ShowValue("HKLM\\" + manager, "PendingFileRenameOperations");
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, manager.c_str(), "PendingFileRenameOperations");
    return pending;
}

// One file at a time is held open.
void HoldOpen(const std::string& path, bool hold) {
    static HANDLE held = INVALID_HANDLE_VALUE;
    CloseHandle(std::exchange(held, INVALID_HANDLE_VALUE));
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    WriteWholeFile(path, "x");
    if (hold) {
        held = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(held, INVALID_HANDLE_VALUE) << path;
    }
}

std::string program; // the executable under test, if the case has one

// The messages of an output as lines, without their stamps. Where no message begins it, its lines as they are.
std::string Lines(const std::string& output) {
    static const std::regex stamp("(^|\\n)\\d{3,}:[0-9a-f]{4,} \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ");
    static const std::regex process("h=0x[0-9A-F]{8} pid=\\d+");
    std::string marked = std::regex_replace(output, stamp, "$1\x01");
    const bool stamped = marked.starts_with('\x01');
    std::string lines;
    if (marked.empty()) {
        return lines;
    }
    if (!stamped) {
        ReplaceAll(marked, "\r\n", "\n");
    }
    marked.erase(0, stamped);
    marked.resize(marked.size() - marked.ends_with('\n'));
    for (const std::string& line : SplitAt(marked, stamped ? "\n\x01" : "\n")) {
        lines += Escaped(std::regex_replace(line, process, "h=<handle> pid=<id>")) + "\n";
    }
    ReplaceAll(lines, program.empty() ? "<program>" : program, "<program>");
    return lines;
}

std::string Run(const std::string& words, ChildOutput to) {
    return Lines(RunChild(program + " " + words, to));
}

std::string ShowFile(const std::string& name) {
    if (!FileExists(kSandbox + name)) {
        throw std::runtime_error("there is no such file: " + name);
    }
    return ReadWholeFile(kSandbox + name);
}

// Puts the sample machine's files, values and classes there that the commands look at.
void PrepareSample() {
    for (const char* name : {"examplelsp", "filterlsp", "guardlsp", "original"}) {
        WriteWholeFile("C:\\windows\\system32\\" + std::string(name) + ".dll", "stands for a DLL");
    }
    RunChild("reg import C:\\sandbox\\sample_registry.reg");
}

std::string StateFile(const std::string& simulation) {
    return kSandbox + simulation + ".txt";
}

// Runs the program with a pipe of messages for its output, which shows the single writes; returns their number and that
// of the lines that they end.
std::string CountWrites(const std::string& words) {
    const char* const name = "\\\\.\\pipe\\norvane";
    const HANDLE pipe = CreateNamedPipeA(name, PIPE_ACCESS_INBOUND, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                                         1, 0, 1 << 20, 0, nullptr);
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    const HANDLE end = CreateFileA(name, GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr);
    RunProgram(program + " " + words, end);
    CloseHandle(end);
    std::vector<char> message(1 << 16);
    DWORD length = 0;
    int writes = 0;
    int lines = 0;
    for (; ReadFile(pipe, message.data(), 1 << 16, &length, nullptr); ++writes) {
        lines +=
            std::count(message.data(), message.data() + length, '\n') == 1 && message[length - 1] == '\n';
    }
    CloseHandle(pipe);
    return std::to_string(writes) + " writes, " + std::to_string(lines) + " lines\n";
}

void ShowNames() {
    on::GetNamedSecurityInfoA.Replace([](LPCSTR name, SE_OBJECT_TYPE type, auto...) {
        Trace("%s %d", name, static_cast<int>(type));
        return static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
    });
}

void PretendFiles() {
    on::GetFileAttributesExA.Replace([](LPCSTR, GET_FILEEX_INFO_LEVELS, LPVOID) { return TRUE; });
    on::MoveFileExA.Replace([](LPCSTR, LPCSTR, DWORD) { return TRUE; });
}

void FakeProcess() {
    on::CreateProcessW.Replace([](auto... arguments) {
        *std::get<9>(std::tuple(arguments...)) = {reinterpret_cast<HANDLE>(0x7FFF0001),
                                                  reinterpret_cast<HANDLE>(0x7FFF0002), 7, 8};
        return TRUE;
    });
    on::CloseHandle.Replace([](HANDLE handle) {
        Trace("closed %x", static_cast<unsigned>(reinterpret_cast<ULONG_PTR>(handle)));
        return TRUE;
    });
}

void FakeMessage(const std::string& message) {
    on::FormatMessageA.Replace([=](DWORD flags, LPCVOID, DWORD, DWORD language, LPSTR buffer, auto...) {
        EXPECT_EQ(flags, DWORD{FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM});
        EXPECT_EQ(language, DWORD{MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT)});
        char* text = static_cast<char*>(LocalAlloc(LPTR, message.size() + 1));
        *reinterpret_cast<char**>(buffer) = std::copy(message.begin(), message.end(), text) - message.size();
        return static_cast<DWORD>(message.size());
    });
}

void FakeSystemDirectory(const std::string& length, const std::string& text) {
    const UINT result = ParseNumber32(length);
    on::GetSystemDirectoryA.Replace([=](LPSTR buffer, UINT size) {
        EXPECT_EQ(size, MAX_PATH + 1u);
        text.copy(buffer, size);
        return result;
    });
}

void AddToState(const std::string& simulation, std::string lines) {
    ReplaceAll(lines, " ; ", "\n");
    AppendToFile(StateFile(simulation), lines + "\n");
    const std::string state = ReadWholeFile(StateFile(simulation));
    if (simulation == "netcfg") {
        ParseNetcfgState(state);
    } else {
        ParseWinsockState(state);
    }
}

} // namespace

void PrepareMachine(const std::string& executable) {
    program = executable;
    lastExitCode = MAXDWORD;
    MakeReadable();
    for (const std::string simulation : {"winsock", "netcfg"}) {
        WriteWholeFile(StateFile(simulation), ReadWholeFile(kSandbox + "sample_" + simulation + ".txt"));
        WriteWholeFile(kSandbox + simulation + ".calls.txt", "");
    }
    WriteWholeFile(StateFile("state"), "");
    UseSystemLibrary("update");
    HoldOpen("C:\\windows\\system32\\examplelsp.dll", false);
    HoldOpen("C:\\sandbox\\f.dll", false);
    DeleteFileA("C:\\sandbox\\f.dll");
    for (const std::string pattern : {"C:\\norvane.tmp\\", "C:\\sandbox\\"}) {
        for (const std::string& name : NamesIn(pattern + "vor*")) {
            DeleteFileA((pattern + name).c_str());
        }
    }
    RemoveDirectoryA("C:\\norvane.tmp");
    TakePending();
    HKEY left = nullptr;
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDllsKey);
    for (const std::string key : {"HKCR\\CLSID\\{T}", "HKCR\\CLSID\\{T}\\InprocServer32"}) {
        if (RegOpenKeyExA(HKEY_CLASSES_ROOT, key.c_str() + 5, 0, WRITE_DAC, &left) == ERROR_SUCCESS) {
            RegCloseKey(left);
            WriteSecurity(key, "D:(A;;KA;;;WD)");
        }
    }
    for (const char* key : {"{T}", "{0D5A2C40-6E3B-4F19-9C77-1B2E4A6F8D03}"}) {
        RegDeleteTreeA(HKEY_CLASSES_ROOT, (std::string("CLSID\\") + key).c_str());
    }
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Wow6432Node\\Brennick");
    WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDllsKey, "", REG_SZ, "");
}

void UseSystemLibrary(const std::string& kind) {
    static std::string present;
    if (kind != present) {
        const std::string library = kSandbox + "ws2_32_" + kind + ".dll";
        const BOOL copied = CopyFileA(library.c_str(), "C:\\windows\\system32\\ws2_32.dll", FALSE);
        EXPECT_TRUE(copied);
        present = copied ? kind : "";
    }
}

std::vector<Step> MachineSteps() {
    using enum StepPlace;
    const auto make = [](const char* usage, auto action, StepPlace place = kAnywhere) {
        return Step{usage, [=](const Words& w) { return action(w), std::string(); }, place};
    };
    return {
        make("file PATH", [](const Words& w) { HoldOpen(w[0], false); }),
        make("held-file PATH", [](const Words& w) { HoldOpen(w[0], true); }),
        make("reg KEY NAME TYPE TEXT...", [](const Words& w) { WriteValue(w[0], w[1], w[2], w[3]); }),
        {"show-reg KEY NAME", [](const Words& w) { return ShowValue(w[0], w[1]); }},
        make("security KEY SDDL", [](const Words& w) { WriteSecurity(w[0], w[1]); }),
        {"show-security KEY", [](const Words& w) { return ShowSecurity(w[0]); }},
        {"pending", [](const Words&) { return TakePending(); }},
        {"cmd WORDS...", [](const Words& w) { return Lines(RunChild(w[0])); }},
        {"show FILE", [](const Words& w) { return ShowFile(w[0]); }},
        make("sample", [](const Words&) { PrepareSample(); }),
        make(
            "winsock LINES...", [](const Words& w) { AddToState("winsock", w[0]); }, kProgram),
        make("netcfg LINES...", [](const Words& w) { AddToState("netcfg", w[0]); }),
        make("state LINES...", [](const Words& w) { AddToState("state", w[0]); }),
        {"rehearse WORDS...",
         [](const Words& w) { return Lines(RunChild(kSandbox + "norvane64-rehearse.exe " + w[0])); }},
        {"run WORDS...", [](const Words& w) { return Run(w[0], ChildOutput::kFile); }, kProgram},
        {"run-silent WORDS...", [](const Words& w) { return Run(w[0], ChildOutput::kNone); }, kProgram},
        {"run-unwritable WORDS...", [](const Words& w) { return Run(w[0], ChildOutput::kUnwritable); },
         kProgram},
        {"run-piped WORDS...", [](const Words& w) { return CountWrites(w[0]); }, kProgram},
        make(
            "named", [](const Words&) { ShowNames(); }, kInProcess),
        make(
            "pretend-files", [](const Words&) { PretendFiles(); }, kInProcess),
        make(
            "fake-process", [](const Words&) { FakeProcess(); }, kInProcess),
        make(
            "message TEXT...", [](const Words& w) { FakeMessage(w[0]); }, kInProcess),
        make(
            "system-directory LENGTH TEXT...", [](const Words& w) { FakeSystemDirectory(w[0], w[1]); },
            kInProcess),
    };
}
