#include "machine/registry_export.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "machine/text.h"

namespace {

constexpr char kOldHeading[] = "REGEDIT4";

// The text of an export while it is read.
struct Reader {
    const std::string& text;
    bool (*isNeeded)(const std::string& key);
    bool wide; // whether texts that are written as bytes are in UTF-16
    size_t at = 0;
    int line = 0;
    bool hasKey = false;      // whether a key was there, whose values follow
    StoredKey* key = nullptr; // null when it is not needed
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

// Takes a text in quotes, which is all that the line has.
std::string TakeWholeText(Reader& reader, std::string& line) {
    std::string text = TakeText(reader, line);
    if (!line.empty()) {
        throw std::runtime_error("something behind a closing quote: " + line.substr(0, 100));
    }
    return text;
}

// Takes a value off the line that is not written as a text in quotes, and its continuation lines.
RegistryValue TakeTypedValue(Reader& reader, std::string line, const std::string& name) {
    const size_t colon = std::min(line.find(':'), line.size());
    const std::string kind = line.substr(0, colon);
    line.erase(0, colon + 1);
    if (kind == "dword") {
        if (line.size() != 2 * sizeof(DWORD)) {
            throw std::runtime_error("not a number of eight digits: " + line.substr(0, 100));
        }
        const DWORD number = ParseNumber32("0x" + line);
        return {REG_DWORD, {reinterpret_cast<const char*>(&number), sizeof(number)}, name};
    }
    const DWORD type = HexType(kind);
    return {type, DecodedValue(type, TakeBytes(reader, line), reader.wide), name};
}

void TakeValue(Reader& reader, std::string line, const std::string& name) {
    const RegistryValue value = line.starts_with('"')
                                    ? RegistryValue{REG_SZ, TakeWholeText(reader, line), name}
                                    : TakeTypedValue(reader, line, name);
    if (reader.key != nullptr) {
        AddValue(*reader.key, value);
    }
}

void BeginKey(Reader& reader, const std::string& path, Registry& registry) {
    const bool needed = reader.isNeeded(path);
    reader.hasKey = true;
    reader.key = needed ? AddKey(path, registry) : nullptr;
    if (needed && reader.key == nullptr) {
        throw std::runtime_error("the key is there twice: " + path.substr(0, 200));
    }
}

void ReadExportLine(Reader& reader, Registry& registry) {
    std::string line = NextLine(reader);
    if (line.empty() || line[0] == ';') {
        return;
    }
    if (line[0] == '[' && line.ends_with(']') && line[1] != '-') {
        BeginKey(reader, line.substr(1, line.size() - 2), registry);
        return;
    }
    std::string name;
    if (line[0] == '@') {
        line.erase(0, 1);
    } else {
        name = TakeText(reader, line);
    }
    if (!line.starts_with('=') || !reader.hasKey) {
        throw std::runtime_error("not a value of a key: " + line.substr(0, 100));
    }
    TakeValue(reader, line.substr(1), name);
}

} // namespace

bool IsRegistryExport(const std::string& text) {
    return text.starts_with("Windows Registry Editor Version") || text.starts_with(kOldHeading);
}

void AddRegistryExport(const std::string& text, bool (*isNeeded)(const std::string&), Registry& registry) {
    Reader reader = {text, isNeeded, !text.starts_with(kOldHeading)};
    try {
        NextLine(reader); // the heading
        while (reader.at < text.size()) {
            ReadExportLine(reader, registry);
        }
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::to_string(reader.line) + ": " + error.what());
    }
}
