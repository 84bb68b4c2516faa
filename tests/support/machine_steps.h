// The steps of the cases that look at or change the machine, run the executable, or say what Windows answers.
#pragma once

#include <string>
#include <vector>

#include "support/case_file.h"

// Makes a fresh machine: with the update functions, the simulations as the samples have them, no counts, no deletions that
// wait, no class {T}.
//   executable  the program under test, for the steps that run it; empty for a case in process
void PrepareMachine(const std::string& executable);

// Puts a stand-in ws2_32.dll in the system's place: "update" or "plain".
void UseSystemLibrary(const std::string& kind);

// The steps that they all have, and those for the program.
std::vector<Step> MachineSteps();
