// Runs the regsvr32 commands of the "vbs" command, each as a child process.
#pragma once

#include <windows.h>

// Starts the command line and waits until it ends, for as long as that takes. What became of the start and of
// the wait is traced; the child's own exit code is not looked at.
//   commandLine  the program, which Windows searches for, and its words; without a percent sign
// Returns 0.
LONG RegSvr32Dll(const wchar_t* commandLine);
