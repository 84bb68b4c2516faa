#include "machine/text_sections.h"

#include <algorithm>

#include "machine/utf8_text.h"

namespace {

constexpr size_t kMostLines = 10; // of a shortened list

} // namespace

std::string Section(const std::string& heading, const std::vector<std::string>& lines) {
    std::string text = lines.empty() ? "" : "\n" + heading + "\n";
    for (const std::string& line : lines) {
        text += "  - " + Printable(line) + "\n";
    }
    return text;
}

std::string NumberedSection(const std::string& heading, const std::vector<std::string>& lines) {
    std::string text = lines.empty() ? "" : "\n" + heading + "\n";
    for (size_t i = 0; i < lines.size(); ++i) {
        text += "  " + std::to_string(i + 1) + ". " + Printable(lines[i], L'\n') + "\n";
    }
    return text;
}

std::string Catalogs(bool in64, bool in32) {
    if (in64 && in32) {
        return "both catalogs";
    }
    return in64 ? "64-bit catalog" : "32-bit catalog";
}

std::string Programs(bool in64, bool in32) {
    if (in64 && in32) {
        return "64-bit and 32-bit programs";
    }
    return in64 ? "64-bit programs" : "32-bit programs";
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : ", ") + text;
    }
    return joined;
}

std::vector<std::string> Shortened(std::vector<std::string> lines) {
    if (lines.size() > kMostLines) {
        const size_t more = lines.size() - kMostLines;
        lines.resize(kMostLines);
        lines.push_back(std::to_string(more) + " more");
    }
    return lines;
}
