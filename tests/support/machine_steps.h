// The steps of the cases that look at or change the machine, or run the executable.
#pragma once

#include <string>
#include <vector>

#include "support/case_file.h"

// Makes a fresh machine: with the update functions, the simulations as in the samples, no shared counts, no
// deletions that wait for a restart, the file C:\sandbox\f.dll, and a class {T} whose DLL it was.
//   executable  the program under test, for the steps that run it; empty for a case in process
void PrepareMachine(const std::string& executable);

// Replaces the system's ws2_32.dll by a stand-in: "update" or "plain".
void UseSystemLibrary(const std::string& kind);

// The steps of the cases in process.
std::vector<Step> MachineSteps();

// The same steps, and those that run the executable.
std::vector<Step> ProgramSteps();
