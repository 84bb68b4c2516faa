// The removal of LSPs from corrupt catalogs, some of which change during the removal.
#include "lsp/lsp_removal.h"

#include <algorithm>
#include <random>

#include "lsp/lsp_map.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "simulation/simulated_winsock.h"
#include "support/machine_test.h"

namespace {

using LspRemovalTest = MachineTest;

TEST_F(LspRemovalTest, RandomCatalogsDoNoHarm) {
    std::mt19937 random(20261124);
    const auto below = [&](unsigned limit) { return random() % limit; };
    for (int round = 0; round < 400; ++round) {
        UseSystem(below(2) == 0);
        SimulatedCatalog catalog(below(30));
        for (SimulatedEntry& entry : catalog) {
            entry.path = below(9) == 0 ? std::wstring(below(3) + 257, L'p') : L"d\\x.dll";
            entry.info.dwCatalogEntryId = below(20);
            entry.info.ProviderId.Data1 = below(12);
            entry.info.ProtocolChain.ChainLen =
                static_cast<int>(below(8) == 0 ? below(1000) - 500 : below(4));
            std::generate_n(entry.info.ProtocolChain.ChainEntries, MAX_PROTOCOL_CHAIN,
                            [&] { return below(20); });
            std::fill_n(entry.info.szProtocol, below(5) == 0 ? WSAPROTOCOL_LEN + 1 : 3, L'n');
        }
        ResetWinsock({900, false, {}, catalog, catalog});
        if (below(3) == 0) {
            Winsock().begin = [&](const std::string&) {
                Winsock().state.catalog64.resize(below(4) == 0 ? below(40)
                                                               : Winsock().state.catalog64.size());
            };
        }
        wchar_t path[kDllPathSize] = {};
        RemoveProvider(static_cast<CatalogSelector>(below(3)), L"x.dll", path);
        RemoveProvider(static_cast<CatalogSelector>(below(3)), below(20));
        ASSERT_EQ(liveBlocks, 0) << "round " << round;
    }
}

TEST_F(LspRemovalTest, AProviderIdIsAddedOnce) {
    LspEntry entry = {};
    entry.layerCount = 1;
    GUID ids[] = {{1, 2, 3, {}}, {2, 2, 3, {}}, {1, 2, 3, {}}};
    int error = 7;
    for (GUID& id : ids) {
        EXPECT_EQ(AddGuidToLspEntry(&entry, &id, &error), 0);
    }
    EXPECT_EQ(entry.layerGuidCount, 2);
    LspFree(entry.layerGuids);
}

TEST_F(LspRemovalTest, AHeapThatCannotBeCreatedLeavesTheOldOneInUse) {
    int error = 0;
    on::HeapCreate.Fail(1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(LspCreateHeap(&error), SOCKET_ERROR);
    EXPECT_EQ(error, 10106);
    const LspArray<int> array(LspAllocArray<int>(3, &error));
    EXPECT_NE(array.Get(), nullptr);
}

TEST_F(LspRemovalTest, NoEntriesAreCollectedFromNone) {
    int count = -1;
    GUID id = {};
    EXPECT_EQ(CollectLayersOfGuid(nullptr, &count, nullptr, 0, &id), 0);
    EXPECT_EQ(count, 0);
}

} // namespace
