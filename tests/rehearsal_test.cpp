// The definitions that the verdicts of the rehearsal follow from: a row for each clause, on small machines in
// the notation of the cases. Each catalog has the base provider 1 besides.
#include <algorithm>

#include "common/text_conversion.h"
#include "machine/text.h"
#include "rehearsal/report/list.h"
#include "rehearsal/report/report.h"
#include "support/catalog_notation.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

using VerdictTest = MachineTest;

Machine MachineOf(const std::string& notation) {
    Machine machine;
    machine.name = "m";
    machine.hasCounts = machine.hasCounts32 = machine.knowsNamespaces = true;
    machine.catalogs = CatalogsOf("1 m *");
    AddEntries(Unescaped(notation), machine.catalogs);
    return machine;
}

// The machine, the DLL name, exit code and counts of --brief (removed from each catalog, remaining, stopping,
// defective), and texts of the report; those behind "!" are not in it.
constexpr char kRows[] = R"(
// What remains works as before.
10 a; 11 a [10,1] ~ a.dll ~ 0 2 2 0 0 0 ~ CLEAN: norvane64 remove lsp a.dll!Would remain!Would stop
10 C:/q/a.dll ~ C:/q/a.dll ~ 0 1 1 0 0 0 ~ CLEAN!without a folder
10 C:\p\a!.dll ~ a!.dll ~ 0 1 1 0 0 0 ~ This name cannot be typed. Uninstall!elevated
10 C:\q\ ~  ~ 0 1 1 0 0 2 ~ Folder C:\q\, at the next restart, if it is empty!copy
// Nothing has the name.
10 b ~ a.dll ~ 2 0 0 0 0 0 ~ The DLL names of this machine are: b.dll!Did you mean x
10 C:\p\mid.dll; 20 C:\p\other.dll ~ midd.dll ~ 2 0 0 0 0 0 ~ Did you mean mid.dll?!netsh winsock reset
10 a ~ C:\p\a.dll ~ 2 0 0 0 0 0 ~ without a folder
// Something has the name, and the command removes nothing.
2 a*; 10 b ~ a.dll ~ 6 0 0 0 0 0
10 a | 30 b [99,1] ~  ~ 6 0 0 0 0 1 ~ The command cannot remove it!rehearse lsp
10 C:/p/a.dll ~ a.dll ~ 6 0 0 2 0 0 ~ the command does not find it
10 C:\p\<e4><b8><ad>.dll ~ <e4><b8><ad>.dll ~ 6 0 0 2 0 0 ~ This name cannot be typed!remove lsp "
// The file remains, or that of another removed entry.
10 %SystemRoot%\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ del "C:\Windows\a.dll"
10 a.dll ~ a.dll ~ 3 1 1 2 0 0 ~ del "C:\Windows\SysWOW64\a.dll"
10 C:\<e4><b8><ad>\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ the code page lacks a character!del "
10 a; 11 b [10,1] ~ a.dll ~ 3 2 2 1 0 0 ~ del "C:\p\b.dll"!Uninstall
10 a; 11 b [10,1]; 2 C:\P\B.dll* ~ a.dll ~ 3 2 2 1 0 0 ~ File C:\p\b.dll!del "
10 %SystemRoot%\a.dll; 2 C:\PROGRA~1\A.DLL* ~ a.dll ~ 3 1 1 1 0 0 ~ environment reference!del "
10 a; 11 C:\PROGRA~1\b.dll [10,1]; 2 C:\Program Files\b.dll* ~ a.dll ~ 3 2 2 1 0 0 ~ PROGRA~1!del "
10 a; 11 b [10,1]; 2 C:\x\%y%* ~ a.dll ~ 3 2 2 1 0 0 ~ whether it is used is not known!del "
10 C:\Windows\system32\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ SysWOW64\a.dll, which 32-bit programs open as
// An LSP, or a layered entry without one, remains that has the name or a file of a removed entry.
10 a; 20 C:\q\a.dll ~ a.dll ~ 3 1 1 2 0 0 ~ Rehearse again, for the next LSP with this name
10 a | 20 C:\q\a.dll ~ a.dll ~ 3 1 0 1 0 0 ~ the command looks for names in the 64-bit catalog alone
10 a; 20 C:\P\A.dll ~ a.dll ~ 3 1 1 2 0 0 ~ it would never work again!until
10 a; 11 b [10,1]; 20 b ~ a.dll ~ 3 2 2 3 0 0 ~ Uninstall the rest of the product!del "
30 b [99,1] ~  ~ 3 1 1 1 0 2 ~ norvane64 remove lsp ""!MISSING 99
30 b [99,1] ~ b.dll ~ 6 0 0 2 0 2 ~ it does not work; the empty name finds it!winsock reset
10 a; 11 b [1] ~  ~ 2 0 0 0 0 0
// An LSP of the 32-bit catalog alone that looks like a part of the product, or not.
10 C:\p\flt64.dll | 40 C:\q\flt32.dll ~ flt64.dll ~ 3 1 0 1 0 0
10 a name=N | 40 C:\q\z.dll name=N ~ a.dll ~ 3 1 0 1 0 0
// An entry that programs use stops working. What did not work before cannot.
10 a; 11 a [10,1]; 20 b; 21 b [20,11,1] ~ a.dll ~ 4 2 2 0 1 0
10 a; 20 C:\q\; 21 b [20,10,1] ~ a.dll ~ 0 1 1 0 0 4 ~ its path cannot be a file
10 a; 20 b; 21 b [20,1,10=2] ~ a.dll ~ 0 1 1 0 0 0
10 a; 2 b [10=1] ~ a.dll ~ 0 1 1 0 0 0
10 a; 2 C:\P\a.dll* ~ a.dll ~ 4 1 1 0 1 0
10 C:\Program Files (x86)\a.dll | 2 %ProgramFiles%\a.dll* ~ a.dll ~ 4 1 0 0 1 0
10 a; 11 a [10,1]; 20 a; 21 a [20,1] ~ a.dll ~ 4 2 2 2 1 0 ~ a.dll<lf>       norvane64 remove lsp a.dll!keep
10 a; 11 a [10,1]; 20 C:\q\A.dll; 21 C:\q\A.dll [20,11] ~ a.dll ~ 4 2 2 0 1 0 ~ "C:\p\a.dll" "2-a.dll"
10 a; 11 a [10,1]; 20 C:\p\u!.dll; 21 b [20,11] ~ a.dll ~ 4 2 2 0 1 0 ~ that can be typed!remove lsp a.dll<lf>
10 a; 11 a [10,1] | 10 a; 12{112} a [10,1]; 20 C:\q\b.dll; 21 C:\q\b.dll [20,12] ~ a.dll ~ 4 2 1 1 2 0
10 a; 20 b; 21 b [20,1]; 30 c; 31 c [30,21,11]; 11 a [10,21] ~ a.dll ~ 4 2 2 0 1 0
10 a; 11 a [10,1]; 20 b; 21 b [20,11,1]; 22 b [20,1]; 30 c; 31 c [30,22] ~ a.dll ~ 4 2 2 0 1 0 ~ lsp c.dll
10 a; 11 a [10,1]; 20 b; 21 b [20,11,1]; 30 c; 31 c [30,21]; 40 d [99,1] ~ a.dll ~ 4 2 2 0 2 2 ~ lsp c.dll
10 a; 11 a [10,1]; 20 f; 21 f [20,11]; 30 x; 31 x [30,21,99] ~ a.dll ~ 4 2 2 0 1 2 ~ (f.dll), entry 10
10 a; 20 f name=F; 21 f [20,10] | 10 a; 20 g name=F; 21 g [20,10]; 22 g [20,10] ~ a.dll ~ 4 1 1 0 1 0
// A base provider is removed, or another LSP or an entry of one.
10{5} a; 2{5} c*; 20 a ~ a.dll ~ 4 2 2 3 1 0 ~ no safe order of removals was found!elevated console
10{5} a | 2{5} C:\q\* ~ a.dll ~ 0 1 1 0 0 1
10 a; 20{10} c ~ a.dll ~ 4 2 2 1 1 0 ~ order: entry 10 (a.dll), entry 20 (c.dll). Reinstall
10 a | 20{10} c ~ a.dll ~ 4 1 1 1 1 0 ~ order: entry 10 (a.dll), entry 20 (c.dll). Reinstall
10 C:\p\a64.dll | 20{10} C:\q\A32.DLL ~ a64.dll ~ 3 1 1 1 0 0
10 a; 11 a [10,1]; 20 b; 21{11} b [20,1] ~ a.dll ~ 4 3 3 3 1 0
// Which entries work.
10 a; 20 b; 21 b [20,1,1,1,1,1,1=8] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,21]; 21{22} b* ~ a.dll ~ 0 1 1 0 0 0)";

// Looks for the first of the texts in a report; the others behind "!" must not be in it.
void CheckTexts(const std::string& report, const std::string& expected) {
    const std::vector<std::string> texts = SplitAt(Unescaped(expected), "!");
    for (size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(report.find(texts[i]) != std::string::npos, i == 0) << texts[i] << "\n" << report;
    }
}

TEST_F(VerdictTest, FollowsFromEachClause) {
    for (const std::string& row : SplitAt(kRows + 1, "\n")) {
        const std::vector<std::string> fields = SplitAt(row, " ~ ");
        if (row[0] == '/') {
            continue;
        }
        ASSERT_GE(fields.size(), 3u) << row;
        SCOPED_TRACE(row);
        const Rehearsal rehearsal =
            Rehearse(MachineOf(fields[0]), conv_utf8_to_wchar(Unescaped(fields[1]).c_str()));
        EXPECT_EQ(static_cast<int>(rehearsal.verdict), fields[2][0] - '0');
        std::string counts = WriteBrief(rehearsal);
        counts.erase(0, counts.find('\t', 2));
        ReplaceAll(counts, "\t", " ");
        EXPECT_EQ(counts, fields[2].substr(1) + " 0\n")
            << "removed, remaining, stopping, defective; no warnings";
        if (fields.size() > 3) {
            CheckTexts(WriteReport(rehearsal, false), fields[3]);
        }
    }
}

// The path of an LSP, whose file is deleted, that of a base provider of both catalogs, and the programs that
// cannot use it then.
constexpr char kSpellings[] = R"(
C:\Windows\x.dll ~ %SystemRoot%\x.dll ~ 64-bit and 32-bit programs
C:\Program Files\x.dll ~ %ProgramFiles%\x.dll ~ : 64-bit programs
C:\Program Files (x86)\x.dll ~ %ProgramFiles%\x.dll ~ : 32-bit programs
C:\x.dll ~ %X%\x.dll ~ CLEAN
C:\Windows\System32\x.dll ~ %SystemRoot%\Sysnative\x.dll ~ : 32-bit programs
C:\Windows\SysWOW64\q\x.dll ~ C:/Windows/x/../System32/q/x.dll ~ : 32-bit programs
C:\p\x.dll ~ C:\\p\.\q\..\\x.dll ~ 64-bit and 32-bit programs
C:\p\x.dll ~ C:\p. .\x.dll .  ~ 64-bit and 32-bit programs
C:\<c3><a9>\x.dll ~ c:\<c3><89>\x.dll ~ 64-bit and 32-bit programs)";

TEST_F(VerdictTest, OneFileHasManySpellings) {
    for (const std::string& row : SplitAt(kSpellings + 1, "\n")) {
        const std::vector<std::string> fields = SplitAt(row, " ~ ");
        SCOPED_TRACE(row);
        const Rehearsal rehearsal = Rehearse(
            MachineOf("10 " + fields[0] + "; 2 " + fields[1] + " * | 2 " + fields[1] + " *"), L"x.dll");
        CheckTexts(WriteReport(rehearsal, false), fields[2]);
        EXPECT_EQ(rehearsal.verdict, fields[2] == "CLEAN" ? Verdict::kClean : Verdict::kBreaksNetworking);
    }
}

TEST_F(VerdictTest, NothingIsConcludedFromADescriptionThatLacksSomething) {
    for (const char* notation : {"10 a; 11 a [10,1]", "10 b", "10 a; 20 b; 21 b [20,10]", "20 b [99,1]"}) {
        Machine machine = MachineOf(notation);
        machine.gaps = {"m:7: the block is cut off"};
        const Rehearsal rehearsal = Rehearse(machine, L"a.dll");
        const std::string report = WriteReport(rehearsal, false);
        EXPECT_EQ(rehearsal.verdict, Verdict::kCannotTell);
        EXPECT_TRUE(report.starts_with(
            "CANNOT TELL: norvane64 remove lsp a.dll, on m\nIncomplete or damaged: m:7: the block"))
            << report;
        const MachineHealth health = Examine(machine);
        const std::string list = ListText(machine, health, false);
        EXPECT_EQ(JudgeMachine(machine, health), Soundness::kCannotTell);
        EXPECT_TRUE(list.starts_with("CANNOT TELL") && list.ends_with("CANNOT TELL (exit code 7)\n")) << list;
        for (const char* text : {"CLEAN", "All entries work", "- none\n", "No fault"}) {
            EXPECT_EQ((report + list).find(text), std::string::npos) << text;
        }
    }
}

// A count above 1 of the same file under another name is reported, and prevents a deletion by hand; so does
// what is not known.
TEST_F(VerdictTest, FilesThatOthersMayNeedAreNotToBeDeletedByHand) {
    const auto report = [](const std::function<void(Machine&)>& change) {
        Machine machine = MachineOf("10 a; 11 b [10,1]");
        change(machine);
        return WriteReport(Rehearse(machine, L"a.dll"), false);
    };
    const char* const del = "del \"C:\\p\\b.dll\"";
    EXPECT_NE(report([](Machine&) {}).find(del), std::string::npos);
    EXPECT_EQ(report([](Machine& m) { m.hasCounts = false; }).find(del), std::string::npos);
    EXPECT_EQ(report([](Machine& m) { m.hasCounts32 = false; }).find(del), std::string::npos);
    EXPECT_EQ(report([](Machine& m) { m.knowsNamespaces = false; }).find(del), std::string::npos);
    const auto counted = [&](const char* path, DWORD count, bool isRead) {
        return report([&](Machine& m) { m.storedCounts = {{path, count, isRead}}; });
    };
    for (const char* path : {"C:\\P\\.\\B.dll", "\\p\\b.dll"}) {
        EXPECT_EQ(counted(path, 2, false).find(del), std::string::npos);
        EXPECT_NE(counted(path, 1, true).find(del), std::string::npos);
    }
    const std::string ignored = counted("C:\\p\\.\\A.dll", 2, true);
    EXPECT_NE(ignored.find("C:\\p\\.\\A.dll has the count 2"), std::string::npos) << ignored;
    const std::string read = counted("C:\\P\\A.dll", 2, true);
    EXPECT_EQ(read.find("has the count"), std::string::npos) << read;
}

TEST_F(VerdictTest, ANamespaceProviderCountsUnlessItIsDisabled) {
    Machine machine = MachineOf("10 a");
    machine.namespaces = {{"N", "c:\\p\\A.dll", false, false}};
    EXPECT_EQ(Rehearse(machine, L"a.dll").verdict, Verdict::kClean);
    machine.namespaces[0].enabled = true;
    EXPECT_EQ(Rehearse(machine, L"a.dll").verdict, Verdict::kBreaksNetworking);
}

// A report has at most 19 runs, up to the end of a step. After 50 runs the search ends.
TEST_F(VerdictTest, ALongOrderIsShownInParts) {
    std::string notation = "10 b; 11 b [10,1]";
    for (int i = 2; i < 52; ++i) {
        const std::string path = " C:\\l\\" + std::to_string(i) + ".dll";
        notation += "; " + std::to_string(10 * i) + path + "; " + std::to_string(10 * i + 1) + path + " [" +
                    std::to_string(10 * i) + "," + std::to_string(10 * i - 9) + "]";
        if (i == 21 || i == 51) {
            const std::string report = WriteReport(Rehearse(MachineOf(notation), L"b.dll"), false);
            CheckTexts(report,
                       i == 21
                           ? "3.dll<lf>  5. Rehearse again, for the other runs: norvane64-rehearse lsp b.dll"
                           : "within 50 runs!norvane64 remove lsp 2");
        }
    }
}

// What a command line interprets is never printed in a command.
TEST_F(VerdictTest, ANameThatCannotBeTypedIsInNoCommand) {
    const std::pair<const wchar_t*, const char*> names[] = {
        {L"a.dll", "lsp a.dll\n"}, {L"a b&c(d)^;,'@#=+{}[].dll", "lsp \"a b&c(d)^;,'@#=+{}[].dll\"\n"},
        {L"a|calc.exe", nullptr},  {L"%a%.dll", nullptr},
        {L"a$(b).dll", nullptr},   {L"a`b.dll", nullptr},
        {L"a!b.dll", nullptr},     {L"\u4E2D.dll", nullptr}};
    for (const auto& [name, command] : names) {
        Machine machine = MachineOf("10 a; 20 b; 21 b [20,10]; 30 C:\\p\\q.dll; 31 [30,1]");
        for (Catalog* catalog : {&machine.catalogs.catalog64, &machine.catalogs.catalog32}) {
            (*catalog)[2].path = std::wstring(L"C:\\p\\") + name;
        }
        std::string text =
            WriteReport(Rehearse(machine, L"a.dll"), false) + WriteReport(Rehearse(machine, name), false);
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
        const std::string typed = command == nullptr ? "This name cannot be typed" : command;
        EXPECT_NE(text.find(typed), std::string::npos) << text;
        for (const char* start : {"remove lsp ", "rehearse lsp ", "copy \"C:\\p\\", "del \"C:\\p\\"}) {
            const std::string in = start + ToUtf8(name);
            EXPECT_TRUE(command != nullptr || text.find(in) == std::string::npos) << in << "\n" << text;
        }
    }
}

} // namespace
