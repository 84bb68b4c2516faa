// The entry routine of norvane64.exe, which runs one command and returns its exit code.
#include "app/command_line.h"
#include "trace/trace_log.h"

// Turns off the expansion of * and ? in the arguments by the runtime of mingw-w64, so that component ids and
// file names are received as they were typed.
extern "C" {
int _dowildcard = 0;
}

int main(int argc, char** argv) {
    traceLog->SetConsoleEcho(true);
    return RunCommandLine(argc, argv);
}
