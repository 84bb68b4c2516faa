// Apart from the reading, so that the rehearsal does not even have these functions.
#include "state_text.h"

#include <cstdio>

namespace {

void WriteInMode(const char* mode, const std::string& path, const std::string& content) {
    if (std::FILE* file = std::fopen(path.c_str(), mode)) {
        std::fwrite(content.data(), 1, content.size(), file);
        std::fclose(file);
    }
}

} // namespace

void WriteWholeFile(const std::string& path, const std::string& content) {
    WriteInMode("wb", path, content);
}

void AppendToFile(const std::string& path, const std::string& content) {
    WriteInMode("ab", path, content);
}
