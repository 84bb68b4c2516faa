// The rehearsal against the program that it foresees, against another algorithm for its conclusions, and on
// all the ways to describe a machine, sound and damaged.
#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <stdexcept>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/catalog_drawing.h"
#include "machine/export_writer.h"
#include "machine/file_reading.h"
#include "machine/file_writing.h"
#include "machine/machine_reading.h"
#include "machine/registry_catalogs.h"
#include "machine/utf8_text.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

using RehearsalTest = MachineTest;
using Random = std::mt19937;
using Marks = std::set<std::string>;

constexpr char kDescription[] = "C:\\sandbox\\machine.reg";
constexpr char kExported[] = "C:\\sandbox\\exported.reg";
constexpr char kWinsock[] = "C:\\sandbox\\winsock.txt";
const std::string kFrom = std::string("--from ") + kDescription + " ";
const std::string kProgram = "C:\\sandbox\\release\\norvane64.exe remove lsp ";
const std::string kRehearsal = "C:\\sandbox\\norvane64-rehearse.exe ";
const std::string kParameters = std::string("HKLM\\") + kWinsockParametersKey;

// Paths, and the files that 64-bit and 32-bit programs open for them. No file is in the place of an empty
// one.
struct Spelling {
    const wchar_t* path;
    const char* file64;
    const char* file32;
};
constexpr char kA[] = "C:\\p\\a.dll";
constexpr char kB[] = "C:\\p\\b.dll";
constexpr char kSystem[] = "C:\\windows\\system32\\s.dll";
constexpr char kWow[] = "C:\\windows\\syswow64\\s.dll";
constexpr char kNative[] = "C:\\windows\\sysnative\\s.dll";
constexpr char kOther[] = "C:\\p\\d & \xE9.dll";
constexpr Spelling kSpellings[] = {{L"C:\\p\\a.dll", kA, kA},
                                   {L"c:\\P\\x\\..\\A.DLL", kA, kA},
                                   {L"\\\\?\\C:\\p\\a.dll", kA, kA},
                                   {L"C:\\p\\\\b.dll", kB, kB},
                                   {L"C:/p/b.dll", kB, kB},
                                   {L"%SystemDrive%\\p\\b.dll", kB, kB},
                                   {L"C:\\windows\\system32\\s.dll", kSystem, kWow},
                                   {L"%SystemRoot%\\SysWOW64\\s.dll", kWow, kWow},
                                   {L"C:\\Windows\\Sysnative\\s.dll", kNative, kSystem},
                                   {L"C:\\p\\d & \xE9.dll", kOther, kOther},
                                   {L"%X%\\c.dll", "", ""},
                                   {L"e.dll", "", ""},
                                   {L"C:\\windows\\system32\\mswsock.dll", "", ""},
                                   {L"C:\\n\\n.dll", "", ""}};

std::string FileIn(const std::wstring& path, bool is32) {
    for (const Spelling& spelling : kSpellings) {
        if (path == spelling.path) {
            return is32 ? spelling.file32 : spelling.file64;
        }
    }
    ADD_FAILURE() << "an unknown path";
    return "";
}

DWORD Below(Random& random, size_t limit) {
    return static_cast<DWORD>(random() % limit);
}

SimulatedEntry RandomEntry(Random& random, DWORD id, int length) {
    SimulatedEntry entry = {{}, kSpellings[Below(random, std::size(kSpellings) - 2)].path};
    entry.info.dwCatalogEntryId = id;
    entry.info.ProviderId.Data1 = Below(random, 20) == 0 ? 1001 + Below(random, 9) : id;
    entry.info.ProtocolChain.ChainLen = length;
    const wchar_t* const names[] = {L"LSP", L"\u4E2D", L"@%SystemRoot%\\a.dll,-1", L""};
    wcscpy_s(entry.info.szProtocol, names[std::min<DWORD>(Below(random, 12), 3)]);
    entry.info.iAddressFamily = 2;
    return entry;
}

// An LSP's hidden entry, and layers over any ids: sound ones, missing ones, 0, their own, in circles.
void AddRandomLsp(Random& random, bool damaged, WinsockState& state) {
    const DWORD hidden = state.nextId++;
    std::vector<SimulatedEntry> added = {RandomEntry(random, hidden, LAYERED_PROTOCOL)};
    for (DWORD layers = Below(random, 4); layers > 0; --layers) {
        const bool taken = damaged && Below(random, 9) == 0;
        const int length = 2 + static_cast<int>(Below(random, 3));
        SimulatedEntry layer =
            RandomEntry(random, taken ? 1001 + Below(random, state.nextId - 1001) : state.nextId++, length);
        layer.path = damaged && Below(random, 4) == 0 ? layer.path : added[0].path;
        layer.info.ProviderId.Data1 =
            Below(random, 3) == 0 ? hidden : static_cast<DWORD>(layer.info.ProviderId.Data1);
        DWORD* ids = layer.info.ProtocolChain.ChainEntries;
        ids[0] = damaged && Below(random, 9) == 0 ? 1999 : hidden;
        for (int i = 1; i < length; ++i) {
            ids[i] = 1001 + Below(random, damaged ? state.nextId - 999 : hidden - 1001);
        }
        ids[length - 1] = damaged && Below(random, 20) == 0 ? 0 : ids[length - 1];
        const int lengths[] = {-1, 8, 1000};
        layer.info.ProtocolChain.ChainLen =
            damaged && Below(random, 20) == 0 ? lengths[Below(random, 3)] : length;
        added.push_back(layer);
    }
    for (SimulatedCatalog* catalog : {&state.catalog64, &state.catalog32}) {
        const size_t from = damaged && Below(random, 12) == 0 ? 1u : 0u; // without the hidden entry
        if (!damaged || Below(random, 5) != 0) {
            catalog->insert(catalog->end(), added.begin() + static_cast<int>(from), added.end());
        }
    }
}

WinsockState RandomMachine(Random& random, bool damaged = true) {
    WinsockState state;
    for (int i = 0; i < 3; ++i) {
        state.catalog64.push_back(RandomEntry(random, state.nextId++, BASE_PROTOCOL));
        if (!damaged || Below(random, 5) != 0) {
            state.catalog64.back().path = L"C:\\windows\\system32\\mswsock.dll";
        }
    }
    state.catalog32 = state.catalog64;
    for (DWORD lsps = damaged ? Below(random, 5) : 2 + Below(random, 3); lsps > 0; --lsps) {
        AddRandomLsp(random, damaged, state);
    }
    return state;
}

// A DLL name that the machine has, mostly.
std::string RandomName(Random& random, const WinsockState& state) {
    std::vector<std::string> names = {"a.dll", "\"\""};
    for (const SimulatedEntry& entry : state.catalog64) {
        const std::string path = conv_to_char(entry.path.c_str());
        const std::string name = path.substr(path.rfind('\\') + 1);
        names.insert(names.end(), entry.info.ProtocolChain.ChainLen == LAYERED_PROTOCOL ? 3 : 0,
                     "\"" + name + "\"");
    }
    return names[Below(random, names.size())];
}

void MakeFiles() {
    for (const char* folder : {"C:\\p", "C:\\windows\\sysnative", "C:\\windows\\syswow64"}) {
        CreateDirectoryA(folder, nullptr);
    }
    for (const char* file : {kA, kB, kSystem, kWow, kNative, kOther, "C:\\windows\\syswow64\\mswsock.dll"}) {
        WriteWholeFile(file, "stands for a DLL");
    }
}

// Which entries of a catalog work, by the definition: a proof is looked for from each entry on, over entries
// that the proof does not have yet.
class Proofs {
  public:
    Proofs(const SimulatedCatalog& entries, bool is32, const std::function<bool(size_t)>& present)
        : entries_(entries), is32_(is32), present_(present) {}

    bool Works(size_t i) {
        const SimulatedEntry& entry = entries_[i];
        const WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        const std::string file = FileIn(entry.path, is32_);
        if (proven_.contains(i)) {
            return true;
        }
        if (!present_(i) || open_.contains(i) || chain.ChainLen < 0 || chain.ChainLen > MAX_PROTOCOL_CHAIN ||
            (!file.empty() && !FileExists(file))) {
            return false;
        }
        open_.insert(i);
        bool works = true;
        for (int at = 0; works && chain.ChainLen > 1 && at < chain.ChainLen; ++at) {
            works = chain.ChainEntries[at] != 0 &&
                    AnyOther(i, chain.ChainEntries[at], [&](size_t other) { return Works(other); });
        }
        open_.erase(i);
        if (works) {
            proven_.insert(i);
        }
        return works;
    }

    // Whether an entry other than i has the id, and what is asked for.
    bool AnyOther(size_t i, DWORD id, const std::function<bool(size_t)>& holds) {
        for (size_t other = 0; other < entries_.size(); ++other) {
            if (other != i && entries_[other].info.dwCatalogEntryId == id && present_(other) &&
                holds(other)) {
                return true;
            }
        }
        return false;
    }

  private:
    const SimulatedCatalog& entries_;
    bool is32_;
    std::function<bool(size_t)> present_;
    std::set<size_t> proven_;
    std::set<size_t> open_;
};

int followed = 0; // the reports with an order or a number of runs

// What the test expects of a catalog.
struct Expected {
    bool is32;
    SimulatedCatalog before;
    std::vector<bool> worked;
    Marks marks; // "- 1011", "! 1021"
    bool breaks = false;
};

Expected LookBefore(const SimulatedCatalog& catalog, bool is32) {
    Expected expected = {is32, catalog, {}, {}};
    Proofs proofs(catalog, is32, [](size_t) { return true; });
    for (size_t i = 0; i < catalog.size(); ++i) {
        expected.worked.push_back(proofs.Works(i));
    }
    return expected;
}

// Compares with the catalog and the files that the program left.
void LookAfter(const SimulatedCatalog& after, Expected& expected) {
    const SimulatedCatalog& before = expected.before;
    const auto remains = [&](size_t i) {
        return std::any_of(after.begin(), after.end(), [&](const SimulatedEntry& entry) {
            return entry.info.ProviderId == before[i].info.ProviderId;
        });
    };
    Proofs proofs(before, expected.is32, remains);
    Proofs earlier(before, expected.is32, [](size_t) { return true; });
    for (size_t i = 0; i < before.size(); ++i) {
        const int length = before[i].info.ProtocolChain.ChainLen;
        const std::string id = std::to_string(before[i].info.dwCatalogEntryId);
        const auto has = [](size_t) { return true; };
        if (!remains(i)) {
            expected.marks.insert("- " + id);
            expected.breaks = expected.breaks || length == BASE_PROTOCOL;
        } else if (length != LAYERED_PROTOCOL && expected.worked[i] && !proofs.Works(i)) {
            expected.marks.insert("! " + id);
            expected.breaks = true;
        }
        for (int at = 0; remains(i) && length > 1 && length <= MAX_PROTOCOL_CHAIN && at < length; ++at) {
            const DWORD named = before[i].info.ProtocolChain.ChainEntries[at];
            expected.breaks =
                expected.breaks || (earlier.AnyOther(i, named, has) && !proofs.AnyOther(i, named, has));
        }
    }
}

// Whether the 64-bit catalog loses another LSP than that of the trace, or an entry of another one.
bool LosesAnotherLsp(const SimulatedCatalog& before, const Marks& marks, const std::string& trace) {
    std::smatch target;
    std::regex_search(trace, target, std::regex("LSP Hidden ID: +(\\d+)"));
    const auto isHidden = [&](DWORD id) {
        return std::any_of(before.begin(), before.end(), [=](const SimulatedEntry& entry) {
            return entry.info.dwCatalogEntryId == id && entry.info.ProtocolChain.ChainLen == LAYERED_PROTOCOL;
        });
    };
    return std::any_of(before.begin(), before.end(), [&](const SimulatedEntry& entry) {
        const WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        const DWORD owner =
            chain.ChainLen == LAYERED_PROTOCOL ? entry.info.dwCatalogEntryId : chain.ChainEntries[0];
        return marks.contains("- " + std::to_string(entry.info.dwCatalogEntryId)) && chain.ChainLen != 1 &&
               chain.ChainLen >= 0 && isHidden(owner) && std::to_string(owner) != target[1];
    });
}

// What is between two texts of a report.
std::string Between(const std::string& report, const std::string& start, const std::string& end) {
    const size_t from = report.find(start);
    const size_t to = end.empty() ? report.size() : report.find(end, from + start.size());
    return from == std::string::npos || to == std::string::npos
               ? "missing: " + start
               : report.substr(from + start.size(), to - from - start.size());
}

// The marks and ids of the lines of a drawing.
std::vector<std::string> DrawnMarks(const std::string& drawing) {
    static const std::regex line("(?:^|\\n)  ([-! ] \\d+) +(?:base|LSP|layered) ");
    std::vector<std::string> marks;
    for (std::sregex_iterator at(drawing.begin(), drawing.end(), line), end; at != end; ++at) {
        marks.push_back((*at)[1]);
    }
    return marks;
}

// The marks in the section of the changes of one catalog; false when it is shortened.
bool ReportedMarks(const std::string& report, const std::string& catalog, Marks* marks) {
    for (const std::string& which : {std::string("both catalogs"), catalog}) {
        const std::string heading = "Entries that would be removed (-) or stop working (!), " + which + "\n";
        const std::string lines = "\n" + Between(report + "\n\n", heading, "\n\n");
        for (const std::string& mark : DrawnMarks(lines)) {
            marks->insert(mark);
        }
        if (std::regex_search(lines, std::regex("\n +\\d+ more"))) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> ExpectedList(const Expected& expected) {
    std::vector<std::string> marks;
    for (const bool bases : {false, true}) {
        for (size_t i = 0; i < expected.before.size(); ++i) {
            const WSAPROTOCOL_INFOW& info = expected.before[i].info;
            if ((info.ProtocolChain.ChainLen == BASE_PROTOCOL) == bases) {
                marks.push_back((expected.worked[i] ? "  " : "! ") + std::to_string(info.dwCatalogEntryId));
            }
        }
    }
    return marks;
}

std::string WithoutStamps(const std::string& trace) {
    std::string text = ReplaceStamps(trace, "");
    ReplaceAll(text, "d & \xE9", "d & \xC3\xA9"); // the report is UTF-8
    return text;
}

// The texts of an export of the machine, whose namespace provider has one of the paths, and its shared
// counts.
std::string DescriptionOf(const WinsockState& state, const Spelling& provider,
                          const std::map<std::string, DWORD>& counts) {
    std::string text = ExportOf(state);
    std::string path = conv_wchar_to_utf8(provider.path);
    ReplaceAll(path, "\\", "\\\\");
    ReplaceAll(text, "C:\\\\p\\\\a.dll", path);
    text += std::string("[HKEY_LOCAL_MACHINE\\") + kSharedDllsKey + "]\r\n";
    for (const auto& [file, count] : counts) {
        std::string name = file;
        ReplaceAll(name, "\\", "\\\\");
        text += "\"" + name + "\"=dword:0000000" + std::to_string(count) + "\r\n";
    }
    return text;
}

void UseCounts(const std::map<std::string, DWORD>& counts) {
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDllsKey);
    WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDllsKey, "", REG_SZ, "");
    for (const auto& [file, count] : counts) {
        WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDllsKey, file, REG_DWORD,
                      {reinterpret_cast<const char*>(&count), sizeof(count)});
    }
}

// The advice never deletes a file that an entry or a namespace provider still names.
void CheckDeletions(const std::string& report, const WinsockState& after, const Spelling& provider) {
    const std::string files = LowerCase(Between(report, "delete by hand: ", "\n"));
    std::vector<std::string> named = {provider.file64};
    for (const bool is32 : {false, true}) {
        for (const SimulatedEntry& entry : is32 ? after.catalog32 : after.catalog64) {
            named.push_back(FileIn(entry.path, is32));
        }
    }
    for (const std::string& file : named) {
        EXPECT_TRUE(file.empty() || files.find(LowerCase(FromAnsi(file))) == std::string::npos) << report;
    }
}

// Runs the program for each command of a removal order, or as often as advised: what remains has to work as
// before, for an order after each of its steps.
void FollowAdvice(const std::string& report, Expected in64, Expected in32) {
    static const std::regex ordered("\n       norvane64 remove lsp (.*?) +(?:CLEAN|INCOMPLETE)(?=\n)");
    static const std::regex repeated("Run the command (\\d+) times: norvane64 remove lsp (.*?)\\. After");
    std::vector<std::string> names;
    for (std::sregex_iterator at(report.begin(), report.end(), ordered), end; at != end; ++at) {
        names.push_back((*at)[1]);
    }
    std::smatch times;
    if (std::regex_search(report, times, repeated)) {
        names.assign(std::stoul(times[1]), times[2]);
    }
    for (std::string& name : names) {
        ReplaceAll(name, " (in PowerShell '\"\"')", "");
        RunChild(kProgram + conv_to_char(conv_utf8_to_wchar(name.c_str()).c_str()));
        if (times.empty() || &name == &names.back()) {
            const WinsockState after = ParseWinsockState(ReadWholeFile(kWinsock));
            LookAfter(after.catalog64, in64);
            LookAfter(after.catalog32, in32);
            EXPECT_FALSE(in64.breaks || in32.breaks) << name << "\n" << report;
        }
    }
    followed += names.empty() ? 0 : 1;
}

TEST_F(RehearsalTest, ForeseesWhatTheProgramDoes) {
    Random random(20261125);
    PrepareMachine("");
    for (int round = 0; round < 400; ++round) {
        const WinsockState state = RandomMachine(random, round % 2 == 0);
        const Spelling& provider = kSpellings[std::min<DWORD>(Below(random, 30), 13)];
        const std::map<std::string, DWORD> counts = {{kA, Below(random, 3)}, {kSystem, 1 + Below(random, 2)}};
        const std::string name = RandomName(random, state);
        const auto reset = [&] {
            MakeFiles();
            UseCounts(counts);
            WriteWholeFile(kWinsock, FormatWinsockState(state));
        };
        reset();
        WriteWholeFile(kDescription, AsWide(DescriptionOf(state, provider, counts)));
        const std::string report = RunChild(kRehearsal + kFrom + "--full lsp " + name);
        const DWORD verdict = lastExitCode;
        const std::string list = RunChild(kRehearsal + kFrom + "list");
        const DWORD health = lastExitCode;
        Expected in64 = LookBefore(state.catalog64, false);
        Expected in32 = LookBefore(state.catalog32, true);
        const std::string where =
            "round " + std::to_string(round) + ": " + name + "\n" + FormatWinsockState(state) + report + list;

        const std::string trace = WithoutStamps(RunChild(kProgram + name));
        const WinsockState after = ParseWinsockState(ReadWholeFile(kWinsock));
        ASSERT_EQ(Between(report, "The trace that the command would write\n\n", "\n" + report.substr(32, 5)),
                  trace)
            << where;
        ASSERT_EQ(Between(report, "The catalogs before\n", "\nThe catalogs afterwards"), DrawCatalogs(state));
        ASSERT_EQ(Between(report, "The catalogs afterwards\n", "\nThe trace that"), DrawCatalogs(after))
            << where;

        std::vector<std::string> marks = ExpectedList(in64);
        const std::vector<std::string> marks32 = ExpectedList(in32);
        marks.insert(marks.end(), marks32.begin(), marks32.end());
        EXPECT_EQ(DrawnMarks(list), marks) << where;
        const auto defects =
            std::count_if(marks.begin(), marks.end(), [](const std::string& mark) { return mark[0] == '!'; });
        EXPECT_EQ(health, defects == 0 ? 0u : 5u) << where;

        LookAfter(after.catalog64, in64);
        LookAfter(after.catalog32, in32);
        for (const Expected* each : {&in64, &in32}) {
            Marks reported;
            if (ReportedMarks(report, each->is32 ? "32-bit catalog" : "64-bit catalog", &reported)) {
                EXPECT_EQ(reported, each->marks) << where;
            }
        }
        const bool breaks = in64.breaks || in32.breaks ||
                            (*provider.file64 != '\0' && !FileExists(provider.file64)) ||
                            LosesAnotherLsp(state.catalog64, in64.marks, trace);
        EXPECT_EQ(verdict == 4, breaks) << where;
        reset();
        const std::string brief = RunChild(kRehearsal + kFrom + "--brief lsp " + name);
        EXPECT_EQ(SplitAt(brief, "\t")[6], std::to_string(defects)) << where;
        CheckDeletions(report, after, provider);
        FollowAdvice(report, LookBefore(state.catalog64, false), LookBefore(state.catalog32, true));
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_GT(followed, 10);
}

// Without what the descriptions of a machine differ in by their nature: the first lines, the assumptions, the
// warnings.
std::string Comparable(const std::string& command, bool withWarnings = true) {
    std::string report = RunChild(kRehearsal + command);
    report.erase(0, report.find("\n\n"));
    report += std::to_string(lastExitCode);
    ReplaceAll(report, "C:\\Windows", "C:\\windows"); // as this machine spells it
    for (const std::string section :
         {"\nAssumptions\n", withWarnings ? "\nNo such section" : "\nWarnings\n"}) {
        const size_t from = report.find(section);
        report.erase(std::min(from, report.size()),
                     from == std::string::npos ? 0 : report.find("\n\n", from) + 1 - from);
    }
    return report;
}

TEST_F(RehearsalTest, AllDescriptionsOfAMachineGiveOneReport) {
    Random random(20261126);
    PrepareMachine("");
    MakeFiles();
    for (int round = 0; round < 25; ++round) {
        const WinsockState state = RandomMachine(random, round % 2 == 0);
        const std::string name = RandomName(random, state);
        WriteWholeFile(kDescription, AsWide(DescriptionOf(state, kSpellings[13], {})));
        RunChild("reg delete " + kParameters + " /f");
        RunChild(std::string("reg import ") + kDescription);
        RunChild("reg export " + kParameters + " " + kExported + " /y");
        WriteWholeFile("C:\\sandbox\\listing.txt", ListingOf(state));
        for (const std::string& command : {"--full lsp " + name, std::string("list")}) {
            const std::string report = Comparable(kFrom + command);
            EXPECT_EQ(Comparable(command), report) << "this machine, round " << round;
            EXPECT_EQ(Comparable(std::string("--from ") + kExported + " " + command), report);
            EXPECT_EQ(Comparable("--from C:\\sandbox\\listing.txt " + command, false),
                      Comparable(kFrom + command, false))
                << "round " << round << "\n"
                << ListingOf(state);
        }
    }
}

// Only files of the live machine can be missing. Without the key of the shared counts the program reports no
// deletion.
TEST_F(RehearsalTest, LooksAtTheDiskAndTheCountsOfThisMachine) {
    PrepareMachine("");
    MakeFiles();
    const WinsockState state = ParseWinsockState(
        "entry 1 {1} length=1 path=C:\\windows\\system32\\mswsock.dll\nentry 10 {10} path=C:\\p\\a.dll\n"
        "entry 20 {20} path=C:\\p\\\xC3\xA9.dll\nentry 21 {21} chain=20,1 path=C:\\p\\b.dll\n"
        "catalog 32\nentry 1 {1} length=1 path=C:\\windows\\system32\\no.dll\nentry 2 {2} length=1 "
        "path=no.dll\n");
    WriteWholeFile(kDescription, AsWide(DescriptionOf(state, kSpellings[13], {})));
    WriteWholeFile(kWinsock, FormatWinsockState(state));
    RunChild("reg delete " + kParameters + " /f");
    RunChild(std::string("reg import ") + kDescription);
    const std::string list = RunChild(kRehearsal + "list");
    EXPECT_EQ(lastExitCode, 5u);
    EXPECT_EQ(DrawnMarks(list), (std::vector<std::string>{"  10", "! 20", "! 21", "  1", "! 1", "  2"}))
        << list;
    EXPECT_NE(list.find("its file is missing"), std::string::npos) << list;
    RunChild(kRehearsal + kFrom + "list");
    EXPECT_EQ(lastExitCode, 0u);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDllsKey);
    const std::string report = RunChild(kRehearsal + "--full lsp a.dll");
    const std::string trace = WithoutStamps(RunChild(kProgram + "a.dll"));
    EXPECT_EQ(Between(report, "would write\n\n", "\nCLEAN"), trace);
    EXPECT_EQ(SplitAt(trace, "RegOpenKeyEx(").size(), 3u) << trace;
    RunChild("reg delete " + kParameters + " /f");
    RunChild(kRehearsal + "list");
    EXPECT_EQ(lastExitCode, 1u);
}

} // namespace
