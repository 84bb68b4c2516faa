// What to do about the findings of a rehearsal, and about entries that do not work.
//
// A backup is the first step of every advice that changes the machine.
#pragma once

#include <string>
#include <vector>

#include "rehearsal/catalog_health.h"
#include "rehearsal/verdict.h"

using Steps = std::vector<std::string>;

// The steps, in their order. A step can have more lines.
Steps Advise(const Rehearsal& rehearsal);

// What to do about entries that do not work.
Steps AdviseOnMachine(const Machine& machine, const MachineHealth& health);

// What the description of a machine lacks, and how to get it, as a line; empty when it lacks nothing.
std::string GapText(const Machine& machine);
