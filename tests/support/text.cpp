#include "support/text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <stdexcept>

#include "machine/text_parsing.h"

namespace {

const std::pair<const char*, char> kNamedEscapes[] = {{"lf", '\n'}, {"cr", '\r'}, {"nul", '\0'}};
const std::string kManyXs(8000, 'x');

// Adds what stands between the angle brackets of an escape.
void AppendEscape(const std::string& name, std::string& text) {
    for (const auto& [known, character] : kNamedEscapes) {
        if (name == known) {
            text += character;
            return;
        }
    }
    static const std::regex hexByte("[0-9a-f]{2}");
    static const std::regex repeated("([0-9]+)\\*(.)");
    std::smatch match;
    if (std::regex_match(name, match, hexByte)) {
        text += static_cast<char>(std::stoi(name, nullptr, 16));
    } else if (std::regex_match(name, match, repeated)) {
        text.append(static_cast<size_t>(ParseNumber(match[1], 1, 100000)), match.str(2)[0]);
    } else {
        throw std::runtime_error("unknown escape: <" + name + ">");
    }
}

} // namespace

std::vector<std::string> SplitAt(const std::string& text, const std::string& between) {
    std::vector<std::string> parts;
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + between.size()) {
        end = text.find(between, at);
        parts.push_back(text.substr(at, end == std::string::npos ? end : end - at));
    }
    return parts;
}

std::string Unescaped(const std::string& text) {
    std::string plain;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '<') {
            plain += text[at];
            continue;
        }
        const size_t end = text.find('>', at);
        if (end == std::string::npos) {
            throw std::runtime_error("an escape without its end: " + text.substr(at));
        }
        AppendEscape(text.substr(at + 1, end - at - 1), plain);
        at = end;
    }
    return plain;
}

std::string Escaped(const std::string& text) {
    const bool utf8 = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                          static_cast<int>(text.size()), nullptr, 0) != 0;
    std::string escaped;
    for (const char c : text) {
        const auto named = std::find_if(std::begin(kNamedEscapes), std::end(kNamedEscapes),
                                        [c](const auto& escape) { return escape.second == c; });
        char shown[8] = {c};
        if (named != std::end(kNamedEscapes)) {
            std::snprintf(shown, sizeof(shown), "<%s>", named->first);
        } else if (!utf8 && static_cast<unsigned char>(c) > 0x7F) {
            std::snprintf(shown, sizeof(shown), "<%02x>", static_cast<unsigned char>(c));
        }
        escaped += shown;
    }
    ReplaceAll(escaped, kManyXs, "<8000*x>");
    return escaped;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}
