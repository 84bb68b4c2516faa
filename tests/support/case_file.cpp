#include "support/case_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "machine/files.h"
#include "machine/text.h"
#include "simulation/state_lines.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

// The lines of an output from their notation, with a bar between them.
std::string Lines(std::string notation) {
    ReplaceAll(notation, " | ", "\n");
    return notation + "\n";
}

class CaseRun {
  public:
    explicit CaseRun(const std::vector<Step>& steps) : steps_(steps) {}

    void Line(const std::string& line) {
        if (line == "|" || line.starts_with("| ")) {
            expected_ += Lines(line.substr(std::min<size_t>(line.size(), 2)));
            return;
        }
        CompareWhole();
        if (Check(line)) {
            return;
        }
        const std::vector<std::string> parts = SplitAt(line, " => ");
        std::string step = parts[0];
        output_ = RunStep(steps_, step);
        for (size_t i = 1; i < parts.size(); ++i) {
            // "EXPECTED ; WORD" before another arrow: runs the step again with another last word.
            const bool again = i + 1 < parts.size();
            const size_t end = again ? parts[i].rfind(" ; ") : parts[i].size();
            CheckWholeOrPart(parts[i].substr(0, end));
            if (again) {
                step = step.substr(0, step.rfind(' ') + 1) + parts[i].substr(end + 3);
                output_ = RunStep(steps_, step);
            }
        }
    }

    // Compares the output with the expected lines, once they are complete.
    void CompareWhole() {
        if (!expected_.empty()) {
            EXPECT_EQ(output_, expected_) << "before this line";
            expected_.clear();
            checked_ = true;
        }
    }

    // Whether the case checks anything that a misspelt text would not pass.
    bool Checked() const { return checked_; }

  private:
    // A result is a whole line.
    bool OutputHas(const std::string& text) const {
        return text.starts_with("= ") ? ("\n" + output_).ends_with("\n" + text + "\n")
                                      : !text.empty() && output_.find(text) != std::string::npos;
    }

    // Returns whether the line is a check; carries it out.
    bool Check(std::string line) {
        const std::string word = TakeWord(line);
        if (word == "has" || word == "lacks") {
            for (const std::string& text : SplitAt(line, " && ")) {
                EXPECT_EQ(OutputHas(text), word == "has") << text << "\nin:\n" << output_.substr(0, 4000);
            }
        } else if (word == "exit") {
            EXPECT_EQ(lastExitCode, ParseNumber32(TakeWord(line))) << "after:\n" << output_.substr(0, 4000);
        } else if (word == "exists" || word == "missing") {
            EXPECT_EQ(!line.empty() && FileExists(line), word == "exists") << line;
        } else {
            return false;
        }
        checked_ = checked_ || (word != "lacks" && word != "missing");
        return word != "exit" || line.empty() || Check(line);
    }

    void CheckWholeOrPart(const std::string& text) {
        if (!Check(text)) {
            EXPECT_EQ(output_, Lines(text));
            checked_ = true;
        }
    }

    const std::vector<Step>& steps_;
    bool checked_ = false;
    std::string output_;
    std::string expected_;
};

} // namespace

std::string RunStep(const std::vector<Step>& steps, std::string line) {
    const std::string name = TakeWord(line);
    const auto step = std::find_if(steps.begin(), steps.end(), [&](const Step& each) {
        return each.usage == name || each.usage.starts_with(name + " ");
    });
    if (step == steps.end()) {
        throw std::runtime_error("unknown step: " + name);
    }
    std::string usage = step->usage;
    Words words;
    for (TakeWord(usage); !usage.empty();) {
        const bool rest = TakeWord(usage).ends_with("...");
        if (line.empty() && !rest) {
            throw std::runtime_error("arguments are missing: " + step->usage);
        }
        const std::string word = rest ? std::exchange(line, "") : TakeWord(line);
        words.push_back(word == "\"\"" && !rest ? "" : Unescaped(word));
    }
    if (!line.empty()) {
        throw std::runtime_error("too many arguments: " + line);
    }
    return step->run(words);
}

std::vector<TextCase> ReadCases() {
    std::vector<TextCase> cases;
    for (const std::string& name : NamesIn("C:\\sandbox\\cases\\*")) {
        const std::string file = name.substr(0, name.rfind('.'));
        const auto take = [&](const std::string& line, int number) {
            if (line.starts_with("case ")) {
                cases.push_back({file, line.substr(5), {}});
                return;
            }
            if (cases.empty() || cases.back().file != file) {
                cases.push_back({file, "before the first case", {}});
            }
            cases.back().lines.push_back({name + ":" + std::to_string(number), line});
        };
        try {
            ReadLines(ReadWholeFile("C:\\sandbox\\cases\\" + name), take);
        } catch (const std::runtime_error& error) {
            cases.push_back({file, "is_readable", {{name, error.what()}}});
        }
    }
    return cases;
}

void RunCase(const TextCase& textCase, const std::vector<Step>& steps) {
    EXPECT_TRUE(std::all_of(textCase.name.begin(), textCase.name.end(),
                            [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; }));
    CaseRun run(steps);
    for (const CaseLine& line : textCase.lines) {
        SCOPED_TRACE(line.place + ": " + line.text.substr(0, 200));
        try {
            run.Line(line.text);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }
    SCOPED_TRACE("the end of case " + textCase.name);
    run.CompareWhole();
    EXPECT_TRUE(run.Checked()) << "the case checks nothing";
}
