#include "support/text_case.h"

#include <sstream>

#include "support/machine_test.h"

namespace {

// Returns whether the line says something about the output, and checks it.
bool CheckOutput(const std::string& word, const std::string& rest, const std::string& output) {
    if (word == "has" || word == "lacks") {
        EXPECT_EQ(output.find(rest) != std::string::npos, word == "has") << "in:\n" << output.substr(0, 4000);
    } else if (word == "exit") {
        EXPECT_EQ(std::to_string(lastExitCode), rest) << "after:\n" << output.substr(0, 4000);
    } else if (word == "there" || word == "gone") {
        EXPECT_EQ(FileExists(rest), word == "there");
    } else {
        return false;
    }
    return true;
}

} // namespace

void RunTextCase(const std::string& path, const std::function<std::string(std::string, std::string)>& step) {
    std::istringstream lines(ReadWholeFile(path) + "#\n");
    std::string output;
    std::string expected;
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE("line " + std::to_string(++number) + ": " + line.substr(0, 200));
        if (line.starts_with("|")) {
            expected += line.size() > 2 ? line.substr(2) + "\n" : "\n";
            continue;
        }
        if (!expected.empty()) {
            EXPECT_EQ(output, expected) << "before this line";
            expected.clear();
        }
        const std::string word = TakeWord(line);
        if (!word.empty() && word[0] != '#' && !CheckOutput(word, line, output)) {
            output = step(word, line);
        }
    }
    EXPECT_GT(number, 1) << "no such file";
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

std::vector<std::string> Builds() {
    std::vector<std::string> builds = NamesIn("C:\\sandbox\\*");
    std::erase_if(builds, [](const std::string& build) {
        return !FileExists("C:\\sandbox\\" + build + "\\norvane64.exe");
    });
    return builds;
}
