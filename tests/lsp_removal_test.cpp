// The removal of LSPs from corrupt catalogs, some of which change during the removal.
#include "lsp/lsp_removal.h"

#include <algorithm>

#include "lsp/lsp_map.h"
#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "lsp/update_functions.h"
#include "simulation/simulated_winsock.h"
#include "support/catalog_notation.h"
#include "support/machine_test.h"
#include "support/random_machine.h"

namespace {

using LspRemovalTest = MachineTest;

TEST_F(LspRemovalTest, RandomCatalogsDoNoHarm) {
    Random random(20261124);
    for (int round = 0; round < 400; ++round) {
        UseSystem(Below(random, 2) == 0);
        const Catalog catalog = HostileCatalog(random);
        ResetWinsock({{900, catalog, catalog}, false, {}});
        if (Below(random, 3) == 0) {
            Winsock().begin = [&](const std::string&) {
                Catalog& changing = Winsock().state.catalog64;
                changing.resize(Below(random, 4) == 0 ? Below(random, 40) : changing.size());
            };
        }
        wchar_t path[kDllPathSize] = {};
        RemoveProvider(static_cast<CatalogSelector>(Below(random, 3)), L"x.dll", path);
        RemoveProvider(static_cast<CatalogSelector>(Below(random, 3)), Below(random, 20));
        ASSERT_EQ(liveBlocks, 0) << "round " << round;
    }
}

// Also on a system that has only one of the two functions. Without the 64-bit one the order is written.
TEST_F(LspRemovalTest, The64BitUpdateFunctionDecides) {
    for (const bool has64 : {false, true}) {
        SetUpdateFunctions({has64 ? WSCUpdateProvider : nullptr, has64 ? nullptr : WSCUpdateProvider32});
        ResetWinsock({CatalogsOf("1 *; 10 a.dll"), false, {}});
        EXPECT_EQ(RemoveProvider(Catalog64, 10), 0);
        EXPECT_EQ(Changes(), std::string(has64 ? "" : "WSCWriteProviderOrder = 0\n") +
                                 "WSCDeinstallProvider {10} = 0\n");
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
    entry.layerCount = 0;
    EXPECT_EQ(AddGuidToLspEntry(&entry, ids, &error), 0);
    EXPECT_EQ(entry.layerGuidCount, 1) << "a record without layers starts a new list";
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
