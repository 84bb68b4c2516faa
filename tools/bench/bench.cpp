// Measures the removal code on catalogs of growing size, and writes such catalogs for measurements of whole
// programs.
//
//   norvane_bench          prints the own time of a removal, which is without the simulated Winsock's
//   norvane_bench N FILE   writes a registry export in which both catalogs have N entries
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "machine/files.h"
#include "simulation/simulated_winsock.h"
#include "simulation/windows_output.h"

namespace {

using Clock = std::chrono::steady_clock;

// Ten entries in turn are a base provider and two LSPs, one over the other, with a hidden entry each.
WinsockState CatalogOf(int entries) {
    WinsockState state;
    for (int i = 0; i < entries; ++i) {
        CatalogEntry entry = {};
        const DWORD id = static_cast<DWORD>(i) + 1;
        const DWORD hidden = id - static_cast<DWORD>(i % 10 % 5);
        entry.info.dwCatalogEntryId = id;
        entry.info.iProtocol = i;
        entry.info.ProviderId = {id, 0, 0, {}};
        entry.path = L"C:\\lsp" + std::to_wstring(hidden) + L".dll";
        WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        if (i % 10 == 9) {
            chain.ChainLen = BASE_PROTOCOL;
        } else if (hidden != id) {
            chain = {3, {hidden, hidden > 5 ? hidden - 5 : id, 10}};
        }
        state.catalog64.push_back(entry);
    }
    return state;
}

// Milliseconds of one removal of the first LSP, without those spent in the simulated Winsock.
double OwnTimeOfRemoval(const WinsockState& state) {
    int error = 0;
    LspCreateHeap(&error);
    ResetWinsock(state);
    Clock::duration simulated{};
    Clock::time_point call;
    Winsock().begin = [&](const std::string&) { call = Clock::now(); };
    Winsock().end = [&] { simulated += Clock::now() - call; };
    wchar_t path[kDllPathSize];
    const Clock::time_point start = Clock::now();
    const int result = RemoveProvider(Catalog64, L"lsp1.dll", path);
    const std::chrono::duration<double, std::milli> own = Clock::now() - start - simulated;
    LspReleaseHeap();
    if (result != 0 || Winsock().state.catalog64.size() == state.catalog64.size()) {
        std::fprintf(stderr, "The removal removed nothing.\n");
        std::exit(1);
    }
    return own.count();
}

double MedianOwnTime(int entries) {
    const WinsockState state = CatalogOf(entries);
    std::vector<double> times;
    for (int round = 0; round < (entries > 1000 ? 5 : 21); ++round) {
        times.push_back(OwnTimeOfRemoval(state));
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void PrintOwnTimes() {
    double previous = 0;
    for (const int entries : {50, 500, 5000}) {
        const double now = MedianOwnTime(entries);
        std::printf("own time of a removal, %4d entries: %8.3f ms", entries, now);
        std::printf(previous > 0 ? ", %.1f times the previous\n" : "\n", now / previous);
        previous = now;
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3) {
        WinsockState state = CatalogOf(std::atoi(argv[1]));
        state.catalog32 = state.catalog64;
        WriteWholeFile(argv[2], AsWide(ExportOf(state)));
    } else {
        PrintOwnTimes();
    }
    return 0;
}
