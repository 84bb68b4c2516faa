// check_state winsock|netcfg FILE: checks a state file. Prints "sound" and the letters of the drives that its paths name, a
// blank before each; or the number of the line that is wrong, and what is wrong with it.
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "netcfg/netcfg_state.h"
#include "state_text.h"
#include "winsock/winsock_state.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::printf("check_state winsock|netcfg FILE\n");
        return 2;
    }
    try {
        std::string drives;
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
