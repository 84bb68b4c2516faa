// The report on a rehearsed command. In UTF-8, lines with a line feed.
#pragma once

#include <string>

#include "rehearsal/verdict.h"

// The words of a verdict.
const char* VerdictText(Verdict verdict);

// The verdict, what would happen, what to do, and the entries that change.
//   full  adds both catalogs before and afterwards, and the trace that the command would write
std::string WriteReport(const Rehearsal& rehearsal, bool full);

// One line with tabs: machine, verdict, entries removed from the 64-bit and from the 32-bit catalog, things
// that would remain, products that would stop working, entries that do not work already, warnings.
std::string WriteBrief(const Rehearsal& rehearsal);
