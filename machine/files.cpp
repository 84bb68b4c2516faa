#include "machine/files.h"

#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

namespace {

constexpr size_t kLargestFile = 500'000'000;

void WriteInMode(const char* mode, const std::string& path, const std::string& content) {
    std::FILE* file = std::fopen(path.c_str(), mode);
    const bool written =
        file != nullptr && std::fwrite(content.data(), 1, content.size(), file) == content.size();
    if (file == nullptr || std::fclose(file) != 0 || !written) {
        throw std::runtime_error(path + ": cannot be written");
    }
}

// Reads a file that was opened, and closes it.
std::string ReadToEnd(std::FILE* file) {
    if (file == nullptr) {
        throw std::runtime_error(" the file is missing, or cannot be opened");
    }
    std::string content;
    std::vector<char> buffer(1 << 16);
    while (!std::feof(file) && !std::ferror(file) && content.size() <= kLargestFile) {
        content.append(buffer.data(), std::fread(buffer.data(), 1, buffer.size(), file));
    }
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed || content.size() > kLargestFile) {
        throw std::runtime_error(failed ? " the file cannot be read to its end" : " larger than 500 MB");
    }
    return content;
}

} // namespace

std::string ReadWholeFile(const std::string& path) {
    return ReadToEnd(std::fopen(path.c_str(), "rb"));
}

std::string ReadWholeFile(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        throw std::runtime_error(" a folder, not a file");
    }
    return ReadToEnd(_wfopen(path.c_str(), L"rb"));
}

void WriteWholeFile(const std::string& path, const std::string& content) {
    WriteInMode("wb", path, content);
}

void AppendToFile(const std::string& path, const std::string& content) {
    WriteInMode("ab", path, content);
}
