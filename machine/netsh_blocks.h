// The blocks of an output of "netsh winsock show catalog": a title, a rule, and a line for each value. The
// titles and the labels are in the language of that Windows, so they are learnt from the blocks themselves.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The values of the block of an entry, in their order.
enum ProtocolValue : size_t {
    kEntryType,
    kDescription,
    kProviderId,
    kProviderPath,
    kFirstNumber,
    kChainLength = 12,
    kChain // of a layered entry alone
};

// The values of the block of a namespace provider.
enum NamespaceValue : size_t {
    kNamespaceName,
    kNamespaceId,
    kNamespace,
    kActive,
    kVersion,
    kNamespaceValues
};

struct NetshBlock {
    int line; // of its first value
    bool isNamespace;
    std::vector<std::string_view> values; // parts of the text
};

struct NetshBlocks {
    std::vector<NetshBlock> blocks; // the whole ones
    std::vector<int> fragments;     // the first line of each part of a block that is not whole
};

// Finds the blocks of a text. Titles and rules can be missing, and other text can be between the blocks.
NetshBlocks FindBlocks(const std::string& text);

// Whether a chain follows a chain length.
bool IsLayeredLength(std::string_view length);

// Whether a text has the form of a GUID with braces.
bool IsGuid(std::string_view text);
