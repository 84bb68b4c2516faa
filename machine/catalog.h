// The entries of the Winsock catalogs, and what one entry says of another.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <vector>

struct CatalogEntry {
    WSAPROTOCOL_INFOW info;
    std::wstring path;
};

using Catalog = std::vector<CatalogEntry>;

// Both catalogs of a machine.
struct Catalogs {
    DWORD nextId = 1001; // the catalog id of the next installed entry
    Catalog catalog64;
    Catalog catalog32;
};

// An order of GUIDs, for sets and maps.
struct GuidOrder {
    bool operator()(const GUID& a, const GUID& b) const { return std::memcmp(&a, &b, sizeof(GUID)) < 0; }
};

using GuidSet = std::set<GUID, GuidOrder>;

// Writes a GUID; one of which only the first field is not zero as a decimal number in braces, for short.
std::string FormatGuid(const GUID& guid);

// Reads both forms. Throws std::runtime_error.
GUID ParseGuid(const std::string& text);

// Whether an entry is the hidden one that represents an LSP.
bool IsLsp(const CatalogEntry& entry);

// Whether an entry is a base provider.
bool IsBase(const CatalogEntry& entry);

// Whether an entry is a layered one: it has a chain, and the first id in it is that of its LSP.
bool IsLayered(const CatalogEntry& entry);

constexpr size_t kNoOwner = std::numeric_limits<size_t>::max();

// The LSP that each entry belongs to: the index of the first hidden entry with the first id of the chain.
// kNoOwner for a base provider, a hidden entry, and an orphan, which is a layered entry without an LSP.
std::vector<size_t> FindOwners(const Catalog& catalog);

// The first entry with a provider id, which is the one that Windows asks for the path; null for none.
const CatalogEntry* FindProvider(const Catalog& catalog, const GUID& id);

// The name of an entry, which can lack its terminator.
std::wstring RawNameOf(const WSAPROTOCOL_INFOW& info);
