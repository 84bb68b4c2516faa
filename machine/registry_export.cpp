#include "machine/registry_export.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "machine/text.h"

namespace {

// The text of an export while it is read.
struct Reader {
    std::string text;
    size_t at = 0;
    int line = 0;
    std::string key; // whose values follow
};

std::string NextLine(Reader& reader) {
    if (reader.at >= reader.text.size()) {
        throw std::runtime_error("the file is cut off");
    }
    const size_t end = reader.text.find('\n', reader.at);
    if (end == std::string::npos) {
        throw std::runtime_error("the file is cut off");
    }
    std::string line = reader.text.substr(reader.at, end - reader.at);
    reader.at = end + 1;
    ++reader.line;
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

// Takes a text in quotes, which can go on over lines, off the line.
std::string TakeText(Reader& reader, std::string& line) {
    if (!line.starts_with('"')) {
        throw std::runtime_error("not a text in quotes: " + line.substr(0, 100));
    }
    std::string text;
    for (size_t i = 1;; ++i) {
        while (i >= line.size()) {
            line += "\n" + NextLine(reader);
        }
        if (line[i] == '"') {
            line.erase(0, i + 1);
            return text;
        }
        i += line[i] == '\\' && i + 1 < line.size() ? 1u : 0u;
        text += line[i];
    }
}

// The value of a hexadecimal digit; -1 for another character.
int DigitValue(char c) {
    const char* const digits = "0123456789abcdef";
    const char* const found =
        c == '\0' ? nullptr : std::strchr(digits, tolower(static_cast<unsigned char>(c)));
    return found == nullptr ? -1 : static_cast<int>(found - digits);
}

// Two digits each, with commas between them. A backslash in the place of a byte continues in the next line.
std::string TakeBytes(Reader& reader, std::string text) {
    std::string bytes;
    for (size_t i = 0; i < text.size();) {
        if (text.compare(i, std::string::npos, "\\") == 0) {
            text = NextLine(reader);
            i = std::min(text.find_first_not_of(' '), text.size());
        }
        const int high = i + 1 < text.size() ? DigitValue(text[i]) : -1;
        const int low = high < 0 ? -1 : DigitValue(text[i + 1]);
        const bool more = i + 3 < text.size() && text[i + 2] == ',';
        if (low < 0 || (!more && i + 2 != text.size())) {
            throw std::runtime_error("not hexadecimal bytes: " + text.substr(i, 20));
        }
        bytes += static_cast<char>(high * 16 + low);
        i += more ? 3u : 2u;
    }
    return bytes;
}

// The type of "hex" or "hex(TYPE)", where it is a hexadecimal number.
DWORD HexType(const std::string& kind) {
    if (kind == "hex") {
        return REG_BINARY;
    }
    if (!kind.starts_with("hex(") || !kind.ends_with(')')) {
        throw std::runtime_error("not a kind of value: " + kind.substr(0, 100));
    }
    return ParseNumber32("0x" + kind.substr(4, kind.size() - 5));
}

void AddTypedValue(Reader& reader, std::string line, const std::string& name, bool wide, Registry& registry) {
    const std::string& key = reader.key;
    if (line.starts_with('"')) {
        registry.values[{LowerCase(key), LowerCase(name)}] = {REG_SZ, TakeText(reader, line)};
        if (!line.empty()) {
            throw std::runtime_error("something behind a closing quote: " + line.substr(0, 100));
        }
        return;
    }
    const size_t colon = std::min(line.find(':'), line.size());
    const std::string kind = line.substr(0, colon);
    line.erase(0, colon + 1);
    if (kind == "dword") {
        if (line.size() != 2 * sizeof(DWORD)) {
            throw std::runtime_error("not a number of eight digits: " + line.substr(0, 100));
        }
        const DWORD number = ParseNumber32("0x" + line);
        AddValue(key, name, REG_DWORD, {reinterpret_cast<const char*>(&number), sizeof(number)}, wide,
                 registry);
        return;
    }
    const DWORD type = HexType(kind);
    AddValue(key, name, type, TakeBytes(reader, line), wide, registry);
}

void ReadExportLine(Reader& reader, bool wide, Registry& registry) {
    std::string line = NextLine(reader);
    if (line.empty() || line[0] == ';') {
        return;
    }
    if (line[0] == '[' && line.ends_with(']') && line[1] != '-') {
        reader.key = line.substr(1, line.size() - 2);
        if (!AddKey(reader.key, registry)) {
            throw std::runtime_error("the key is there twice: " + reader.key.substr(0, 200));
        }
        return;
    }
    std::string name;
    if (line[0] == '@') {
        line.erase(0, 1);
    } else {
        name = TakeText(reader, line);
    }
    if (!line.starts_with('=') || reader.key.empty()) {
        throw std::runtime_error("not a value of a key: " + line.substr(0, 100));
    }
    AddTypedValue(reader, line.substr(1), name, wide, registry);
}

} // namespace

bool IsRegistryExport(const std::string& content) {
    const std::string start =
        content.starts_with("\xFF\xFE") ? ToUtf8(WideOf(content.substr(2, 16))) : content;
    return start.starts_with("Windows ") || start.starts_with("REGEDIT4");
}

void AddRegistryExport(const std::string& content, Registry& registry) {
    const bool wide = content.starts_with("\xFF\xFE");
    const std::wstring characters = wide ? WideOf(content.substr(2)) : conv_to_wchar(content.c_str());
    Reader reader = {ToUtf8(characters), 0, 0, ""};
    // A NUL would end the text there, and what follows it would be lost in silence.
    if (wide ? characters.find(L'\0') != std::wstring::npos || content.size() % 2 != 0
             : content.find('\0') != std::string::npos) {
        throw std::runtime_error("1: the file is binary, or cut off within a character");
    }
    try {
        NextLine(reader); // the heading
        while (reader.at < reader.text.size()) {
            ReadExportLine(reader, !content.starts_with("REGEDIT4"), registry);
        }
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::to_string(reader.line) + ": " + error.what());
    }
}
