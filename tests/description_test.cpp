// The descriptions of machines that the rehearsal reads, sound and damaged.
#include <random>
#include <regex>
#include <stdexcept>

#include "common/text_conversion.h"
#include "machine/files.h"
#include "machine/machine_reading.h"
#include "machine/registry_catalogs.h"
#include "rehearsal/report/drawing.h"
#include "simulation/windows_output.h"
#include "support/catalog_notation.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

using DescriptionTest = MachineTest;

constexpr char kDescription[] = "C:\\sandbox\\machine.reg";
constexpr char kMachine[] = "1 *; 10 a; 11 a [10,1]; 20 C:\\\xC3\xA9\\b.dll; 21 b [20,11,1]; 30 %X%\\c:d.dll";

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
void CheckDamaged(const std::string& bytes, const Catalogs& sound) {
    const std::regex place("machine\\.reg:( no catalogs|\\d+: |HKEY_)");
    try {
        const Machine machine = ReadDescription(bytes);
        EXPECT_TRUE(!machine.warnings.empty() ||
                    machine.catalogs.catalog64.size() + machine.catalogs.catalog32.size() ==
                        sound.catalog64.size() + sound.catalog32.size())
            << bytes;
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::regex_search(error.what(), place)) << error.what();
    }
}

TEST_F(DescriptionTest, DamagedDescriptionsAreReported) {
    std::mt19937 random(20261126);
    const Catalogs catalogs = CatalogsOf(kMachine);
    const std::string sound = ExportOf(catalogs);
    const std::string listing = ListingOf(catalogs);
    for (int round = 0; round < 600; ++round) {
        std::string bytes = AsWide(Damaged(random, sound, 0, sound.size()));
        bytes.resize(random() % 9 == 0 ? random() % bytes.size() : bytes.size());
        CheckDamaged(bytes, catalogs);
        // Of a listing one block is damaged: it does not say how many there were.
        size_t from = 0;
        for (size_t block = random() % 12; block > 0; --block) {
            from = listing.find("\r\n--", from + 1);
        }
        CheckDamaged(Damaged(random, listing, from + 2, listing.find("\r\n\r\n", from)), catalogs);
        if (HasFailure()) {
            FAIL() << "round " << round;
        }
    }
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    ReplaceAll(text, from, to);
    return text;
}

TEST_F(DescriptionTest, AListingIsReadHoweverItWasPasted) {
    const Catalogs catalogs = CatalogsOf(kMachine);
    const std::string listing = ListingOf(catalogs);
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
        EXPECT_EQ(DrawCatalogs(machine.catalogs), DrawCatalogs(catalogs)) << text;
        EXPECT_EQ(machine.warnings, std::vector<std::string>{});
        EXPECT_EQ(machine.namespaces.size(), 1u);
    }
}

TEST_F(DescriptionTest, WhatWindowsWouldNotHaveWrittenIsWarnedAbout) {
    Catalogs catalogs = CatalogsOf("1 *; 2 C:\\a.dll [=1000] | -");
    std::fill_n(catalogs.catalog64[0].info.szProtocol, WSAPROTOCOL_LEN + 1, L'n');
    catalogs.catalog64[1].path.assign(300, L'p');
    const std::string key = std::string("[HKEY_LOCAL_MACHINE\\") + kWinsockParametersKey;
    std::string text = ExportOf(catalogs);
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
    EXPECT_EQ(machine.catalogs.catalog64.size(), 2u);
    EXPECT_TRUE(machine.incomplete);
    text = ExportOf(CatalogsOf(kMachine));
    const Machine plain = ReadDescription(AsWide(text.substr(0, text.find(key + "\\NameSpace"))));
    EXPECT_FALSE(plain.incomplete);
    EXPECT_EQ(plain.warnings.size(), 2u);
    const Machine bare = ReadDescription(AsWide(Replaced(text, "\"Current_NameSpace", "\"No")));
    EXPECT_FALSE(bare.incomplete);
    EXPECT_EQ(bare.warnings.size(), 1u);
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
        {"\xEF\xBB\xBF" + sound, ".reg:1: saved in another encoding; export again with reg export"},
        {without("\\Parameters]", "\\Other]"), "export the whole key HKLM\\SYSTEM\\CurrentControlSet"},
        {without("HKEY_LOCAL_MACHINE", "HKEY_USERS\\x"), "HKEY_LOCAL_MACHINE alone; export the whole key"},
        {without("Catalog_Entries64", "Entries"), "this is a 32-bit Windows"},
        {without("Catalog_Entries64\\000000000002", "Catalog_Entries64\\000000000001"), "twice: HKEY_LOCAL"},
        {with("[HKEY_LOCAL_MACHINE\\X]").substr(1), ".reg:1: "},
        {"Windows Registry Editor Version 5.00\r\n", ".reg: no catalogs"},
        {"", ".reg:1: the file is empty"},
        {listing.substr(0, 400), ".reg:1: no entry of a catalog can be read"},
    };
    for (const auto& [bytes, reason] : refused) {
        EXPECT_NE(RefusalOf(bytes).find(reason), std::string::npos) << reason << "\n" << RefusalOf(bytes);
    }
}

// Older exports are ANSI, and their texts of other types are, too.
TEST_F(DescriptionTest, AnOldExportIsReadInTheCodePage) {
    Catalogs catalogs = CatalogsOf("1 * name=x | -");
    catalogs.catalog64[0].path = L"C:\\a\nb.dll"; // which must not forge a line
    std::string text = ExportOf(catalogs);
    ReplaceAll(text, "Windows Registry Editor Version 5.00", "REGEDIT4");
    ReplaceAll(text, "\"Protocol_Catalog9\"", "hex(2):50,72,6f,74,6f,63,6f,6c,5f,43,61,74,61,6c,6f,67,39,00");
    ReplaceAll(text, "C:\\\\p\\\\a.dll", "C:\\\\p\\\\\xE9\\\"a.dll");
    const Machine machine = ReadDescription(text);
    EXPECT_EQ(DrawCatalogs(machine.catalogs),
              "\n64-bit catalog\n    1     base     x  C:\\a?b.dll\n\n32-bit catalog: empty\n");
    ASSERT_EQ(machine.namespaces.size(), 1u);
    EXPECT_EQ(machine.namespaces[0].path, "C:\\p\\\xC3\xA9\"a.dll");
}

} // namespace
