// check_state winsock|netcfg FILE: checks a state file. Prints "sound" and the letters of the drives that its paths name, a
// blank before each; or the number of the line that is wrong, and what is wrong with it.
// check_state make-dlls FILE: makes the files that the catalogs of a sound state name, where there are none.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "common/text_conversion.h"
#include "netcfg/netcfg_state.h"
#include "state_text.h"
#include "winsock/winsock_state.h"

namespace {

// Makes an empty file, and the folders that lead to it. What the code page has no characters for cannot be made.
void MakeFile(const std::string& path) {
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

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::printf("check_state winsock|netcfg|make-dlls FILE\n");
        return 2;
    }
    try {
        std::string drives;
        if (std::strcmp(argv[1], "make-dlls") == 0) {
            MakeDlls(ParseWinsockState(ReadWholeFile(argv[2])));
            return 0;
        }
        if (std::strcmp(argv[1], "winsock") == 0) {
            drives = DrivesOf(ParseWinsockState(ReadWholeFile(argv[2])));
        } else {
            ParseNetcfgState(ReadWholeFile(argv[2]));
        }
        std::printf("sound");
        for (const char drive : drives) {
            std::printf(" %c", drive);
        }
        std::printf("\n");
        return 0;
    } catch (const std::runtime_error& error) {
        std::printf("%s\n", error.what());
        return 1;
    }
}
