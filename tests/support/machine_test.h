// What the tests share: a fixture that captures the trace and starts each test on a clean machine, child processes,
// files and registry values.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/file_remover.h"
#include "support/platform_hooks.h"

// Resets hooks and Winsock, with the private heap there, and captures what is traced in process.
class MachineTest : public testing::Test {
  public:
    // The blocks of the private heap that are in use.
    static inline int liveBlocks = 0;

  protected:
    void SetUp() override;
    void TearDown() override;

    // Makes the system's ws2_32.dll one that has the update functions, or not.
    static void UseSystem(bool withUpdateFunctions);
};

// The captured texts, a line each as Escaped gives it, those of level 100 with a star before them. Forgets them.
std::string Traced();

// Where a child program's output goes.
enum class ChildOutput { kFile, kNone, kUnwritable };

// Runs a command line, with standard output and error to a file, without any, or with one that refuses every write.
// Returns what it wrote. A program that has not ended after a minute is ended, and fails the test.
std::string RunChild(const std::string& commandLine, ChildOutput to = ChildOutput::kFile);

// Runs a command line with the given handle for its output. Returns its exit code.
DWORD RunProgram(std::string commandLine, HANDLE output);

// The exit code of the last RunChild.
extern DWORD lastExitCode;

// Whether a file or folder is there, also by a pattern.
bool FileExists(const std::string& pathOrPattern);

// The names of the files or folders that match.
std::vector<std::string> NamesIn(const std::string& pattern);

// Writes a value, and its key where there is none.
void WriteRegistry(HKEY root, const std::string& key, const std::string& name, DWORD type,
                   const std::string& bytes);
