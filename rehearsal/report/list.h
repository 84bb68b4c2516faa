// What "list" prints: whether a machine is sound, and what can be removed.
#pragma once

#include <string>

#include "rehearsal/catalog_health.h"

// The exit codes of "list".
enum class Soundness { kSound = 0, kDefect = 5, kCannotTell = 7 };

Soundness JudgeMachine(const Machine& machine, const MachineHealth& health);

// The answer, the LSPs, the catalogs with the entries that do not work, and what to do. In UTF-8, lines with
// a line feed.
//   full  draws all entries
std::string ListText(const Machine& machine, const MachineHealth& health, bool full);

// One line with tabs: machine, exit code, LSPs, entries that do not work in the 64-bit and in the 32-bit
// catalog, warnings.
std::string BriefListText(const Machine& machine, const MachineHealth& health);
