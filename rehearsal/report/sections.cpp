#include "rehearsal/report/sections.h"

#include <algorithm>

#include "machine/text.h"

std::string Section(const std::string& heading, const std::vector<std::string>& lines) {
    std::string text = lines.empty() ? "" : "\n" + heading + "\n";
    for (const std::string& line : Shortened(lines)) {
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

std::vector<std::string> Shortened(std::vector<std::string> lines) {
    if (lines.size() > kMostLines) {
        const size_t more = lines.size() - kMostLines;
        lines.resize(kMostLines);
        lines.push_back(std::to_string(more) + " more");
    }
    return lines;
}
