// The command line of norvane64-rehearse.
#pragma once

#include <string>
#include <vector>

struct Arguments {
    std::string command;            // "list", "lsp", "help" or "version"
    std::string dllName;            // of "lsp"; further arguments are joined, as norvane64.exe does
    std::vector<std::string> files; // of "--from"
    bool brief = false;
    bool full = false;
};

// Reads the arguments behind the name of the program, all of them in the ANSI code page. Options can be before or behind the command; "--"
// ends them. Throws std::runtime_error, with a text in UTF-8 that names the argument, for what it does not
// know.
Arguments ParseArguments(const std::vector<std::string>& given);

// The text of "--help", in UTF-8.
extern const char* const kUsage;
