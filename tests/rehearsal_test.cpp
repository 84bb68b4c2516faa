// The definitions that the verdicts of the rehearsal follow from: a row for each clause, on small machines.
// And the descriptions of machines that it reads, sound and damaged.
//
// A machine is a list of entries of both catalogs, or of the 64-bit catalog and, behind " | ", of the 32-bit
// catalog. Each catalog has the base provider 1 besides. An entry is an id, its GUID in braces where that is
// not the id, its path, and its kind: "*" for a base provider, "[10,1]" for a chain, "[10,1=8]"
// for a chain with another length, nothing for a hidden entry. A path of one letter stands for a DLL in C:\p.
#include <random>
#include <regex>
#include <stdexcept>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/catalog_drawing.h"
#include "machine/export_writer.h"
#include "machine/file_writing.h"
#include "machine/machine_reading.h"
#include "machine/registry_catalogs.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

constexpr char kStateFile[] = "C:\\sandbox\\state.txt";

std::string EntryLine(const std::string& text) {
    static const std::regex form(
        "(\\d+)(?:\\{(\\d+)\\})?(?: ([^\\[*]*?))?(?: ?(\\*)| ?\\[([\\d,]*)(?:=(-?\\d+))?\\])?");
    std::smatch part;
    EXPECT_TRUE(std::regex_match(text, part, form)) << text;
    const std::string path = part[3].length() == 1 ? "C:\\p\\" + part.str(3) + ".dll" : part.str(3);
    return "entry " + part.str(1) + " {" + (part[2].matched ? part : part).str(part[2].matched ? 2 : 1) +
           "} path=\"" + path + "\"" + (part[4].matched ? " length=1" : "") +
           (part[5].length() != 0 ? " chain=" + part.str(5) : "") +
           (part[6].matched ? " length=" + part.str(6) : "") + "\n";
}

std::string StateOf(const std::string& machine) {
    const std::vector<std::string> catalogs = SplitAt(machine, " | ");
    std::string state = "next-id 1100\n";
    for (const bool is32 : {false, true}) {
        state += is32 ? "catalog 32\nentry 1 {1} length=1\n" : "catalog 64\nentry 1 {1} length=1\n";
        const std::string& entries = is32 ? catalogs.back() : catalogs.front();
        for (const std::string& entry : SplitAt(entries, "; ")) {
            state += entry == "-" ? "" : EntryLine(entry);
        }
    }
    return state;
}

std::string RehearseOn(const std::string& machine, const std::string& words) {
    WriteWholeFile(kStateFile, StateOf(Unescaped(machine)));
    return RunChild(std::string("C:\\sandbox\\norvane64-rehearse.exe --from ") + kStateFile + " lsp " +
                    words);
}

// The machine, the DLL name, exit code and counts of --brief (removed from each catalog, remaining, stopping,
// defective), and texts of the report; those behind "!" are not in it.
constexpr char kRows[] = R"(
# What remains works as before.
10 a; 11 a [10,1] ~ a.dll ~ 0 2 2 0 0 0 ~ CLEAN: norvane64 remove lsp a.dll!Would remain!Would stop
10 a; 11 a [10,1]; 20 b; 21 b [20,1] | 20 b; 21 b [20,1] ~ a.dll ~ 0 2 0 0 0 0
10 C:\p\%X%\a.dll ~ a.dll ~ 0 1 1 0 0 0
10 \p\a.dll ~ a.dll ~ 0 1 1 0 0 0
10 C:/q\a.dll ~ a.dll ~ 0 1 1 0 0 0
10 C:/q/a.dll ~ C:/q/a.dll ~ 0 1 1 0 0 0 ~ CLEAN!without a folder
10{30} c*; 10 a; 11 a [10,1] ~ a.dll ~ 0 2 2 0 0 0
# Nothing has the name.
10 b ~ a.dll ~ 2 0 0 0 0 0 ~ The DLL names of this machine are: b.dll!Did you mean x
2 a*; 10 b ~ a.dll ~ 2 0 0 0 0 0
10 C:\p\mid.dll; 20 C:\p\other.dll ~ midd.dll ~ 2 0 0 0 0 0 ~ Did you mean mid.dll?
10 C:\p\A.dll ~ a.dll ~ 2 0 0 0 0 0 ~ Did you mean A.dll?
10 a ~ C:\p\a.dll ~ 2 0 0 0 0 0 ~ without a folder
10 a ~  ~ 2 0 0 0 0 0
10 a | 30 b [99,1] ~  ~ 2 0 0 0 0 1 ~ "netsh winsock reset" and a restart!rehearse lsp
10 C:\p\<e4><b8><ad>.dll ~ ?.dll ~ 2 0 0 0 0 0
# The file remains, or that of another removed entry.
10 %SystemRoot%\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ delete by hand: C:\Windows\a.dll
10 a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ begins with neither!delete by hand
10 C:q\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ begins with neither!delete by hand
10 C:\<e4><b8><ad>\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ the code page lacks a character
10 a; 11 b [10,1] ~ a.dll ~ 3 2 2 1 0 0 ~ delete by hand: C:\p\b.dll
10 a; 11 C:\P\.\A.dll [10,1] ~ a.dll ~ 0 2 2 0 0 0
10 a; 11 b [10,1]; 2 C:\P\B.dll* ~ a.dll ~ 3 2 2 1 0 0 ~ File C:\p\b.dll!delete by hand
10 C:\Windows\system32\a.dll ~ a.dll ~ 3 1 1 1 0 0 ~ SysWOW64\a.dll, which 32-bit programs open as
10 D:\Windows\system32\a.dll ~ a.dll ~ 0 1 1 0 0 0
10 a; 11 b [10,1] | 10 b ~ a.dll ~ 3 2 1 1 0 0
# An LSP, or a layered entry without one, remains that has the name or a file of a removed entry.
10 a; 20 C:\q\a.dll ~ a.dll ~ 3 1 1 2 0 0 ~ and again until the rehearsal says NOTHING TO DO
10 a | 20 C:\q\a.dll ~ a.dll ~ 3 1 0 1 0 0 ~ the command looks for names in the 64-bit catalog alone
10 a; 20 C:\q\A.dll ~ a.dll ~ 0 1 1 0 0 0
10 a; 20 C:\P\A.dll ~ a.dll ~ 3 1 1 2 0 0
10 a; 30 C:\q\a.dll [99,1] ~ a.dll ~ 3 1 1 2 0 2
10 a; 30 C:\P\A.DLL [99,1] ~ a.dll ~ 3 1 1 2 0 2
10 a; 30 C:\q\A.DLL [99,1] ~ a.dll ~ 0 1 1 0 0 2
10 a | 30 a [99,1] ~ a.dll ~ 3 1 0 1 0 1
10 a; 11 b [10,1]; 20 b ~ a.dll ~ 3 2 2 3 0 0 ~ nothing is left but "netsh winsock reset"!delete by hand
30 b [99,1] ~  ~ 3 1 1 1 0 2 ~ norvane64 remove lsp ""!MISSING 99
# An LSP of the 32-bit catalog alone that looks like a part of the product, or not.
10 C:\p\flt64.dll | 40 C:\q\flt32.dll ~ flt64.dll ~ 3 1 0 1 0 0
10 C:\p\fltx64.dll | 40 C:\q\FLT.dll ~ fltx64.dll ~ 3 1 0 1 0 0
10 C:\p\flt.dll | 40 C:\q\flt_x86.dll ~ flt.dll ~ 0 1 0 0 0 0
10 C:\p\flt_64.dll | 40 C:\q\flt_x86.dll ~ flt_64.dll ~ 3 1 0 1 0 0
10 C:\p\flt48.dll | 40 C:\q\flt32.dll ~ flt48.dll ~ 0 1 0 0 0 0
10 a | 40 C:\P\z.dll ~ a.dll ~ 3 1 0 1 0 0
10 a | 40 C:\q\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 a | 40 C:\p\q\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 a | 41 C:\p\z.dll [99,1] ~ a.dll ~ 0 1 0 0 0 1
10 a; 40 C:\q\z.dll | 40 C:\p\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\a.dll | 40 C:\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\Windows\a.dll | 40 C:\Windows\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\Windows\SysWOW64\a.dll | 40 C:\Windows\system32\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\Windows\system32\a.dll | 40 C:\Windows\Sysnative\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\Program Files\a.dll | 40 C:\Program Files\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\Program Files (x86)\a.dll | 40 %ProgramFiles%\z.dll ~ a.dll ~ 0 1 0 0 0 0
10 C:\Program Files\a\a.dll | 40 C:\Program Files\a\z.dll ~ a.dll ~ 3 1 0 1 0 0
# The command does not find the name that an LSP has.
10 b | 20 a ~ a.dll ~ 3 0 0 1 0 0
10 C:/p/a.dll ~ a.dll ~ 3 0 0 2 0 0 ~ the command does not find it
2{10} c*; 10 a ~ a.dll ~ 3 0 0 2 0 0
# An entry that programs use stops working, or loses an id.
10 a; 11 a [10,1]; 20 b; 21 b [20,11,1] ~ a.dll ~ 4 2 2 0 1 0
10 a; 20 b; 21 b [20,10,1] ~ a.dll ~ 4 1 1 0 1 0
10 a; 20 b; 21 b [20,10,9] ~ a.dll ~ 4 1 1 0 1 2
10 a; 20 b; 21 b [20,1,10=2] ~ a.dll ~ 0 1 1 0 0 0
10 a; 10{30} c*; 20 b; 21 b [20,10] ~ a.dll ~ 0 1 1 0 0 0
10 a; 2 C:\P\a.dll* ~ a.dll ~ 4 1 1 0 1 0
10 a; 20 b; 21 c [20,22]; 22 C:\p\A.dll* ~ a.dll ~ 4 1 1 0 2 0
10 C:\Program Files (x86)\a.dll | 2 %ProgramFiles%\a.dll* ~ a.dll ~ 4 1 0 0 1 0
10 a; 20 C:\p\A.dll; 21 b [20,1] ~ a.dll ~ 4 1 1 2 1 0
10 a; 11 a [10,1]; 20 a; 21 a [20,1] ~ a.dll ~ 4 2 2 2 1 0 ~ Run the command 2 times: norvane64
10 a; 11 a [10,1] | 10 a; 12{112} a [10,1]; 20 C:\q\b.dll; 21 C:\q\b.dll [20,12] ~ a.dll ~ 4 2 1 1 2 0
10 a; 11 a [10,1] | 40 a; 41 a [40,1] ~ a.dll ~ 4 2 0 1 1 0
10 a; 11 a [10,1] | 40 C:\q\a.dll ~ a.dll ~ 3 2 0 1 0 0
10 a; 20 b; 21 b [20,1]; 30 c; 31 c [30,21,11]; 11 a [10,21] ~ a.dll ~ 4 2 2 0 1 0
# A base provider is removed, or another LSP or an entry of one.
10{5} a; 2{5} c* ~ a.dll ~ 4 2 2 1 1 0
10{5} a; 2{5} c*; 20 a ~ a.dll ~ 4 2 2 3 1 0 ~ No order of removals!Run the command
10{5} a | 2{5} c* ~ a.dll ~ 4 1 1 1 1 0
2{10} c*; 10 a ~ c.dll ~ 4 2 2 1 1 0
10 a; 20{10} c ~ a.dll ~ 4 2 2 1 1 0
10 a | 20{10} c ~ a.dll ~ 3 1 1 1 0 0
10 a; 11 a [10,1]; 20 b; 21{11} b [20,1] ~ a.dll ~ 4 3 3 3 1 0
# Which entries work.
10 a; 20 b; 21 b [20,1] ~ a.dll ~ 0 1 1 0 0 0
10 a; 20 b [=-1] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,1,1,1,1,1,1] ~ a.dll ~ 0 1 1 0 0 0
10 a; 20 b; 21 b [20,1,1,1,1,1,1=8] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,10,1=1000] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,1,9] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 0 b*; 21 b [20,0] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,1,0=2] ~ a.dll ~ 0 1 1 0 0 0
10 a; 20 b; 21 b [20,21] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,21]; 21{22} b* ~ a.dll ~ 0 1 1 0 0 0
10 a; 20 b; 2 b [20,9]; 2{3} b*; 21 b [20,2] ~ a.dll ~ 0 1 1 0 0 2
10 a; 20 b; 21 b [20,22]; 22 b [20,21] ~ a.dll ~ 0 1 1 0 0 4
10 a; 20 b; 21 b [20,22]; 22 b [20,23]; 23 b [20,9] ~ a.dll ~ 0 1 1 0 0 6)";

class VerdictTest : public MachineTest {
  protected:
    void SetUp() override {
        MachineTest::SetUp();
        PrepareMachine("");
    }
};

void CheckTexts(const std::string& report, const std::string& expected) {
    const std::vector<std::string> texts = SplitAt(expected, "!");
    for (size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(report.find(texts[i]) != std::string::npos, i == 0) << texts[i] << "\n" << report;
    }
}

TEST_F(VerdictTest, FollowsFromEachClause) {
    const char* const verdicts[] = {"CLEAN", "", "NOTHING TO DO", "INCOMPLETE", "BREAKS NETWORKING"};
    for (const std::string& row : SplitAt(kRows + 1, "\n")) {
        const std::vector<std::string> fields = SplitAt(row, " ~ ");
        if (row[0] == '#') {
            continue;
        }
        ASSERT_GE(fields.size(), 3u) << row;
        std::string expected = fields[2].substr(1) + " 0\n"; // no warnings
        ReplaceAll(expected, " ", "\t");
        const DWORD verdict = static_cast<DWORD>(fields[2][0] - '0');
        EXPECT_EQ(RehearseOn(fields[0], "--brief \"" + fields[1] + "\""),
                  std::string(kStateFile) + "\t" + verdicts[verdict] + expected)
            << row;
        EXPECT_EQ(lastExitCode, verdict) << row;
        if (fields.size() > 3) {
            CheckTexts(RehearseOn(fields[0], "\"" + fields[1] + "\""), fields[3]);
        }
    }
}

// The path of an LSP, whose file is deleted, that of a base provider of both catalogs, and the programs that
// cannot use it then.
constexpr char kSpellings[] = R"(
C:\Windows\x.dll ~ %SystemRoot%\x.dll ~ 64-bit and 32-bit programs
C:\Windows\x.dll ~ %WinDir%\x.dll ~ 64-bit and 32-bit programs
C:\x.dll ~ %systemdrive%\x.dll ~ 64-bit and 32-bit programs
C:\Program Files\x.dll ~ %ProgramFiles%\x.dll ~ : 64-bit programs
C:\Program Files (x86)\x.dll ~ %ProgramFiles%\x.dll ~ : 32-bit programs
C:\Program Files (x86)\x.dll ~ %ProgramFiles(x86)%\x.dll ~ 64-bit and 32-bit programs
C:\Program Files\x.dll ~ %ProgramW6432%\x.dll ~ 64-bit and 32-bit programs
C:\Program Files\Common Files\x.dll ~ %CommonProgramFiles%\x.dll ~ : 64-bit programs
C:\Program Files (x86)\Common Files\x.dll ~ %CommonProgramFiles%\x.dll ~ : 32-bit programs
C:\Program Files (x86)\Common Files\x.dll ~ %CommonProgramFiles(x86)%\x.dll ~ 64-bit and 32-bit programs
C:\Program Files\Common Files\x.dll ~ %CommonProgramW6432%\x.dll ~ 64-bit and 32-bit programs
C:\ProgramData\x.dll ~ %ProgramData%\x.dll ~ 64-bit and 32-bit programs
C:\ProgramData\x.dll ~ %ALLUSERSPROFILE%\x.dll ~ 64-bit and 32-bit programs
C:\%X%\x.dll ~ C:\%x%\x.dll ~ 64-bit and 32-bit programs
C:\x.dll ~ %X%\x.dll ~ CLEAN
C:\100%\x.dll ~ %SystemDrive%\100%\x.dll ~ 64-bit and 32-bit programs
C:\Windows\System32\x.dll ~ C:\Windows\system32\x.dll ~ : 64-bit programs
C:\Windows\System32\x.dll ~ %SystemRoot%\Sysnative\x.dll ~ : 32-bit programs
C:\Windows\SysWOW64\x.dll ~ %windir%\System32\x.dll ~ : 32-bit programs
C:\Windows\SysWOW64\x.dll ~ C:\Windows\syswow64\x.dll ~ 64-bit and 32-bit programs
C:\Windows\System32\x.dll ~ \\?\C:\Windows\System32\x.dll ~ : 64-bit programs
C:\Windows\SysWOW64\q\x.dll ~ C:/Windows/x/../System32/q/x.dll ~ : 32-bit programs
C:\Windows\System32x\x.dll ~ C:\Windows\System32x\x.dll ~ 64-bit and 32-bit programs
D:\Windows\System32\x.dll ~ D:\Windows\System32\x.dll ~ 64-bit and 32-bit programs
C:\p\x.dll ~ \\?\C:\p\x.dll ~ 64-bit and 32-bit programs
C:\p\x.dll ~ c:/P\X.DLL ~ 64-bit and 32-bit programs
C:\p\x.dll ~ C:\\p\.\q\..\\x.dll ~ 64-bit and 32-bit programs
C:\p\x.dll ~ C:\..\p\x.dll ~ 64-bit and 32-bit programs
C:\p\x.dll ~ C:\p. .\x.dll .  ~ 64-bit and 32-bit programs
C:\p\x.dll ~ \p\x.dll ~ 64-bit and 32-bit programs
C:\p\x.dll ~ D:\p\x.dll ~ CLEAN
C:\p\x.dll ~ C:\p\ x.dll ~ CLEAN
C:\<c3><a9>\x.dll ~ c:\<c3><89>\x.dll ~ 64-bit and 32-bit programs)";

TEST_F(VerdictTest, OneFileHasManySpellings) {
    for (const std::string& row : SplitAt(kSpellings + 1, "\n")) {
        const std::vector<std::string> fields = SplitAt(row, " ~ ");
        const std::string machine = "10 " + fields[0] + "; 2 " + fields[1] + "* | 2 " + fields[1] + "*";
        CheckTexts(RehearseOn(machine, "x.dll"), fields[2]);
        EXPECT_EQ(lastExitCode, fields[2] == "CLEAN" ? 0u : 4u) << row;
    }
}

constexpr char kDescription[] = "C:\\sandbox\\machine.reg";
constexpr char kMachine[] = "10 a; 11 a [10,1]; 20 C:\\\xC3\xA9\\b.dll; 21 b [20,11,1]; 30 %X%\\c:d.dll";

Machine ReadDescription(const std::string& bytes) {
    WriteWholeFile(kDescription, bytes);
    return ReadMachine({kDescription});
}

// What is wrong with a description; empty for nothing.
std::string RefusalOf(const std::string& bytes) {
    try {
        ReadDescription(bytes);
        return "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

// Changes a text between two places as copying and pasting, or a bad disk, could.
std::string Damaged(std::mt19937& random, std::string text, size_t from, size_t to) {
    const auto below = [&](size_t limit) { return random() % limit; };
    const size_t at = from + below(to - from);
    const size_t length = 1 + below(std::min<size_t>(to - at, 150));
    switch (below(6)) {
    case 0:
        return text.substr(0, at);
    case 1:
        return text.erase(at, length);
    case 2:
        return text.insert(from + below(to - from), text.substr(at, length));
    case 3:
        return text.insert(text.find('\n', at) + 1, "Some other text\r\n");
    case 4:
        return text.erase(text.find('\n', at), 1);
    default:
        text[at] = "\\\"[]=,:\r\n;x0\xFF{}-> "[below(19)];
    }
    return text;
}

// Damage is reported: by an exception with the line or the key, or by a warning. No entry is lost without
// one.
void CheckDamaged(const std::string& bytes, const WinsockState& sound) {
    const std::regex place("machine\\.reg:( no catalogs|\\d+: |HKEY_)");
    try {
        const Machine machine = ReadDescription(bytes);
        EXPECT_TRUE(!machine.warnings.empty() ||
                    machine.state.catalog64.size() + machine.state.catalog32.size() ==
                        sound.catalog64.size() + sound.catalog32.size())
            << bytes;
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::regex_search(error.what(), place)) << error.what();
    }
}

TEST_F(VerdictTest, DamagedDescriptionsAreReported) {
    std::mt19937 random(20261126);
    const WinsockState state = ParseWinsockState(StateOf(kMachine));
    const std::string sound = ExportOf(state);
    const std::string listing = ListingOf(state);
    for (int round = 0; round < 600; ++round) {
        std::string bytes = AsWide(Damaged(random, sound, 0, sound.size()));
        bytes.resize(random() % 9 == 0 ? random() % bytes.size() : bytes.size());
        CheckDamaged(bytes, state);
        // Of a listing one block is damaged: it does not say how many there were.
        size_t from = 0;
        for (size_t block = random() % 12; block > 0; --block) {
            from = listing.find("\r\n--", from + 1);
        }
        CheckDamaged(Damaged(random, listing, from + 2, listing.find("\r\n\r\n", from)), state);
        if (HasFailure()) {
            FAIL() << "round " << round;
        }
    }
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    ReplaceAll(text, from, to);
    return text;
}

TEST_F(VerdictTest, AListingIsReadHoweverItWasPasted) {
    const WinsockState state = ParseWinsockState(StateOf(kMachine));
    const std::string listing = ListingOf(state);
    const std::string quoted = Replaced("> " + listing, "\r\n", "\r\n> ");
    const std::string narrow = std::regex_replace(listing, std::regex(" {2,}"), " ");
    const std::string translated =
        std::regex_replace(listing, std::regex("(\n[A-Z][A-Za-z ]+):"), "$1\xEF\xBC\x9A");
    const std::string pasted[] = {
        listing,
        AsWide(listing),
        "\xEF\xBB\xBF" + listing,
        conv_to_char(conv_utf8_to_wchar(listing.c_str()).c_str()),
        Replaced(listing, "\xC3\xA9", "\x82"), // the OEM code page
        quoted,
        Replaced(narrow, ": ", ":"),
        Replaced(listing, "\r\n\r\n", "\r\n"),
        Replaced(listing, "\r\n", "\n"),
        "Hello,\r\nmy log: here\r\n----------------\r\n" +
            Replaced(listing, "\r\n\r\n", "\r\n\r\nsee: below\r\n\r\n"),
        Replaced(translated, "Layered Chain Entry", "\xE4\xB8\xAD"),
    };
    for (const std::string& text : pasted) {
        const Machine machine = ReadDescription(text);
        EXPECT_EQ(DrawCatalogs(machine.state), DrawCatalogs(state)) << text;
        EXPECT_EQ(machine.warnings, std::vector<std::string>{});
        EXPECT_EQ(machine.namespaces.size(), 1u);
    }
}

TEST_F(VerdictTest, WhatWindowsWouldNotHaveWrittenIsWarnedAbout) {
    WinsockState state = ParseWinsockState("entry 1 {1} length=1\nentry 2 {2} length=1000 path=C:\\a.dll\n");
    std::fill_n(state.catalog64[0].info.szProtocol, WSAPROTOCOL_LEN + 1, L'n');
    state.catalog64[1].path.assign(300, L'p');
    const std::string key = std::string("[HKEY_LOCAL_MACHINE\\") + kWinsockParametersKey;
    std::string text = ExportOf(state);
    ReplaceAll(text, "\"Num_Catalog_Entries64\"=dword:00000002", "\"Num_Catalog_Entries64\"=hex:03");
    ReplaceAll(text, "\"Next_Catalog", "\"No_Catalog");
    const Machine machine = ReadDescription(AsWide(
        text + key +
        "\\Protocol_Catalog9\\Catalog_Entries64\\000000000009]\r\n\"PackedCatalogItem\"=hex(3):01,02\r\n" +
        key + "\\NameSpace_Catalog5\\Catalog_Entries\\000000000001]\r\n"));
    std::string warnings;
    for (const std::string& warning : machine.warnings) {
        warnings += warning.substr(warning.rfind('\\') + 1) + "\n";
    }
    EXPECT_EQ(
        warnings,
        "Protocol_Catalog9: Num_Catalog_Entries64 is not a REG_DWORD of 4 bytes, and there are 3 entries\n"
        "000000000009: 000000000003 is expected here\n"
        "000000000001: its name has no terminator\n"
        "000000000002: its path has no terminator\n"
        "000000000002: its chain length is 1000\n"
        "000000000009: not read: its PackedCatalogItem has 2 bytes\n"
        "Protocol_Catalog9: Next_Catalog_Entry_ID is missing\n"
        "NameSpace_Catalog5: Num_Catalog_Entries is 0, and there are 1 entries\n"
        "000000000001: LibraryPath is missing\n");
    EXPECT_EQ(machine.state.catalog64.size(), 2u);
    EXPECT_TRUE(machine.incomplete);
    text = ExportOf(ParseWinsockState(StateOf(kMachine)));
    const Machine plain = ReadDescription(AsWide(text.substr(0, text.find(key + "\\NameSpace"))));
    EXPECT_FALSE(plain.incomplete);
    EXPECT_EQ(plain.warnings.size(), 2u);
    const Machine bare = ReadDescription(AsWide(Replaced(text, "\"Current_NameSpace", "\"No")));
    EXPECT_FALSE(bare.incomplete);
    EXPECT_EQ(bare.warnings.size(), 1u);
}

TEST_F(VerdictTest, WhatCannotBeUsedIsRefusedWithAReason) {
    const std::string sound = ExportOf(ParseWinsockState(StateOf(kMachine)));
    const std::string listing = ListingOf(ParseWinsockState(StateOf(kMachine)));
    const auto with = [&](const char* line) { return AsWide(sound + line + "\r\n"); };
    const auto without = [&](const char* from, const char* to) { return AsWide(Replaced(sound, from, to)); };
    const std::pair<std::string, const char*> refused[] = {
        {with("\"a\"=hex(2:00"), "not a kind of value: hex(2"},
        {with("\"a\"=hex(x):00"), "not a number from -2147483648 to 4294967295: 0xx"},
        {with("\"a\"=\"b\"c"), "something behind a closing quote: c"},
        {with("\"a\"=hex:0102"), "not hexadecimal bytes: 0102"},
        {with("\"a\"=hex:01,"), "not hexadecimal bytes: 01,"},
        {with("\"a\"=hex:\xC2\xB1"), "not hexadecimal bytes: \xC2\xB1"},
        {with("\"a\"=dword:0000002"), "not a number of eight digits: 0000002"},
        {with("\"a\"=hex:01,\\\r\n\r\n"), "not hexadecimal bytes: "},
        {with("\"a\"=hex:01,\\"), "the file is cut off"},
        {"\xEF\xBB\xBF" + sound, ".reg:1: saved in another encoding; export again with reg export"},
        {without("\\Parameters]", "\\Other]"), "export the whole key HKLM\\SYSTEM\\CurrentControlSet"},
        {without("HKEY_LOCAL_MACHINE", "HKEY_USERS\\x"), "HKEY_LOCAL_MACHINE alone; export the whole key"},
        {without("Catalog_Entries64", "Entries"), "this is a 32-bit Windows"},
        {without("Catalog_Entries64\\000000000002", "Catalog_Entries64\\000000000001"), "twice: HKEY_LOCAL"},
        {with("[HKEY_LOCAL_MACHINE\\X]").substr(1), ".reg:1: "},
        {"Windows Registry Editor Version 5.00\r\n", ".reg: no catalogs"},
        {"entry 1 {1} length=1\nentry 2 {2} length=", ".reg:2: the file is cut off"},
        {"entry 1 {1} chain=2,\n", ".reg:1: a comma without an id"},
        {"entry 1 {1} chain=,2\n", ".reg:1: a comma without an id"},
        {"", ".reg:1: the file is empty"},
        {listing.substr(0, 400), ".reg:1: no entry of a catalog can be read"},
    };
    for (const auto& [bytes, reason] : refused) {
        EXPECT_NE(RefusalOf(bytes).find(reason), std::string::npos) << reason << "\n" << RefusalOf(bytes);
    }
}

// Older exports are ANSI, and their texts of other types are, too.
TEST_F(VerdictTest, AnOldExportIsReadInTheCodePage) {
    WinsockState state = ParseWinsockState("entry 1 {1} length=1 name=x");
    state.catalog64[0].path = L"C:\\a\nb.dll"; // which must not forge a line
    std::string text = ExportOf(state);
    ReplaceAll(text, "Windows Registry Editor Version 5.00", "REGEDIT4");
    ReplaceAll(text, "\"Protocol_Catalog9\"", "hex(2):50,72,6f,74,6f,63,6f,6c,5f,43,61,74,61,6c,6f,67,39,00");
    ReplaceAll(text, "C:\\\\p\\\\a.dll", "C:\\\\p\\\\\xE9\\\"a.dll");
    const Machine machine = ReadDescription(text);
    EXPECT_EQ(DrawCatalogs(machine.state),
              "\n64-bit catalog\n    1     base     x  C:\\a?b.dll\n\n32-bit catalog: empty\n");
    ASSERT_EQ(machine.namespaces.size(), 1u);
    EXPECT_EQ(machine.namespaces[0].path, "C:\\p\\\xC3\xA9\"a.dll");
}

} // namespace
