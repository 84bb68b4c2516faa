// The steps of text cases that look at or change the machine, not the program:
//   file PATH [lock]       makes a file; holds it open.
//   reg KEY NAME TYPE TEXT writes a value (@: the default one); a bar in TEXT is a NUL, "hex:" goes before bytes
//   show-reg KEY NAME
//   security KEY SDDL      writes a key's owner and access list, with ME for the user, OWNER for its owner;
//                          show-security KEY
//   pending                shows the deletions that wait for the next start, and forgets them
//   cmd WORDS              runs another program
// what belongs to the executable under test:
//   system KIND            a sample machine with that ws2_32.dll ("update" or "plain"), its files and no counts
//   winsock LINE, netcfg LINE   adds a line to the state of that simulation; show FILE, a file of C:\sandbox
//   run WORDS              runs it; also run-silent (no standard output), run-unwritable (one that refuses),
//                          run-piped (counts the single writes)
//   fails SIMULATION CALL N CODE EXIT TEXT  runs the last words again on a fresh machine, with the N-th such
//                          simulated call failing with CODE: the exit code is EXIT, and output or calls have TEXT
// and what Windows is made to answer:
//   readable               access lists can be read by handle, which Wine refuses with the system's among them
//   named                  shows the names and types of objects whose security is read, and there are none
//   pretend-files          every file exists and can be scheduled for deletion
//   fake-process           any process starts, with handles that are none; shows what is closed
//   message TEXT           what every system message is, with ^ for a line break
//   system-directory N TEXT  what the system directory is, and its length
#pragma once

#include <string>

// The executable under test, for the steps that run it. In their texts %PROGRAM% stands for it, and %LONG% for a word of
// 8,000 characters.
void UseProgram(const std::string& path);

// Runs such a step and returns its output; fails the test for an unknown one.
std::string RunMachineStep(const std::string& step, std::string rest);
