// What a command prints of a machine, and its exit code.
#pragma once

#include <string>

#include "machine/machine.h"
#include "rehearsal/report/arguments.h"

struct Answer {
    std::string text; // UTF-8, lines with a line feed
    int code;
};

// Answers the command "list" or "lsp" of the arguments.
Answer AnswerTo(const Arguments& arguments, const Machine& machine);
