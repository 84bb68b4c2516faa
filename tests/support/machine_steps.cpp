#include "support/machine_steps.h"

#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <tuple>

#include "security/access_token.h"
#include "support/machine_test.h"
#include "support/text_case.h"
#include "trace/trace_log.h"

namespace {

constexpr SECURITY_INFORMATION kOwnerAndDacl = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

// The root's short name before the first backslash, and the path behind it.
std::pair<HKEY, std::string> SplitKey(const std::string& key) {
    return {key.starts_with("HKCR") ? HKEY_CLASSES_ROOT : HKEY_LOCAL_MACHINE, key.substr(5)};
}

std::string ParseBytes(std::string text) {
    if (!text.starts_with("hex:")) {
        std::replace(text.begin(), text.end(), '|', '\0');
        return text;
    }
    std::string bytes;
    std::istringstream words(text.substr(4));
    for (unsigned byte = 0; words >> std::hex >> byte;) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string ShowValue(const std::string& key, const std::string& name) {
    const auto [root, path] = SplitKey(key);
    char data[4096];
    DWORD size = sizeof(data);
    DWORD type = 0;
    HKEY handle = nullptr;
    RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &handle);
    const LONG error =
        on::RegQueryValueExA.Real(handle, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
    RegCloseKey(handle);
    if (error != ERROR_SUCCESS) {
        return "error " + std::to_string(error) + "\n";
    }
    std::string text(data, size);
    std::replace(text.begin(), text.end(), '\0', '|');
    if (type == REG_DWORD) {
        text = std::to_string(*reinterpret_cast<const DWORD*>(data));
    }
    return std::to_string(type) + " " + text + "\n";
}

// The SID of the process's user, or owner, in text form; ME and OWNER in the cases.
std::string OwnSid(bool owner) {
    CAccessToken token;
    CSid sid;
    char* text = nullptr;
    EXPECT_TRUE(token.AttachProcessToken(TOKEN_QUERY) &&
                (owner ? token.GetTokenOwner(&sid) : token.GetTokenUser(&sid)) &&
                ConvertSidToStringSidA(sid.Get(), &text));
    const std::string result = text;
    LocalFree(text);
    return result;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

void WriteSecurity(const std::string& key, std::string sddl) {
    ReplaceAll(sddl, "ME", OwnSid(false));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl.c_str(), SDDL_REVISION_1,
                                                                     &descriptor, nullptr));
    HKEY handle = nullptr;
    const auto [root, path] = SplitKey(key);
    EXPECT_EQ(RegOpenKeyExA(root, path.c_str(), 0, WRITE_DAC | WRITE_OWNER, &handle), 0);
    EXPECT_EQ(RegSetKeySecurity(handle,
                                DACL_SECURITY_INFORMATION |
                                    (sddl.starts_with("O:") ? OWNER_SECURITY_INFORMATION : 0u),
                                descriptor),
              0);
    RegCloseKey(handle);
    LocalFree(descriptor);
}

std::string ShowSecurity(const std::string& key) {
    const auto [root, path] = SplitKey(key);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    std::string name = (root == HKEY_CLASSES_ROOT ? "CLASSES_ROOT\\" : "MACHINE\\") + path;
    EXPECT_EQ(on::GetNamedSecurityInfoA.Real(name.data(), SE_REGISTRY_KEY, kOwnerAndDacl, nullptr, nullptr,
                                             nullptr, nullptr, &descriptor),
              0u);
    char* text = nullptr;
    EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                                     kOwnerAndDacl, &text, nullptr));
    std::string sddl = text;
    LocalFree(text);
    LocalFree(descriptor);
    ReplaceAll(sddl, OwnSid(false), "ME");
    ReplaceAll(sddl, OwnSid(true), "OWNER");
    return sddl + "\n";
}

// By handle, Wine refuses to read a system access list, and with it the rest.
void MakeReadable() {
    on::GetSecurityInfo.Replace(
        [](HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, auto... rest) {
            EXPECT_EQ(parts, 0xFu);
            return on::GetSecurityInfo.Real(handle, type, parts ^ DWORD{SACL_SECURITY_INFORMATION}, rest...);
        });
}

// The deletions that wait for the next start, and forgets them.
std::string TakePending() {
    const std::string manager = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    const std::string pending = ShowValue("HKLM\\" + manager, "PendingFileRenameOperations");
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, manager.c_str(), "PendingFileRenameOperations");
    return pending.substr(2);
}

// One file at a time is held open.
void HoldOpen(const std::string& path, bool hold) {
    static HANDLE held = INVALID_HANDLE_VALUE;
    CloseHandle(std::exchange(held, INVALID_HANDLE_VALUE));
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    WriteWholeFile(path, "x");
    if (hold) {
        held = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    }
}

std::string program; // the executable under test
std::string kind;    // of the last "system"
std::string words;   // of the last run

void PrepareSystem() {
    const std::string sandbox = "C:\\sandbox\\";
    CopyFileA((sandbox + "ws2_32_" + kind + ".dll").c_str(), "C:\\windows\\system32\\ws2_32.dll", FALSE);
    for (const std::string simulation : {"winsock", "netcfg"}) {
        WriteWholeFile(sandbox + simulation + ".txt",
                       ReadWholeFile(sandbox + "sample_" + simulation + ".txt"));
        WriteWholeFile(sandbox + simulation + ".calls.txt", "");
    }
    HoldOpen("C:\\windows\\system32\\examplelsp.dll", false);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDlls);
    WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDlls, "", REG_SZ, "");
}

std::string RunWords(const std::string& commandLine, ChildOutput to) {
    std::string text = RunChild(commandLine, to);
    ReplaceAll(text, std::string(8000, 'x'), "%LONG%");
    ReplaceAll(text, program, "%PROGRAM%");
    return text;
}

// Runs the program with a pipe of messages for its output, which shows the single writes; returns their number and that
// of the lines that they end.
std::string CountWrites() {
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

// Runs the last words once more on a fresh machine, with one simulated call failing.
std::string RunWithFault(const std::string& simulation, std::string rest) {
    const std::string call = TakeWord(rest);
    const std::string number = TakeWord(rest);
    const std::string code = TakeWord(rest);
    const std::string exitCode = TakeWord(rest);
    PrepareSystem();
    std::ofstream("C:\\sandbox\\" + simulation + ".txt", std::ios::app)
        << "fail " << call << " " << number << (simulation == "netcfg" ? " 0x" : " ") << code << "\n";
    const std::string text = RunChild(program + " " + words);
    const std::string output = text + ReadWholeFile("C:\\sandbox\\" + simulation + ".calls.txt");
    EXPECT_EQ(std::to_string(lastExitCode), exitCode);
    EXPECT_TRUE(text.ends_with("\n64-bit utility finished, return code = " + exitCode + "\n"));
    EXPECT_NE(output.find(code), std::string::npos) << "the call did not fail";
    EXPECT_NE(output.find(rest), std::string::npos) << output;
    EXPECT_EQ(output.find("references left"), std::string::npos) << output;
    return output;
}

} // namespace

void UseProgram(const std::string& path) {
    program = path;
}

std::string RunMachineStep(const std::string& step, std::string rest) {
    ReplaceAll(rest, "%LONG%", std::string(8000, 'x'));
    const std::string all = rest;
    const std::string first = TakeWord(rest);
    if (step.starts_with("run")) {
        words = all;
        if (step == "run-piped") {
            return CountWrites();
        }
        return RunWords(program + " " + words, step == "run"          ? ChildOutput::kFile
                                               : step == "run-silent" ? ChildOutput::kNone
                                                                      : ChildOutput::kUnwritable);
    }
    if (step == "fails") {
        return RunWithFault(first, rest);
    }
    if (step == "system") {
        kind = all;
        PrepareSystem();
    } else if (step == "file") {
        HoldOpen(first, rest == "lock");
    } else if (step == "reg") {
        const std::string name = TakeWord(rest);
        const DWORD type = std::stoul(TakeWord(rest));
        const auto [root, path] = SplitKey(first);
        WriteRegistry(root, path, name == "@" ? "" : name, type, ParseBytes(rest));
    } else if (step == "show-reg") {
        return ShowValue(first, rest == "@" ? "" : rest);
    } else if (step == "pending") {
        return TakePending();
    } else if (step == "pretend-files") {
        on::GetFileAttributesExA.Replace([](LPCSTR, GET_FILEEX_INFO_LEVELS, LPVOID) { return TRUE; });
        on::MoveFileExA.Replace([](LPCSTR, LPCSTR, DWORD) { return TRUE; });
    } else if (step == "security") {
        WriteSecurity(first, rest);
    } else if (step == "show-security") {
        return ShowSecurity(first);
    } else if (step == "readable") {
        MakeReadable();
    } else if (step == "message") {
        std::string message = all;
        ReplaceAll(message, "^", "\r\n");
        on::FormatMessageA.Replace([=](DWORD flags, LPCVOID, DWORD, DWORD language, LPSTR buffer, auto...) {
            EXPECT_TRUE(flags == 0x1100 && language == 0x400);
            char* text = static_cast<char*>(LocalAlloc(LPTR, message.size() + 1));
            *reinterpret_cast<char**>(buffer) =
                std::copy(message.begin(), message.end(), text) - message.size();
            return static_cast<DWORD>(message.size());
        });
    } else if (step == "fake-process") {
        on::CreateProcessW.Replace([](auto... arguments) {
            *std::get<9>(std::tuple(arguments...)) = {reinterpret_cast<HANDLE>(0x7FFF0001),
                                                      reinterpret_cast<HANDLE>(0x7FFF0002), 7, 8};
            return TRUE;
        });
        on::CloseHandle.Replace([](HANDLE handle) {
            Trace("closed %x", static_cast<unsigned>(reinterpret_cast<ULONG_PTR>(handle)));
            return TRUE;
        });
    } else if (step == "named") {
        on::GetNamedSecurityInfoA.Replace([](LPCSTR name, SE_OBJECT_TYPE type, auto...) {
            Trace("%s %d", name, static_cast<int>(type));
            return static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
        });
    } else if (step == "winsock" || step == "netcfg") {
        std::ofstream("C:\\sandbox\\" + step + ".txt", std::ios::app) << all << "\n";
    } else if (step == "show") {
        return ReadWholeFile("C:\\sandbox\\" + first);
    } else if (step == "cmd") {
        return RunChild(all);
    } else if (step == "system-directory") {
        on::GetSystemDirectoryA.Replace([=](LPSTR buffer, UINT size) {
            EXPECT_EQ(size, 261u);
            rest.copy(buffer, size);
            return static_cast<UINT>(std::stoul(first));
        });
    } else {
        ADD_FAILURE() << "unknown step " << step;
    }
    return {};
}
