#include "registry_picture.h"

#include <cstring>
#include <stdexcept>

#include "common/text_conversion.h"
#include "names.h"
#include "state_text.h"

namespace {

// The text of an export while it is read.
struct Reader {
    std::string text;
    size_t at = 0;
    int line = 0;
    std::string key; // whose values follow
};

std::wstring WideOf(const std::string& bytes) {
    std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(wchar_t));
    return wide;
}

void AddKey(const std::string& path, RegistryPicture& picture) {
    if (picture.values.try_emplace(LowerCase(path), RegistryValue{REG_NONE, ""}).second) {
        picture.keys.push_back(path);
    }
}

// Texts become UTF-8, and end at their terminator, if they have one.
void AddValue(const std::string& key, const std::string& name, DWORD type, const std::string& bytes,
              bool wide, RegistryPicture& picture) {
    const bool isText = type == REG_SZ || type == REG_EXPAND_SZ;
    picture.values[LowerCase(key + "\\" + name)] = {type, !isText ? bytes
                                                          : wide  ? ToUtf8(WideOf(bytes))
                                                                  : FromAnsi(bytes)};
}

std::string NextLine(Reader& reader) {
    if (reader.at >= reader.text.size()) {
        throw std::runtime_error("the file is cut off");
    }
    const size_t end = std::min(reader.text.find('\n', reader.at), reader.text.size());
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
    std::string text;
    for (size_t i = 1; line[0] == '"'; ++i) {
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
    throw std::runtime_error("not a text in quotes: " + line.substr(0, 100));
}

// Two digits each, with commas between them; a backslash at the end of a line goes on in the next one.
std::string TakeBytes(Reader& reader, std::string text) {
    const auto digit = [](char c) { return isdigit(c & 0x7F) ? c - '0' : tolower(c) - 'a' + 10; };
    std::string bytes;
    for (size_t i = 0; i < text.size();) {
        if (text.compare(i, std::string::npos, "\\") == 0) {
            text = NextLine(reader);
            i = text.find_first_not_of(' ');
        } else if (i + 1 < text.size() && isxdigit(text[i] & 0x7F) && isxdigit(text[i + 1] & 0x7F)) {
            bytes += static_cast<char>(digit(text[i]) * 16 + digit(text[i + 1]));
            i += i + 2 < text.size() && text[i + 2] == ',' ? 3u : 2u;
        } else {
            throw std::runtime_error("not a hexadecimal byte: " + text.substr(i, 20));
        }
    }
    return bytes;
}

void AddTypedValue(Reader& reader, std::string line, const std::string& name, bool wide,
                   RegistryPicture& picture) {
    const std::string& key = reader.key;
    if (line.starts_with('"')) {
        picture.values[LowerCase(key + "\\" + name)] = {REG_SZ, TakeText(reader, line)};
        return;
    }
    const size_t colon = std::min(line.find(':'), line.size());
    const std::string kind = line.substr(0, colon);
    line.erase(0, colon + 1);
    DWORD type = kind == "dword" ? REG_DWORD : REG_BINARY;
    if (kind != "dword" && kind != "hex" && std::sscanf(kind.c_str(), "hex(%lx)", &type) != 1) {
        throw std::runtime_error("not a kind of value: " + kind.substr(0, 100));
    }
    const DWORD number = kind == "dword" ? ParseNumber32("0x" + line) : 0;
    AddValue(key, name, type,
             kind == "dword" ? std::string(reinterpret_cast<const char*>(&number), 4)
                             : TakeBytes(reader, line),
             wide, picture);
}

void ReadExportLine(Reader& reader, bool wide, RegistryPicture& picture) {
    std::string line = NextLine(reader);
    if (line.empty() || line[0] == ';') {
        return;
    }
    if (line[0] == '[' && line.ends_with(']') && line[1] != '-') {
        reader.key = line.substr(1, line.size() - 2);
        AddKey(reader.key, picture);
        return;
    }
    const std::string name = line[0] == '@' ? "" : TakeText(reader, line);
    line.erase(0, line[0] == '@' ? 1 : 0);
    if (!line.starts_with('=') || reader.key.empty()) {
        throw std::runtime_error("not a value of a key: " + line.substr(0, 100));
    }
    AddTypedValue(reader, line.substr(1), name, wide, picture);
}

LONG AddLiveValues(HKEY key, const std::string& path, RegistryPicture& picture) {
    DWORD longestName = 0;
    DWORD largest = 0;
    LONG error = RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                  &longestName, &largest, nullptr, nullptr);
    std::string name(4 * longestName + 1, '\0');
    std::string data(largest + 1, '\0');
    for (DWORD index = 0; error == ERROR_SUCCESS; ++index) {
        DWORD nameLength = static_cast<DWORD>(name.size());
        DWORD size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        error = RegEnumValueA(key, index, name.data(), &nameLength, nullptr, &type,
                              reinterpret_cast<BYTE*>(data.data()), &size);
        if (error == ERROR_SUCCESS) {
            AddValue(path, FromAnsi(name.substr(0, nameLength)), type, data.substr(0, size), false, picture);
        }
    }
    return error;
}

} // namespace

bool IsRegistryExport(const std::string& content) {
    const std::string start =
        content.starts_with("\xFF\xFE") ? ToUtf8(WideOf(content.substr(2, 16))) : content;
    return start.starts_with("Windows ") || start.starts_with("REGEDIT4");
}

void AddRegistryExport(const std::string& content, RegistryPicture& picture) {
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
            ReadExportLine(reader, !content.starts_with("REGEDIT4"), picture);
        }
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::to_string(reader.line) + ": " + error.what());
    }
}

void AddLiveRegistry(const std::string& path, RegistryPicture& picture) {
    const std::string fullPath = "HKEY_LOCAL_MACHINE\\" + path;
    HKEY key = nullptr;
    LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key);
    if (error == ERROR_FILE_NOT_FOUND) {
        return;
    }
    if (error == ERROR_SUCCESS) {
        AddKey(fullPath, picture);
        error = AddLiveValues(key, fullPath, picture);
    }
    for (DWORD index = 0; error == ERROR_NO_MORE_ITEMS; ++index) {
        char name[256]; // the longest that a key can have
        DWORD length = sizeof(name);
        const LONG found = RegEnumKeyExA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (found == ERROR_NO_MORE_ITEMS) {
            RegCloseKey(key);
            return;
        }
        error = found == ERROR_SUCCESS ? ERROR_NO_MORE_ITEMS : found;
        if (found == ERROR_SUCCESS) {
            AddLiveRegistry(path + "\\" + name, picture);
        }
    }
    throw std::runtime_error(fullPath + ": error " + std::to_string(error));
}
