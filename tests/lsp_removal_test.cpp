// The map of LSPs and the removal of one, with repair of those over it.
#include "lsp/lsp_removal.h"

#include <algorithm>
#include <random>

#include "lsp/lsp_map.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "lsp/remove_lsp_command.h"
#include "support/winsock_machine.h"

namespace {

class LspRemovalTest : public WinsockTest {
  protected:
    // The map in one line: "hidden id@depth" for each record and, in brackets, the hidden ids of its
    // dependents.
    static std::string MapText() {
        int count = 0;
        int length = 0;
        WSAPROTOCOL_INFOW* providers = EnumerateProviders(Catalog64, &count);
        LspEntry* map = BuildLspMap(providers, count, &length);
        std::string text;
        for (int i = 0; map != nullptr && i < length; ++i) {
            const LspEntry& record = map[i];
            text += (i == 0 ? "" : " ") + std::to_string(record.hiddenEntry.dwCatalogEntryId) + "@" +
                    std::to_string(record.depth);
            for (int d = 0; d < record.dependentCount; ++d) {
                text += "[" + std::to_string(map[record.dependents[d]].hiddenEntry.dwCatalogEntryId) + "]";
            }
            if (record.isOrphanSet == 1) {
                text += "orphans " + std::to_string(record.layerCount) + "/" +
                        std::to_string(record.layerGuidCount);
            }
        }
        text += " #" + std::to_string(length);
        if (map != nullptr) {
            ReleaseLspMap(map, length);
        }
        LspFree(providers);
        EXPECT_EQ(LiveBlocks(), 0);
        return text;
    }

    // Two LSPs over a.dll: b.dll names its hidden id and a layered one, c.dll a layered id alone.
    static void CatalogOfThree() {
        Catalog({BaseEntry(1), HiddenEntry(10, L"%X%\\a.dll"), LayerEntry(11, 11, {10, 1}),
                 HiddenEntry(20, L"b.dll"), LayerEntry(21, 21, {20, 10, 11, 1}),
                 LayerEntry(22, 21, {20, 10, 1}), HiddenEntry(30, L"C:\\d\\c.dll"),
                 LayerEntry(31, 31, {30, 11, 1})});
    }
};

TEST_F(LspRemovalTest, SortsByDepthThenByChainLengthButForTheLastOfADepth) {
    Catalog({BaseEntry(1), HiddenEntry(10, L"a"), LayerEntry(11, 11, {10, 9, 1}), HiddenEntry(20, L"b"),
             LayerEntry(21, 21, {20, 9, 1}), HiddenEntry(30, L"c"), LayerEntry(31, 31, {30, 1})});
    EXPECT_EQ(MapText(), "30@1 20@2 10@2 #3") << "the exchange turned the two of depth 2 around";
    Catalog({BaseEntry(1), HiddenEntry(10, L"a"), LayerEntry(11, 11, {10, 1, 9, 9}), HiddenEntry(20, L"b"),
             LayerEntry(21, 21, {20, 1, 9}), HiddenEntry(30, L"c"), LayerEntry(31, 31, {30, 1}),
             HiddenEntry(40, L"d"), HiddenEntry(50, L"e"), LayerEntry(51, 51, {50, 9, 9, 9, 9, 9, 1})});
    EXPECT_EQ(MapText(), "20@1 10@1 30@1 50@6 40@7 #5");
    SimulatedEntry behind = LayerEntry(11, 11, {10, 9, 1});
    behind.info.ProtocolChain.ChainLen = 2;
    Catalog({BaseEntry(1), HiddenEntry(10, L"a"), behind});
    EXPECT_EQ(MapText(), "10@2 #1") << "positions behind the chain's end count";
}

TEST_F(LspRemovalTest, OrphansShareTheLastRecord) {
    Catalog({BaseEntry(1), LayerEntry(5, 5, {99, 1}), LayerEntry(6, 6, {6, 1}), LayerEntry(7, 5, {98, 1}),
             HiddenEntry(10, L"a"), LayerEntry(11, 11, {10, 5, 1})});
    EXPECT_EQ(MapText(), "10@2 0@0orphans 3/2 #2");
    Catalog({BaseEntry(1), LayerEntry(5, 5, {1, 1})});
    EXPECT_EQ(MapText(), " #0");
    EXPECT_EQ(Traced(), "BuildLspMap: No LSP installed on the system!\n\n");
}

TEST_F(LspRemovalTest, DependentsStandOnceForEachNamingChainAndInReverse) {
    CatalogOfThree();
    EXPECT_EQ(MapText(), "10@1[30][20][20] 20@2 30@2 #3");
}

TEST_F(LspRemovalTest, TheGuidsOfALspAreDistinctAndInOrderOfAppearance) {
    LspEntry record = {};
    int error = 0;
    record.layerCount = 4;
    for (const DWORD number : {7u, 5u, 7u, 6u, 5u}) {
        GUID guid = NumberedGuid(number);
        EXPECT_EQ(AddGuidToLspEntry(&record, &guid, &error), 0);
    }
    ASSERT_EQ(record.layerGuidCount, 3);
    EXPECT_EQ(record.layerGuids[0].Data1 * 100 + record.layerGuids[1].Data1 * 10 + record.layerGuids[2].Data1,
              756u);
    WSAPROTOCOL_INFOW entries[] = {LayerEntry(1, 5, {2, 1}).info, LayerEntry(2, 6, {2, 1}).info,
                                   LayerEntry(3, 5, {2, 1}).info};
    WSAPROTOCOL_INFOW out[2] = {};
    int room = 1;
    EXPECT_EQ(CollectLayersOfGuid(out, &room, entries, 3, &record.layerGuids[1]), -1);
    EXPECT_EQ(room, 2);
    EXPECT_EQ(out[0].dwCatalogEntryId, 0u);
    EXPECT_EQ(CollectLayersOfGuid(out, &room, entries, 3, &record.layerGuids[1]), 0);
    EXPECT_EQ(out[1].dwCatalogEntryId, 3u);
    LspFree(record.layerGuids);
}

TEST_F(LspRemovalTest, AStopKeepsTheMapAsFarAsItWasFilled) {
    const struct {
        PlannedFault fault;
        int failingAlloc;
        std::string map;
        std::string traced;
    } rows[] = {
        {{"WSCGetProviderPath", 2, WSAEFAULT},
         0,
         "10@7 20@0 0@0orphans 1/1 #3",
         "WSCGetProviderPath failed: 10014"},
        {{}, 1, "", ""}, // the catalog itself
        {{}, 2, " #0", "LspAlloc failed: 10055"},
        {{}, 3, "0@0 0@0 0@0 #3", "LspAlloc failed: 10055"},
        {{}, 4, "0@0 0@0 0@0orphans 1/0 #3", "AddGuidToLspEntry failed: 10055"},
        {{}, 5, "10@0 0@0 0@0orphans 1/1 #3", "LspAlloc failed: 10055"},
        {{}, 6, "10@0 0@0 0@0orphans 1/1 #3", "LspAlloc failed: 10055"},
        {{}, 7, "10@0 0@0 0@0orphans 1/1 #3", "AddGuidToLspEntry failed: 10055"},
        {{}, 11, "10@7 20@7 0@0orphans 1/1 #3", "HeapAlloc failed: 10055"},
        {{}, 12, " #0", ""},
    };
    for (const auto& row : rows) {
        SetUp();
        Catalog({BaseEntry(1), HiddenEntry(10, L"a"), LayerEntry(11, 11, {10, 1}), HiddenEntry(20, L"b"),
                 LayerEntry(21, 21, {20, 11, 1}), LayerEntry(5, 5, {99, 1})});
        Winsock().state.faults = {row.fault};
        on::HeapAlloc.Fail(row.failingAlloc, 0);
        if (row.map.empty()) {
            int count = 0;
            EXPECT_EQ(EnumerateProviders(Catalog64, &count), nullptr);
            continue;
        }
        EXPECT_EQ(MapText(), row.map) << row.failingAlloc;
        EXPECT_TRUE(Traced().find(row.traced.empty() ? "CheckLspDependency: LspAlloc failed: 10055"
                                                     : "BuildLspMap: " + row.traced) != std::string::npos)
            << row.failingAlloc;
    }
    Catalog({HiddenEntry(10, L"a"), LayerEntry(11, 11, {10, 1})});
    EXPECT_EQ(MapText(), "10@7 #1");
    EXPECT_TRUE(HasLines(Traced(), {"BuildLspMap: GetProviderCount(BASE_PROTOCOL) returned zero!\n"}));
}

TEST_F(LspRemovalTest, UpdatesTheChangedEntriesInPlace) {
    for (const CatalogSelector catalog : {Catalog64, Catalog32}) {
        CatalogOfThree();
        wchar_t path[kDllPathSize] = {};
        EXPECT_EQ(RemoveProvider(catalog, L"a.dll", path), 0);
        EXPECT_STREQ(path, L"%X%\\a.dll");
        const std::string kind = catalog == Catalog64 ? "" : "32";
        const std::string update = "UpdateProvider" + kind;
        const std::string deinstall = "DeinstallProvider" + kind;
        EXPECT_EQ(Changes(), update + " {0000001F = 0\n" + update + " {00000015 = 0\n" + update +
                                 " {00000015 = 0\n" + update + " {00000015 = 0\n" + update +
                                 " {00000015 = 0\n" + deinstall + " {0000000B = 0\n" + deinstall +
                                 " {0000000A = 0\n");
        const SimulatedCatalog& left =
            catalog == Catalog64 ? Winsock().state.catalog64 : Winsock().state.catalog32;
        ASSERT_EQ(left.size(), 6u);
        EXPECT_EQ(left[2].info.ProtocolChain.ChainLen, 2);
        EXPECT_EQ(left[2].info.ProtocolChain.ChainEntries[1], 1u);
        EXPECT_EQ(left[2].path, L"b.dll");
        EXPECT_EQ(LiveBlocks(), 0);
    }
}

TEST_F(LspRemovalTest, ReinstallsTheDependentsAndRenumbersThem) {
    UseSystem(false);
    Catalog({BaseEntry(1), HiddenEntry(10, L"a.dll"), LayerEntry(11, 11, {10, 1}), HiddenEntry(20, L"b.dll"),
             LayerEntry(21, 21, {20, 11, 1}), HiddenEntry(30, L"c.dll"),
             LayerEntry(31, 31, {30, 21, 11, 1})});
    EXPECT_EQ(RemoveProvider(Catalog64, 11), 0);
    // Dependents are 30, 20. 20 comes back first as 900; then 30, whose chain names 21, as 901 with 900 in
    // it.
    EXPECT_EQ(Changes(),
              "DeinstallProvider {0000001F = 0\nDeinstallProvider {00000015 = 0\n"
              "InstallProvider {00000015 = 0\nInstallProvider {0000001F = 0\n"
              "WriteProviderOrder = 0\nDeinstallProvider {0000000B = 0\nDeinstallProvider {0000000A = 0\n");
    EXPECT_TRUE(HasLines(Traced(), {"provider is ID 10 (name 10). This entire LSP will be removed!\n",
                                    "LSP Layer  ID:     11 Name name 11\n", "Fixing LSP index 30: name 30\n",
                                    "Removing ID 10 from layered chain 31: name 31\n",
                                    "Fixing LSP index 20: name 20\n", "Installed: [ 900] name 21\n",
                                    "Updating IDs for index 2\n", "Installed: [ 901] name 31\n"}));
    const SimulatedCatalog& left = Winsock().state.catalog64;
    ASSERT_EQ(left.size(), 5u);
    EXPECT_EQ(left[2].info.dwCatalogEntryId, 900u) << "the new entries have the places of the old";
    const WSAPROTOCOLCHAIN& chain = left[4].info.ProtocolChain;
    EXPECT_EQ(chain.ChainLen, 3);
    EXPECT_EQ(chain.ChainEntries[1], 900u);
    EXPECT_EQ(LiveBlocks(), 0);
}

TEST_F(LspRemovalTest, ReinstallingInBothCatalogsLosesTheNewIds) {
    UseSystem(false);
    CatalogOfThree();
    EXPECT_EQ(RemoveProvider(CatalogBoth, 10), 0);
    const std::string changes = Changes();
    EXPECT_EQ(changes.find("WriteProviderOrder"), std::string::npos);
    EXPECT_NE(changes.find("DeinstallProvider {00000015 = -1 error 10022\n"), std::string::npos)
        << "a repeated dependent is deinstalled again";
    EXPECT_EQ(std::count(changes.begin(), changes.end(), 'I'), 3) << changes;
    EXPECT_EQ(Winsock().state.catalog64.size(), Winsock().state.catalog32.size());
    UseSystem(false);
    Catalog({BaseEntry(1), HiddenEntry(10, L"a.dll"), LayerEntry(11, 11, {10, 1})});
    EXPECT_EQ(RemoveProvider(Catalog64, 10), 0);
    EXPECT_TRUE(Changes().starts_with("WriteProviderOrder = 0\n"))
        << "the order is written without dependents too";
}

TEST_F(LspRemovalTest, FindsTheTargetByIdAndByName) {
    wchar_t path[kDllPathSize] = L"untouched";
    Catalog({BaseEntry(1), HiddenEntry(10, L"C:\\x\\a.dll"), HiddenEntry(20, L"C:\\"),
             LayerEntry(5, 5, {99, 1})});
    for (const wchar_t* name : {L"A.dll", L"x\\a.dll", L"C:\\x\\a.dll"}) {
        EXPECT_EQ(RemoveProvider(Catalog64, name, path), -1);
    }
    EXPECT_STREQ(path, L"untouched");
    EXPECT_EQ(RemoveProvider(Catalog64, 99), -1);
    EXPECT_EQ(Changes(), "");
    EXPECT_TRUE(HasLines(Traced(), {"Error! Invalid Winsock LSP dll name supplied: x\\a.dll\n",
                                    "Error! Invalid Winsock catalog ID supplied: 99\n"}));
    EXPECT_EQ(RemoveProvider(Catalog64, L"", path), 0) << "the first path without a last component";
    EXPECT_STREQ(path, L"C:\\");
    EXPECT_EQ(Changes(), "DeinstallProvider {00000014 = 0\n");
    EXPECT_EQ(RemoveProvider(Catalog64, 5), 0);
    EXPECT_EQ(Changes(), "DeinstallProvider {00000005 = 0\nDeinstallProvider "
                         "{00000000-0000-0000-0000-000000000000} = -1 error 10022\n");
    EXPECT_TRUE(HasLines(Traced(), {"Catalog ID 5 is one of 1 orphaned protocol entries.", "deleted:\n",
                                    "   5: name 5\n", "Orphaned LSP protocol chain entries:\n",
                                    "LSP Layer  ID:      5 Name name 5\n",
                                    "DeinstallProvider: WSCDeinstallProvider failed: 10022\n"}));
}

// Every call of the simulated Winsock and of the heap fails once, on both kinds of system and for every
// selector.
TEST_F(LspRemovalTest, AnyFailureIsTracedAndLeavesNothingBehind) {
    const std::pair<const char*, const char*> functions[] = {
        {"WSCEnumProtocols", ""}, // its callers have their own words
        {"WSCEnumProtocols32", ""},
        {"WSCGetProviderPath", "BuildLspMap: WSCGetProviderPath failed: 10107\n"},
        {"WSCInstallProvider", "InstallProvider: WSCInstallProvider* failed: 10107\n"},
        {"WSCInstallProvider64_32", "InstallProvider: WSCInstallProvider* failed: 10107\n"},
        {"WSCDeinstallProvider", "DeinstallProvider: WSCDeinstallProvider failed: 10107\n"},
        {"WSCDeinstallProvider32", "DeinstallProvider: WSCDeinstallProvider32 failed: 10107\n"},
        {"WSCUpdateProvider", "UpdateProvider: WSCUpdateProvider failed: 10107\n"},
        {"WSCUpdateProvider32", "UpdateProvider: WSCUpdateProvider failed: 10107\n"},
        {"WSCWriteProviderOrder", "RemoveProvider: WriteProviderOrder failed: 10107\n"},
        {"WSCWriteProviderOrder32", "RemoveProvider: WriteProviderOrder failed: 10107\n"},
        {"HeapAlloc", ""}};
    int failures = 0;
    const auto run = [&](bool update, CatalogSelector catalog, const auto& function, int call) {
        SetUp();
        UseSystem(update);
        CatalogOfThree();
        const std::string before = FormatWinsockState(Winsock().state);
        Winsock().state.faults = {{function.first, call, WSASYSCALLFAILURE}};
        on::HeapAlloc.Fail(function.first == std::string("HeapAlloc") ? call : 0, ERROR_NOT_ENOUGH_MEMORY);
        wchar_t path[kDllPathSize] = {};
        const int result = RemoveProvider(catalog, L"a.dll", path);
        Winsock().state.faults.clear();
        EXPECT_EQ(LiveBlocks(), 0) << function.first << " " << call;
        if (result == SOCKET_ERROR) {
            EXPECT_EQ(FormatWinsockState(Winsock().state), before) << function.first << " " << call;
        }
        bool reached = on::HeapAlloc.failingCall > 0 && on::HeapAlloc.calls >= call;
        for (const std::string& record : Winsock().calls) {
            reached = reached || (record.starts_with(std::string(function.first) + " ") &&
                                  (record.ends_with("error 10107")));
        }
        const std::string traced = Traced();
        EXPECT_TRUE(!reached || HasLines(traced, {function.second})) << function.first << " " << call;
        EXPECT_TRUE(!reached || traced.find("failed") + 1 + traced.find("Unable") + 1 > 0);
        failures += reached ? 1 : 0;
        return reached;
    };
    for (const bool update : {true, false}) {
        for (const CatalogSelector catalog : {CatalogBoth, Catalog32, Catalog64}) {
            for (const auto& function : functions) {
                for (int call = 1; run(update, catalog, function, call); ++call) {
                }
            }
        }
    }
    EXPECT_GT(failures, 150);
}

TEST_F(LspRemovalTest, ACatalogThatGrowsIsNotReadBeyondTheBuffer) {
    UseSystem(false);
    CatalogOfThree();
    Winsock().begin = [](const std::string& function) {
        if (function == "WSCInstallProvider") {
            Winsock().state.catalog64.insert(Winsock().state.catalog64.end(), 5, BaseEntry(500));
        }
    };
    EXPECT_EQ(RemoveProvider(Catalog64, 10), 0);
    EXPECT_TRUE(HasLines(Traced(), {"RemoveProvider: EnumerateProvidersExisting failed: 10055\n",
                                    "RemoveProvider: WriteProviderOrder failed: 10022\n"}));
    EXPECT_EQ(LiveBlocks(), 0);
}

// Corrupt catalogs of every kind; run under heap checking too.
TEST_F(LspRemovalTest, RandomCatalogsDoNoHarm) {
    std::mt19937 random(20261124);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (int round = 0; round < 400; ++round) {
        UseSystem(below(2) == 0);
        WinsockState state;
        const int size = below(30);
        for (int i = 0; i < size; ++i) {
            SimulatedEntry entry =
                LayerEntry(static_cast<DWORD>(below(20)), static_cast<DWORD>(below(12)), {}, L"d\\x.dll");
            entry.info.ProtocolChain.ChainLen = below(8) == 0 ? below(1000) - 500 : below(4);
            for (DWORD& id : entry.info.ProtocolChain.ChainEntries) {
                id = static_cast<DWORD>(below(20));
            }
            if (below(5) == 0) {
                std::fill(std::begin(entry.info.szProtocol), std::end(entry.info.szProtocol), L'n');
            }
            if (below(9) == 0) {
                entry.path = std::wstring(static_cast<size_t>(below(3) + 257), L'p');
            }
            state.catalog64.push_back(entry);
            state.catalog32.push_back(entry);
        }
        ResetWinsock(state);
        if (below(3) == 0) {
            Winsock().begin = [&](const std::string&) {
                if (below(4) == 0 && !Winsock().state.catalog64.empty()) {
                    Winsock().state.catalog64.pop_back();
                }
            };
        }
        wchar_t path[kDllPathSize] = {};
        RemoveProvider(below(3), L"x.dll", path);
        RemoveProvider(below(3), static_cast<DWORD>(below(20)));
        ASSERT_EQ(LiveBlocks(), 0) << "round " << round;
    }
}

TEST_F(LspRemovalTest, TheCommandTearsDownWhatItSetUp) {
    const struct {
        PlannedFault fault;
        HookBase* hook;
        std::string calls;
        std::string traced;
    } rows[] = {
        {{"WSAStartup", 1, WSASYSNOTREADY},
         nullptr,
         "WSAStartup 514 = 10091",
         "Unable to load Winsock: 10091\n\n"},
        {{}, &on::HeapCreate, "WSAStartup 514 = 0|WSACleanup = 0", "LspCreateHeap failed: error = -1\n"},
        {{}, &on::LoadLibraryA, "WSAStartup 514 = 0|WSACleanup = 0", ""},
        {{},
         nullptr,
         "WSAStartup 514 = 0|WSCEnumProtocols = 0|WSCEnumProtocols = 0|WSACleanup = 0",
         "BuildLspMap: No LSP installed on the system!\n\nRemoveProvider: Unable to build LSP map!\n\n"
         "warning: file '' not exist\n"},
    };
    for (const auto& row : rows) {
        MachineTest::SetUp();
        UseSystem(true);
        Winsock().state.faults = {row.fault};
        on::HeapCreate.Replace([](DWORD flags, SIZE_T initial, SIZE_T maximum) {
            EXPECT_TRUE(flags == 0 && initial == 128000 && maximum == 0);
            return on::HeapCreate.Real(flags, initial, maximum);
        });
        if (row.hook != nullptr) {
            row.hook->Fail(1, ERROR_NOT_ENOUGH_MEMORY);
        }
        testing::internal::CaptureStderr();
        RemoveLsp(true, "none.dll");
        testing::internal::GetCapturedStderr();
        std::string calls;
        for (const std::string& call : Winsock().calls) {
            calls += (calls.empty() ? "" : "|") + call;
        }
        EXPECT_EQ(calls, row.calls);
        EXPECT_EQ(Traced(), row.traced);
        EXPECT_EQ(on::HeapDestroy.calls,
                  row.calls.find("WSACleanup") != std::string::npos && row.hook != &on::HeapCreate ? 1 : 0);
    }
}

} // namespace
