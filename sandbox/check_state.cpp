// check_state winsock|netcfg|make-dlls FILE, check_state convert|export FILE RESULT: checks a state file;
// check_state security KEY SDDL: sets the access list of a key of HKEY_LOCAL_MACHINE, in SDDL.
// Prints "sound" and the letters of the drives that its paths name, a blank before each; or the number of the
// line that is wrong, and the error. make-dlls also makes the files that the catalogs name, where they
// are missing. convert writes the state of a machine that FILE describes; a state file is copied with its
// planned failures.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "common/text_conversion.h"
#include "machine/files.h"
#include "machine/machine_reading.h"
#include "machine/netsh_listing.h"
#include "machine/registry_export.h"
#include "machine/text.h"
#include "simulation/netcfg_state.h"
#include "simulation/windows_output.h"
#include "simulation/winsock_state.h"

namespace {

// Makes an empty file, and the folders that lead to it. A path that has characters which the code page lacks,
// or whose references lead out of the sandbox, is passed over.
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

void MakeDlls(const Catalogs& catalogs) {
    for (const Catalog* catalog : {&catalogs.catalog64, &catalogs.catalog32}) {
        for (const CatalogEntry& entry : *catalog) {
            MakeFile(ExpandEnvString(conv_to_char(entry.path.c_str()).c_str()));
        }
    }
}

// Writes the state of the machine that a file describes. ReadMachine names the file in its errors, and so
// does the caller.
void Convert(const std::string& file, const std::string& resultFile) {
    const std::string content = ReadWholeFile(file);
    const std::string text = DecodeText(content);
    if (!IsRegistryExport(text) && !IsNetshListing(text)) {
        ParseWinsockState(content);
        WriteWholeFile(resultFile, content);
        return;
    }
    try {
        const Machine machine = ReadMachine({conv_to_wchar(file.c_str())});
        WriteWholeFile(resultFile, FormatWinsockState({machine.catalogs, false, {}}));
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()).substr(file.size() + 1));
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

// Throws std::runtime_error.
void SetAccessList(const std::string& key, const std::string& sddl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PACL list = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted);
    std::string name = "MACHINE\\" + key;
    const DWORD error = list == nullptr
                            ? GetLastError()
                            : SetNamedSecurityInfoA(name.data(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION,
                                                    nullptr, nullptr, list, nullptr);
    LocalFree(descriptor);
    if (list == nullptr || error != ERROR_SUCCESS) {
        throw std::runtime_error(name + ": no access list: " + std::to_string(error));
    }
}

std::string Run(const std::string& kind, const std::string& file, const std::string& resultFile) {
    if (kind == "convert") {
        Convert(file, resultFile);
        return "";
    }
    if (kind == "security") {
        SetAccessList(file, resultFile);
        return "";
    }
    if (kind == "export") {
        WriteWholeFile(resultFile, AsWide(ExportOf(ParseWinsockState(ReadWholeFile(file)))));
        return "";
    }
    return CheckState(kind, ReadWholeFile(file));
}

} // namespace

int main(int argc, char** argv) {
    const std::string kind = argc > 2 ? argv[1] : "";
    const bool known = kind == "winsock" || kind == "netcfg" || kind == "make-dlls";
    const bool knownPair = kind == "convert" || kind == "export" || kind == "security";
    if (!(known && argc == 3) && !(knownPair && argc == 4)) {
        std::printf("check_state winsock|netcfg|make-dlls FILE, check_state convert|export FILE RESULT, "
                    "check_state security KEY SDDL\n");
        return 2;
    }
    try {
        std::string verdict = "sound";
        for (const char drive : Run(kind, argv[2], argc == 4 ? argv[3] : "")) {
            verdict += std::string(" ") + drive;
        }
        std::printf("%s\n", verdict.c_str());
        return 0;
    } catch (const std::runtime_error& error) {
        std::printf("%s\n", error.what());
        return 1;
    }
}
