// The executables end to end: runs each file of C:\sandbox\scenarios against each build. A line is a step:
//   system KIND            a sample machine with that ws2_32.dll ("update" or "plain"), its files and no
//   counts winsock LINE           adds a line to the state of the simulated Winsock file PATH makes a file
//   cmd WORDS              runs another program
//   run WORDS              runs norvane64.exe; also run-silent (no standard output) and run-unwritable (a
//   refusing one) | TEXT                 the output, without stamps, is exactly these lines has TEXT, lacks
//   TEXT   a part of the output exit CODE there PATH, gone PATH  a file, or pattern state FILE TEXT        a
//   file of C:\sandbox has the text fault-line CALL N TEXT what the output has when the N-th of these calls,
//   or a later one, fails; for a sweep sweep EXIT WORDS       runs once, and then once for each simulated
//   call with that call failing
// %LONG% stands for a word of 8,000 characters, %PROGRAM% for the path of the executable.
#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "support/machine_test.h"

namespace {

constexpr char kState[] = "C:\\sandbox\\winsock.txt";
constexpr char kSharedDlls[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";
constexpr char kCalls[] = "C:\\sandbox\\winsock.calls.txt";

struct Scenario {
    std::string program;
    ChildResult result;
    std::string expected; // the lines after a bar so far
    std::map<std::pair<std::string, int>, std::string> faultLines;
};

void PrepareSystem(const std::string& kind) {
    EXPECT_TRUE(CopyFileA(("C:\\sandbox\\ws2_32_" + kind + ".dll").c_str(),
                          "C:\\windows\\system32\\ws2_32.dll", FALSE));
    CopyFileA("C:\\sandbox\\sample_winsock.txt", kState, FALSE);
    DeleteFileA(kCalls);
    WriteWholeFile("C:\\windows\\system32\\examplelsp.dll", "x");
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDlls);
    HKEY key = nullptr;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, kSharedDlls, &key);
    RegCloseKey(key);
}

void Sweep(Scenario& scenario, const std::string& exitCode, const std::string& words) {
    const std::string state = ReadWholeFile(kState);
    DeleteFileA(kCalls);
    RunChild(scenario.program + " " + words);
    std::istringstream calls(ReadWholeFile(kCalls));
    std::map<std::string, int> counts;
    for (std::string call; std::getline(calls, call);) {
        const std::string function = call.substr(0, call.find(' '));
        const std::string fault = function + " " + std::to_string(++counts[function]);
        WriteWholeFile(kState, state + "fail " + fault + " 10107\n");
        WriteWholeFile("C:\\windows\\system32\\examplelsp.dll", "x");
        DeleteFileA(kCalls);
        const ChildResult result = RunChild(scenario.program + " " + words);
        EXPECT_NE(ReadWholeFile(kCalls).find("10107"), std::string::npos) << fault;
        EXPECT_EQ(std::to_string(result.exitCode), exitCode) << fault;
        EXPECT_TRUE(result.text.ends_with("\n64-bit utility finished, return code = " + exitCode + "\n"))
            << fault;
        auto told = scenario.faultLines.upper_bound({function, counts[function]});
        ASSERT_TRUE(told != scenario.faultLines.begin() && (--told)->first.first == function) << fault;
        EXPECT_NE(result.text.find(told->second), std::string::npos)
            << fault << " is not told as '" << told->second << "' in:\n"
            << result.text;
    }
    EXPECT_GT(counts.size(), 0u);
}

void RunStep(Scenario& scenario, const std::string& step, const std::string& rest) {
    std::istringstream words(rest);
    std::string first;
    std::string others;
    std::getline(words, first, ' ');
    std::getline(words, others);
    if (step == "system") {
        PrepareSystem(first);
    } else if (step == "winsock") {
        std::ofstream(kState, std::ios::app) << rest << "\n";
    } else if (step == "file") {
        WriteWholeFile(rest, "x");
    } else if (step == "cmd") {
        scenario.result = RunChild(rest);
    } else if (step.starts_with("run")) {
        scenario.result =
            RunChild(scenario.program + " " + rest, step == "run-silent"       ? ChildOutput::kNone
                                                    : step == "run-unwritable" ? ChildOutput::kUnwritable
                                                                               : ChildOutput::kFile);
    } else if (step == "exit") {
        EXPECT_EQ(std::to_string(scenario.result.exitCode), rest);
    } else if (step == "has" || step == "lacks") {
        EXPECT_EQ(scenario.result.text.find(rest) != std::string::npos, step == "has")
            << scenario.result.text;
    } else if (step == "there" || step == "gone") {
        EXPECT_EQ(FileExists(rest), step == "there");
    } else if (step == "state") {
        EXPECT_NE(ReadWholeFile("C:\\sandbox\\" + first).find(others), std::string::npos);
    } else if (step == "fault-line") {
        const int call = std::stoi(others);
        scenario.faultLines[{first, call}] = others.substr(std::to_string(call).size() + 1);
    } else if (step == "sweep") {
        Sweep(scenario, first, others);
    } else {
        ADD_FAILURE() << "unknown step";
    }
}

void Replace(std::string& line, const std::string& name, const std::string& with) {
    for (size_t at; (at = line.find(name)) != std::string::npos;) {
        line.replace(at, name.size(), with);
    }
}

void RunScenario(const std::string& path, const std::string& build) {
    Scenario scenario = {"C:\\sandbox\\" + build + "\\norvane64.exe", {}, {}, {}};
    std::istringstream lines(ReadWholeFile(path));
    for (std::string line; std::getline(lines, line);) {
        Replace(line, "%LONG%", std::string(8000, 'x'));
        Replace(line, "%PROGRAM%", scenario.program);
        if (line.starts_with("|")) {
            scenario.expected += line.size() > 2 ? line.substr(2) + "\n" : "\n";
            continue;
        }
        SCOPED_TRACE(line.substr(0, 200));
        if (!scenario.expected.empty()) {
            EXPECT_EQ(scenario.result.text, scenario.expected) << "before this step";
            scenario.expected.clear();
        }
        const size_t blank = line.find(' ');
        if (!line.empty() && line[0] != '#') {
            RunStep(scenario, line.substr(0, blank),
                    blank == std::string::npos ? "" : line.substr(blank + 1));
        }
    }
    EXPECT_EQ(scenario.expected, "") << "a file ends with a step that is not an output";
}

class ScenarioTest : public testing::TestWithParam<std::tuple<std::string, std::string>> {};

TEST_P(ScenarioTest, Runs) {
    RunScenario("C:\\sandbox\\scenarios\\" + std::get<0>(GetParam()) + ".txt", std::get<1>(GetParam()));
}

// The names that stand in the place of the star.
std::vector<std::string> NamesIn(const std::string& folder, const char* pattern) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA found = {};
    const HANDLE search = FindFirstFileA((folder + pattern).c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        const std::string name = found.cFileName;
        names.push_back(name.substr(0, name.find('.')));
    }
    FindClose(search);
    return names;
}

std::vector<std::string> Builds() {
    std::vector<std::string> builds = NamesIn("C:\\sandbox\\", "*");
    std::erase_if(builds, [](const std::string& build) {
        return build.empty() || !FileExists("C:\\sandbox\\" + build + "\\norvane64.exe");
    });
    return builds;
}

INSTANTIATE_TEST_SUITE_P(Programs, ScenarioTest,
                         testing::Combine(testing::ValuesIn(NamesIn("C:\\sandbox\\scenarios\\", "*.txt")),
                                          testing::ValuesIn(Builds())),
                         [](const auto& tested) {
                             return std::get<0>(tested.param) + "_" + std::get<1>(tested.param);
                         });

// A pipe of messages shows the single writes.
TEST(StandardOutputTest, EachLineIsOneWrite) {
    const HANDLE pipe =
        CreateNamedPipeA("\\\\.\\pipe\\norvane", PIPE_ACCESS_INBOUND,
                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 0, 1 << 20, 0, nullptr);
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput =
        CreateFileA("\\\\.\\pipe\\norvane", GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr);
    PROCESS_INFORMATION process = {};
    std::string words = "C:\\sandbox\\" + Builds()[0] + "\\norvane64.exe " + std::string(20000, 'x');
    ASSERT_TRUE(CreateProcessA(nullptr, words.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                               &process));
    CloseHandle(startup.hStdOutput);
    std::vector<char> message(1 << 16);
    DWORD length = 0;
    int lines = 0;
    while (ReadFile(pipe, message.data(), static_cast<DWORD>(message.size()), &length, nullptr)) {
        ++lines;
        EXPECT_EQ(std::count(message.data(), message.data() + length, '\n'), 1);
        EXPECT_EQ(message[length - 1], '\n');
    }
    EXPECT_EQ(lines, 4);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    CloseHandle(pipe);
}

} // namespace
