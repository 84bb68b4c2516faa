#include "machine/text_parsing.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

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
