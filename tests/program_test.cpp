// The programs themselves: their output, and the rehearsal against the command on files, on the stand-in for
// ws2_32.dll and on the registry of the prefix.
#include <algorithm>
#include <regex>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/control_set.h"
#include "machine/files.h"
#include "machine/machine_reading.h"
#include "rehearsal/report/drawing.h"
#include "rehearsal/report/report.h"
#include "simulation/windows_output.h"
#include "simulation/winsock_state.h"
#include "support/catalog_notation.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/random_machine.h"
#include "support/text.h"

namespace {

constexpr char kDescription[] = "C:\\sandbox\\machine.reg";
constexpr wchar_t kDescriptionFile[] = L"C:\\sandbox\\machine.reg";
constexpr char kExported[] = "C:\\sandbox\\exported.reg";
constexpr char kListing[] = "C:\\sandbox\\listing.txt";
constexpr char kWinsock[] = "C:\\sandbox\\winsock.txt";
const std::string kFrom = std::string("--from ") + kDescription + " ";
const std::string kProgram = "C:\\sandbox\\release\\norvane64.exe ";
const std::string kRemoveLsp = kProgram + "remove lsp ";
const std::string kRehearsal = "C:\\sandbox\\norvane64-rehearse.exe ";
const std::string kParameters = std::string("HKLM\\") + kWinsockParametersKey;

using ProgramTest = MachineTest;

// Runs the rehearsal. Returns its output, whose lines end with CR LF there.
std::string RunRehearsal(const std::string& arguments) {
    std::string output = RunChild(kRehearsal + arguments);
    EXPECT_TRUE(output.ends_with("\r\n")) << output;
    ReplaceAll(output, "\r\n", "\n");
    return output;
}

// What is between two texts of a report.
std::string Between(const std::string& report, const std::string& start, const std::string& end) {
    const size_t from = report.find(start);
    const size_t to = report.find(end, from + start.size());
    return from == std::string::npos || to == std::string::npos
               ? "missing: " + start
               : report.substr(from + start.size(), to - from - start.size());
}

std::string WithoutStamps(const std::string& trace) {
    std::string text = ReplaceStamps(trace, "");
    ReplaceAll(text, "d & \xE9", "d & \xC3\xA9"); // the report is UTF-8
    return text;
}

// The text of an export of the machine.
std::string ExportOf(const RandomMachine& machine) {
    std::string text = ExportOf(machine.catalogs);
    std::string path = machine.provider.path;
    ReplaceAll(path, "\\", "\\\\");
    ReplaceAll(text, "C:\\\\p\\\\a.dll", path);
    text += std::string("[HKEY_LOCAL_MACHINE\\") + kSharedDllsKey + "]\r\n";
    for (const auto& [file, count] : machine.counts) {
        std::string name = file;
        ReplaceAll(name, "\\", "\\\\");
        text += "\"" + name + "\"=dword:0000000" + std::to_string(count) + "\r\n";
    }
    return text;
}

// A pipe of messages shows the single writes.
TEST_F(ProgramTest, EachLineIsOneWrite) {
    const char* const name = "\\\\.\\pipe\\norvane";
    const HANDLE pipe = CreateNamedPipeA(name, PIPE_ACCESS_INBOUND, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                                         1, 0, 1 << 20, 0, nullptr);
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    const HANDLE end = CreateFileA(name, GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr);
    RunProgram(kProgram + std::string(24000, 'x'), end);
    CloseHandle(end);
    std::string message(1 << 16, '\0');
    DWORD length = 0;
    int writes = 0;
    for (; ReadFile(pipe, message.data(), 1 << 16, &length, nullptr); ++writes) {
        EXPECT_EQ(message.find('\n'), length - 1);
    }
    EXPECT_EQ(writes, 4);
    CloseHandle(pipe);
}

TEST_F(ProgramTest, AnOutputThatCannotBeWrittenChangesNothing) {
    for (const ChildOutput output : {ChildOutput::kNone, ChildOutput::kUnwritable}) {
        RunChild(kRemoveLsp, output);
        EXPECT_EQ(lastExitCode, 1u);
    }
}

TEST_F(ProgramTest, ForeseesWhatTheProgramDoes) {
    Random random(20261127);
    PrepareMachine("");
    for (int round = 0; round < 12 && !HasFailure(); ++round) {
        RandomMachine machine = MakeRandomMachine(random, round);
        machine.live = false;
        UseFiles(machine, random);
        UseCounts(machine.counts);
        WriteWholeFile(kWinsock, FormatWinsockState({machine.catalogs, false, {}}));
        WriteWholeFile(kDescription, AsWide(ExportOf(machine)));
        const std::string name = "\"" + machine.dllName + "\"";
        const std::string report = RunRehearsal(kFrom + "--full lsp " + name);
        const DWORD code = lastExitCode;
        SCOPED_TRACE("round " + std::to_string(round) + ": " + name + "\n" + report);
        const Rehearsal rehearsal =
            Rehearse(ReadMachine({kDescriptionFile}), conv_to_wchar(machine.dllName.c_str()));
        EXPECT_EQ(report, WriteReport(rehearsal, true));
        EXPECT_EQ(code, static_cast<DWORD>(rehearsal.verdict));
        const std::string trace = WithoutStamps(RunChild(kRemoveLsp + name));
        EXPECT_EQ(Between(report, "command would write\n\n",
                          "\n" + std::string(VerdictText(rehearsal.verdict)) + " (exit"),
                  trace);
        EXPECT_EQ(Between(report, "The catalogs afterwards\n", "\nThe trace that"),
                  DrawCatalogs(ParseWinsockState(ReadWholeFile(kWinsock))));
    }
}

// Without what the descriptions of a machine differ in by their nature: the first lines and the assumptions.
std::string Comparable(std::string report) {
    report.erase(0, report.find("\n\n"));
    ReplaceAll(report, "C:\\Windows", "C:\\windows"); // as this machine spells it
    const size_t from = report.find("\nAssumptions\n");
    report.erase(from, report.find("\n\n", from) + 1 - from);
    return report;
}

std::string ReportOn(const std::vector<std::string>& files, const std::string& dllName) {
    std::vector<std::wstring> wide;
    for (const std::string& file : files) {
        wide.push_back(conv_to_wchar(file.c_str()));
    }
    return WriteReport(Rehearse(ReadMachine(wide), conv_to_wchar(dllName.c_str())), true);
}

// Replaces the catalogs of this machine by those of an export.
void Import(const std::string& file) {
    RunChild("reg delete " + kParameters + " /f");
    RunChild("reg import " + file);
}

TEST_F(ProgramTest, AllDescriptionsOfAMachineGiveOneReport) {
    Random random(20261126);
    PrepareMachine("");
    for (int round = 0; round < 40; ++round) {
        RandomMachine machine = MakeRandomMachine(random, round);
        machine.live = false;
        UseFiles(machine, random);
        machine.provider.path = "C:\\n\\n.dll";
        machine.counts.clear();
        WriteWholeFile(kDescription, AsWide(ExportOf(machine)));
        WriteWholeFile(kListing, ListingOf(machine.catalogs));
        const std::string report = ReportOn({kDescription}, machine.dllName);
        EXPECT_EQ(DrawCatalogs(ReadMachine({conv_to_wchar(kListing)}).catalogs),
                  DrawCatalogs(machine.catalogs))
            << "round " << round;
        if (round < 4) {
            Import(kDescription);
            EXPECT_EQ(Comparable(ReportOn({}, machine.dllName)), Comparable(report)) << "this machine";
            RunChild("reg export " + kParameters + " " + kExported + " /y");
            EXPECT_EQ(Comparable(ReportOn({kExported}, machine.dllName)), Comparable(report));
        }
    }
}

// Only files of the live machine can be missing. Without the key of the shared counts the program reports no
// deletion.
TEST_F(ProgramTest, LooksAtTheDiskAndTheCountsOfThisMachine) {
    PrepareMachine("");
    RandomMachine machine = {};
    UseFiles(machine, Random());
    machine.provider.path = "C:\\n\\n.dll";
    machine.catalogs = CatalogsOf("1 C:\\windows\\system32\\mswsock.dll *; 10 a; 20 C:\\p\\\xC3\xA9.dll; "
                                  "21 C:\\p\\b.dll [20,1] | 1 C:\\windows\\system32\\no.dll *; 2 no.dll *");
    WriteWholeFile(kDescription, AsWide(ExportOf(machine)));
    WriteWholeFile(kWinsock, FormatWinsockState({machine.catalogs, false, {}}));
    Import(kDescription);
    const std::string list = RunRehearsal("list");
    EXPECT_EQ(lastExitCode, 5u);
    static const std::regex drawn("(?:^|\\n)  ([-! ] \\d+) +(?:base|LSP|layered) ");
    std::vector<std::string> marks;
    for (std::sregex_iterator at(list.begin(), list.end(), drawn), end; at != end; ++at) {
        marks.push_back((*at)[1]);
    }
    EXPECT_EQ(marks, (std::vector<std::string>{"  10", "! 20", "! 21", "! 1", "! 2"})) << list;
    EXPECT_NE(list.find("its file is missing"), std::string::npos) << list;
    RunRehearsal(kFrom + "list");
    EXPECT_EQ(lastExitCode, 0u);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDllsKey);
    const std::string report = RunRehearsal("--full lsp a.dll");
    const std::string trace = WithoutStamps(RunChild(kRemoveLsp + "a.dll"));
    EXPECT_EQ(Between(report, "would write\n\n", "\nCLEAN"), trace);
    EXPECT_EQ(SplitAt(trace, "RegOpenKeyEx(").size(), 3u) << trace;
    RunChild("reg delete " + kParameters + " /f");
    RunRehearsal("list");
    EXPECT_EQ(lastExitCode, 1u);
    RunRehearsal("--version");
    EXPECT_EQ(lastExitCode, 0u);
    RunRehearsal("");
    EXPECT_EQ(lastExitCode, 1u);
}

} // namespace
