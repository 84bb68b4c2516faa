#include "machine/netsh_listing.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>
#include <stdexcept>
#include <vector>

#include "common/text_conversion.h"
#include "lsp/provider_entries.h"
#include "machine/text.h"

namespace {

// The values of a block, in their order.
enum ProtocolValue : size_t {
    kEntryType,
    kDescription,
    kProviderId,
    kProviderPath,
    kFirstNumber,
    kChainLength = 12,
    kChain
};
constexpr size_t kNamespaceValues = 5; // description, provider id, namespace, active, version
constexpr size_t kShortestRule = 10;   // the dashes below the title of a block
constexpr size_t kGuidLength = 38;     // with its braces

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

struct Block {
    int line;                        // of its title
    bool hasRule;                    // whether a rule is below the title
    std::string title;               // can be lost, as can the rule
    std::vector<std::string> values; // behind the labels
};

// Without blanks, and without the marks with which a mail quotes.
std::string Trimmed(const std::string& text) {
    const size_t first = std::min(text.find_first_not_of(" \t\r>|"), text.size());
    const size_t last = text.find_last_not_of(" \t\r");
    return first == text.size() ? "" : text.substr(first, last + 1 - first);
}

bool IsRule(const std::string& line) {
    return line.size() >= kShortestRule && line.find_first_not_of('-') == std::string::npos;
}

bool IsGuid(const std::string& text) {
    return text.size() == kGuidLength && text.front() == '{' && text.back() == '}';
}

// What is behind the label of a line; false for a line without a label. Some languages have a wide colon.
bool TakeValue(const std::string& line, std::string* value) {
    const std::string wideColon = "\xEF\xBC\x9A";
    const size_t narrow = line.find(':');
    const size_t wide = line.find(wideColon);
    if (std::min(narrow, wide) == std::string::npos) {
        return false;
    }
    *value = Trimmed(line.substr(wide < narrow ? wide + wideColon.size() : narrow + 1));
    return true;
}

bool IsProtocolBlock(const Block& block) {
    return block.values.size() > kProviderId && IsGuid(block.values[kProviderId]);
}

bool IsNamespaceBlock(const Block& block) {
    return !IsProtocolBlock(block) && block.values.size() >= kNamespaceValues && IsGuid(block.values[1]);
}

// Whether a chain follows that length. A text that is no number has none, and is reported later.
bool IsLayeredLength(const std::string& length) {
    try {
        return static_cast<int>(ParseNumber32(length)) >= PROTOCOL_CHAIN;
    } catch (const std::runtime_error&) {
        return false;
    }
}

// Whether all values of a block are there. A layered entry has its chain behind them.
bool IsWhole(const Block& block) {
    if (!IsProtocolBlock(block)) {
        return IsNamespaceBlock(block);
    }
    const std::vector<std::string>& values = block.values;
    return values.size() > kChain || (values.size() == kChain && !IsLayeredLength(values[kChainLength]));
}

// Takes a text apart. A line without a label begins a block, and so does a rule below another block; other
// text makes blocks that are passed over later. Titles and rules can be lost: the values are enough.
std::vector<Block> SplitBlocks(const std::string& text) {
    std::vector<Block> blocks;
    int number = 1;
    for (size_t at = 0; at < text.size(); ++number) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = Trimmed(text.substr(at, end - at));
        at = end + 1;
        std::string value;
        const bool isRule = IsRule(line);
        if (isRule && !blocks.empty() && !blocks.back().hasRule && blocks.back().values.empty()) {
            blocks.back().hasRule = true;
        } else if (!isRule && TakeValue(line, &value)) {
            if (blocks.empty() || IsWhole(blocks.back())) {
                blocks.push_back({number, false, "", {}});
            }
            blocks.back().values.push_back(value);
        } else if (!line.empty()) {
            blocks.push_back({number, isRule, isRule ? "" : line, {}});
        }
    }
    return blocks;
}

void ReadChain(std::string ids, WSAPROTOCOL_INFOW& entry) {
    int count = 0;
    for (; !ids.empty(); ++count) {
        const size_t colon = std::min(ids.find(':'), ids.size());
        if (count == MAX_PROTOCOL_CHAIN || colon + 1 == ids.size()) {
            break;
        }
        entry.ProtocolChain.ChainEntries[count] = ParseNumber32(Trimmed(ids.substr(0, colon)));
        ids.erase(0, colon + 1);
    }
    if (!ids.empty() || count != ChainLength(entry)) {
        throw std::runtime_error("the chain has another length");
    }
}

CatalogEntry ReadEntry(const std::vector<std::string>& values) {
    CatalogEntry entry = {};
    entry.path = conv_utf8_to_wchar(values[kProviderPath].c_str());
    entry.info.ProviderId = ParseGuid(values[kProviderId]);
    const std::wstring name = conv_utf8_to_wchar(values[kDescription].c_str());
    name.copy(entry.info.szProtocol, WSAPROTOCOL_LEN);
    for (size_t i = 0; i < std::size(kNumbers); ++i) {
        const DWORD number = ParseNumber32(values[kFirstNumber + i]);
        std::memcpy(reinterpret_cast<char*>(&entry.info) + kNumbers[i], &number, sizeof(number));
    }
    if (values.size() > kChain) {
        ReadChain(values[kChain], entry.info);
    }
    return entry;
}

// Adds what a block describes. Throws std::runtime_error for a block that does not fit.
void AddBlock(const Block& block, Machine& machine) {
    if (!IsWhole(block)) {
        throw std::runtime_error("the block is cut off");
    }
    if (IsNamespaceBlock(block)) {
        std::for_each(block.values.begin() + 2, block.values.end(), ParseNumber32);
        machine.namespaces.push_back({block.values[0], "", false});
        return;
    }
    const bool is32 = block.values[kEntryType].ends_with("(32)");
    (is32 ? machine.catalogs.catalog32 : machine.catalogs.catalog64).push_back(ReadEntry(block.values));
}

bool HasGuid(const Block& block) {
    return std::any_of(block.values.begin(), block.values.end(), IsGuid);
}

} // namespace

bool IsNetshListing(const std::string& text) {
    const std::vector<Block> blocks = SplitBlocks(text);
    return std::any_of(blocks.begin(), blocks.end(), [](const Block& block) {
        return IsWhole(block) || (block.hasRule && HasGuid(block));
    });
}

void AddNetshListing(const std::string& file, const std::string& text, Machine& machine) {
    const std::vector<Block> blocks = SplitBlocks(text);
    std::set<std::string> titles;
    for (const Block& block : blocks) {
        if (IsWhole(block) && block.hasRule && !block.title.empty()) {
            titles.insert(block.title);
        }
    }
    machine.fromListing = true;
    for (const Block& block : blocks) {
        if (!titles.contains(block.title) && !HasGuid(block)) {
            continue; // other text
        }
        try {
            AddBlock(block, machine);
        } catch (const std::runtime_error& error) {
            machine.incomplete = true;
            machine.warnings.push_back(file + ":" + std::to_string(block.line) +
                                       ": not read: " + error.what());
        }
    }
    if (machine.catalogs.catalog64.empty() && machine.catalogs.catalog32.empty()) {
        throw std::runtime_error("1: no entry of a catalog can be read");
    }
}
