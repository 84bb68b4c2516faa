// Prints what the program costs: whole processes, the removal code, a trace line.
#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "lsp/lsp_map.h"
#include "lsp/lsp_removal.h"
#include "lsp/private_heap.h"
#include "machine/export_writer.h"
#include "machine/file_writing.h"
#include "simulation/simulated_winsock.h"
#include "trace/trace_log.h"

namespace {

double Milliseconds() {
    LARGE_INTEGER now;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

template <class F> double TimeOf(F action) {
    const double start = Milliseconds();
    action();
    return Milliseconds() - start;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

void RunProcess(std::string words) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES; // no standard output
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(nullptr, words.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process)) {
        std::printf("cannot run %s: %lu\n", words.c_str(), GetLastError());
        return;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

void BenchProcesses() {
    const std::string program = "C:\\sandbox\\bench\\norvane64.exe ";
    const std::pair<const char*, std::string> rows[] = {
        {"the empty program", "C:\\sandbox\\empty\\norvane64.exe"},
        {"a rejected command line", program + "remove"},
        {"remove lsp", program + "remove lsp none.dll"},
        {"remove network-component", program + "remove network-component none"},
        {"remove restore-dll", program + "remove restore-dll {none}"},
        {"remove vbs", program + "remove vbs x"}};
    // By turns, so that whatever else the machine does meets all alike.
    std::vector<double> times[std::size(rows)];
    for (int round = 0; round < 40; ++round) {
        for (size_t i = 0; i < std::size(rows); ++i) {
            times[i].push_back(TimeOf([&] { RunProcess(rows[i].second); }));
        }
    }
    for (size_t i = 0; i < std::size(rows); ++i) {
        std::printf("process: %s %.1f ms, ratio %.2f\n", rows[i].first, Median(times[i]),
                    Median(times[i]) / Median(times[0]));
    }
}

// One base provider for ten entries; the LSPs each have a hidden and four layered entries, over one another
// by turns.
WinsockState CatalogOf(int entries) {
    WinsockState state;
    for (int i = 0; i < entries; ++i) {
        SimulatedEntry entry = {};
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

// The time of an action without what it spends in the simulated Winsock.
template <class F> double OwnTimeOf(F action) {
    double simulated = 0;
    double begun = 0;
    Winsock().begin = [&](const std::string&) { begun = Milliseconds(); };
    Winsock().end = [&] { simulated += Milliseconds() - begun; };
    return TimeOf(action) - simulated;
}

void BenchRemoval() {
    double last = 0;
    for (const int entries : {50, 500, 5000}) {
        std::vector<double> mapping;
        std::vector<double> removal;
        for (int round = 0; round < (entries > 1000 ? 3 : 20); ++round) {
            int error = 0;
            LspCreateHeap(&error);
            ResetWinsock(CatalogOf(entries));
            int count = 0;
            int lspCount = 0;
            WSAPROTOCOL_INFOW* providers = EnumerateProviders(Catalog64, &count);
            LspEntry* map = nullptr;
            mapping.push_back(OwnTimeOf([&] { map = BuildLspMap(providers, count, &lspCount); }));
            ReleaseLspMap(map, lspCount);
            LspFree(providers);
            wchar_t path[kDllPathSize];
            removal.push_back(OwnTimeOf([&] { RemoveProvider(Catalog64, L"lsp1.dll", path); }));
            LspReleaseHeap();
        }
        const double now = Median(removal);
        std::printf("catalog of %4d entries, own time: mapping %.3f ms, removal %.3f ms", entries,
                    Median(mapping), now);
        std::printf(last > 0 ? ", %.1f times the one before\n" : "\n", now / std::max(last, 0.001));
        last = now;
    }
}

// The whole program, on pictures of such catalogs. Both catalogs have the entries.
void BenchRehearsal() {
    const std::string empty = "C:\\sandbox\\empty\\norvane64.exe";
    for (const int entries : {50, 5000}) {
        WinsockState state = CatalogOf(entries);
        state.catalog32 = state.catalog64;
        WriteWholeFile("C:\\sandbox\\picture.reg", AsWide(ExportOf(state)));
        std::vector<double> nothing;
        std::vector<double> rehearsal;
        for (int round = 0; round < (entries > 1000 ? 3 : 40); ++round) {
            nothing.push_back(TimeOf([&] { RunProcess(empty); }));
            rehearsal.push_back(TimeOf([] {
                RunProcess(
                    "C:\\sandbox\\norvane64-rehearse.exe --picture C:\\sandbox\\picture.reg lsp lsp1.dll");
            }));
        }
        std::printf("rehearsal of %4d entries: %.1f ms, ratio to the empty program %.2f\n", entries,
                    Median(rehearsal), Median(rehearsal) / Median(nothing));
    }
}

void BenchTraceLine() {
    constexpr int kLines = 20000;
    const char* file = "C:\\sandbox\\bench.out";
    std::FILE* out = std::freopen(file, "wb", stdout);
    std::vector<double> traced;
    std::vector<double> printed;
    traceLog->SetConsoleEcho(true);
    for (int round = 0; round < 5; ++round) {
        traced.push_back(TimeOf([] {
            for (int i = 0; i < kLines; ++i) {
                Trace("Removing ID %d from layered chain %d: %s", i, 1011, "Example over TCP");
            }
        }));
        printed.push_back(TimeOf([&] {
            for (int i = 0; i < kLines; ++i) {
                std::fprintf(out, "%03i:%04x %02i:%02i:%02i.%03i Removing ID %d from layered chain %d: %s\n",
                             100, 200, 10, 20, 30, 400, i, 1011, "Example over TCP");
                std::fflush(out);
            }
        }));
    }
    traceLog->SetConsoleEcho(false);
    std::fprintf(stderr, "trace line: %.2f us; fprintf and fflush %.2f us, ratio %.2f\n",
                 1000 * Median(traced) / kLines, 1000 * Median(printed) / kLines,
                 Median(traced) / Median(printed));
}

} // namespace

int main() {
    BenchProcesses();
    BenchRemoval();
    BenchRehearsal();
    std::fflush(stdout);
    BenchTraceLine();
    return 0;
}
