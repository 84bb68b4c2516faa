// The reference count, the deletion and the reboot schedule.
#include "files/file_remover.h"

#include <windows.h>

#include <cstdlib>
#include <string>

#include "common/registry_helpers.h"
#include "trace/trace_log.h"

namespace {

constexpr char kSharedDllsKey[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";
constexpr size_t kComponentSize = 260;

LONG OpenSharedDlls(REGSAM access, bool use64BitView, HKEY* key) {
    BYTE use64 = use64BitView ? 1 : 0;
    return RegOpenKeyLogged(HKEY_LOCAL_MACHINE, kSharedDllsKey, 0, access, key, use64);
}

// A missing value, and one that is not a REG_DWORD, leave count as it is.
void ReadCount(HKEY key, const char* path, DWORD* count) {
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExA(key, path, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
        size == sizeof(DWORD) && type == REG_DWORD) {
        RegQueryValueExA(key, path, nullptr, nullptr, reinterpret_cast<BYTE*>(count), &size);
    }
}

DWORD ReadSharedCount(const char* path, bool use64BitView) {
    DWORD count = 1;
    HKEY key = nullptr;
    if (OpenSharedDlls(KEY_READ, use64BitView, &key) == ERROR_SUCCESS) {
        ReadCount(key, path, &count);
        RegCloseKey(key);
    }
    return count;
}

// Returns the count that is left; 1 when the key cannot be opened. A stored 0 wraps around to the largest
// number, so that a file whose count was wrong is not reported as deleted. Kept, see docs/kept-behaviour.md.
DWORD LowerSharedCount(const char* path, bool use64BitView) {
    DWORD count = 1;
    HKEY key = nullptr;
    if (OpenSharedDlls(KEY_READ | KEY_WRITE, use64BitView, &key) != ERROR_SUCCESS) {
        return count;
    }
    ReadCount(key, path, &count);
    --count;
    if (count != 0) {
        RegSetValueExA(key, path, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&count), sizeof(count));
    } else {
        RegDeleteValueA(key, path);
    }
    RegCloseKey(key);
    return count;
}

// Whether the pieces of the path fit the buffers of SplitPath. The runtime ends the process when one does not
// fit.
bool ComponentsFit(const std::string& path) {
    const size_t slash = path.find_last_of("\\/");
    const size_t directory = slash == std::string::npos ? 0 : slash + 1;
    return directory < kComponentSize && path.size() - directory < kComponentSize;
}

struct PathParts {
    char drive[kComponentSize] = {};
    char directory[kComponentSize] = {};
    char name[kComponentSize] = {};
    char extension[kComponentSize] = {};
};

PathParts SplitPath(const char* path) {
    PathParts parts;
    _splitpath_s(path, parts.drive, kComponentSize, parts.directory, kComponentSize, parts.name,
                 kComponentSize, parts.extension, kComponentSize);
    return parts;
}

std::string MakePath(const char* drive, const char* directory, const char* name, const char* extension) {
    char path[kComponentSize] = {};
    _makepath_s(path, kComponentSize, drive, directory, name, extension);
    return path;
}

// Makes the hidden folder for files that wait for their deletion. Returns whether it is there.
bool PrepareFolder(const char* folder) {
    if (!CreateDirectoryA(folder, nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
        return false;
    }
    SetFileAttributesA(folder, FILE_ATTRIBUTE_HIDDEN);
    return true;
}

// Makes an empty file with a new name in directory and returns its path. When Windows refuses, returns a path
// that a file may already have.
//   unique  as GetTempFileNameA takes it: 0 for a new name
std::string MakeTempFileName(const std::string& directory, const char* prefix, UINT unique) {
    char name[MAX_PATH + 1] = {};
    if (GetTempFileNameA(directory.c_str(), prefix, unique, name) == 0) {
        return directory + prefix;
    }
    return name;
}

// Schedules the file for deletion under the name that it has now, and reports it under the one that it had.
void Schedule(const char* nameNow, const char* path) {
    if (MoveFileExA(nameNow, nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)) {
        TraceAtLevel(kExtraFileLevel, "File will be deleted on reboot: %s", path);
    }
}

void DeleteAtReboot(const char* path) {
    if (!ComponentsFit(path)) {
        Schedule(path, path);
        return;
    }
    const PathParts parts = SplitPath(path);
    const std::string folder = MakePath(parts.drive, "\\", "norvane", "tmp");
    const bool usable = PrepareFolder(folder.c_str());
    const std::string target =
        MakePath(parts.drive, usable ? "\\norvane.tmp\\" : parts.directory, nullptr, nullptr);
    const std::string tempName = MakeTempFileName(target, "vorn", 0);
    // MoveFile never replaces a file, and the temporary file already has the new name. So the move mostly
    // fails, and the file is scheduled in its old place. It moves only where no temporary file could be made.
    const bool moved = MoveFileA(path, tempName.c_str()) != 0;
    Schedule(moved ? tempName.c_str() : path, path);
    if (usable) {
        MoveFileExA(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    }
}

// The system deletes the file when the handle is closed, or refuses the open.
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
    } else if (DeleteNow(path)) {
        return;
    } else {
        Trace("error: can not delete file '%s' winerr = %i. The file will be deleted on reboot", path,
              GetLastError());
    }
    DeleteAtReboot(path);
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
    // The message depends on the count only. A file that waits for the reboot is reported as deleted, too.
    if (LowerSharedCount(path, use64BitView) == 0) {
        TraceAtLevel(kExtraFileLevel, "File deleted: %s", path);
    }
}
