#include "support/machine_steps.h"

#include <windows.h>

#include <algorithm>
#include <regex>

#include "files/file_remover.h"
#include "machine/files.h"
#include "support/machine_test.h"
#include "support/registry_steps.h"
#include "support/text.h"

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

// Creates a file that is not read-only, and keeps it open on demand. One file at a time is kept open.
void WriteFileAnew(const std::string& path, bool keepOpen) {
    static HANDLE held = INVALID_HANDLE_VALUE;
    CloseHandle(std::exchange(held, INVALID_HANDLE_VALUE));
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    WriteWholeFile(path, "x");
    if (keepOpen) {
        held = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                           nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(held, INVALID_HANDLE_VALUE) << path;
    }
}

std::string program; // the executable under test, if the case has one

// The messages of an output as lines, without their stamps. An output that does not begin with a message is
// returned with its own lines.
std::string Lines(const std::string& output) {
    static const std::regex process("h=0x[0-9A-F]{8} pid=\\d+");
    std::string marked = ReplaceStamps(output, "\x01");
    const bool stamped = marked.starts_with('\x01');
    if (!stamped) {
        ReplaceAll(marked, "\r\n", "\n");
    }
    marked.erase(0, stamped);
    marked.resize(marked.size() - marked.ends_with('\n'));
    std::string lines;
    for (const std::string& line : SplitAt(marked, stamped ? "\n\x01" : "\n")) {
        lines += Escaped(std::regex_replace(line, process, "h=<handle> pid=<id>")) + "\n";
    }
    ReplaceAll(lines, program.empty() ? "<program>" : program, "<program>");
    return output.empty() ? "" : lines;
}

// Creates the sample machine's files, values and classes that the commands look at.
void PrepareSample() {
    for (const char* name : {"examplelsp", "filterlsp", "guardlsp", "original"}) {
        WriteWholeFile("C:\\windows\\system32\\" + std::string(name) + ".dll", "stands for a DLL");
    }
    RunChild("reg import C:\\sandbox\\sample_registry.reg");
}

void AddToState(const std::string& file, std::string lines) {
    ReplaceAll(lines, " ; ", "\n");
    AppendToFile(kSandbox + file, lines + "\n");
}

// Deletes the class {T}, after everybody is granted full access to its keys.
void DeleteClass() {
    for (const std::string key : {"CLSID\\{T}", "CLSID\\{T}\\InprocServer32"}) {
        HKEY opened = nullptr;
        if (RegOpenKeyExA(HKEY_CLASSES_ROOT, key.c_str(), 0, WRITE_DAC, &opened) == ERROR_SUCCESS) {
            RegCloseKey(opened);
            WriteSecurity("HKCR\\" + key, "D:(A;;KA;;;WD)");
        }
    }
    RegDeleteTreeA(HKEY_CLASSES_ROOT, "CLSID\\{T}");
}

} // namespace

void PrepareMachine(const std::string& executable) {
    program = executable;
    lastExitCode = MAXDWORD;
    MakeReadable();
    for (const std::string simulation : {"winsock", "netcfg"}) {
        WriteWholeFile(kSandbox + simulation + ".txt",
                       ReadWholeFile(kSandbox + "sample_" + simulation + ".txt"));
        WriteWholeFile(kSandbox + simulation + ".calls.txt", "");
    }
    UseSystemLibrary("update");
    WriteFileAnew("C:\\windows\\system32\\examplelsp.dll", false);
    WriteFileAnew("C:\\sandbox\\f.dll", false);
    for (const std::string folder : {"C:\\norvane.tmp\\", "C:\\sandbox\\"}) {
        for (const std::string& name : NamesIn(folder + "vor*")) {
            DeleteFileA((folder + name).c_str());
        }
    }
    RemoveDirectoryA("C:\\norvane.tmp");
    TakePending();
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Wow6432Node\\Brennick");
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDllsKey);
    WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDllsKey, "", REG_SZ, "");
    DeleteClass();
    WriteValue("CLASS", "@", "sz", std::string("C:\\evil.dll", 12));
    WriteValue("CLASS", "OriginalDll", "sz", std::string("C:\\sandbox\\f.dll", 17));
}

void UseSystemLibrary(const std::string& kind) {
    static std::string present;
    if (kind != present) {
        const std::string library = kSandbox + "ws2_32_" + kind + ".dll";
        EXPECT_TRUE(CopyFileA(library.c_str(), "C:\\windows\\system32\\ws2_32.dll", FALSE)) << kind;
        present = kind;
    }
}

std::vector<Step> MachineSteps() {
    return {
        Silent("file PATH", [](const Words& w) { WriteFileAnew(w[0], false); }),
        Silent("file-in-use PATH", [](const Words& w) { WriteFileAnew(w[0], true); }),
        Silent("reg KEY NAME TYPE TEXT...", [](const Words& w) { WriteValue(w[0], w[1], w[2], w[3]); }),
        {"show-reg KEY NAME", [](const Words& w) { return ShowValue(w[0], w[1]); }},
        Silent("security KEY SDDL", [](const Words& w) { WriteSecurity(w[0], w[1]); }),
        {"show-security KEY", [](const Words& w) { return ShowSecurity(w[0]); }},
        {"pending", [](const Words&) { return TakePending(); }},
        {"cmd COMMAND...", [](const Words& w) { return Lines(RunChild(w[0])); }},
        {"show FILE", [](const Words& w) { return ReadWholeFile(kSandbox + w[0]); }},
        Silent("sample", [](const Words&) { PrepareSample(); }),
        Silent("netcfg LINES...", [](const Words& w) { AddToState("netcfg.txt", w[0]); }),
    };
}

std::vector<Step> ProgramSteps() {
    std::vector<Step> steps = {
        Silent("winsock LINES...", [](const Words& w) { AddToState("winsock.txt", w[0]); }),
        {"run ARGUMENTS...", [](const Words& w) { return Lines(RunChild(program + " " + w[0])); }},
    };
    const std::vector<Step> others = MachineSteps();
    steps.insert(steps.end(), others.begin(), others.end());
    return steps;
}
