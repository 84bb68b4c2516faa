// Tests as text: files of named cases, each a list of steps with what is expected of them. tests/README.md is the reference.
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
    std::string file; // without its ending
    std::string name;
    CaseLine start;
    std::vector<CaseLine> lines;
};

// Where a step has an effect.
enum class StepPlace { kAnywhere, kInProcess, kProgram };

// A step of the language. Its usage is its name and its words: "[WORD]" may be missing, "TEXT..." is all that is left of
// the line. It gets its words and returns its output.
struct Step {
    std::string usage;
    std::function<std::string(const Words&)> run;
    StepPlace place = StepPlace::kAnywhere;
};

// Reads the files of C:\sandbox\cases. Adds a text to errors for each file that is none of cases, each line that belongs to
// no case, and each case that is empty or whose name is odd or there twice.
std::vector<TextCase> ReadCases(std::vector<std::string>& errors);

// Runs the steps of a case and checks what they output. Fails the running test, with file and line, for what differs and
// for what the language does not know.
void RunCase(const TextCase& textCase, const std::vector<Step>& steps);

// Splits the words of a step as its usage has them. Throws std::runtime_error when they do not fit.
Words SplitWords(const Step& step, std::string text);

// The step of that name, or null.
const Step* FindStep(const std::vector<Step>& steps, const std::string& name);
