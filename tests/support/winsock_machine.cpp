#include "support/winsock_machine.h"

#include "lsp/private_heap.h"
#include "lsp/update_functions.h"

namespace {

int liveBlocks = 0;

} // namespace

GUID NumberedGuid(DWORD number) {
    return {number, 0, 0x4000, {0x80}};
}

SimulatedEntry BaseEntry(DWORD id) {
    SimulatedEntry entry = LayerEntry(id, 1, {}, L"%SystemRoot%\\system32\\mswsock.dll");
    entry.info.ProtocolChain.ChainLen = BASE_PROTOCOL;
    return entry;
}

SimulatedEntry HiddenEntry(DWORD id, const wchar_t* path) {
    return LayerEntry(id, id, {}, path);
}

SimulatedEntry LayerEntry(DWORD id, DWORD guid, std::initializer_list<DWORD> chain, const wchar_t* path) {
    SimulatedEntry entry = {};
    entry.path = path;
    entry.info.dwCatalogEntryId = id;
    entry.info.ProviderId = NumberedGuid(guid);
    entry.info.iProtocol = static_cast<int>(id); // tells it from its siblings after a reinstall
    entry.info.ProtocolChain.ChainLen = static_cast<int>(chain.size());
    std::copy(chain.begin(), chain.end(), entry.info.ProtocolChain.ChainEntries);
    _snwprintf(entry.info.szProtocol, WSAPROTOCOL_LEN, L"name %lu", id);
    return entry;
}

void WinsockTest::SetUp() {
    MachineTest::SetUp();
    UseSystem(true);
    liveBlocks = 0;
    on::HeapAlloc.Replace([](HANDLE heap, DWORD flags, SIZE_T size) {
        EXPECT_EQ(flags, static_cast<DWORD>(HEAP_ZERO_MEMORY));
        ++liveBlocks;
        return on::HeapAlloc.Real(heap, flags, size);
    });
    on::HeapFree.Replace([](HANDLE heap, DWORD flags, LPVOID block) {
        EXPECT_NE(block, nullptr);
        --liveBlocks;
        return on::HeapFree.Real(heap, flags, block);
    });
    int error = 0;
    ASSERT_EQ(LspCreateHeap(&error), 0);
}

void WinsockTest::TearDown() {
    LspReleaseHeap();
    MachineTest::TearDown();
}

void WinsockTest::UseSystem(bool withUpdateFunctions) {
    // This executable exports what a ws2_32.dll with update functions does; kernel32 exports none of it.
    on::LoadLibraryA.Replace(
        [=](LPCSTR) { return GetModuleHandleA(withUpdateFunctions ? nullptr : "kernel32.dll"); });
    LoadUpdateProviderFunctions();
}

void WinsockTest::Catalog(std::initializer_list<SimulatedEntry> entries) {
    WinsockState state;
    state.nextId = 900;
    state.catalog64 = state.catalog32 = entries;
    ResetWinsock(state);
}

std::string WinsockTest::Changes() {
    std::string changes;
    for (const std::string& call : Winsock().calls) {
        if (!call.starts_with("WSCEnum") && !call.starts_with("WSCGet")) {
            std::string text = call.substr(3);
            for (size_t at; (at = text.find("-0000-4000-8000-000000000000}")) != std::string::npos;) {
                text.erase(at, 29);
            }
            changes += text + "\n";
        }
    }
    Winsock().calls.clear();
    return changes;
}

int WinsockTest::LiveBlocks() {
    return liveBlocks;
}
