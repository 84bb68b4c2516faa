#include "machine/state_lines.h"

#include <windows.h>

#include <algorithm>
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
