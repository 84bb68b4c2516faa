// check_state winsock|netcfg|make-dlls FILE: checks a state file. Prints "sound" and the letters of the drives that its paths
// name, a blank before each; or the number of the line that is wrong, and what is wrong with it. make-dlls also makes the files
// that the catalogs name, where there are none.
#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "common/text_conversion.h"
#include "machine/file_reading.h"
#include "machine/netcfg_state.h"
#include "machine/winsock_state.h"

namespace {

// Makes an empty file, and the folders that lead to it. What the code page has no characters for cannot be made, and what its
// references lead out of the sandbox with is not.
void MakeFile(const std::string& path) {
    if (LeavesSandbox(path)) {
        return;
    }
    for (size_t at = 0; (at = path.find('\\', at + 1)) != std::string::npos;) {
        CreateDirectoryA(path.substr(0, at).c_str(), nullptr);
    }
    CloseHandle(
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
}

void MakeDlls(const WinsockState& state) {
    for (const SimulatedCatalog* catalog : {&state.catalog64, &state.catalog32}) {
        for (const SimulatedEntry& entry : *catalog) {
            MakeFile(ExpandEnvString(conv_to_char(entry.path.c_str()).c_str()));
        }
    }
}

// Returns the letters of the drives that the state names. Throws std::runtime_error.
std::string CheckState(const std::string& kind, const std::string& text) {
    if (kind == "netcfg") {
        ParseNetcfgState(text);
        return "";
    }
    const WinsockState state = ParseWinsockState(text);
    if (kind == "make-dlls") {
        MakeDlls(state);
    }
    return DrivesOf(state);
}

} // namespace

int main(int argc, char** argv) {
    const std::string kind = argc == 3 ? argv[1] : "";
    if (kind != "winsock" && kind != "netcfg" && kind != "make-dlls") {
        std::printf("check_state winsock|netcfg|make-dlls FILE\n");
        return 2;
    }
    try {
        std::string verdict = "sound";
        for (const char drive : CheckState(kind, ReadWholeFile(argv[2]))) {
            verdict += std::string(" ") + drive;
        }
        std::printf("%s\n", verdict.c_str());
        return 0;
    } catch (const std::runtime_error& error) {
        std::printf("%s\n", error.what());
        return 1;
    }
}
