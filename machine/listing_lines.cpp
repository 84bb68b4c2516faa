#include "machine/listing_lines.h"

#include <algorithm>
#include <map>
#include <optional>

namespace {

constexpr std::string_view kWideColon = "\xEF\xBC\x9A"; // of languages of East Asia
constexpr std::string_view kNoBreakSpace = "\xC2\xA0";
constexpr std::string_view kBlanks = " \t\r";
constexpr size_t kShortestRule = 10;
constexpr size_t kMostWidths = 12; // each is a reading of the whole text

std::string_view Trimmed(std::string_view text) {
    const size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

// Removes the next line from a text and returns it, without blanks at its end.
std::string_view TakeLine(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line.substr(0, line.find_last_not_of(kBlanks) + 1);
}

// Without the marks with which a mail quotes, and the blank behind them.
std::string_view Unquoted(std::string_view line) {
    std::string_view rest = line;
    for (size_t mark = 0; (mark = rest.find_first_not_of(kBlanks)) < rest.size();) {
        if (rest[mark] != '>' && rest[mark] != '|') {
            break;
        }
        rest.remove_prefix(mark + 1);
    }
    const bool quoted = rest.size() != line.size();
    rest.remove_prefix(quoted && rest.starts_with(' ') ? 1 : 0);
    return rest;
}

// The index of the colon behind a label, and its length; npos for a line without a label.
size_t FindColon(std::string_view line, size_t* length) {
    const size_t narrow = line.find(':');
    const size_t wide = line.find(kWideColon);
    *length = wide < narrow ? kWideColon.size() : 1;
    const size_t colon = std::min(narrow, wide);
    return colon == 0 ? std::string_view::npos : colon;
}

ListedLine LineOf(int number, std::string_view text) {
    size_t length = 0;
    const size_t colon = FindColon(text, &length);
    const bool isLong = text.size() + 1 >= kLeastWidth;
    if (colon == std::string_view::npos) {
        return {number, false, isLong, text, {}};
    }
    return {number, true, isLong, Trimmed(text.substr(0, colon)), Trimmed(text.substr(colon + length))};
}

// Whether the last line can stand for those in front of it.
bool IsOther(const std::vector<ListedLine>& lines) {
    const size_t count = lines.size();
    return count > 0 && !lines[count - 1].hasLabel && !IsRule(lines[count - 1].label) &&
           (count < 2 || !lines[count - 2].hasLabel || !lines[count - 2].isLong);
}

// Whether a line begins with a label: a text and a colon, behind which the line ends or has a blank.
bool BeginsWithLabel(std::string_view line) {
    line = Trimmed(line);
    size_t length = 0;
    const size_t colon = FindColon(line, &length);
    if (colon == std::string_view::npos || (line[0] >= '0' && line[0] <= '9')) {
        return false; // a number is a part of a chain
    }
    const std::string_view behind = line.substr(colon + length);
    return behind.empty() || behind.starts_with(' ') || length > 1;
}

// The character that a text begins with, decoded as far as its first three bytes show it.
unsigned FirstCharacter(std::string_view text) {
    const auto byte = [&](size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u; };
    return byte(0) >= 0xE0 ? (byte(0) & 0xFu) << 12 | (byte(1) & 0x3Fu) << 6 | (byte(2) & 0x3Fu) : byte(0);
}

bool IsOfEastAsia(unsigned character) {
    return (character >= 0x1100 && character < 0x1160) || (character >= 0x2E80 && character < 0xD7A4) ||
           (character >= 0xF900 && character < 0xFB00) || (character >= 0xFF01 && character < 0xFF61);
}

// How many cells of a console a text fills: characters of East Asia fill two.
size_t CellsOf(std::string_view text) {
    size_t cells = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool begins = (static_cast<unsigned char>(text[at]) & 0xC0u) != 0x80u;
        cells += begins ? (IsOfEastAsia(FirstCharacter(text.substr(at, 3))) ? 2u : 1u) : 0u;
    }
    return cells;
}

// Whether the line below continues a line of so many cells. A blank at its end can be lost.
bool IsWrapped(size_t cells, std::string_view below, size_t width) {
    return (cells == width || cells + 1 == width) && !below.empty() && !BeginsWithLabel(below) &&
           !IsRule(below);
}

// How many lines seem to be continued, by their length.
std::map<size_t, size_t> CountContinued(std::string_view text) {
    std::map<size_t, size_t> continued;
    for (std::string_view line = TakeLine(text); !line.empty() || !text.empty();) {
        const std::string_view below = TakeLine(text);
        const size_t cells = line.size() + 1 < kLeastWidth ? 0 : CellsOf(line);
        if (cells + 1 >= kLeastWidth && IsWrapped(cells, below, cells)) {
            ++continued[cells];
        }
        line = below;
    }
    return continued;
}

// Joins lines to those above them. Empty lines take the places of those that were joined.
//   glue  called with a line, which it may shorten, the line below and the text behind that; returns what
//         comes between the two, or nothing where the line ends
template <class F> std::string JoinWhere(const std::string& text, F glue) {
    std::string joined;
    joined.reserve(text.size());
    size_t missing = 0; // lines that were joined to the one before
    std::string_view rest = text;
    for (std::string_view line = TakeLine(rest); !line.empty() || !rest.empty();) {
        const std::string_view below = TakeLine(rest);
        const std::optional<const char*> between = glue(line, below, rest);
        joined += line;
        if (between) {
            joined += *between;
            ++missing;
        } else {
            joined.append(missing + 1, '\n');
            missing = 0;
        }
        line = below;
    }
    return joined;
}

} // namespace

std::string Unpasted(const std::string& text) {
    std::string unpasted;
    unpasted.reserve(text.size() + 1);
    for (std::string_view rest = text; !rest.empty();) {
        for (std::string_view line = Unquoted(TakeLine(rest)); !line.empty();) {
            const size_t end = std::min(line.find(kNoBreakSpace), line.size());
            unpasted += line.substr(0, end);
            unpasted += end < line.size() ? " " : "";
            line.remove_prefix(std::min(end + kNoBreakSpace.size(), line.size()));
        }
        unpasted += '\n';
    }
    return unpasted;
}

bool IsRule(std::string_view line) {
    return line.size() >= kShortestRule && line.find_first_not_of('-') == std::string_view::npos;
}

std::vector<ListedLine> SplitLines(const std::string& text) {
    std::vector<ListedLine> lines;
    std::string_view rest = text;
    for (int number = 1; !rest.empty(); ++number) {
        const std::string_view line = Trimmed(TakeLine(rest));
        if (line.empty()) {
            continue;
        }
        const ListedLine listed = LineOf(number, line);
        if (!listed.hasLabel && !IsRule(listed.label) && IsOther(lines)) {
            lines.pop_back();
        }
        lines.push_back(listed);
    }
    return lines;
}

std::vector<size_t> WidthsOf(const std::string& text) {
    std::map<size_t, size_t> continued = CountContinued(text);
    std::vector<size_t> widths;
    while (!continued.empty() && widths.size() < kMostWidths) {
        const auto most = std::ranges::max_element(continued, {}, &std::pair<const size_t, size_t>::second);
        for (const size_t width : {most->first, most->first + 1}) {
            if (width >= kLeastWidth && std::ranges::find(widths, width) == widths.end()) {
                widths.push_back(width);
            }
        }
        continued.erase(most);
    }
    return widths;
}

std::string JoinLines(const std::string& text, size_t width) {
    return JoinWhere(text, [&](std::string_view& line, std::string_view below, std::string_view) {
        const size_t cells = line.size() + 1 < width ? 0 : CellsOf(line);
        const bool needsBlank = cells < width && !IsOfEastAsia(FirstCharacter(below));
        return IsWrapped(cells, below, width) ? std::optional(needsBlank ? " " : "") : std::nullopt;
    });
}

std::string JoinWords(const std::string& text) {
    bool hasLabel = false;
    return JoinWhere(text, [&](std::string_view& line, std::string_view below, std::string_view behind) {
        const bool isTitle = IsRule(below) || IsRule(line) || BeginsWithLabel(line);
        hasLabel = BeginsWithLabel(line) || (hasLabel && !line.empty() && !isTitle);
        const bool continues = hasLabel && !below.empty() && !BeginsWithLabel(below) && !IsRule(below) &&
                               !IsRule(TakeLine(behind));
        const bool isHyphen = line.size() > 1 && line.ends_with('-') && line[line.size() - 2] != ' ';
        line = Trimmed(line);
        return continues ? std::optional(isHyphen ? "" : " ") : std::nullopt;
    });
}
