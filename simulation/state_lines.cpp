#include "simulation/state_lines.h"

#include <set>
#include <stdexcept>

#include "machine/text.h"

void ReadLines(const std::string& text, const std::function<void(std::string line, int number)>& read) {
    int number = 0;
    for (std::string& line : SplitAt(text, "\n")) {
        ++number;
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        try {
            if (!IsUtf8(line)) {
                throw std::runtime_error("not UTF-8");
            }
            read(line, number);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(std::to_string(number) + ": " + error.what());
        }
    }
}

void ReadFields(std::string text,
                const std::function<void(const std::string& key, const std::string& value)>& set) {
    std::set<std::string> keys;
    while (!text.empty()) {
        const size_t equals = text.find('=');
        if (equals == std::string::npos) {
            throw std::runtime_error("not a field: " + text);
        }
        const std::string key = text.substr(0, equals);
        text.erase(0, equals + 1);
        if (!keys.insert(key).second) {
            throw std::runtime_error("a field that is there twice: " + key);
        }
        set(key, TakeQuoted(text));
    }
}
