#include "machine/file_writing.h"

#include <cstdio>
#include <stdexcept>

namespace {

void WriteInMode(const char* mode, const std::string& path, const std::string& content) {
    std::FILE* file = std::fopen(path.c_str(), mode);
    const bool written =
        file != nullptr && std::fwrite(content.data(), 1, content.size(), file) == content.size();
    if (file == nullptr || std::fclose(file) != 0 || !written) {
        throw std::runtime_error(path + ": cannot be written");
    }
}

} // namespace

void WriteWholeFile(const std::string& path, const std::string& content) {
    WriteInMode("wb", path, content);
}

void AppendToFile(const std::string& path, const std::string& content) {
    WriteInMode("ab", path, content);
}
