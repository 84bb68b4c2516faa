#include "support/machine_test.h"

#include <fstream>
#include <sstream>

#include "trace/trace_log.h"
#include "winsock/simulated_winsock.h"

namespace {

std::vector<TracedLine> traced;

void Capture(const char* text, size_t length, void*, unsigned level) {
    traced.push_back({level, std::string(text, length)});
}

// Takes the stamp off each line that has one: "%03i:%04x %02i:%02i:%02i.%03i ".
std::string WithoutStamps(const std::string& output) {
    std::istringstream lines(output);
    std::string text;
    for (std::string line; std::getline(lines, line); text += line + "\n") {
        int length = 0;
        unsigned number = 0;
        if (std::sscanf(line.c_str(), "%u:%x %u:%u:%u.%u%n", &number, &number, &number, &number, &number,
                        &number, &length) == 6) {
            line.erase(0, static_cast<size_t>(length) + 1);
        }
    }
    return text;
}

} // namespace

void MachineTest::SetUp() {
    traceLog->AddSink({Capture, nullptr, 1000});
    ResetHooks();
    ResetWinsock({});
    traced.clear();
}

void MachineTest::TearDown() {
    ResetHooks();
}

std::string MachineTest::Traced(unsigned level) {
    std::string text;
    for (const TracedLine& line : traced) {
        text += level == 0 || level == line.level ? line.text + "\n" : "";
    }
    traced.clear();
    return text;
}

testing::AssertionResult HasLines(const std::string& text, const std::vector<std::string>& lines) {
    size_t position = 0;
    for (const std::string& line : lines) {
        const size_t found = ("\n" + text).find("\n" + line + "\n", position);
        if (found == std::string::npos) {
            return testing::AssertionFailure() << "'" << line << "' is missing, or out of order, in:\n"
                                               << text;
        }
        position = found + 1;
    }
    return testing::AssertionSuccess();
}

ChildResult RunChild(const std::string& commandLine, ChildOutput to) {
    constexpr char kOutput[] = "C:\\sandbox\\output.txt";
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    const HANDLE output = CreateFileA(kOutput, to == ChildOutput::kFile ? GENERIC_WRITE : GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = to == ChildOutput::kNone ? nullptr : output;
    PROCESS_INFORMATION process = {};
    std::string words = commandLine;
    const BOOL started = CreateProcessA(nullptr, words.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                        &startup, &process);
    EXPECT_TRUE(started) << commandLine << ": error " << GetLastError();
    CloseHandle(output);
    if (!started) {
        return {};
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    ChildResult result = {};
    GetExitCodeProcess(process.hProcess, &result.exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    result.output = ReadWholeFile(kOutput);
    result.text = WithoutStamps(result.output);
    return result;
}

std::string ReadWholeFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void WriteWholeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

bool FileExists(const std::string& pathOrPattern) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(pathOrPattern.c_str(), &found);
    FindClose(search);
    return search != INVALID_HANDLE_VALUE;
}
