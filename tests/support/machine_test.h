// What the tests share: a fixture that captures the trace and starts each test on a clean machine, child
// processes, files and registry values.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "files/file_remover.h"
#include "support/platform_hooks.h"

// Resets the hooks and the simulated Winsock, creates the private heap, and captures what is traced in
// process.
class MachineTest : public testing::Test {
  public:
    // The blocks of the private heap that are in use.
    static inline int liveBlocks = 0;

  protected:
    void SetUp() override;
    void TearDown() override;

    // Selects a system's ws2_32.dll with the update functions, or without.
    static void UseSystem(bool withUpdateFunctions);
};

// Returns the captured messages and forgets them: a line each as Escaped gives it, a message of level 100
// behind a star.
std::string Traced();

// The captured messages as the log wrote them; forgets them.
std::vector<std::string> TracedMessages();

// From now on, captures the calls of these functions among the messages: "> ImpersonateSelf 0x2", with ">>"
// when the thread impersonates. Throws std::runtime_error for a function without a hook.
void Watch(const std::vector<std::string>& names);

// The calls of the simulated Winsock that can change a catalog, a line each, since the last ResetWinsock.
std::string Changes();

// Runs an action, then ends the planned failures and an impersonation that remains. Returns a line for each
// kind of resource that the action did not release: blocks of the private heap, starts of COM, the
// impersonation, handles. Handles are not counted when COM was used, because COM keeps some of its own.
std::string ResidueOf(const std::function<void()>& action);

// Where the output of a child program is written.
enum class ChildOutput { kFile, kNone, kUnwritable };

// Runs a command line with standard output and error to a file, without any, or with one that refuses every
// write. Returns what it wrote. A program that has not ended after a minute is terminated, and the test
// fails.
std::string RunChild(const std::string& commandLine, ChildOutput to = ChildOutput::kFile);

// Runs a command line, in UTF-8 or else in the ANSI code page, with the given handle as its output. Returns
// its exit code.
DWORD RunProgram(const std::string& commandLine, HANDLE output);

// The exit code of the last RunChild.
extern DWORD lastExitCode;

// Whether a file or folder exists; a pattern is allowed.
bool FileExists(const std::string& pathOrPattern);

// The names of the files and folders that match.
std::vector<std::string> NamesIn(const std::string& pattern);

// Writes a value; creates its key if necessary.
void WriteRegistry(HKEY root, const std::string& key, const std::string& name, DWORD type,
                   const std::string& bytes);
