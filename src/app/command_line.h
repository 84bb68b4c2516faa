// The command line: runs the command that it names, and returns the exit code.
#pragma once

// Traces the arguments, runs the command that they name, and traces the return code as the last line of the
// run.
//   argc, argv  as main receives them; narrow texts in the ANSI code page
// Returns the exit code of the process: 1 when the arguments name no command, or when the removal of a
// network component failed; always 0 for "lsp"; the Win32 code of the (last) restore for "vbs" and
// "restore-dll". Exceptions of the commands pass through.
int RunCommandLine(int argc, char** argv);
