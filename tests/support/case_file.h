// Tests as text: files of named cases, each a list of steps and of checks of what they output.
// tests/README.md describes the language.
#pragma once

#include <functional>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

struct CaseLine {
    std::string place; // "lsp_map.txt:12"
    std::string text;
};

struct TextCase {
    std::string file; // without its extension
    std::string name;
    std::vector<CaseLine> lines;
};

// A step of the language. The usage is its name and its arguments; an argument "TEXT..." is the rest of the
// line. The step receives its arguments and returns its output.
struct Step {
    std::string usage;
    std::function<std::string(const Words&)> run;
};

// A step without output.
template <class F> Step Silent(const char* usage, F run) {
    return {usage, [=](const Words& words) {
                run(words);
                return std::string();
            }};
}

// Reads the files of C:\sandbox\cases. What cannot be read becomes a case that fails.
std::vector<TextCase> ReadCases();

// Runs the steps of a case and checks what they output. A difference, and a line that is not of the language,
// fails the running test with file and line.
void RunCase(const TextCase& textCase, const std::vector<Step>& steps);

// Runs the step that a line names. Throws std::runtime_error for an unknown name and for arguments that do
// not fit.
std::string RunStep(const std::vector<Step>& steps, std::string line);
