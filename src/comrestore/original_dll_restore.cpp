// The two forms of the restore, which share the read of the kept path and their last steps.
#include "comrestore/original_dll_restore.h"

#include <memory>
#include <string>

#include "common/owned.h"
#include "common/text_conversion.h"
#include "security/permission_acquirer.h"
#include "trace/trace_log.h"

namespace {

constexpr DWORD kPathSize = 260;

// The contents of "OriginalDll". The value can lack its terminator, so the text has one character more than
// is read, and that character remains zero.
struct KeptPath {
    char text[kPathSize + 1] = {};
    DWORD size = kPathSize;
    DWORD type = REG_SZ;
};

// Closes the key with CloseHandle instead of RegCloseKey, because the key is a kernel handle. Kept, see
// docs/kept-behaviour.md.
void CloseAsHandle(HKEY key) {
    CloseHandle(key);
}

using ClassKey = Owned<HKEY, CloseAsHandle>;

std::string KeyPathOf(const char* classId) {
    return "CLSID\\" + std::string(classId) + "\\InprocServer32";
}

bool Exists(const char* path) {
    return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

// Traces a failure to open the key, and returns the error code of the open.
LONG CheckOpened(LONG error, const std::string& keyPath) {
    if (error != ERROR_SUCCESS) {
        Trace("OriginalDLL: cannot open key %s, err %d", keyPath.c_str(), error);
    }
    return error;
}

// Reads the kept path of a key, whatever type the value has. Traces a failure, and returns its error code.
LONG ReadKeptPath(HKEY key, KeptPath* kept) {
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

// Traces the result of the write and deletes the kept path, even after a failed write, so that a second run
// does not find it again. Kept, see docs/kept-behaviour.md.
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

// Sets the default value of the key at keyPath. The length is twice that of the text, as if the text were
// wide. Windows ignores it and reads up to the terminator. The buffer is padded, so that an implementation
// that uses the length remains within the buffer. Kept, see docs/kept-behaviour.md.
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
    ClassKey key;
    LONG result = CheckOpened(RegOpenKeyA(HKEY_CLASSES_ROOT, keyPath.c_str(), key.Receive()), keyPath);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    KeptPath kept;
    result = ReadKeptPath(key.Get(), &kept);
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
    const auto regAcqirePermission = std::make_unique<PermissionAcquirer>();
    TraceUnlessAcquired(regAcqirePermission->SetPermissions(key.Get()));
    result = SetDefaultValueByPath(keyPath, dll);
    FinishRestore(key.Get(), keyPath, dll.c_str(), result);
    return result;
}

LONG RestoreClassOriginalDll(const char* classId) {
    const std::string keyPath = KeyPathOf(classId);
    Trace("OriginalDLL: try restore %s", classId);
    const std::string fullName = "HKEY_CLASSES_ROOT\\" + keyPath;
    const auto regAcqirePermission = std::make_unique<PermissionAcquirer>();
    TraceUnlessAcquired(regAcqirePermission->SetPermissions(
        fullName.c_str(), OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE, false));
    ClassKey key;
    LONG result = CheckOpened(
        RegOpenKeyExA(HKEY_CLASSES_ROOT, keyPath.c_str(), 0, KEY_READ | KEY_WRITE, key.Receive()), keyPath);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    KeptPath kept;
    result = ReadKeptPath(key.Get(), &kept);
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
    // Writes the stored text with the size that was read, so that the default value has exactly the same
    // bytes.
    result = RegSetValueExA(key.Get(), nullptr, 0, expandNeeded ? REG_EXPAND_SZ : REG_SZ,
                            reinterpret_cast<const BYTE*>(kept.text), kept.size);
    FinishRestore(key.Get(), keyPath, kept.text, result);
    return result;
}
