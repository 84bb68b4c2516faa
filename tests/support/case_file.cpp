#include "support/case_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <set>
#include <stdexcept>

#include "support/machine_test.h"

namespace {

const std::pair<const char*, char> kNamedEscapes[] = {{"lf", '\n'}, {"cr", '\r'}, {"nul", '\0'}};
const std::string kManyXs(8000, 'x');
const std::string kWholeOutput = " => ";

// Adds what stands between the angle brackets of an escape.
void AppendEscape(const std::string& name, std::string& text) {
    for (const auto& [known, character] : kNamedEscapes) {
        if (name == known) {
            text += character;
            return;
        }
    }
    static const std::regex hexByte("[0-9a-f]{2}");
    static const std::regex repeated("([0-9]+)\\*(.)");
    std::smatch match;
    if (std::regex_match(name, match, hexByte)) {
        text += static_cast<char>(std::stoi(name, nullptr, 16));
    } else if (std::regex_match(name, match, repeated)) {
        text.append(static_cast<size_t>(ParseNumber(match[1], 1, 100000)), match.str(2)[0]);
    } else {
        throw std::runtime_error("unknown escape: <" + name + ">");
    }
}

// Whether the line says something about the output, and checks it.
bool CheckOutput(const std::string& word, const std::string& rest, const std::string& output) {
    if (word == "has" || word == "lacks") {
        for (const std::string& text : SplitAt(rest, " && ")) {
            EXPECT_NE(text, "") << "nothing to look for";
            EXPECT_EQ(output.find(text) != std::string::npos, word == "has") << text << "\nin:\n"
                                                                             << output.substr(0, 4000);
        }
    } else if (word == "exit") {
        EXPECT_EQ(lastExitCode, ParseNumber32(rest)) << "after:\n" << output.substr(0, 4000);
    } else if (word == "there" || word == "gone") {
        EXPECT_TRUE(!rest.empty() && FileExists(rest) == (word == "there"));
    } else {
        return false;
    }
    return true;
}

class CaseRun {
  public:
    explicit CaseRun(const std::vector<Step>& steps) : steps_(steps) {}

    void Line(std::string line) {
        if (line.starts_with("|")) {
            expected_ += line.size() > 2 ? line.substr(2) + "\n" : "\n";
            return;
        }
        CompareWhole();
        const std::string word = TakeWord(line);
        if (CheckOutput(word, line, output_)) {
            return;
        }
        line.insert(0, " ");
        const size_t arrow = line.find(kWholeOutput);
        const Step* step = FindStep(steps_, word);
        if (step == nullptr) {
            throw std::runtime_error("unknown step: " + word);
        }
        output_ = step->run(SplitWords(*step, Unescaped(line.substr(1, arrow == 0 ? 0 : arrow - 1))));
        if (arrow != std::string::npos) {
            CheckArrow(line.substr(arrow + kWholeOutput.size()));
        }
    }

    // Compares the output with what stands behind an arrow: a check of parts of it, or its lines. The last line can be a
    // result without the sign before it.
    void CheckArrow(std::string lines) {
        std::string rest = lines;
        if (CheckOutput(TakeWord(rest), rest, output_)) {
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

  private:
    const std::vector<Step>& steps_;
    std::string output_;
    std::string expected_;
};

} // namespace

std::vector<std::string> SplitAt(const std::string& text, const std::string& between) {
    std::vector<std::string> parts;
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + between.size()) {
        end = text.find(between, at);
        parts.push_back(text.substr(at, end == std::string::npos ? end : end - at));
    }
    return parts;
}

std::string Unescaped(const std::string& text) {
    std::string plain;
    for (size_t at = 0; at < text.size(); ++at) {
        const size_t end = text[at] == '<' ? text.find('>', at) : std::string::npos;
        if (end == std::string::npos) {
            plain += text[at];
        } else {
            AppendEscape(text.substr(at + 1, end - at - 1), plain);
            at = end;
        }
    }
    return plain;
}

std::string Escaped(const std::string& text) {
    const bool utf8 = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                          static_cast<int>(text.size()), nullptr, 0) != 0;
    std::string escaped;
    for (const char c : text) {
        const auto named = std::find_if(std::begin(kNamedEscapes), std::end(kNamedEscapes),
                                        [c](const auto& escape) { return escape.second == c; });
        char shown[8] = {c};
        if (named != std::end(kNamedEscapes)) {
            std::snprintf(shown, sizeof(shown), "<%s>", named->first);
        } else if (!utf8 && static_cast<unsigned char>(c) > 0x7F) {
            std::snprintf(shown, sizeof(shown), "<%02x>", static_cast<unsigned char>(c));
        }
        escaped += shown;
    }
    ReplaceAll(escaped, kManyXs, "<8000*x>");
    return escaped;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

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
    std::vector<TextCase> cases;
    std::set<std::string> names;
    for (const std::string& file : NamesIn("C:\\sandbox\\cases\\*.txt")) {
        bool inCase = false;
        int number = 0;
        ReadLines(ReadWholeFile("C:\\sandbox\\cases\\" + file + ".txt"), number, [&](std::string line) {
            const std::string place = file + ".txt:" + std::to_string(number);
            if (line.starts_with("case ")) {
                inCase = true;
                cases.push_back({file, line.substr(5), {}});
                if (!names.insert(file + "." + line.substr(5)).second) {
                    errors.push_back(place + ": this name is there already");
                }
            } else if (inCase) {
                cases.back().lines.push_back({place, line});
            } else {
                errors.push_back(place + ": before the first case");
            }
        });
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
}

std::vector<std::string> NamesIn(const std::string& pattern) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA found = {};
    const HANDLE search = FindFirstFileA(pattern.c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        const std::string name = found.cFileName;
        names.push_back(name.substr(0, name.find('.')));
    }
    FindClose(search);
    std::erase(names, "");
    return names;
}
