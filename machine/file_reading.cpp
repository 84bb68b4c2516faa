#include "machine/file_reading.h"

#include <cstdio>
#include <stdexcept>

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
