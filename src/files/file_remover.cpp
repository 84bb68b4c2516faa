// The reference count, the deletion, and the deletion at the next reboot.
#include "files/file_remover.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "common/owned.h"
#include "common/registry_helpers.h"
#include "trace/trace_log.h"

namespace {

constexpr size_t kPathSize = MAX_PATH; // with the terminator

// Returns the key; an empty one after a trace line when it cannot be opened.
RegistryKey OpenSharedDlls(REGSAM access, bool use64BitView) {
    BYTE use64 = use64BitView ? 1 : 0;
    HKEY key = nullptr;
    const LONG error = RegOpenKeyLogged(HKEY_LOCAL_MACHINE, kSharedDllsKey, 0, access, &key, use64);
    return RegistryKey(error == ERROR_SUCCESS ? key : nullptr);
}

// Returns the count of the file; 1 when the value is missing or not a REG_DWORD.
DWORD ReadCount(HKEY key, const char* path) {
    DWORD count = 1;
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExA(key, path, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
        size == sizeof(DWORD) && type == REG_DWORD) {
        RegQueryValueExA(key, path, nullptr, nullptr, reinterpret_cast<BYTE*>(&count), &size);
    }
    return count;
}

DWORD ReadSharedCount(const char* path, bool use64BitView) {
    const RegistryKey key = OpenSharedDlls(KEY_READ, use64BitView);
    return key.Get() == nullptr ? 1 : ReadCount(key.Get(), path);
}

// Returns the lowered count; 1 when the key cannot be opened. A stored 0 wraps to the largest number, so that
// a file with a wrong count is not reported as deleted. Kept, see docs/kept-behaviour.md.
DWORD LowerSharedCount(const char* path, bool use64BitView) {
    const RegistryKey key = OpenSharedDlls(KEY_READ | KEY_WRITE, use64BitView);
    if (key.Get() == nullptr) {
        return 1;
    }
    const DWORD count = ReadCount(key.Get(), path) - 1;
    if (count != 0) {
        RegSetValueExA(key.Get(), path, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&count), sizeof(count));
    } else {
        RegDeleteValueA(key.Get(), path);
    }
    return count;
}

// Where a file is.
struct Location {
    std::string drive;
    std::string directory;
};

// Splits a path of any length. The runtime knows the double-byte characters of the code page, whose second
// byte can be that of a backslash. Returns nothing when drive and directory, or name and extension, do not
// fit a path of kPathSize: the runtime ends the process when it makes one of parts that do not fit.
std::optional<Location> FindLocation(const char* path) {
    const size_t size = std::strlen(path) + 1; // no part is longer than the path
    std::string buffer(4 * size, '\0');
    char* const drive = buffer.data();
    char* const directory = drive + size;
    char* const name = directory + size;
    char* const extension = name + size;
    _splitpath_s(path, drive, size, directory, size, name, size, extension, size);
    if (std::strlen(drive) + std::strlen(directory) >= kPathSize ||
        std::strlen(name) + std::strlen(extension) >= kPathSize) {
        return std::nullopt;
    }
    return Location{drive, directory};
}

std::string MakePath(const char* drive, const char* directory, const char* name, const char* extension) {
    char path[kPathSize] = {};
    _makepath_s(path, kPathSize, drive, directory, name, extension);
    return path;
}

// Creates the hidden folder for files that wait for their deletion. Returns whether it exists.
bool PrepareFolder(const char* folder) {
    if (!CreateDirectoryA(folder, nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
        return false;
    }
    SetFileAttributesA(folder, FILE_ATTRIBUTE_HIDDEN);
    return true;
}

// Creates an empty file with a new name in directory and returns its path. When that fails, returns a path
// that can be that of an existing file.
//   unique  as for GetTempFileNameA: 0 for a new name
std::string MakeTempFileName(const std::string& directory, const char* prefix, UINT unique) {
    char name[MAX_PATH + 1] = {};
    if (GetTempFileNameA(directory.c_str(), prefix, unique, name) == 0) {
        return directory + prefix;
    }
    return name;
}

// Schedules a file for deletion at the next reboot under its present path, and reports it under its first
// path.
void Schedule(const char* nameNow, const char* path) {
    if (MoveFileExA(nameNow, nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)) {
        TraceAtLevel(kExtraFileLevel, "File will be deleted on reboot: %s", path);
    }
}

void DeleteAtReboot(const char* path) {
    const std::optional<Location> location = FindLocation(path);
    if (!location) {
        Schedule(path, path);
        return;
    }
    const char* const drive = location->drive.c_str();
    const std::string folder = MakePath(drive, "\\", "norvane", "tmp");
    const bool usable = PrepareFolder(folder.c_str());
    const char* const directory = usable ? "\\norvane.tmp\\" : location->directory.c_str();
    const std::string target = MakePath(drive, directory, nullptr, nullptr);
    const std::string tempName = MakeTempFileName(target, "vorn", 0);
    // MoveFile does not replace a file, and the temporary file already has the new name. So the move fails,
    // and the file is scheduled under its own path, unless no temporary file could be created. Kept, see
    // docs/kept-behaviour.md.
    const bool moved = MoveFileA(path, tempName.c_str()) != 0;
    Schedule(moved ? tempName.c_str() : path, path);
    if (usable) {
        MoveFileExA(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    }
}

// The system deletes the file when the handle is closed, or the open fails.
bool DeleteNow(const char* path) {
    const HANDLE file = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(file);
    return true;
}

void DeleteNowOrAtReboot(const char* path, bool rebootOnly) {
    if (rebootOnly) {
        Trace("file '%s' will be deleted on reboot", path);
        DeleteAtReboot(path);
    } else if (!DeleteNow(path)) {
        Trace("error: can not delete file '%s' winerr = %i. The file will be deleted on reboot", path,
              GetLastError());
        DeleteAtReboot(path);
    }
}

} // namespace

void RemoveFile(const char* path, bool use64BitView, bool rebootOnly) {
    WIN32_FILE_ATTRIBUTE_DATA attributes = {};
    if (!GetFileAttributesExA(path, GetFileExInfoStandard, &attributes)) {
        Trace("warning: file '%s' not exist", path);
        return;
    }
    if ((attributes.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
        SetFileAttributesA(path, attributes.dwFileAttributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    }
    const DWORD shared = ReadSharedCount(path, use64BitView);
    if (shared > 1) {
        Trace("warning: shared file '%s' can not be deleted, refcount is %i", path, shared);
    } else {
        DeleteNowOrAtReboot(path, rebootOnly);
    }
    // The message depends on the count only, so a file that is deleted at the reboot is reported as well.
    if (LowerSharedCount(path, use64BitView) == 0) {
        TraceAtLevel(kExtraFileLevel, "File deleted: %s", path);
    }
}
