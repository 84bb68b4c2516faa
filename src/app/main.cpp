// The entry routine of norvane64.exe: one command per run, its outcome as the exit code.
#include "app/command_line.h"
#include "trace/trace_log.h"

// The runtime of mingw-w64 would expand * and ? in the words of the command line; a component id or a file
// name has to arrive as it was typed.
extern "C" {
int _dowildcard = 0;
}

int main(int argc, char** argv) {
    traceLog->SetConsoleEcho(true);
    return RunCommandLine(argc, argv);
}
