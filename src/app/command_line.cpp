// Joins, logs and matches the words of the command line.
#include "app/command_line.h"

#include <windows.h>

#include <cstring>
#include <string>

#include "lsp/remove_lsp_command.h"
#include "trace/trace_log.h"

namespace {

const std::string kRemoveType = "remove";
const std::string kNetworkComponentName = "network-component";
const std::string kLspName = "lsp";
const std::string kVbsName = "vbs";
const std::string kRestoreDllName = "restore-dll";

constexpr int kFirstArgumentWord = 3;

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

// ASCII letters only: a word must match the same way under every code page, which _stricmp does as long as
// nobody calls setlocale.
bool SameWord(const std::string& a, const std::string& b) {
    return _stricmp(a.c_str(), b.c_str()) == 0;
}

int Finish(int returnCode) {
    Trace("64-bit utility finished, return code = %d", returnCode);
    return returnCode;
}

// Support staff see these lines for too few words and for unknown words alike.
int RejectCommandLine(int argc, int returnCode) {
    Trace("Bad command line, argc = %d", argc);
    Trace("Command line = '%s'", static_cast<const char*>(GetCommandLineA()));
    return Finish(returnCode);
}

void ReportNotAvailable(const std::string& name) {
    Trace("Command '%s' is not available in this version", name.c_str());
}

// Runs the command that name stands for and stores its outcome in returnCode; false when there is none.
bool RunNamedCommand(const std::string& name, const std::string& argument, int& returnCode) {
    if (SameWord(name, kNetworkComponentName)) {
        Trace("Command detected: remove network component '%s'", argument.c_str());
        ReportNotAvailable(kNetworkComponentName);
        return true;
    }
    if (SameWord(name, kLspName)) {
        Trace("Command detected: remove lsp '%s'", argument.c_str());
        Trace("removing LSP '%s'...", argument.c_str());
        RemoveLsp(true, argument);
        // The caller reads the outcome from the trace: this command has no failing exit code.
        returnCode = 0;
        return true;
    }
    if (SameWord(name, kVbsName)) {
        Trace("Command detected: restore original DLLs for VBS");
        ReportNotAvailable(kVbsName);
        return true;
    }
    if (SameWord(name, kRestoreDllName)) {
        Trace("Command detected: restore original DLL for '%s'", argument.c_str());
        ReportNotAvailable(kRestoreDllName);
        return true;
    }
    return false;
}

} // namespace

int RunCommandLine(int argc, char** argv) {
    int returnCode = 1;
    Trace("64-bit utility started, params: '%s'", JoinWords(argc, argv, 1).c_str());
    if (argc <= kFirstArgumentWord) {
        return RejectCommandLine(argc, returnCode);
    }

    const std::string type = argv[1];
    const std::string name = argv[2];
    const std::string argument = JoinWords(argc, argv, kFirstArgumentWord);
    if (!SameWord(type, kRemoveType)) {
        Trace("Unexpected command type: '%s'", type.c_str());
        return RejectCommandLine(argc, returnCode);
    }
    if (!RunNamedCommand(name, argument, returnCode)) {
        Trace("Unexpected command name '%s' for command type '%s'", name.c_str(), type.c_str());
        return RejectCommandLine(argc, returnCode);
    }
    return Finish(returnCode);
}
