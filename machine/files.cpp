#include "machine/files.h"

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

std::string ReadWholeFile(const std::string& path) {
    std::string content;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw std::runtime_error(" the file is missing, or cannot be opened");
    }
    char buffer[4096];
    while (!std::feof(file) && !std::ferror(file)) {
        content.append(buffer, std::fread(buffer, 1, sizeof(buffer), file));
    }
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        throw std::runtime_error(" the file cannot be read to its end");
    }
    return content;
}

void WriteWholeFile(const std::string& path, const std::string& content) {
    WriteInMode("wb", path, content);
}

void AppendToFile(const std::string& path, const std::string& content) {
    WriteInMode("ab", path, content);
}
