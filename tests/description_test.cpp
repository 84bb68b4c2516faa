// The descriptions of machines that the rehearsal reads, sound and damaged.
#include <random>
#include <regex>
#include <stdexcept>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/control_set.h"
#include "machine/files.h"
#include "machine/machine_reading.h"
#include "rehearsal/report/drawing.h"
#include "simulation/windows_output.h"
#include "simulation/winsock_state.h"
#include "support/catalog_notation.h"
#include "support/descriptions.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

using DescriptionTest = MachineTest;

const std::string kKey = std::string("[HKEY_LOCAL_MACHINE\\") + kWinsockParametersKey;

// Changes a text as copying and pasting, or a bad disk, could.
std::string Damaged(std::mt19937& random, std::string text) {
    const auto below = [&](size_t limit) { return random() % limit; };
    const size_t at = below(text.size());
    const size_t length = 1 + below(std::min<size_t>(text.size() - at, below(4) == 0 ? 9000 : 150));
    switch (below(6)) {
    case 0:
        return text.substr(below(2) * at, at);
    case 1:
        return text.erase(at, length);
    case 2:
        return text.insert(below(text.size()), text.substr(at, length));
    case 3:
        return text.insert(text.find('\n', at) + 1, "Some other text\r\n");
    case 4:
        return text.erase(text.find('\n', at), 1);
    default:
        text[at] = "\\\"[]=,:\r\n;x0\xFF{}-> "[below(19)];
    }
    return text;
}

TEST_F(DescriptionTest, DamagedDescriptionsAreReported) {
    std::mt19937 random(20261126);
    const Catalogs catalogs = CatalogsOf(kMachine);
    const std::string sound = ExportOf(catalogs);
    const std::string listing = ListingOf(catalogs);
    for (const std::string& text : {AsWide(sound), listing}) {
        EXPECT_EQ(Joined(ReadDescription(text).gaps, "\n"), "");
    }
    for (int round = 0; round < 600 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        std::string bytes = AsWide(Damaged(random, sound));
        bytes.resize(random() % 9 == 0 ? random() % bytes.size() : bytes.size());
        CheckDamaged(bytes, catalogs);
        CheckDamaged(Damaged(random, listing), catalogs);
    }
}

TEST_F(DescriptionTest, WhatAnExportLacksIsAGapOrAWarning) {
    Catalogs catalogs = CatalogsOf("1 *; 2 C:\\a.dll [=1000]; 2 * | -");
    std::fill_n(catalogs.catalog64[0].info.szProtocol, WSAPROTOCOL_LEN + 1, L'n');
    catalogs.catalog64[1].path.assign(300, L'p');
    std::string text = ExportOf(catalogs);
    ReplaceAll(text, "\"Num_Catalog_Entries64\"=dword:00000003", "\"Num_Catalog_Entries64\"=hex:03");
    ReplaceAll(text, "\"Next_Catalog", "\"No_Catalog");
    text +=
        kKey +
        "\\Protocol_Catalog9\\Catalog_Entries64\\000000000009]\r\n\"PackedCatalogItem\"=hex(3):01,02\r\n" +
        kKey + "\\NameSpace_Catalog5\\Catalog_Entries\\000000000001]\r\n\"Enabled\"=dword:00000000\r\n";
    const Machine machine = ReadDescription(AsWide(text));
    std::string said;
    for (const std::vector<std::string>& texts : {machine.gaps, {""}, machine.warnings}) {
        for (const std::string& line : texts) {
            said += line.substr(line.rfind('\\') + 1) + "\n";
        }
    }
    EXPECT_EQ(
        said,
        "Protocol_Catalog9: Num_Catalog_Entries64 is not a REG_DWORD of 4 bytes, and there are 4 entries\n"
        "000000000002: its path has no terminator\n"
        "000000000009: not read: its PackedCatalogItem has 2 bytes\n"
        "NameSpace_Catalog5: Num_Catalog_Entries is 0, and there are 1 entries\n"
        "000000000001: LibraryPath is missing\n"
        "machine.reg: two entries of the 64-bit catalog have the id 2\n"
        "\n"
        "000000000009: 000000000004 is expected here\n"
        "000000000001: its name has no terminator\n"
        "000000000002: its chain length is 1000\n"
        "Protocol_Catalog9: Next_Catalog_Entry_ID is missing\n");
    EXPECT_EQ(machine.catalogs.catalog64.size(), 3u);
    ASSERT_EQ(machine.namespaces.size(), 2u);
    EXPECT_TRUE(machine.namespaces[0].enabled && !machine.namespaces[1].enabled);
    text = ExportOf(CatalogsOf(kMachine));
    EXPECT_EQ(ReadDescription(AsWide(text.substr(0, text.find(kKey + "\\NameSpace")))).gaps.size(), 2u);
    EXPECT_EQ(GapsOf(AsWide(Replaced(text, "\"Current_NameSpace", "\"No"))),
              "Current_NameSpace_Catalog is missing\n");
    EXPECT_EQ(ReadDescription(ListingOf(catalogs) + "Active: 0").namespaces.size(), 1u);
}

// An export of the protocol catalogs alone, or of a hive with several control sets.
TEST_F(DescriptionTest, AnExportOfMoreOrLessIsRead) {
    const Catalogs catalogs = CatalogsOf(kMachine);
    const std::string sound = ExportOf(catalogs);
    const std::string alone = "REGEDIT4\r\n" + sound.substr(sound.find(kKey + "\\Protocol"));
    const auto inSet = [&](const char* set, const char* notation) {
        const std::string text = ExportOf(CatalogsOf(notation));
        return Replaced(text.substr(text.find('[')), "SYSTEM\\CurrentControlSet", set);
    };
    const std::string heading = sound.substr(0, sound.find('['));
    const std::string sets =
        heading + inSet("SYSTEM\\ControlSet001", "1 *") + inSet("SYSTEM\\ControlSet002", kMachine);
    const std::string select = "[HKEY_LOCAL_MACHINE\\SYSTEM\\Select]\r\n\"Current\"=dword:0000000";
    const std::string rows[] = {alone.substr(0, alone.find(kKey + "\\NameSpace")), sound,
                                sets + select + "2\r\n", sets + sound.substr(sound.find('[')),
                                heading + inSet("X\\ControlSet001", kMachine)};
    for (const std::string& text : rows) {
        const Machine machine = ReadDescription(text);
        EXPECT_EQ(DrawCatalogs(machine.catalogs), DrawCatalogs(catalogs));
        EXPECT_EQ(Joined(machine.gaps, "\n"), "");
        EXPECT_EQ(machine.knowsNamespaces, &text != rows);
    }
    const std::pair<std::string, const char*> refused[] = {
        {sets, "ControlSet001\\Services\\WinSock2\\Parameters, HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet002"},
        {sets + select + "3\r\n", "not the control set that the value Select\\Current names"},
        {heading + inSet("X\\ControlSet001", "1 *") + inSet("Y\\ControlSet001", "1 *"),
         "of several machines"},
    };
    for (const auto& [text, reason] : refused) {
        EXPECT_NE(RefusalOf(text).find(reason), std::string::npos) << RefusalOf(text);
    }
}

TEST_F(DescriptionTest, WhatCannotBeUsedIsRefusedWithAReason) {
    const std::string sound = ExportOf(CatalogsOf(kMachine));
    const std::string listing = ListingOf(CatalogsOf(kMachine));
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
        {without("\\Parameters", "\\Other"), ".reg: no catalogs"},
        {without("Protocol_Catalog9\\Catalog", "Protocol_Catalog9\\Other"),
         "export the whole key HKLM\\SYSTEM\\CurrentControlSet"},
        {without("HKEY_LOCAL_MACHINE", "HKEY_USERS\\x"), "HKEY_LOCAL_MACHINE alone; export the key"},
        {without("Catalog_Entries64", "Entries"), "this is a 32-bit Windows"},
        {without("Catalog_Entries64\\000000000002", "Catalog_Entries64\\000000000001"), "twice: HKEY_LOCAL"},
        {with("[HKEY_LOCAL_MACHINE\\X]").substr(1), ".reg:1: the file is binary"},
        {sound + std::string(1, '\0'), ".reg:1: the file is binary"},
        {"Windows Registry Editor Version 5.00\r\n", ".reg: no catalogs"},
        {AsWide(ExportOf({})), "no entry of the catalogs can be read"},
        {"", ".reg:1: the file is empty"},
        {"; a comment\r\n \r\n", ".reg:1: only blanks or comments"},
        {"Windows 11 laptop\r\n", ".reg:1: not a registry export and not the output of netsh"},
        {listing + std::string(16'000'000, ' '), ".reg:1: not a registry export"},
    };
    for (const auto& [bytes, reason] : refused) {
        EXPECT_NE(RefusalOf(bytes).find(reason), std::string::npos) << reason << "\n" << RefusalOf(bytes);
    }
    std::string counts = ExportOf(CatalogsOf("1 *")) + "[HKEY_LOCAL_MACHINE\\" + kSharedDllsKey + "]\r\n";
    for (int i = 0; i <= 100'000; ++i) {
        counts += "\"" + std::to_string(i) + "\"=\"\"\r\n";
    }
    EXPECT_NE(RefusalOf(counts).find("SharedDLLs: more than 100,000 values"), std::string::npos);
    Catalogs many = CatalogsOf("1 *");
    many.catalog64.resize(5001, many.catalog64[0]);
    EXPECT_NE(RefusalOf(ExportOf(many)).find("more than 5,000 entries"), std::string::npos);
}

// Older exports are ANSI, and their texts of other types are, too.
TEST_F(DescriptionTest, AnOldExportIsReadInTheCodePage) {
    Catalogs catalogs = CatalogsOf("1 * name=x | -");
    catalogs.catalog64[0].path = L"C:\\a\nb.dll"; // which must not forge a line
    std::string text = ExportOf(catalogs);
    ReplaceAll(text, "Windows Registry Editor Version 5.00", "REGEDIT4");
    ReplaceAll(text, "\"Protocol_Catalog9\"", "hex(2):50,72,6f,74,6f,63,6f,6c,5f,43,61,74,61,6c,6f,67,39,00");
    for (const char* e : {"\x80\xE9", "\xE2\x82\xAC\xC3\xA9"}) {
        const Machine machine =
            ReadDescription(Replaced(text, "C:\\\\p\\\\a.dll", std::string("C:\\\\p\\\\") + e + "\\\"a.dll"));
        EXPECT_EQ(DrawCatalogs(machine.catalogs),
                  "\n64-bit catalog\n    1     base     x  C:\\a?b.dll\n\n32-bit catalog: empty\n");
        ASSERT_EQ(machine.namespaces.size(), 1u);
        EXPECT_EQ(machine.namespaces[0].path, "C:\\p\\\xE2\x82\xAC\xC3\xA9\"a.dll");
    }
}

// The command reads a number of four bytes of the 64-bit view alone.
TEST_F(DescriptionTest, BothViewsHaveSharedCounts) {
    const std::string key = std::string("[HKEY_LOCAL_MACHINE\\") + kSharedDllsKey + "]\r\n";
    const Machine machine = ReadDescription(
        ExportOf(CatalogsOf("1 *")) + key +
        "@=\"\"\r\n\"C:\\\\A\"=dword:00000002\r\n\"B\"=\"3\"\r\n\"C\"=hex:04,00,00,00,00\r\n" +
        Replaced(key, "SOFTWARE", "SOFTWARE\\WOW6432NODE") + "\"D\"=dword:00000005\r\n");
    std::string stored;
    for (const SharedCount& count : machine.storedCounts) {
        stored += count.path + " " + std::to_string(count.count) + (count.isRead ? " read; " : "; ");
    }
    EXPECT_EQ(stored, "B 3; C 4; C:\\A 2 read; D 5; ");
    EXPECT_EQ(machine.sharedCounts, (std::map<std::string, DWORD>{{"c:\\a", 2}}));
    EXPECT_TRUE(machine.hasCounts && machine.hasCounts32);
}

TEST_F(DescriptionTest, FilesHaveAnyName) {
    constexpr wchar_t kName[] = L"C:\\sandbox\\\u4E2D.txt";
    WriteWholeFile(kDescription, ListingOf(CatalogsOf(kMachine)));
    ASSERT_TRUE(CopyFileW(conv_to_wchar(kDescription).c_str(), kName, FALSE));
    EXPECT_EQ(ReadMachine({kName}).name, "C:\\sandbox\\\xE4\xB8\xAD.txt");
    EXPECT_THROW(ReadMachine({kName, kName}), std::runtime_error);
    RunChild("C:\\sandbox\\norvane64-rehearse.exe list --from C:\\sandbox\\\xE4\xB8\xAD.txt");
    EXPECT_NE(lastExitCode, 1u);
    EXPECT_THROW(ReadMachine({L"C:\\sandbox"}), std::runtime_error);
    DeleteFileW(kName);
}

} // namespace
