#include "common/registry_helpers.h"

#include <cstring>

#include "trace/trace_log.h"

namespace {

// A message of the system ends with a line break, and in most cases with a full stop. Removes both, because
// the caller adds a full stop.
std::string TrimSystemText(std::string text) {
    if (text.size() >= 2 && text.ends_with("\r\n")) {
        text.resize(text.size() - 2);
    }
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::string FormatSystemError(DWORD code) {
    char* buffer = nullptr;
    std::string text;
    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the buffer argument is the address of a pointer.
    if (FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code,
                       MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<char*>(&buffer), 0,
                       nullptr) != 0 &&
        buffer != nullptr) {
        text = TrimSystemText(buffer);
    }
    std::string result = "Error " + std::to_string(code) + ": " + text + ".";
    LocalFree(buffer);
    return result;
}

void StripWow6432Node(std::string& path, BYTE& use64) {
    constexpr char kNode[] = "wow6432node\\";
    if (use64 == 0) {
        return;
    }
    std::string lower = path;
    _strlwr_s(lower.data(), lower.size() + 1);
    const size_t position = lower.find(kNode);
    if (position != std::string::npos) {
        path.erase(position, std::strlen(kNode));
        use64 = 0;
    }
}

LONG RegOpenKeyLogged(HKEY root, const char* subkey, DWORD options, REGSAM access, HKEY* result,
                      BYTE& use64) {
    std::string path = subkey;
    StripWow6432Node(path, use64);
    const LONG error =
        RegOpenKeyExA(root, path.c_str(), options, access | (use64 != 0 ? KEY_WOW64_64KEY : 0u), result);
    if (error != ERROR_SUCCESS) {
        Trace("RegOpenKeyEx(%08XH\\%s) failed. %s", static_cast<unsigned>(reinterpret_cast<uintptr_t>(root)),
              path.c_str(), FormatSystemError(static_cast<DWORD>(error)).c_str());
    }
    return error;
}
