#include "machine/netsh_blocks.h"

#include <algorithm>
#include <map>
#include <set>

#include "lsp/provider_entries.h"
#include "machine/listing_lines.h"

namespace {

using Lines = std::vector<ListedLine>;
using Labels = std::vector<std::string_view>;

constexpr size_t kGuidLength = 38; // with its braces

// The titles and labels of a text.
struct Language {
    Labels ofProtocol;
    Labels ofNamespace;
    std::string_view ofChain;
    std::set<std::string_view> all;
    std::set<std::string_view> titles;
};

bool IsNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x");
    text.remove_prefix(hexadecimal ? 2 : text.starts_with('-') ? 1 : 0);
    const char* const digits = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    return !text.empty() && text.find_first_not_of(digits) == std::string_view::npos;
}

// The labels of so many lines from an index on; empty where a line has none.
Labels LabelsAt(const Lines& lines, size_t first, size_t count) {
    Labels labels;
    for (size_t i = first; i < first + count && i < lines.size() && lines[i].hasLabel; ++i) {
        labels.push_back(lines[i].label);
    }
    return labels.size() == count ? labels : Labels();
}

bool AreNumbers(const Lines& lines, size_t first, size_t end) {
    return end <= lines.size() && std::all_of(lines.begin() + static_cast<ptrdiff_t>(first),
                                              lines.begin() + static_cast<ptrdiff_t>(end),
                                              [](const ListedLine& line) { return IsNumber(line.value); });
}

// How often each text, or sequence of texts, was found.
template <class Found> using Frequencies = std::map<Found, int>;

template <class Found> Found MostFrequent(const Frequencies<Found>& found) {
    const auto most = std::ranges::max_element(found, {}, [](const auto& pair) { return pair.second; });
    return most == found.end() ? Found() : most->first;
}

// Counts the labels of what looks like a block whose provider id is in a line.
void CountLabels(const Lines& lines, size_t id, Frequencies<Labels>& ofProtocol,
                 Frequencies<Labels>& ofNamespace, Frequencies<std::string_view>& ofChain) {
    if (id >= kProviderId && AreNumbers(lines, id - kProviderId + kFirstNumber, id - kProviderId + kChain)) {
        const size_t first = id - kProviderId;
        const Labels labels = LabelsAt(lines, first, kChain);
        ofProtocol[labels] += labels.empty() ? 0 : 1;
        const size_t chain = first + kChain;
        if (!labels.empty() && chain < lines.size() && lines[chain].hasLabel &&
            IsLayeredLength(lines[first + kChainLength].value)) {
            ++ofChain[lines[chain].label];
        }
    } else if (id >= kNamespaceId && AreNumbers(lines, id + 1, id - kNamespaceId + kNamespaceValues)) {
        const Labels labels = LabelsAt(lines, id - kNamespaceId, kNamespaceValues);
        ofNamespace[labels] += labels.empty() ? 0 : 1;
    }
}

Language LearnLabels(const Lines& lines) {
    Frequencies<Labels> ofProtocol;
    Frequencies<Labels> ofNamespace;
    Frequencies<std::string_view> ofChain;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].hasLabel && IsGuid(lines[i].value)) {
            CountLabels(lines, i, ofProtocol, ofNamespace, ofChain);
        }
    }
    Language language = {MostFrequent(ofProtocol), MostFrequent(ofNamespace), MostFrequent(ofChain), {}, {}};
    language.all.insert(language.ofProtocol.begin(), language.ofProtocol.end());
    language.all.insert(language.ofNamespace.begin(), language.ofNamespace.end());
    if (!ofChain.empty()) {
        language.all.insert(language.ofChain);
    }
    return language;
}

bool HasLabels(const Lines& lines, size_t first, const Labels& labels) {
    if (labels.empty() || lines.size() - first < labels.size()) {
        return false;
    }
    for (size_t i = 0; i < labels.size(); ++i) {
        if (!lines[first + i].hasLabel || lines[first + i].label != labels[i]) {
            return false;
        }
    }
    return true;
}

// The number of lines of the whole block that begins at an index; 0 for none.
size_t BlockLength(const Lines& lines, size_t first, const Language& language) {
    if (HasLabels(lines, first, language.ofNamespace)) {
        return kNamespaceValues;
    }
    if (!HasLabels(lines, first, language.ofProtocol)) {
        return 0;
    }
    const size_t chain = first + kChain;
    const bool layered = IsLayeredLength(lines[first + kChainLength].value);
    return layered && chain < lines.size() && HasLabels(lines, chain, {language.ofChain}) ? kChain + 1
                                                                                          : kChain;
}

// Learns the title above each block, which has a rule below it.
void LearnTitle(const Lines& lines, size_t first, Language& language) {
    if (first >= 2 && IsRule(lines[first - 1].label) && !lines[first - 2].hasLabel) {
        language.titles.insert(lines[first - 2].label);
    }
}

// Whether something is right below a line that a console can have wrapped there.
bool IsContinued(const Lines& lines, size_t at, const Language& language) {
    return lines[at].isLong && at + 1 < lines.size() && lines[at + 1].number == lines[at].number + 1 &&
           !lines[at + 1].hasLabel && !IsRule(lines[at + 1].label) &&
           !language.titles.contains(lines[at + 1].label);
}

// The block with so many lines. It lacks a chain of which only a part may be in the line.
NetshBlock BlockAt(const Lines& lines, size_t first, size_t length, const Language& language) {
    NetshBlock block = {lines[first].number, length == kNamespaceValues, {}};
    for (size_t i = first; i < first + length; ++i) {
        block.values.push_back(lines[i].value);
    }
    if (length > kChain && IsContinued(lines, first + kChain, language)) {
        block.values.pop_back();
    }
    return block;
}

// Whether the line belongs to a block that is not whole.
bool IsStray(const Lines& lines, size_t at, const Language& language) {
    const ListedLine& line = lines[at];
    if (line.hasLabel) {
        return language.all.contains(line.label);
    }
    if (!language.titles.contains(line.label)) {
        return false;
    }
    const size_t below = at + 1 < lines.size() && IsRule(lines[at + 1].label) ? at + 2 : at + 1;
    return below >= lines.size() || BlockLength(lines, below, language) == 0;
}

} // namespace

bool IsGuid(std::string_view text) {
    return text.size() == kGuidLength && text.front() == '{' && text.back() == '}';
}

bool IsLayeredLength(std::string_view length) {
    return IsNumber(length) && !length.starts_with('-') && length != "0" && length != "1";
}

NetshBlocks FindBlocks(const std::string& text) {
    const Lines lines = SplitLines(text);
    Language language = LearnLabels(lines);
    for (size_t at = 0; at < lines.size(); ++at) {
        if (BlockLength(lines, at, language) > 0) {
            LearnTitle(lines, at, language);
        }
    }
    NetshBlocks found;
    bool inFragment = false;
    for (size_t at = 0; at < lines.size();) {
        const size_t length = BlockLength(lines, at, language);
        if (length > 0) {
            found.blocks.push_back(BlockAt(lines, at, length, language));
            inFragment = false;
        } else if (!inFragment || !IsRule(lines[at].label)) {
            const bool stray = IsStray(lines, at, language);
            if (stray && !inFragment) {
                found.fragments.push_back(lines[at].number);
            }
            inFragment = stray;
        }
        at += std::max<size_t>(length, 1);
    }
    return found;
}
