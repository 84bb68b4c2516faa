// The texts that the rehearsal prints. In UTF-8, lines with a line feed.
#pragma once

#include <string>

#include "rehearsal/findings.h"

// The verdict, what a person decides from, the catalogs before and after, and the trace that the command would write.
//   dllName  in the ANSI code page
std::string WriteReport(const Machine& machine, const Foreseen& foreseen, const Findings& findings,
                        const std::string& dllName);

// One line with tabs: machine, verdict, entries that go from the 64-bit and from the 32-bit catalog, things that stay, things
// that break, warnings.
std::string WriteBrief(const Machine& machine, const Findings& findings);

// The machine's catalogs, and what of them is damaged.
std::string WriteList(const Machine& machine);
