#include "support/text.h"

#include <cstdio>
#include <map>
#include <regex>

namespace {

const std::map<std::string, char> kNamedEscapes = {{"lf", '\n'}, {"cr", '\r'}, {"nul", '\0'}};

// The text of an escape, given what is between its angle brackets.
std::string TextOfEscape(const std::string& name) {
    const size_t star = name.find('*');
    if (star != std::string::npos) {
        return std::string(std::stoul(name), name.at(star + 1));
    }
    const auto named = kNamedEscapes.find(name);
    const int byte = named != kNamedEscapes.end() ? named->second : std::stoi(name, nullptr, 16);
    return std::string(1, static_cast<char>(byte));
}

} // namespace

std::string Unescaped(const std::string& text) {
    std::string plain;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '<') {
            plain += text[at];
            continue;
        }
        const size_t end = text.find('>', at);
        plain += TextOfEscape(text.substr(at + 1, end - at - 1));
        at = std::min(end, text.size());
    }
    return plain;
}

std::string Escaped(const std::string& text) {
    const bool utf8 = IsUtf8(text);
    std::string escaped = text;
    for (const auto& [name, character] : kNamedEscapes) {
        ReplaceAll(escaped, std::string(1, character), "<" + name + ">");
    }
    for (int byte = 0x80; byte <= 0xFF && !utf8; ++byte) {
        char escape[8];
        std::snprintf(escape, sizeof(escape), "<%02x>", byte);
        ReplaceAll(escaped, std::string(1, static_cast<char>(byte)), escape);
    }
    return escaped;
}

std::vector<std::string> SplitArguments(std::string line) {
    std::vector<std::string> words;
    while (!line.empty()) {
        words.push_back(TakeQuoted(line));
    }
    return words;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    ReplaceAll(text, from, to);
    return text;
}

std::string ReplaceStamps(const std::string& trace, const std::string& to) {
    static const std::regex stamp("(^|\\n)\\d{3,}:[0-9a-f]{4,} \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ");
    return std::regex_replace(trace, stamp, "$1" + to);
}
