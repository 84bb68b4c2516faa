// What a foreseen removal leaves behind and what it breaks.
#pragma once

#include <string>
#include <vector>

#include "machine/machine.h"
#include "rehearsal/foresee.h"

// In rising order; a verdict is the highest that applies. The numbers are the exit codes.
enum class Verdict { kClean = 0, kNothingToDo = 2, kLeavesWork = 3, kBreaksOthers = 4 };

struct Findings {
    Verdict verdict = Verdict::kClean;
    std::vector<std::string> leaves;  // what stays, a sentence each
    std::vector<std::string> breaks;  // what is hurt, a sentence each
    std::vector<std::string> already; // what is broken before the removal, a sentence each
    std::vector<std::string> hints;   // LSPs that the command does not look for
    size_t gone64 = 0;                // entries that go from each catalog
    size_t gone32 = 0;
};

// The words of a verdict, as they stand in the report.
const char* VerdictText(Verdict verdict);

// Compares the catalogs before and after. dllName is in the ANSI code page.
Findings FindConsequences(const Machine& machine, const Foreseen& foreseen, const std::string& dllName);
