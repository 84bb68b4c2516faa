// The verdict on a rehearsed removal, and the findings that it follows from.
#pragma once

#include <string>
#include <vector>

#include "machine/machine_change.h"
#include "rehearsal/remainders.h"

// In rising order; a verdict is the highest that applies. The numbers are the exit codes.
enum class Verdict { kClean = 0, kNothingToDo = 2, kIncomplete = 3, kBreaksNetworking = 4 };

// A product that would stop working.
struct Broken {
    std::string product; // printable
    std::string notice;  // what a person notices, and the programs: "that connect through it would fail"
    bool in64 = false;   // whether 64-bit programs notice it
    bool in32 = false;   // the same of 32-bit programs
};

// A rehearsed command: what it would do, and what follows from that.
struct Rehearsal {
    const Machine& machine; // has to outlive this record
    std::string dllName;    // in the ANSI code page
    Foreseen foreseen;
    MachineChange change;
    std::vector<Broken> broken;
    std::vector<Remainder> remainders;
    Verdict verdict;
};

// The words of a verdict, as they stand in the report.
const char* VerdictText(Verdict verdict);

// Rehearses "remove lsp NAME" on a machine, and judges it.
//   dllName  in the ANSI code page
Rehearsal Rehearse(const Machine& machine, const std::string& dllName);
