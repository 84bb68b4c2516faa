// The outputs of netsh that the rehearsal reads: sound, pasted, wrapped and cut.
#include <regex>

#include "common/text_conversion.h"
#include "machine/files.h"
#include "rehearsal/report/drawing.h"
#include "simulation/windows_output.h"
#include "simulation/winsock_state.h"
#include "support/catalog_notation.h"
#include "support/descriptions.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

using ListingTest = MachineTest;

TEST_F(ListingTest, ACutListingHasGaps) {
    for (const Catalogs& catalogs :
         {CatalogsOf(kMachine),
          Catalogs(ParseWinsockState(ReadWholeFile("C:\\sandbox\\sample_winsock.txt")))}) {
        const std::string listing = ListingOf(catalogs);
        for (size_t at = 0; (at = listing.find('\n', at) + 1) != 0 && !HasFailure();) {
            CheckDamaged(listing.substr(at), catalogs);
            CheckDamaged(listing.substr(0, at), catalogs);
        }
    }
}

// As a console of a width prints lines, and without the blanks at their ends.
std::string Wrapped(const std::string& text, size_t width) {
    std::string wrapped;
    for (std::string line : SplitAt(text, "\r\n")) {
        for (; line.size() > width; line.erase(0, width)) {
            const std::string part = line.substr(0, width);
            wrapped += part.substr(0, part.find_last_not_of(' ') + 1) + "\r\n";
        }
        wrapped += line + "\r\n";
    }
    return wrapped;
}

// As a mail program wraps lines: at blanks, and behind hyphens.
std::string WrappedAtBlanks(const std::string& text, size_t width) {
    std::string wrapped;
    for (std::string line : SplitAt(text, "\r\n")) {
        for (size_t end = 0; line.size() > width &&
                             (end = line.find_last_of(" -", width - 1)) != std::string::npos &&
                             line.find_last_not_of(' ', end) != std::string::npos;) {
            const bool isHyphen = line[end] == '-' && line[end - 1] != ' ';
            wrapped += line.substr(0, end + (isHyphen ? 1 : 0)) + "\r\n";
            line.erase(0, end + 1);
        }
        wrapped += line + "\r\n";
    }
    return wrapped;
}

// Entries whose names and paths have words behind them.
Catalogs LongNamed(const std::wstring& words) {
    Catalogs catalogs = CatalogsOf("1 *; 1000000001 * type=2; 10 a; "
                                   "11 a [10,1,1000000001,1000000001,1,1000000001,1000000001]");
    for (Catalog* catalog : {&catalogs.catalog64, &catalogs.catalog32}) {
        for (CatalogEntry& entry : *catalog) {
            const std::wstring name = L"The name of entry " + std::to_wstring(entry.info.dwCatalogEntryId);
            entry.path = L"C:\\Program Files\\" + name + L" in a long folder\\" + words + L"\\x.dll";
            (name + L" " + words).copy(entry.info.szProtocol, WSAPROTOCOL_LEN);
        }
    }
    return catalogs;
}

TEST_F(ListingTest, AWrappedListingIsJoined) {
    const auto check = [](const std::string& text, const Catalogs& catalogs) {
        const Machine machine = ReadDescription(text);
        EXPECT_EQ(DrawCatalogs(machine.catalogs), DrawCatalogs(catalogs)) << text;
        EXPECT_EQ(Joined(machine.gaps, "\n"), "") << text;
    };
    const Catalogs letters = LongNamed(L"a b cd efg hi j kl mnop");
    const Catalogs words = LongNamed(L"Network-Protection Limited Corporation");
    for (size_t width = 60; width <= 120; ++width) {
        check(Wrapped(ListingOf(letters), width), letters);
        check(Wrapped(ListingOf(words), width), words);
    }
    for (size_t width = 60; width <= 80; ++width) {
        check(WrappedAtBlanks(ListingOf(words), width), words);
    }
}

TEST_F(ListingTest, AListingIsReadHoweverItWasPasted) {
    const Catalogs catalogs = CatalogsOf(kMachine);
    const std::string listing = ListingOf(catalogs);
    const std::string quoted = Replaced("> " + listing, "\r\n", "\r\n> ");
    const std::string narrow = std::regex_replace(listing, std::regex(" {2,}"), " ");
    const std::string translated =
        std::regex_replace(listing, std::regex("(\n[A-Z][A-Za-z ]+):"), "$1\xEF\xBC\x9A");
    std::string swapped = AsWide(listing);
    for (size_t i = 0; i < swapped.size(); i += 2) {
        std::swap(swapped[i], swapped[i + 1]);
    }
    const std::pair<std::string, size_t> pasted[] = {
        {listing, 0},
        {AsWide(listing), 0},
        {swapped, 0},
        {"\xEF\xBB\xBF" + listing, 0},
        {conv_to_char(conv_utf8_to_wchar(listing.c_str()).c_str()), 1},
        {Replaced(listing, "\xC3\xA9", "\x82"), 1}, // the OEM code page
        {quoted, 0},
        {Replaced(quoted, "\r\n> ", "\r\n|> > "), 0},
        {Replaced(narrow, ": ", ":"), 0},
        {Replaced(listing, "  ", " \xC2\xA0"), 0},
        {Replaced(Replaced(listing, "\xC3\xA9", "\xE9"), " ", "\xA0"), 1},
        {std::regex_replace(listing, std::regex("(Name|Path|Description): +"), "$1:\r\n"), 1},
        {Replaced(listing, "\r\n\r\n", "\r\n"), 0},
        {Replaced(listing, "\r\n", "\n"), 0},
        {"Windows 11 laptop\r\nmy log: here\r\n----------------\r\n" +
             Replaced(listing, "\r\n\r\n", "\r\n\r\nSubject: x\r\n\r\n"),
         0},
        {Replaced(translated, "Layered Chain Entry", "\xE4\xB8\xAD"), 0},
    };
    for (const auto& [text, warnings] : pasted) {
        const Machine machine = ReadDescription(text);
        EXPECT_EQ(DrawCatalogs(machine.catalogs), DrawCatalogs(catalogs)) << text;
        EXPECT_EQ(Joined(machine.gaps, "\n"), "") << text;
        EXPECT_EQ(machine.warnings.size(), warnings);
        EXPECT_EQ(machine.namespaces.size(), 1u);
        EXPECT_TRUE(machine.fromListing && !machine.knowsNamespaces && machine.namespaces[0].enabled);
    }
}

TEST_F(ListingTest, WhatAListingLacksIsAGap) {
    const std::string sound = ListingOf(CatalogsOf("1 m *; 10 a; 11 a [10,1]"));
    const std::string title = "\r\nWinsock Catalog Provider Entry\r\n" + std::string(54, '-') + "\r\n";
    const size_t ofNamespace = sound.find("\r\nName Space");
    const auto of = [](const char* notation) { return ListingOf(CatalogsOf(notation)); };
    const std::pair<std::string, const char*> rows[] = {
        {sound.substr(title.size()), ""},
        {"Version: 2\r\n" + sound, "a part of a block, of which other lines are missing\n"},
        {sound.substr(0, ofNamespace) + title + sound.substr(ofNamespace), "a part of a block, of which"},
        {sound.substr(0, ofNamespace), "no namespace provider behind the last entry: the end is missing\n"},
        {sound + sound, "an entry behind the namespace providers: two outputs in one file"},
        {Replaced(sound, "C:\\p\\a.dll", ""), "not read: its type or its path is missing\n"},
        {Replaced(sound, "10 : 1", "10"), "not read: its chain has another length\n"},
        {Replaced(sound, "Chain Length:              0", "Chain Length:              1"), "do not fit"},
        {of("1 m *; 10 a; 11 a [10,1] | -"), "the 32-bit catalog is missing\n"},
        {sound.substr(0, 300), "no entry of a catalog can be read\n"},
        {of("- | 1 m *"), "the 64-bit catalog is missing\n"},
        {of("10 a; 11 a [10,10] | 1 m *"), "the 64-bit catalog has no base provider\n"},
        {of("1 m *; 1 m * type=2"), "two entries of the 64-bit catalog have the id 1\n"},
        {of("1 m *; 10 a; 11 a [10,9]"),
         "entry 11 of the 64-bit catalog names the entry 9, which is missing\n"},
        {of("1 m *; 10 a; 11 a [10,1]; 20 a"), "the LSP 20 of the 64-bit catalog has no layered entry\n"},
        {of("1 m *; 2 m * type=2 | 1 m * type=2; 2 m * type=2"),
         "base providers for address family 0, socket type 2"},
        {of("1 m *; 10 C:\\fx64.dll; 11 C:\\f_64.dll [10,1] | 1 m *; 10 f; 11 C:\\q\\F-i386.dll [10,1]"), ""},
    };
    for (const auto& [bytes, gap] : rows) {
        const std::string gaps = GapsOf(bytes);
        EXPECT_NE(gaps.find(gap), std::string::npos) << gap << "\n" << gaps;
        EXPECT_EQ(gaps.empty(), *gap == '\0') << gaps;
    }
}

} // namespace
