// The rehearsal against the program that it foresees; and the pictures that it reads, sound and damaged.
#include <random>
#include <regex>
#include <stdexcept>

#include "common/text_conversion.h"
#include "machine/catalog_drawing.h"
#include "machine/export_writer.h"
#include "machine/file_reading.h"
#include "machine/file_writing.h"
#include "machine/machine.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

using RehearsalTest = MachineTest;

constexpr char kPicture[] = "C:\\sandbox\\picture.reg";
const std::string kProgram = "C:\\sandbox\\release\\norvane64.exe remove lsp ";
const std::string kRehearsal = "C:\\sandbox\\norvane64-rehearse.exe ";

void WritePicture(const std::string& text) {
    WriteWholeFile(kPicture, AsWide(text));
}

// What stands between two texts of a report.
std::string Between(const std::string& report, const std::string& start, const std::string& end) {
    const size_t from = report.find(start);
    const size_t to = end.empty() ? report.size() : report.find(end, from);
    return from == std::string::npos || to == std::string::npos
               ? "not there: " + start
               : report.substr(from + start.size(), to - from - start.size());
}

// An LSP's hidden entry, and layers over entries that are there already, or over ids that are not.
void AddRandomLsp(std::mt19937& random, WinsockState& state) {
    const auto below = [&](size_t limit) { return static_cast<DWORD>(random() % limit); };
    const wchar_t* const paths[] = {L"C:\\p\\a.dll", L"C:\\p\\b.dll", L"%X%\\c.dll", L"C:\\p\\d & \xE9.dll",
                                    L"a.dll"};
    SimulatedEntry entry = {{}, paths[below(5)]};
    const DWORD hidden = state.nextId++;
    entry.info.dwCatalogEntryId = hidden;
    entry.info.ProviderId.Data1 = hidden;
    wcscpy_s(entry.info.szProtocol, below(9) == 0 ? L"\u4E2D" : L"LSP");
    std::vector<SimulatedEntry> added = {entry};
    for (DWORD layers = below(4); layers > 0; --layers) {
        entry.info.dwCatalogEntryId = state.nextId++;
        entry.info.ProviderId.Data1 = below(3) == 0 ? hidden : entry.info.dwCatalogEntryId;
        WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        chain = {2 + static_cast<int>(below(3)), {hidden}};
        for (int i = 1; i < chain.ChainLen; ++i) {
            chain.ChainEntries[i] = 1001 + below(state.nextId - 1000);
        }
        added.push_back(entry);
    }
    for (SimulatedCatalog* catalog : {&state.catalog64, &state.catalog32}) {
        if (below(5) != 0) {
            catalog->insert(catalog->end(), added.begin(), added.end());
        }
    }
}

WinsockState RandomMachine(std::mt19937& random) {
    WinsockState state;
    for (int i = 0; i < 3; ++i) {
        SimulatedEntry base = {{}, L"%SystemRoot%\\system32\\mswsock.dll"};
        base.info.dwCatalogEntryId = state.nextId++;
        base.info.ProviderId.Data1 = 1;
        base.info.ProtocolChain.ChainLen = BASE_PROTOCOL;
        state.catalog64.push_back(base);
    }
    state.catalog32 = state.catalog64;
    for (unsigned lsps = random() % 5; lsps > 0; --lsps) {
        AddRandomLsp(random, state);
    }
    return state;
}

TEST_F(RehearsalTest, ForeseesWhatTheProgramDoes) {
    std::mt19937 random(20261125);
    PrepareMachine("");
    CreateDirectoryA("C:\\p", nullptr);
    for (int round = 0; round < 300; ++round) {
        const WinsockState state = round == 0
                                       ? ParseWinsockState(ReadWholeFile("C:\\sandbox\\sample_winsock.txt"))
                                       : RandomMachine(random);
        const char* const names[] = {"a.dll", "b.dll", "c.dll", "d & \xE9.dll", "\"\""};
        const std::string name = round == 0 ? "examplelsp.dll" : names[random() % 5];
        for (const char* file : {"C:\\p\\a.dll", "C:\\p\\b.dll", "C:\\p\\d & \xE9.dll",
                                 "C:\\windows\\system32\\examplelsp.dll"}) {
            WriteWholeFile(file, "stands for a DLL");
        }
        WritePicture(ExportOf(state));
        WriteWholeFile("C:\\sandbox\\winsock.txt", FormatWinsockState(state));
        const std::string report = RunChild(kRehearsal + "--picture " + kPicture + " lsp " + name);
        std::string trace = ReplaceStamps(RunChild(kProgram + name), "");
        ReplaceAll(trace, "d & \xE9", "d & \xC3\xA9"); // the report is UTF-8
        ASSERT_EQ(Between(report, "The trace of the command\n\n", ""), trace) << "round " << round << "\n"
                                                                              << report;
        const std::string before = Between(report, "The catalogs before\n", "\nThe catalogs after");
        const std::string after = Between(report, "The catalogs after\n", "\nThe trace of");
        EXPECT_TRUE(!report.starts_with("CLEAN") ||
                    SplitAt(after, "is gone").size() <= SplitAt(before, "is gone").size())
            << report;
        ASSERT_EQ(after, DrawCatalogs(ParseWinsockState(ReadWholeFile("C:\\sandbox\\winsock.txt"))))
            << "round " << round << "\n"
            << report;
    }
}

// Without what a live machine and a picture differ in by their nature: the first line, and what is taken for granted.
std::string Comparable(const std::string& report) {
    const std::string text = report.substr(std::min(report.find('\n'), report.size()));
    const size_t granted = std::min(text.find("\nTaken for granted"), text.size());
    return text.substr(0, granted) +
           text.substr(std::min(text.find("\nThe catalogs before", granted), text.size()));
}

TEST_F(RehearsalTest, ALiveMachineAndItsPicturesGiveOneReport) {
    const WinsockState state = ParseWinsockState(
        "next-id 1050\nentry 1001 {1} length=1\nentry 1010 {2} path=C:\\p\\a.dll "
        "name=\"@%SystemRoot%\\a.dll,-1\"\n"
        "entry 1020 {3} chain=1010,1001 path=C:\\p\\a.dll\ncatalog 32\nentry 1001 {1} length=1\n"
        "entry 1030 {2} path=\"Y:\\other drive\\\xC3\xA9 & (x).dll\"\nentry 1031 {4} chain=1030,1001,1001\n");
    WritePicture(ExportOf(state));
    CreateDirectoryA("C:\\p", nullptr);
    WriteWholeFile("C:\\p\\a.dll", "stands for a DLL");
    RunChild("reg delete HKLM" + kParameters.substr(18) + " /f");
    RunChild(std::string("reg import ") + kPicture);
    RunChild("reg export HKLM" + kParameters.substr(18) + " C:\\sandbox\\exported.reg /y");
    const std::string fromPicture = RunChild(kRehearsal + "--picture " + kPicture + " lsp a.dll");
    EXPECT_NE(
        fromPicture.find("The namespace provider \"@%SystemRoot%\\System32\\mswsock.dll,-60100\" names"),
        std::string::npos)
        << fromPicture;
    EXPECT_EQ(Comparable(RunChild(kRehearsal + "lsp a.dll")), Comparable(fromPicture));
    EXPECT_EQ(Comparable(RunChild(kRehearsal + "--picture C:\\sandbox\\exported.reg lsp a.dll")),
              Comparable(fromPicture));
    EXPECT_EQ(Comparable(RunChild(kRehearsal + "list")),
              Comparable(RunChild(kRehearsal + "--picture " + kPicture + " list")));
    RunChild("reg delete HKLM" + kParameters.substr(18) + " /f");
    RunChild(kRehearsal + "list");
    EXPECT_EQ(lastExitCode, 1u);
    RunChild(kRehearsal + "--picture " + kPicture + " lsp a.dll", ChildOutput::kUnwritable);
    EXPECT_EQ(lastExitCode, 1u) << "a report that cannot be written is no verdict";
}

// What is damaged is told: by an exception that names the line or the key, or by a warning. No entry is lost in silence.
TEST_F(RehearsalTest, DamagedPicturesAreTold) {
    std::mt19937 random(20261126);
    const auto below = [&](size_t limit) { return random() % limit; };
    const WinsockState state = RandomMachine(random);
    const std::string sound = ExportOf(state);
    for (int round = 0; round < 400; ++round) {
        std::string text = sound;
        switch (below(5)) {
        case 0:
            text.resize(below(text.size()));
            break;
        case 1:
            text.erase(below(text.size()), 1 + below(300));
            break;
        case 2: {
            const size_t from = below(text.size());
            const size_t length = below(300);
            text.insert(below(text.size()), text, from, length);
            break;
        }
        default:
            text[below(text.size())] = "\\\"[]=,:\r\n;x0\xFF"[below(13)];
        }
        WritePicture(text);
        if (below(9) == 0) {
            WriteWholeFile(kPicture, ReadWholeFile(kPicture).substr(0, below(40000)));
        }
        try {
            const Machine machine = ReadMachine({kPicture});
            EXPECT_TRUE(!machine.warnings.empty() ||
                        (machine.state.catalog64.size() == state.catalog64.size() &&
                         machine.state.catalog32.size() == state.catalog32.size()))
                << "round " << round;
        } catch (const std::runtime_error& error) {
            EXPECT_TRUE(
                std::regex_search(error.what(), std::regex("picture.reg:( no catalogs|\\d+: |HKEY_LOCAL)")))
                << error.what();
        }
        if (round < 20) {
            RunChild(kRehearsal + "--picture " + kPicture + " lsp a.dll");
            EXPECT_LE(lastExitCode, 4u);
        }
    }
}

TEST_F(RehearsalTest, WhatWindowsWouldNotHaveWrittenIsNamed) {
    WinsockState state = ParseWinsockState("entry 1 {1} length=1\nentry 2 {2} length=1000 path=C:\\a.dll\n");
    std::fill_n(state.catalog64[0].info.szProtocol, WSAPROTOCOL_LEN + 1, L'n');
    state.catalog64[1].path.assign(300, L'p');
    std::string text = ExportOf(state);
    ReplaceAll(text, "\"Num_Catalog_Entries64\"=dword:00000002", "\"Num_Catalog_Entries64\"=dword:00000003");
    WritePicture(text + "[" + kParameters +
                 "\\Protocol_Catalog9\\Catalog_Entries64\\000000000009]\r\n"
                 "\"PackedCatalogItem\"=hex(3):01,02\r\n[" +
                 kParameters + "\\NameSpace_Catalog5\\Catalog_Entries\\1]\r\n");
    const Machine machine = ReadMachine({kPicture});
    std::string warnings;
    for (const std::string& warning : machine.warnings) {
        warnings += warning.substr(warning.rfind('\\') + 1) + "\n";
    }
    EXPECT_EQ(warnings, "000000000001: the name has no end\n"
                        "000000000002: the path has no end\n"
                        "000000000002: a chain of 1000 ids\n"
                        "000000000009: left out, as its PackedCatalogItem has 2 bytes\n"
                        "NameSpace_Catalog5: Num_Catalog_Entries is 0, and there are 1\n"
                        "1: no LibraryPath\n");
    EXPECT_EQ(machine.state.catalog64.size(), 2u);
    text = ExportOf(state);
    WritePicture(text.substr(0, text.find("[" + kParameters + "\\NameSpace")));
    EXPECT_TRUE(ReadMachine({kPicture}).incomplete) << "without the namespace catalog";
}

TEST_F(RehearsalTest, ALineThatWindowsDoesNotWriteIsRefused) {
    const std::pair<const char*, const char*> lines[] = {
        {"\"a\"=hex(2:00", "not a kind of value: hex(2"},
        {"\"a\"=hex(x):00", "not a number from -2147483648 to 4294967295: 0xx"},
        {"\"a\"=\"b\"c", "something behind a closing quote: c"},
        {"\"a\"=hex:0102", "not hexadecimal bytes: 0102"},
        {"\"a\"=hex:01,", "not hexadecimal bytes: 01,"},
        {"\"a\"=hex:\xC2\xB1", "not hexadecimal bytes: \xC2\xB1"},
        {"\"a\"=dword:0000002", "not a number of eight digits: 0000002"},
        {"\"a\"=hex:01,\\\r\n\r\n", "not hexadecimal bytes: "},
        {"\"a\"=hex:01,\\", "the file is cut off"}};
    const std::string sound = ExportOf(ParseWinsockState("entry 1 {1} length=1"));
    for (const auto& [line, verdict] : lines) {
        WritePicture(sound + line + "\r\n");
        try {
            ReadMachine({kPicture});
            ADD_FAILURE() << line;
        } catch (const std::runtime_error& error) {
            EXPECT_TRUE(std::string(error.what()).ends_with(std::string(": ") + verdict)) << error.what();
        }
    }
}

// Older exports are ANSI, and their texts of other types are, too.
TEST_F(RehearsalTest, AnOldExportIsReadInTheCodePage) {
    WinsockState state = ParseWinsockState("entry 1 {1} length=1 name=x");
    state.catalog64[0].path = L"C:\\a\nb.dll"; // which must not forge a line
    std::string text = ExportOf(state);
    ReplaceAll(text, "Windows Registry Editor Version 5.00", "REGEDIT4");
    ReplaceAll(text, "\"Protocol_Catalog9\"", "hex(2):50,72,6f,74,6f,63,6f,6c,5f,43,61,74,61,6c,6f,67,39,00");
    ReplaceAll(text, "C:\\\\p\\\\a.dll", "C:\\\\p\\\\\xE9\\\"a.dll");
    WriteWholeFile(kPicture, text);
    const Machine machine = ReadMachine({kPicture});
    EXPECT_EQ(DrawCatalogs(machine.state),
              "\n  64-bit catalog\n    1      base     x                          C:\\a?b.dll\n"
              "\n  32-bit catalog: empty\n");
    ASSERT_EQ(machine.namespaces.size(), 1u);
    EXPECT_EQ(machine.namespaces[0].second, "C:\\p\\\xC3\xA9\"a.dll");
}

} // namespace
