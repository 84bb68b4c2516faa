#include "machine/netsh_listing.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <map>
#include <stdexcept>
#include <vector>

#include "common/text_conversion.h"
#include "lsp/provider_entries.h"
#include "machine/listing_lines.h"
#include "machine/netsh_blocks.h"
#include "machine/text.h"

namespace {

constexpr size_t kLargestJoined = 8'000'000; // bytes of a text of which wrapped lines are joined
constexpr size_t kMostShown = 20;            // gaps of a kind

// The 32-bit members that the numbers of a block belong to, in their order.
constexpr size_t kNumbers[] = {offsetof(WSAPROTOCOL_INFOW, dwCatalogEntryId),
                               offsetof(WSAPROTOCOL_INFOW, iVersion),
                               offsetof(WSAPROTOCOL_INFOW, iAddressFamily),
                               offsetof(WSAPROTOCOL_INFOW, iMaxSockAddr),
                               offsetof(WSAPROTOCOL_INFOW, iMinSockAddr),
                               offsetof(WSAPROTOCOL_INFOW, iSocketType),
                               offsetof(WSAPROTOCOL_INFOW, iProtocol),
                               offsetof(WSAPROTOCOL_INFOW, dwServiceFlags1),
                               offsetof(WSAPROTOCOL_INFOW, ProtocolChain.ChainLen)};

constexpr std::string_view kOf32Bit = "(32)"; // ends the type of an entry of the 32-bit catalog

// A gap of the text.
struct Gap {
    int line;
    std::string text;
};

// What a text says.
struct Listing {
    Catalogs catalogs;
    std::vector<NamespaceProvider> namespaces;
    std::vector<int> fragments; // see NetshBlocks
    std::vector<Gap> gaps;
    size_t entries = 0;    // those that could be read
    bool isJoined = false; // whether wrapped lines were joined
};

std::string TextAt(const NetshBlock& block, size_t value) {
    return std::string(block.values[value]);
}

void ReadChain(const NetshBlock& block, WSAPROTOCOL_INFOW& entry) {
    const bool layered = IsLayeredLength(block.values[kChainLength]);
    if (layered != (block.values.size() > kChain)) {
        throw std::runtime_error("its chain is missing");
    }
    const std::vector<std::string> ids = SplitAt(layered ? TextAt(block, kChain) : "", ":");
    if (layered && ids.size() != static_cast<size_t>(ChainLength(entry))) {
        throw std::runtime_error("its chain has another length");
    }
    for (size_t i = 0; layered && i < ids.size(); ++i) {
        std::string id = ids[i].substr(std::min(ids[i].find_first_not_of(" \t"), ids[i].size()));
        entry.ProtocolChain.ChainEntries[i] = ParseNumber32(TakeWord(id));
    }
}

CatalogEntry ReadEntry(const NetshBlock& block) {
    CatalogEntry entry = {};
    if (block.values[kEntryType].empty() || block.values[kProviderPath].empty()) {
        throw std::runtime_error("its type or its path is missing");
    }
    entry.path = conv_utf8_to_wchar(TextAt(block, kProviderPath).c_str());
    entry.info.ProviderId = ParseGuid(TextAt(block, kProviderId));
    const std::wstring name = conv_utf8_to_wchar(TextAt(block, kDescription).c_str());
    name.copy(entry.info.szProtocol, WSAPROTOCOL_LEN);
    for (size_t i = 0; i < std::size(kNumbers); ++i) {
        const DWORD number = ParseNumber32(TextAt(block, kFirstNumber + i));
        std::memcpy(reinterpret_cast<char*>(&entry.info) + kNumbers[i], &number, sizeof(number));
    }
    ReadChain(block, entry.info);
    return entry;
}

void AddBlock(const NetshBlock& block, Listing& listing) {
    if (block.isNamespace) {
        const bool enabled = ParseNumber32(TextAt(block, kActive)) != 0;
        listing.namespaces.push_back({TextAt(block, kNamespaceName), "", false, enabled});
        return;
    }
    const CatalogEntry entry = ReadEntry(block);
    const bool is32 = block.values[kEntryType].ends_with(kOf32Bit);
    (is32 ? listing.catalogs.catalog32 : listing.catalogs.catalog64).push_back(entry);
    ++listing.entries;
}

// The kinds of entries, as the types of blocks name them.
int KindOf(const NetshBlock& block) {
    const std::string_view length = block.values[kChainLength];
    return IsLayeredLength(length) ? PROTOCOL_CHAIN : length == "1" ? BASE_PROTOCOL : LAYERED_PROTOCOL;
}

// The start of one block and the end of another look like one block, in which the type of an entry does not
// fit its chain length.
void CheckTypes(const std::vector<NetshBlock>& blocks, Listing& listing) {
    std::map<std::string_view, int> kinds;
    std::map<int, std::string_view> types;
    for (const NetshBlock& block : blocks) {
        if (block.isNamespace) {
            continue;
        }
        std::string_view type = block.values[kEntryType];
        type.remove_suffix(type.ends_with(kOf32Bit) ? kOf32Bit.size() : 0);
        type = type.substr(0, type.find_last_not_of(' ') + 1);
        const int kind = KindOf(block);
        if (kinds.emplace(type, kind).first->second != kind ||
            types.emplace(kind, type).first->second != type) {
            listing.gaps.push_back({block.line,
                                    "the type and the chain length of the entry do not fit: parts "
                                    "of two blocks, between which others are missing"});
            return;
        }
    }
}

// Windows prints the entries, then the namespace providers.
void CheckOrder(const std::vector<NetshBlock>& blocks, Listing& listing) {
    bool afterNamespace = false;
    for (const NetshBlock& block : blocks) {
        if (afterNamespace && !block.isNamespace) {
            listing.gaps.push_back(
                {block.line,
                 "an entry behind the namespace providers: two outputs in one file, or a damaged block"});
            break;
        }
        afterNamespace = block.isNamespace;
    }
    if (!blocks.empty() && !blocks.back().isNamespace) {
        listing.gaps.push_back(
            {blocks.back().line, "no namespace provider behind the last entry: the end is missing"});
    }
}

Listing ReadListing(const std::string& text) {
    const NetshBlocks found = FindBlocks(text);
    Listing listing;
    listing.fragments = found.fragments;
    for (const NetshBlock& block : found.blocks) {
        if (listing.gaps.size() == kMostShown) {
            break;
        }
        try {
            AddBlock(block, listing);
        } catch (const std::runtime_error& error) {
            listing.gaps.push_back({block.line, std::string("not read: ") + error.what()});
        }
    }
    CheckTypes(found.blocks, listing);
    CheckOrder(found.blocks, listing);
    return listing;
}

bool IsBetter(const Listing& a, const Listing& b) {
    return a.entries != b.entries ? a.entries > b.entries : a.fragments.size() < b.fragments.size();
}

// Reads a text as it is; when that leaves gaps, also as a console of each width can have wrapped it.
Listing ReadAtBestWidth(const std::string& pasted) {
    const std::string text = Unpasted(pasted);
    Listing best = ReadListing(text);
    if ((best.entries > 0 && best.gaps.empty() && best.fragments.empty()) || text.size() > kLargestJoined) {
        return best;
    }
    const auto use = [&](Listing joined) {
        if (IsBetter(joined, best)) {
            best = std::move(joined);
            best.isJoined = true;
        }
    };
    for (const size_t width : WidthsOf(text)) {
        use(ReadListing(JoinLines(text, width)));
    }
    use(ReadListing(JoinWords(text)));
    return best;
}

void AddGaps(const std::string& file, const Listing& listing, Machine& machine) {
    const auto add = [&](int line, const std::string& text) {
        machine.gaps.push_back(file + ":" + std::to_string(line) + ": " + text);
    };
    for (const Gap& gap : listing.gaps) {
        add(gap.line, gap.text);
    }
    const size_t shown = std::min(listing.fragments.size(), kMostShown);
    for (size_t i = 0; i < shown; ++i) {
        const size_t more = listing.fragments.size() - shown;
        add(listing.fragments[i],
            "a part of a block, of which other lines are missing" +
                (i + 1 < shown || more == 0 ? ""
                                            : "; so are those of " + std::to_string(more) + " other blocks"));
    }
}

} // namespace

bool IsNetshListing(const std::string& text) {
    const std::string unpasted = Unpasted(text);
    std::string_view above;
    for (const ListedLine& line : SplitLines(unpasted)) {
        if (line.hasLabel && (IsRule(above) || IsGuid(line.value))) {
            return text.find('{') != std::string::npos;
        }
        above = line.label;
    }
    return false;
}

void AddNetshListing(const std::string& file, const std::string& text, Machine& machine) {
    Listing listing = ReadAtBestWidth(text);
    if (listing.entries == 0) {
        listing.gaps.push_back({1, "no entry of a catalog can be read"});
    }
    machine.fromListing = true;
    machine.catalogs = std::move(listing.catalogs);
    machine.namespaces = std::move(listing.namespaces);
    AddGaps(file, listing, machine);
    if (listing.isJoined) {
        machine.warnings.push_back(file +
                                   ": wrapped lines were joined, and a name can have a blank too many or "
                                   "too few; netsh winsock show catalog > catalog.txt does not wrap");
    }
}
