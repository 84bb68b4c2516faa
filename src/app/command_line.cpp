// Joins, traces and compares the arguments of the command line.
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

constexpr int kFirstArgumentWord = 3; // after the command type and the command name
constexpr int kRejected = 1;          // the exit code when the arguments name no command

// Joins the arguments from argv[first] on, with one blank between two of them.
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

// Returns whether two words are equal, except for the case of ASCII letters. The case of other letters
// matters, so that the result does not depend on the code page. _stricmp works this way unless setlocale is
// called.
bool SameWord(const std::string& a, const std::string& b) {
    return _stricmp(a.c_str(), b.c_str()) == 0;
}

int Finish(int returnCode) {
    Trace("64-bit utility finished, return code = %d", returnCode);
    return returnCode;
}

// Traces the same lines for too few arguments and for an unknown command, so that every rejected command line
// is found in the same way in a trace. Kept, see docs/kept-behaviour.md.
int RejectCommandLine(int argc) {
    Trace("Bad command line, argc = %d", argc);
    Trace("Command line = '%s'", GetCommandLineA());
    return Finish(kRejected);
}

int RemoveNetworkComponent(const std::string& componentId) {
    Trace("Command detected: remove network component '%s'", componentId.c_str());
    Trace("removing network component '%s'...", componentId.c_str());
    const HRESULT hr = HrUninstallNetComponent(conv_to_wchar(componentId.c_str()).c_str());
    // A positive code (not installed, restart due) is a success.
    if (FAILED(hr)) {
        Trace("UninstallNetComponent failed: %08X", hr);
        return 1;
    }
    Trace("UninstallNetComponent succeeded");
    return 0;
}

// This command has no exit code for a failure: its outcome is in the trace. Kept, see docs/kept-behaviour.md.
int RemoveLayeredProvider(const std::string& dllName) {
    Trace("Command detected: remove lsp '%s'", dllName.c_str());
    Trace("removing LSP '%s'...", dllName.c_str());
    RemoveLsp(true, dllName);
    return 0;
}

// Restores the three classes of the script engine, then unregisters and registers its DLL. The exit code is
// the result of the third class, as support staff know it; the other results are in the trace only. Kept, see
// docs/kept-behaviour.md.
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

// Runs the command with this name. Returns its exit code, or nothing when there is no such command.
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
