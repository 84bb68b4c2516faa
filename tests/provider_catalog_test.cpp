// Catalog access: what each selector does, what each failure says.
#include "lsp/provider_catalog.h"

#include "lsp/private_heap.h"
#include "lsp/provider_entries.h"
#include "lsp/update_functions.h"
#include "support/winsock_machine.h"

namespace {

class ProviderCatalogTest : public WinsockTest {
  protected:
    void SetUp() override {
        WinsockTest::SetUp();
        Catalog({BaseEntry(1), HiddenEntry(2, L"a.dll"), LayerEntry(3, 3, {2, 1}, L"a.dll")});
    }
};

TEST_F(ProviderCatalogTest, EachOperationReadsTheSelectorInItsOwnWay) {
    const auto operate = [](int operation, CatalogSelector catalog) {
        GUID guid = NumberedGuid(3);
        WSAPROTOCOL_INFOW entries[3] = {LayerEntry(3, 3, {2, 1}).info};
        DWORD ids[] = {1, 2, 3};
        DWORD length = sizeof(entries);
        int error = 7;
        int count = 7;
        Winsock().calls.clear();
        switch (operation) {
        case 0:
            LspFreeIfAny(EnumerateProviders(catalog, &count));
            break;
        case 1:
            count = EnumerateProvidersExisting(catalog, entries, &length);
            break;
        case 2:
            count = InstallProvider(catalog, &guid, L"a.dll", entries, 1);
            break;
        case 3:
            count = DeinstallProvider(catalog, &guid);
            break;
        case 4:
            count = UpdateProvider(catalog, &guid, L"a.dll", entries, &error);
            break;
        default:
            count = WriteProviderOrder(catalog, ids, 3, &error);
        }
        std::string calls = std::to_string(count) + ":";
        for (const std::string& call : Winsock().calls) {
            calls += " " + call.substr(3, call.find(' ') - 3);
        }
        return calls;
    };
    const char* const expected[][4] = {
        {"3: EnumProtocols EnumProtocols", "3: EnumProtocols32 EnumProtocols32",
         "3: EnumProtocols EnumProtocols", "3: EnumProtocols EnumProtocols"},
        {"0:", "3: EnumProtocols32", "3: EnumProtocols", "0:"},
        {"0: InstallProvider64_32 EnumProtocols EnumProtocols",
         "-1:", "0: InstallProvider EnumProtocols EnumProtocols",
         "0: InstallProvider64_32 EnumProtocols EnumProtocols"},
        {"0: DeinstallProvider DeinstallProvider32", "0: DeinstallProvider32", "0: DeinstallProvider",
         "0: DeinstallProvider32"},
        {"-1:", "0: UpdateProvider32", "0: UpdateProvider", "-1:"},
        {"0:", "0: WriteProviderOrder32", "0: WriteProviderOrder", "0:"},
    };
    for (int operation = 0; operation < 6; ++operation) {
        for (CatalogSelector catalog = 0; catalog < 4; ++catalog) {
            SetUp();
            EXPECT_EQ(operate(operation, catalog), expected[operation][catalog])
                << operation << " " << catalog;
        }
    }
    EXPECT_EQ(EnumerateProviders(Catalog64, nullptr), nullptr);
}

TEST_F(ProviderCatalogTest, FailuresAreTracedWithTheirErrors) {
    GUID guid = NumberedGuid(3);
    WSAPROTOCOL_INFOW entry = LayerEntry(3, 3, {2, 1}).info;
    DWORD ids[] = {99};
    int error = 0;
    EXPECT_EQ(InstallProvider(CatalogBoth, &guid, L"b.dll", &entry, 1), 0);
    EXPECT_EQ(InstallProvider(CatalogBoth, &guid, L"b.dll", &entry, 0), -1);
    Winsock().state.faults = {{"WSCEnumProtocols", 3, WSASYSCALLFAILURE}};
    EXPECT_EQ(InstallProvider(CatalogBoth, &guid, L"b.dll", &entry, 1), 0) << "the install stands";
    Winsock().state.faults = {{"WSCDeinstallProvider", 1, WSAEACCES},
                              {"WSCDeinstallProvider32", 1, WSANO_RECOVERY}};
    EXPECT_EQ(DeinstallProvider(CatalogBoth, &guid), -1);
    EXPECT_EQ(WriteProviderOrder(Catalog64, ids, 1, &error), -1);
    EXPECT_EQ(error, WSAEINVAL);
    guid.Data1 = 77;
    EXPECT_EQ(UpdateProvider(Catalog32, &guid, L"b.dll", &entry, &error), -1);
    UseSystem(false);
    error = 5;
    EXPECT_EQ(UpdateProvider(Catalog64, &guid, L"b.dll", &entry, &error), -1);
    EXPECT_EQ(Traced(), "Installed: [   3] name 3\n\n"
                        "InstallProvider: WSCInstallProvider* failed: 10022\n\n"
                        "InstallProvider: EnumerateProviders failed!\n\n"
                        "DeinstallProvider: WSCDeinstallProvider failed: 10013\n\n"
                        "DeinstallProvider: WSCDeinstallProvider32 failed: 11003\n\n"
                        "WriteProviderOrder: WSCWriteProviderOrder failed: 10022\n\n"
                        "UpdateProvider: WSCUpdateProvider failed: 10022\n\n"
                        "UpdateProvider: WSCUpdateProvider failed: 5\n\n");
}

TEST_F(ProviderCatalogTest, AFailedEnumerationGivesNothingAndKeepsTheLibraryLoaded) {
    const struct {
        CatalogSelector catalog;
        const char* function;
        int call;
        HookBase* hook;
        int freed;
    } rows[] = {{Catalog64, "WSCEnumProtocols", 1, nullptr, 0},
                {Catalog64, "WSCEnumProtocols", 2, nullptr, 0},
                {Catalog32, "WSCEnumProtocols32", 1, nullptr, 0},
                {Catalog32, "WSCEnumProtocols32", 2, nullptr, 0},
                {Catalog64, "", 1, &on::HeapAlloc, 0},
                {Catalog32, "", 1, &on::HeapAlloc, 0},
                {Catalog32, "", 1, &on::LoadLibraryA, 0},
                {Catalog32, "", 0, nullptr, 1}};
    for (const auto& row : rows) {
        SetUp();
        Winsock().state.faults = {{row.function, row.call, WSAENETDOWN}};
        if (row.hook != nullptr) {
            row.hook->Fail(row.call, ERROR_NOT_ENOUGH_MEMORY);
        }
        on::FreeLibrary.Replace([](HMODULE) { return TRUE; });
        int count = 7;
        WSAPROTOCOL_INFOW* providers = EnumerateProviders(row.catalog, &count);
        EXPECT_EQ(count, row.freed == 1 ? 3 : 0) << row.function;
        EXPECT_EQ(providers != nullptr, row.freed == 1);
        EXPECT_EQ(on::FreeLibrary.calls, row.freed);
        LspFreeIfAny(providers);
    }
    UseSystem(false);
    int count = 7;
    EXPECT_EQ(EnumerateProviders(Catalog32, &count), nullptr) << "a library without the function";
    EXPECT_EQ(LiveBlocks(), 0);
    EXPECT_EQ(Traced(), "");
}

TEST_F(ProviderCatalogTest, FindsTheUpdateFunctionsInTheSystemDirectory) {
    std::string loaded;
    on::LoadLibraryA.Replace([&](LPCSTR path) {
        loaded = path;
        SetLastError(ERROR_MOD_NOT_FOUND);
        return loaded.starts_with("fail") ? nullptr : GetModuleHandleA(nullptr);
    });
    // What GetSystemDirectoryA leaves in the buffer, and what it returns.
    const auto load = [&](const std::string& directory, UINT result) {
        on::GetSystemDirectoryA.Replace([=](LPSTR buffer, UINT size) {
            EXPECT_EQ(size, 261u);
            memcpy(buffer, directory.c_str(), std::min<size_t>(directory.size() + 1, size));
            return result;
        });
        testing::internal::CaptureStderr();
        const bool found = LoadUpdateProviderFunctions() != nullptr;
        return std::to_string(found) + Traced() + testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(load("C:\\S", 4), "1");
    EXPECT_EQ(loaded, "C:\\S\\ws2_32.dll");
    EXPECT_EQ(load(std::string(249, 'x'), 300), "1");
    EXPECT_EQ(load(std::string(250, 'x'), 250),
              "0LoadUpdateProviderFunctions: StringCchCatA failed: 0x8007007a\n\n");
    EXPECT_EQ(load(std::string(261, 'x'), 300),
              "0LoadUpdateProviderFunctions: StringCchCatA failed: 0x80070057\n\n");
    EXPECT_EQ(load("", 0), "1");
    EXPECT_EQ(loaded, "\\ws2_32.dll") << "the expanded text is not what is loaded";
    on::ExpandEnvironmentStringsA.Fail(1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(load("", 0), "0LoadUpdateProviderFunctions: Unable to expand environment string: 8\n");
    EXPECT_EQ(load("fail", 4), "0LoadUpdateProviderFunctions: Unable to load fail\\ws2_32.dll: 126\n");
}

TEST_F(ProviderCatalogTest, EntriesWithImpossibleChainsAreBounded) {
    WSAPROTOCOL_INFOW entry = LayerEntry(3, 3, {2, 1, 4, 5, 6, 7, 8}).info;
    EXPECT_EQ(DropChainId(&entry, 9), 0);
    EXPECT_EQ(DropChainId(&entry, 8), 1);
    EXPECT_EQ(DropChainId(&entry, 2), 1);
    EXPECT_EQ(entry.ProtocolChain.ChainLen, 5);
    EXPECT_EQ(entry.ProtocolChain.ChainEntries[0], 1u);
    entry.ProtocolChain.ChainLen = 1 << 30;
    EXPECT_FALSE(ChainHasId(&entry, 99));
    EXPECT_EQ(DropChainId(&entry, 1), 1);
    EXPECT_EQ(entry.ProtocolChain.ChainLen, 6);
    entry.ProtocolChain.ChainLen = -1;
    EXPECT_FALSE(ChainHasId(&entry, 4));
    EXPECT_EQ(DropChainId(&entry, 4), 0);
}

} // namespace
