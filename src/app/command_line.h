// The command line: which repair is asked for, and the exit code that tells how it went.
#pragma once

// Logs the words of the command line, runs the one command that they name and logs the return code as the
// run's last line.
//   argc, argv  as main receives them; narrow words in the ANSI code page
// Returns the exit code of the process: 1 for a command line that names no command and for the removal of a
// network component that gave a failure code, 0 for "lsp" whatever it did, the Win32 code of the (last)
// restore for "vbs" and "restore-dll". Exceptions of the commands pass through.
int RunCommandLine(int argc, char** argv);
