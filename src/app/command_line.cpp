// Joins, logs and matches the words of the command line.
#include "app/command_line.h"

#include <windows.h>

#include <cstring>
#include <optional>
#include <string>

#include "common/text_conversion.h"
#include "comrestore/original_dll_restore.h"
#include "comrestore/registration_runner.h"
#include "lsp/remove_lsp_command.h"
#include "netcfg/netcfg_removal.h"
#include "trace/trace_log.h"

namespace {

const std::string kRemoveType = "remove";
const std::string kNetworkComponentName = "network-component";
const std::string kLspName = "lsp";
const std::string kVbsName = "vbs";
const std::string kRestoreDllName = "restore-dll";

constexpr int kFirstArgumentWord = 3;
constexpr int kRejected = 1; // the exit code of a command line that names no command

// Joins the words from argv[first] on with one blank between two of them.
std::string JoinWords(int argc, char** argv, int first) {
    std::string joined;
    for (int i = first; i < argc; ++i) {
        if (i > first) {
            joined += ' ';
        }
        joined += argv[i];
    }
    return joined;
}

// Whether two words are equal but for the case of their ASCII letters. Other letters are compared as they
// are, because a word must match the same way under every code page. _stricmp does so as long as nobody calls
// setlocale.
bool SameWord(const std::string& a, const std::string& b) {
    return _stricmp(a.c_str(), b.c_str()) == 0;
}

int Finish(int returnCode) {
    Trace("64-bit utility finished, return code = %d", returnCode);
    return returnCode;
}

// Traces the same lines for too few words and for words that name no command, so that readers of the trace
// find every rejected command line in the same way.
int RejectCommandLine(int argc) {
    Trace("Bad command line, argc = %d", argc);
    Trace("Command line = '%s'", GetCommandLineA());
    return Finish(kRejected);
}

int RemoveNetworkComponent(const std::string& componentId) {
    Trace("Command detected: remove network component '%s'", componentId.c_str());
    Trace("removing network component '%s'...", componentId.c_str());
    const HRESULT hr = HrUninstallNetComponent(conv_to_wchar(componentId.c_str()).c_str());
    // A positive code (not installed, restart due) counts as a success.
    if (FAILED(hr)) {
        Trace("UninstallNetComponent failed: %08X", hr);
        return 1;
    }
    Trace("UninstallNetComponent succeeded");
    return 0;
}

// The caller reads the outcome from the trace: this command has no failing exit code.
int RemoveLayeredProvider(const std::string& dllName) {
    Trace("Command detected: remove lsp '%s'", dllName.c_str());
    Trace("removing LSP '%s'...", dllName.c_str());
    RemoveLsp(true, dllName);
    return 0;
}

// Restores the classes of the engine's script languages, then unregisters and registers its DLL. The exit
// code is the result of the last class, as support staff know it; the results of the others are in the trace
// only. Kept, see docs/kept-behaviour.md.
int RestoreVbs() {
    Trace("Command detected: restore original DLLs for VBS");
    RestoreOriginalDll("{B54F3741-5B07-11cf-A4B0-00AA004A55E8}");
    RestoreOriginalDll("{B54F3742-5B07-11cf-A4B0-00AA004A55E8}");
    const LONG result = RestoreOriginalDll("{B54F3743-5B07-11cf-A4B0-00AA004A55E8}");
    RegSvr32Dll(L"regsvr32.exe /s /u vbscript.dll");
    RegSvr32Dll(L"regsvr32.exe /s vbscript.dll");
    return result;
}

int RestoreDll(const std::string& classId) {
    Trace("Command detected: restore original DLL for '%s'", classId.c_str());
    return RestoreClassOriginalDll(classId.c_str());
}

// Runs the command that name stands for. Returns its exit code, or nothing when there is no such command.
std::optional<int> RunNamedCommand(const std::string& name, const std::string& argument) {
    if (SameWord(name, kNetworkComponentName)) {
        return RemoveNetworkComponent(argument);
    }
    if (SameWord(name, kLspName)) {
        return RemoveLayeredProvider(argument);
    }
    if (SameWord(name, kVbsName)) {
        return RestoreVbs();
    }
    if (SameWord(name, kRestoreDllName)) {
        return RestoreDll(argument);
    }
    return std::nullopt;
}

} // namespace

int RunCommandLine(int argc, char** argv) {
    Trace("64-bit utility started, params: '%s'", JoinWords(argc, argv, 1).c_str());
    if (argc <= kFirstArgumentWord) {
        return RejectCommandLine(argc);
    }

    const std::string type = argv[1];
    const std::string name = argv[2];
    const std::string argument = JoinWords(argc, argv, kFirstArgumentWord);
    if (!SameWord(type, kRemoveType)) {
        Trace("Unexpected command type: '%s'", type.c_str());
        return RejectCommandLine(argc);
    }
    const std::optional<int> returnCode = RunNamedCommand(name, argument);
    if (!returnCode) {
        Trace("Unexpected command name '%s' for command type '%s'", name.c_str(), type.c_str());
        return RejectCommandLine(argc);
    }
    return Finish(*returnCode);
}
