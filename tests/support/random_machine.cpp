#include "support/random_machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "common/text_conversion.h"
#include "files/file_remover.h"
#include "machine/files.h"
#include "machine/text.h"
#include "support/machine_test.h"

namespace {

// Paths, and the files that 64-bit and 32-bit programs open for them.
struct Spelling {
    const wchar_t* path;
    const char* file64;
    const char* file32;
};
constexpr char kA[] = "C:\\p\\a.dll";
constexpr char kB[] = "C:\\p\\b.dll";
constexpr char kSystem[] = "C:\\windows\\system32\\s.dll";
constexpr char kWow[] = "C:\\windows\\syswow64\\s.dll";
constexpr char kNative[] = "C:\\windows\\sysnative\\s.dll";
constexpr char kOther[] = "C:\\p\\d & \xE9.dll";
constexpr char kPlain64[] = "C:\\windows\\system32\\e.dll";
constexpr char kPlain32[] = "C:\\windows\\syswow64\\e.dll";
constexpr char kBase64[] = "C:\\windows\\system32\\base.dll";
constexpr char kBase32[] = "C:\\windows\\syswow64\\base.dll";
constexpr const char* kFiles[] = {kA,     kB,       kSystem,  kWow,    kNative,
                                  kOther, kPlain64, kPlain32, kBase64, kBase32};
constexpr Spelling kSpellings[] = {{L"C:\\p\\a.dll", kA, kA},
                                   {L"c:\\P\\x\\..\\A.DLL", kA, kA},
                                   {L"\\\\?\\C:\\p\\a.dll", kA, kA},
                                   {L"C:\\p\\\\b.dll", kB, kB},
                                   {L"C:/p/b.dll", kB, kB},
                                   {L"%SystemDrive%\\p\\b.dll", kB, kB},
                                   {L"C:\\windows\\system32\\s.dll", kSystem, kWow},
                                   {L"%SystemRoot%\\SysWOW64\\s.dll", kWow, kWow},
                                   {L"C:\\Windows\\Sysnative\\s.dll", kNative, kSystem},
                                   {L"C:\\p\\d & \xE9.dll", kOther, kOther},
                                   {L"%X%\\c.dll", "", ""},
                                   {L"e.dll", kPlain64, kPlain32},
                                   {L"C:\\windows\\system32\\base.dll", kBase64, kBase32},
                                   {L"C:\\n\\n.dll", "", ""}};
constexpr size_t kOfLsps = std::size(kSpellings) - 2; // the last two are of Windows

// What the entries of one machine are made with.
struct Maker {
    Random& random;
    Catalogs& catalogs;
    bool damaged;
    bool small; // ids from 0 to 8
    DWORD number = 0;
};

// Whether something happens that happens once in so many times.
bool OnceIn(Maker& maker, size_t times) {
    return Below(maker.random, times) == 0;
}

DWORD NewId(Maker& maker) {
    return maker.small ? Below(maker.random, 9) : maker.catalogs.nextId++;
}

DWORD KnownId(Maker& maker) {
    return maker.small ? Below(maker.random, 9)
                       : 1001 + Below(maker.random, std::max<DWORD>(maker.catalogs.nextId, 1002) - 1001);
}

CatalogEntry MakeEntry(Maker& maker, DWORD id, int length) {
    CatalogEntry entry = {{}, kSpellings[Below(maker.random, kOfLsps)].path};
    entry.info.dwCatalogEntryId = id;
    entry.info.ProviderId.Data1 = OnceIn(maker, 20) ? KnownId(maker) : maker.small ? 9000 + maker.number : id;
    entry.info.ProtocolChain.ChainLen = length;
    entry.info.dwMessageSize = ++maker.number;
    const wchar_t* const names[] = {L"LSP", L"\u4E2D", L"@%SystemRoot%\\a.dll,-1", L""};
    wcscpy_s(entry.info.szProtocol, names[std::min<DWORD>(Below(maker.random, 12), 3)]);
    entry.info.iAddressFamily = 2;
    return entry;
}

// A layer over any ids: sound ones, missing ones, 0, its own, in circles.
CatalogEntry MakeLayer(Maker& maker, const CatalogEntry& lsp) {
    const DWORD hidden = lsp.info.dwCatalogEntryId;
    const int length = 2 + static_cast<int>(Below(maker.random, 3));
    const bool taken = maker.damaged && OnceIn(maker, 9);
    CatalogEntry layer = MakeEntry(maker, taken ? KnownId(maker) : NewId(maker), length);
    layer.path = maker.damaged && OnceIn(maker, 4) ? layer.path : lsp.path;
    layer.info.ProviderId = OnceIn(maker, 3) ? lsp.info.ProviderId : layer.info.ProviderId;
    DWORD* ids = layer.info.ProtocolChain.ChainEntries;
    ids[0] = maker.damaged && OnceIn(maker, 9) ? 1999 : hidden;
    for (int i = 1; i < length; ++i) {
        ids[i] = maker.damaged ? KnownId(maker) : 1001 + Below(maker.random, hidden - 1001);
    }
    ids[length - 1] = maker.damaged && OnceIn(maker, 20) ? 0 : ids[length - 1];
    const int lengths[] = {-1, 8, 1000};
    layer.info.ProtocolChain.ChainLen =
        maker.damaged && OnceIn(maker, 20) ? lengths[Below(maker.random, 3)] : length;
    return layer;
}

// Adds an LSP to catalogs, now and then without its hidden entry.
void AddLsp(Maker& maker, std::initializer_list<Catalog*> catalogs) {
    std::vector<CatalogEntry> added = {MakeEntry(maker, NewId(maker), LAYERED_PROTOCOL)};
    for (DWORD layers = Below(maker.random, 4); layers > 0; --layers) {
        added.push_back(MakeLayer(maker, added[0]));
    }
    for (Catalog* catalog : catalogs) {
        if (!maker.damaged || !OnceIn(maker, 5)) {
            catalog->insert(catalog->end(), added.begin() + (maker.damaged && OnceIn(maker, 12) ? 1 : 0),
                            added.end());
        }
    }
}

// Adds base providers, of Windows and others, and LSPs.
void Fill(Maker& maker, DWORD lsps, std::initializer_list<Catalog*> catalogs) {
    for (int i = 0; i < 3; ++i) {
        CatalogEntry base = MakeEntry(maker, NewId(maker), BASE_PROTOCOL);
        base.path = maker.damaged && OnceIn(maker, 5) ? base.path : L"C:\\windows\\system32\\base.dll";
        for (Catalog* catalog : catalogs) {
            catalog->push_back(base);
        }
    }
    for (; lsps > 0; --lsps) {
        AddLsp(maker, catalogs);
    }
}

std::string AnyDllName(Random& random, const Catalog& catalog) {
    std::vector<std::wstring> names = {L"a.dll", L""};
    for (const CatalogEntry& entry : catalog) {
        names.insert(names.end(), IsLsp(entry) ? 3 : 0, FileNameForCommand(entry.path));
    }
    return conv_to_char(names[Below(random, names.size())].c_str());
}

} // namespace

DWORD Below(Random& random, size_t limit) {
    return static_cast<DWORD>(random() % limit);
}

std::string FileIn(const std::wstring& path, bool is32) {
    for (const Spelling& spelling : kSpellings) {
        if (path == spelling.path) {
            return is32 ? spelling.file32 : spelling.file64;
        }
    }
    ADD_FAILURE() << "an unknown path";
    return "";
}

RandomMachine MakeRandomMachine(Random& random, int round) {
    RandomMachine machine = {};
    const bool damaged = round % 2 == 0;
    const bool small = damaged && Below(random, 3) == 0;
    const DWORD most = 3 + static_cast<DWORD>(round) / 100;
    const DWORD lsps = damaged ? Below(random, most + 2) : 2 + Below(random, most);
    Maker maker = {random, machine.catalogs, damaged, small};
    Catalog& in64 = machine.catalogs.catalog64;
    Catalog& in32 = machine.catalogs.catalog32;
    if (small) {
        Fill(maker, lsps, {&in64});
        Fill(maker, lsps, {&in32});
    } else {
        Fill(maker, lsps, {&in64, &in32});
    }
    const Spelling& provider = kSpellings[std::min<DWORD>(Below(random, 30), kOfLsps + 1)];
    machine.provider = {"@%SystemRoot%\\System32\\mswsock.dll,-60100", conv_wchar_to_utf8(provider.path),
                        false};
    if (Below(random, 2) == 0) {
        machine.counts = {{kA, Below(random, 3)}, {kSystem, 1 + Below(random, 2)}};
    }
    machine.dllName = AnyDllName(random, in64);
    machine.live = small || round % 4 == 1;
    return machine;
}

Machine DescriptionOf(const RandomMachine& random) {
    Machine machine;
    machine.name = "machine";
    machine.live = random.live;
    machine.folders = random.live ? LiveFolders() : AssumedFolders();
    machine.catalogs = random.catalogs;
    machine.namespaces = {random.provider};
    machine.hasCatalogs = machine.hasCounts = machine.hasCounts32 = machine.knowsNamespaces = true;
    for (const auto& [path, count] : random.counts) {
        machine.sharedCounts[LowerCase(path)] = count;
        machine.storedCounts.push_back({path, count, true});
    }
    return machine;
}

void UseFiles(const RandomMachine& machine, Random random) {
    for (const char* folder : {"C:\\p", "C:\\n", "C:\\windows\\sysnative", "C:\\windows\\syswow64"}) {
        CreateDirectoryA(folder, nullptr);
    }
    WriteWholeFile("C:\\n\\n.dll", "stands for a DLL");
    for (const char* file : kFiles) {
        if (machine.live && Below(random, 4) == 0) {
            DeleteFileA(file);
        } else if (!FileExists(file)) {
            WriteWholeFile(file, "stands for a DLL");
        }
    }
}

std::set<std::string> ExistingFiles() {
    std::set<std::string> files;
    std::ranges::copy_if(kFiles, std::inserter(files, files.end()), FileExists);
    return files;
}

void KeepFiles(const std::set<std::string>& files) {
    for (const std::string file : kFiles) {
        if (!files.contains(file)) {
            DeleteFileA(file.c_str());
        } else if (!FileExists(file)) {
            WriteWholeFile(file, "stands for a DLL");
        }
    }
}

void UseCounts(const std::map<std::string, DWORD>& counts) {
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kSharedDllsKey);
    WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDllsKey, "", REG_SZ, "");
    for (const auto& [file, count] : counts) {
        WriteRegistry(HKEY_LOCAL_MACHINE, kSharedDllsKey, file, REG_DWORD,
                      {reinterpret_cast<const char*>(&count), sizeof(count)});
    }
}

Catalog HostileCatalog(Random& random) {
    Catalog catalog(Below(random, 30));
    for (CatalogEntry& entry : catalog) {
        entry.path = Below(random, 9) == 0 ? std::wstring(Below(random, 3) + 257, L'p') : L"d\\x.dll";
        entry.info.dwCatalogEntryId = Below(random, 20);
        entry.info.ProviderId.Data1 = Below(random, 12);
        entry.info.ProtocolChain.ChainLen = Below(random, 8) == 0
                                                ? static_cast<int>(Below(random, 1000)) - 500
                                                : static_cast<int>(Below(random, 4));
        std::generate_n(entry.info.ProtocolChain.ChainEntries, MAX_PROTOCOL_CHAIN,
                        [&] { return Below(random, 20); });
        std::fill_n(entry.info.szProtocol, Below(random, 5) == 0 ? WSAPROTOCOL_LEN + 1 : 3, L'n');
    }
    return catalog;
}
