// Which LSPs lie over which others, in both catalogs together.
#pragma once

#include <map>
#include <set>
#include <string>

#include "machine/winsock_state.h"

using LspKey = std::string; // the bytes of the provider id of an LSP's hidden entry
using LspKeys = std::set<LspKey>;
using LspGraph = std::map<LspKey, LspKeys>; // for each LSP, those that its chains name

LspKey KeyOf(const WSAPROTOCOL_INFOW& hidden);

LspGraph GraphOf(const WinsockState& state);

// The LSPs that lie over one, directly or through others.
LspKeys FindAbove(const LspGraph& graph, const LspKey& target);

// The first of the LSPs that no other one lies over; null when there is none.
const LspKey* FindTop(const LspKeys& keys, const LspGraph& graph);

// The hidden entry of an LSP; null when the catalog does not have it.
const SimulatedEntry* FindLsp(const SimulatedCatalog& catalog, const LspKey& key);
