// What the tests share: a fixture that captures the trace and starts each test on a clean machine, and a
// child process with its output.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/platform_hooks.h"

struct TracedLine {
    unsigned level;
    std::string text;
};

// Resets hooks and Winsock before and after each test, and captures what is traced in process.
class MachineTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The captured texts, one line each; of one level, or of every level for 0. Forgets them.
    static std::string Traced(unsigned level = 0);
};

// Whether the lines stand in text in this order, other lines between them or not.
testing::AssertionResult HasLines(const std::string& text, const std::vector<std::string>& lines);

struct ChildResult {
    DWORD exitCode;
    std::string output; // with the stamps
    std::string text;   // without
};

enum class ChildOutput { kFile, kNone, kUnwritable };

// Runs a command line, with standard output and error to a file, without any, or with one that refuses every
// write.
ChildResult RunChild(const std::string& commandLine, ChildOutput to = ChildOutput::kFile);

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& content);
bool FileExists(const std::string& pathOrPattern);
