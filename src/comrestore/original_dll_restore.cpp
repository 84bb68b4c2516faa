// The two forms of the restore, which share their beginning and their end.
#include "comrestore/original_dll_restore.h"

#include <memory>
#include <string>

#include "common/text_conversion.h"
#include "security/permission_acquirer.h"
#include "trace/trace_log.h"

namespace {

constexpr DWORD kPathSize = 260;

// What "OriginalDll" holds. The value may lack its terminator. So the text has one more character than is
// read, and that character stays zero.
struct KeptPath {
    char text[kPathSize + 1] = {};
    DWORD size = kPathSize;
    DWORD type = REG_SZ;
};

// Closes the key with CloseHandle and not with RegCloseKey, because an opened key is a kernel handle.
struct OpenKey {
    HKEY key = nullptr;

    OpenKey() = default;
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() {
        if (key != nullptr) {
            CloseHandle(key);
        }
    }
};

std::string KeyPathOf(const char* classId) {
    return "CLSID\\" + std::string(classId) + "\\InprocServer32";
}

bool Exists(const char* path) {
    return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

// Reads the kept path of a key, whatever type the value has, unless the key could not be opened. Traces what
// failed.
//   opened  the result of opening the key
LONG ReadKeptPath(LONG opened, HKEY key, const std::string& keyPath, KeptPath* kept) {
    if (opened != ERROR_SUCCESS) {
        Trace("OriginalDLL: cannot open key %s, err %d", keyPath.c_str(), opened);
        return opened;
    }
    const LONG error = RegQueryValueExA(key, "OriginalDll", nullptr, &kept->type,
                                        reinterpret_cast<BYTE*>(kept->text), &kept->size);
    if (error != ERROR_SUCCESS) {
        Trace("OriginalDLL: value missing, err %d", error);
    }
    return error;
}

void TraceUnlessAcquired(bool acquired) {
    if (!acquired) {
        Trace("OriginalDLL: regAcqirePermission->SetPermissions fail");
    }
}

// Traces the result of the write and deletes the kept path, also after a failed write: a second run must not
// find it again. Kept, see docs/kept-behaviour.md.
void FinishRestore(HKEY key, const std::string& keyPath, const char* dll, LONG written) {
    if (written == ERROR_SUCCESS) {
        TraceAtLevel(kExtraFileLevel, "Original dll restored (%s): %s", keyPath.c_str(), dll);
    } else {
        Trace("Original dll was not restored: %s, err %d", dll, written);
    }
    const LONG error = RegDeleteValueA(key, "OriginalDll");
    if (error != ERROR_SUCCESS) {
        Trace("OriginalDLL: RegDeleteValue failed, error %d", error);
    }
}

// Sets the default value of the key at keyPath. The length given is twice that of the text, as if the text
// were wide. Windows ignores the length and reads up to the terminator. The buffer is padded, so that code
// which does use the length stays within it. Kept, see docs/kept-behaviour.md.
LONG SetDefaultValueByPath(const std::string& keyPath, const std::string& dll) {
    const DWORD length = static_cast<DWORD>(2 * dll.size());
    std::string padded = dll;
    padded.resize(length);
    return RegSetValueA(HKEY_CLASSES_ROOT, keyPath.c_str(), REG_SZ, padded.c_str(), length);
}

} // namespace

LONG RestoreOriginalDll(const char* classId) {
    const std::string keyPath = KeyPathOf(classId);
    Trace("OriginalDLL: try restore %s", classId);
    OpenKey open;
    LONG result = RegOpenKeyA(HKEY_CLASSES_ROOT, keyPath.c_str(), &open.key);
    KeptPath kept;
    result = ReadKeptPath(result, open.key, keyPath, &kept);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    std::string dll = kept.text;
    Trace("OriginalDLL: value present type=%d %s", kept.type, dll.c_str());
    if (!Exists(dll.c_str())) {
        dll = ExpandEnvString(kept.text);
        Trace("OriginalDLL:\ttry expand %s", dll.c_str());
        if (!Exists(dll.c_str())) {
            Trace("OriginalDLL:\tdll not found");
            return ERROR_SUCCESS;
        }
    }
    const auto acquirer = std::make_unique<PermissionAcquirer>();
    TraceUnlessAcquired(acquirer->SetPermissions(open.key));
    result = SetDefaultValueByPath(keyPath, dll);
    FinishRestore(open.key, keyPath, dll.c_str(), result);
    return result;
}

LONG RestoreClassOriginalDll(const char* classId) {
    const std::string keyPath = KeyPathOf(classId);
    Trace("OriginalDLL: try restore %s", classId);
    const std::string fullName = "HKEY_CLASSES_ROOT\\" + keyPath;
    const auto acquirer = std::make_unique<PermissionAcquirer>();
    TraceUnlessAcquired(
        acquirer->SetPermissions(fullName.c_str(), OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, false));
    OpenKey open;
    LONG result = RegOpenKeyExA(HKEY_CLASSES_ROOT, keyPath.c_str(), 0, KEY_READ | KEY_WRITE, &open.key);
    KeptPath kept;
    result = ReadKeptPath(result, open.key, keyPath, &kept);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    Trace("OriginalDLL: value present type=%d size=%d '%s'", kept.type, kept.size, kept.text);
    bool expandNeeded = false;
    if (!Exists(kept.text)) {
        const std::string expanded = ExpandEnvString(kept.text);
        Trace("OriginalDLL:\ttry expand '%s'", expanded.c_str());
        expandNeeded = Exists(expanded.c_str());
        if (!expandNeeded) {
            Trace("OriginalDLL:\tdll not found");
            return ERROR_SUCCESS;
        }
    }
    // Writes the text as stored, with the size that was read, so that exactly the kept bytes come back.
    result = RegSetValueExA(open.key, nullptr, 0, expandNeeded ? REG_EXPAND_SZ : REG_SZ,
                            reinterpret_cast<const BYTE*>(kept.text), kept.size);
    FinishRestore(open.key, keyPath, kept.text, result);
    return result;
}
