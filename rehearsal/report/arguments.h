// The command line of norvane64-rehearse.
#pragma once

#include <string>
#include <vector>

struct Arguments {
    std::string command;             // "list", "lsp", "help" or "version"
    std::wstring dllName;            // of "lsp"; further arguments are joined, as norvane64.exe does
    std::vector<std::wstring> files; // of "--from"
    bool brief = false;
    bool full = false;
};

// Reads the arguments behind the name of the program. Options can be before or behind the command; "--" ends
// them. Throws std::runtime_error, with a text in UTF-8 that names the argument, and what was probably meant,
// for what it does not know.
Arguments ParseArguments(const std::vector<std::wstring>& given);

// The text of "--help", in UTF-8.
extern const char* const kUsage;
