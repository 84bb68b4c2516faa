#include "support/case_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <stdexcept>

#include "machine/file_reading.h"
#include "machine/state_lines.h"
#include "machine/text_parsing.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

const std::string kWholeOutput = " => ";

// Whether the line says something about the output, and checks it.
bool CheckOutput(const std::string& word, const std::string& rest, const std::string& output) {
    if (word == "has" || word == "lacks") {
        for (const std::string& text : SplitAt(rest, " && ")) {
            EXPECT_NE(text, "") << "nothing to look for";
            EXPECT_EQ(output.find(text) != std::string::npos, word == "has") << text << "\nin:\n"
                                                                             << output.substr(0, 4000);
        }
    } else if (word == "exit") {
        std::string more = rest;
        EXPECT_EQ(lastExitCode, ParseNumber32(TakeWord(more))) << "after:\n" << output.substr(0, 4000);
        const std::string other = TakeWord(more);
        if (!other.empty() && (other != "has" || !CheckOutput(other, more, output))) {
            throw std::runtime_error("not a check behind an exit code: " + other);
        }
    } else if (word == "there" || word == "gone") {
        EXPECT_TRUE(!rest.empty() && FileExists(rest) == (word == "there"));
    } else {
        return false;
    }
    return true;
}

// That something is not there is true of a misspelt text, too: a case needs another check besides.
bool SaysSomething(const std::string& check) {
    return check != "lacks" && check != "gone";
}

class CaseRun {
  public:
    explicit CaseRun(const std::vector<Step>& steps) : steps_(steps) {}

    void Line(std::string line) {
        if (line == "|" || line.starts_with("| ")) {
            checked_ = true;
            expected_ += line.substr(std::min<size_t>(line.size(), 2)) + "\n";
            return;
        }
        CompareWhole();
        const std::string word = TakeWord(line);
        if (CheckOutput(word, line, output_)) {
            checked_ = checked_ || SaysSomething(word);
            return;
        }
        // A step without words can have the arrow right behind it.
        const std::string words = " " + line;
        const size_t arrow = std::min(words.find(kWholeOutput), words.size());
        const Step* step = FindStep(steps_, word);
        if (step == nullptr) {
            throw std::runtime_error("unknown step: " + word);
        }
        output_ = step->run(SplitWords(*step, Unescaped(arrow == 0 ? "" : words.substr(1, arrow - 1))));
        checked_ = checked_ || word == "fails" || word == "sweep";
        if (arrow != words.size()) {
            CheckArrow(words.substr(arrow + kWholeOutput.size()));
        }
    }

    // Compares the output with what stands behind an arrow: a check of parts of it, or its lines. The last line can be a
    // result without the sign before it.
    void CheckArrow(std::string lines) {
        std::string rest = lines;
        const std::string word = TakeWord(rest);
        checked_ = checked_ || SaysSomething(word);
        if (CheckOutput(word, rest, output_)) {
            return;
        }
        ReplaceAll(lines, " | ", "\n");
        const size_t last = lines.rfind('\n') + 1;
        const std::string result = lines.substr(0, last) + "= " + lines.substr(last) + "\n";
        EXPECT_EQ(output_, output_ == result ? result : lines + "\n");
    }

    // Compares the output with the lines that it is to be, once they are all there.
    void CompareWhole() {
        if (!expected_.empty()) {
            EXPECT_EQ(output_, expected_) << "before this line";
            expected_.clear();
        }
    }

    // Whether anything was checked.
    bool Checked() const { return checked_; }

  private:
    const std::vector<Step>& steps_;
    bool checked_ = false;
    std::string output_;
    std::string expected_;
};

} // namespace

Words SplitWords(const Step& step, std::string text) {
    std::string usage = step.usage;
    Words words;
    for (TakeWord(usage); !usage.empty();) {
        const std::string wanted = TakeWord(usage);
        if (wanted.ends_with("...")) {
            words.push_back(text);
            return words;
        }
        if (text.empty()) {
            if (wanted.starts_with("[")) {
                return words;
            }
            throw std::runtime_error("words are missing: " + step.usage);
        }
        const std::string word = TakeWord(text);
        words.push_back(word == "\"\"" ? "" : word);
    }
    if (!text.empty()) {
        throw std::runtime_error("words too many: " + text);
    }
    return words;
}

const Step* FindStep(const std::vector<Step>& steps, const std::string& name) {
    const auto found = std::find_if(steps.begin(), steps.end(), [&](const Step& step) {
        return step.usage == name || step.usage.starts_with(name + " ");
    });
    return found == steps.end() ? nullptr : &*found;
}

std::vector<TextCase> ReadCases(std::vector<std::string>& errors) {
    static const std::regex sound("[a-z0-9_]+");
    std::vector<TextCase> cases;
    std::set<std::string> names;
    for (const std::string& name : NamesIn("C:\\sandbox\\cases\\*")) {
        const std::string file = name.substr(0, name.rfind('.'));
        if (!std::regex_match(file, sound) || name != file + ".txt") {
            errors.push_back(name + ": not the name of a file of cases");
        }
        const auto take = [&](const std::string& line, int number) {
            const CaseLine read = {name + ":" + std::to_string(number), line};
            if (line.starts_with("case ")) {
                cases.push_back({file, line.substr(5), read, {}});
            } else if (cases.empty() || cases.back().file != file) {
                errors.push_back(read.place + ": before the first case");
            } else {
                cases.back().lines.push_back(read);
            }
        };
        try {
            ReadLines(ReadWholeFile("C:\\sandbox\\cases\\" + name), take);
        } catch (const std::runtime_error& error) {
            errors.push_back(name + ":" + error.what());
        }
    }
    for (const TextCase& each : cases) {
        if (!std::regex_match(each.name, std::regex("[A-Za-z0-9_]+")) ||
            !names.insert(each.file + "." + each.name).second || each.lines.empty()) {
            errors.push_back(each.start.place +
                             ": a case that is empty, or whose name is odd or there already");
        }
    }
    return cases;
}

void RunCase(const TextCase& textCase, const std::vector<Step>& steps) {
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
