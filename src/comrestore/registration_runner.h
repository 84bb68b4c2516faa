// Runs the regsvr32 commands of the "vbs" command, each as a child process.
#pragma once

#include <windows.h>

// Starts a child process and waits until it ends, without a time-out. Traces the results of the start and of
// the wait, and ignores the exit code of the child.
//   commandLine  the program, for which Windows searches, and its arguments; without a percent sign
// Returns 0.
LONG RegSvr32Dll(const wchar_t* commandLine);
