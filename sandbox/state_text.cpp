#include "state_text.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

void ReadLines(const std::string& text, const std::function<void(std::string line, int number)>& read) {
    int number = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        std::string line = text.substr(at, end - at);
        at = end + 1;
        ++number;
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        try {
            if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, line.data(), static_cast<int>(line.size()),
                                    nullptr, 0) == 0) {
                throw std::runtime_error("not UTF-8");
            }
            read(line, number);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(std::to_string(number) + ": " + error.what());
        }
    }
}

std::string TakeWord(std::string& text) {
    const size_t end = std::min(text.find(' '), text.size());
    std::string word = text.substr(0, end);
    text.erase(0, std::min(text.find_first_not_of(' ', end), text.size()));
    return word;
}

std::string TakeQuoted(std::string& text) {
    if (!text.starts_with('"')) {
        return TakeWord(text);
    }
    const size_t end = text.find('"', 1);
    if (end == std::string::npos) {
        throw std::runtime_error("a text without its closing quote");
    }
    std::string quoted = text.substr(1, end - 1);
    text.erase(0, end + 1);
    const std::string behind = TakeWord(text);
    if (!behind.empty()) {
        throw std::runtime_error("something behind a closing quote: " + behind);
    }
    return quoted;
}

long long ParseNumber(const std::string& word, long long least, long long most) {
    char* end = nullptr;
    errno = 0;
    const bool hexadecimal = word.starts_with("0x");
    const long long number = std::strtoll(word.c_str(), &end, hexadecimal ? 16 : 10);
    if (word.empty() || isspace(static_cast<unsigned char>(word[0])) || errno != 0 ||
        end != word.c_str() + word.size() || number < least || number > most) {
        throw std::runtime_error("not a number from " + std::to_string(least) + " to " +
                                 std::to_string(most) + ": " + word);
    }
    return number;
}

unsigned long ParseNumber32(const std::string& word) {
    return static_cast<unsigned long>(ParseNumber(word, -0x80000000LL, 0xFFFFFFFFLL));
}

PlannedFault ParseFault(std::string text, const char* const* known) {
    const std::string function = TakeWord(text);
    while (*known != nullptr && function != *known) {
        ++known;
    }
    if (*known == nullptr) {
        throw std::runtime_error("not a call that can be made to fail: " + function);
    }
    const int call = static_cast<int>(ParseNumber(TakeWord(text), 1, INT_MAX));
    return {function, call, static_cast<int>(ParseNumber32(text))};
}

std::string FormatFault(const PlannedFault& fault) {
    return "fail " + fault.function + " " + std::to_string(fault.call) + " " + std::to_string(fault.error) +
           "\n";
}

std::string ReadWholeFile(const std::string& path) {
    std::string content;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw std::runtime_error("1: the file is not there, or may not be read");
    }
    char buffer[4096];
    while (!std::feof(file) && !std::ferror(file)) {
        content.append(buffer, std::fread(buffer, 1, sizeof(buffer), file));
    }
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        throw std::runtime_error("1: the file cannot be read to its end");
    }
    return content;
}
