// The file remover on real files and a real SharedDLLs key.
#include "files/file_remover.h"

#include <optional>

#include "support/machine_test.h"

namespace {

constexpr char kFile[] = "C:\\sandbox\\files\\gone.dll";
constexpr char kSharedDlls[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\SharedDLLs";
constexpr char kSessionManager[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager";

class FileRemoverTest : public MachineTest {
  protected:
    void SetUp() override {
        MachineTest::SetUp();
        CreateDirectoryA("C:\\sandbox\\files", nullptr);
        RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, kSessionManager, "PendingFileRenameOperations");
        MakeFile();
    }

    static void MakeFile() {
        SetFileAttributesA(kFile, FILE_ATTRIBUTE_NORMAL);
        WriteWholeFile(kFile, "x");
        RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, kSharedDlls, kFile);
        on::CreateFileA.calls = 0;
    }

    static void StoreCount(DWORD type, const void* data, DWORD size) {
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, kSharedDlls, kFile, type, data, size);
    }

    static std::optional<DWORD> Count() {
        DWORD count = 0;
        DWORD size = sizeof(count);
        const LONG error =
            RegGetValueA(HKEY_LOCAL_MACHINE, kSharedDlls, kFile, RRF_RT_REG_DWORD, nullptr, &count, &size);
        return error == ERROR_SUCCESS ? std::optional(count) : std::nullopt;
    }

    // The paths of the pending deletions, each between bars.
    static std::string Pending() {
        char data[4096] = "";
        DWORD size = sizeof(data);
        RegGetValueA(HKEY_LOCAL_MACHINE, kSessionManager, "PendingFileRenameOperations", RRF_RT_REG_MULTI_SZ,
                     nullptr, data, &size);
        std::string text;
        for (DWORD i = 0; i + 1 < size && size < sizeof(data); ++i) {
            text += data[i] == '\0' ? '|' : data[i];
        }
        return text;
    }
};

TEST_F(FileRemoverTest, TheCountDecidesAndIsLowered) {
    const DWORD numbers[] = {0, 1, 2, 0x80000000};
    const ULONGLONG wide = 5;
    const std::string shared =
        "warning: shared file '" + std::string(kFile) + "' can not be deleted, refcount is ";
    const std::string deleted = "File deleted: " + std::string(kFile) + "\n";
    const struct {
        DWORD type;
        const void* data;
        DWORD size;
        bool kept;
        std::optional<DWORD> left;
        std::string traced;
    } rows[] = {
        {REG_NONE, nullptr, 0, false, {}, deleted}, // no value at all
        {REG_DWORD, &numbers[0], 4, false, 0xFFFFFFFF, ""},
        {REG_DWORD, &numbers[1], 4, false, {}, deleted},
        {REG_DWORD, &numbers[2], 4, true, 1, shared + "2\n"},
        {REG_DWORD, &numbers[3], 4, true, 0x7FFFFFFF, shared + "-2147483648\n"},
        {REG_BINARY, &numbers[2], 4, false, {}, deleted},
        {REG_QWORD, &wide, 8, false, {}, deleted},
        {REG_DWORD, &wide, 2, false, {}, deleted},
        {REG_SZ, "", 0, false, {}, deleted},
    };
    for (const auto& row : rows) {
        MakeFile();
        if (row.data != nullptr) {
            StoreCount(row.type, row.data, row.size);
        }
        RemoveFile(kFile, false, false);
        EXPECT_EQ(FileExists(kFile), row.kept) << row.type;
        EXPECT_EQ(Count(), row.left) << row.type;
        EXPECT_EQ(Traced(), row.traced);
    }
}

TEST_F(FileRemoverTest, ReadOnlyFilesGoAndMissingOnesKeepTheirCount) {
    SetFileAttributesA(kFile, FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    DWORD written = 0;
    on::SetFileAttributesA.Replace([&](LPCSTR path, DWORD attributes) {
        written = attributes;
        return on::SetFileAttributesA.Real(path, attributes);
    });
    RemoveFile(kFile, false, false);
    EXPECT_FALSE(FileExists(kFile));
    EXPECT_EQ(written & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN),
              static_cast<DWORD>(FILE_ATTRIBUTE_HIDDEN));
    const DWORD one = 1;
    StoreCount(REG_DWORD, &one, 4);
    Traced();
    for (const std::string& path :
         {std::string(kFile), std::string(), std::string("%SystemRoot%\\a.dll"), std::string(5000, 'x')}) {
        RemoveFile(path.c_str(), false, false);
        EXPECT_EQ(Traced(), "warning: file '" + path + "' not exist\n");
    }
    EXPECT_EQ(Count(), 1u);
}

TEST_F(FileRemoverTest, ALockedFileIsScheduledUnderItsOwnPath) {
    const HANDLE lock = CreateFileA(kFile, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    RemoveFile(kFile, false, false);
    CloseHandle(lock);
    EXPECT_TRUE(FileExists(kFile));
    const std::string path = kFile;
    EXPECT_EQ(Traced(), "error: can not delete file '" + path +
                            "' winerr = 32. The file will be deleted on reboot\n" +
                            "File will be deleted on reboot: " + path + "\nFile deleted: " + path + "\n");
    EXPECT_EQ(Pending(), "\\??\\" + path + "||\\??\\C:\\norvane.tmp||");
    EXPECT_EQ(GetFileAttributesA("C:\\norvane.tmp"),
              static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN));
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA("C:\\norvane.tmp\\vor*.tmp", &found);
    EXPECT_NE(search, INVALID_HANDLE_VALUE) << "the empty temporary file stays";
    FindClose(search);
}

TEST_F(FileRemoverTest, EachFailureOfTheRebootScheduleHasItsWayOut) {
    const struct {
        HookBase& hook;
        int call;
        DWORD error;
        const char* directory; // where the temporary file is asked for
        const char* scheduled;
        bool folderScheduled;
    } rows[] = {
        {on::CreateDirectoryA, 0, 0, "C:\\norvane.tmp\\", kFile, true},
        {on::CreateDirectoryA, 1, ERROR_ALREADY_EXISTS, "C:\\norvane.tmp\\", kFile, true},
        {on::CreateDirectoryA, 1, ERROR_ACCESS_DENIED, "C:\\sandbox\\files\\", kFile, false},
        {on::GetTempFileNameA, 1, ERROR_DISK_FULL, "C:\\norvane.tmp\\", "C:\\norvane.tmp\\vorn", true},
        {on::SetFileAttributesA, 1, ERROR_ACCESS_DENIED, "C:\\norvane.tmp\\", kFile, true},
        {on::MoveFileExA, 1, ERROR_ACCESS_DENIED, "C:\\norvane.tmp\\", nullptr, true},
    };
    for (const auto& row : rows) {
        SetUp();
        DeleteFileA("C:\\norvane.tmp\\vorn");
        std::string directory;
        on::GetTempFileNameA.Replace([&](LPCSTR in, LPCSTR prefix, UINT unique, LPSTR name) {
            directory = in;
            EXPECT_STREQ(prefix, "vorn");
            EXPECT_EQ(unique, 0u);
            return on::GetTempFileNameA.Real(in, prefix, unique, name);
        });
        row.hook.Fail(row.call, row.error);
        RemoveFile(kFile, false, true);
        EXPECT_EQ(on::CreateFileA.calls, 0) << "no deletion is tried";
        EXPECT_TRUE(directory == row.directory || &row.hook == &on::GetTempFileNameA) << directory;
        std::string pending = row.scheduled != nullptr ? "\\??\\" + std::string(row.scheduled) + "||" : "";
        EXPECT_EQ(Pending(), pending + (row.folderScheduled ? "\\??\\C:\\norvane.tmp||" : ""));
        EXPECT_EQ(Traced(100),
                  (pending.empty() ? "" : "File will be deleted on reboot: " + std::string(kFile) + "\n") +
                      "File deleted: " + kFile + "\n");
    }
    EXPECT_FALSE(FileExists("C:\\norvane.tmp\\vorn"));
}

TEST_F(FileRemoverTest, WithoutTheKeyTheFileGoesAndNothingIsClaimed) {
    std::string accesses;
    on::RegOpenKeyExA.Replace([&](HKEY, LPCSTR, DWORD, REGSAM access, PHKEY) {
        char text[32];
        _snprintf(text, sizeof(text), "%lx ", access);
        accesses += text;
        return ERROR_ACCESS_DENIED;
    });
    RemoveFile(kFile, true, false);
    EXPECT_FALSE(FileExists(kFile));
    EXPECT_EQ(accesses, "20119 2011f ");
    EXPECT_EQ(Traced(100), "");
}

// The runtime ends a process whose path does not fit its buffers.
TEST_F(FileRemoverTest, AnOverlongComponentIsScheduledWhereItIs) {
    on::GetFileAttributesExA.Replace([](LPCSTR, GET_FILEEX_INFO_LEVELS, LPVOID) { return TRUE; });
    std::string scheduled;
    on::MoveFileExA.Replace([&](LPCSTR from, LPCSTR, DWORD) {
        scheduled = from;
        return TRUE;
    });
    for (const std::string& path :
         {"\\\\?\\C:\\" + std::string(300, 'd') + "\\f.dll", "C:\\" + std::string(300, 'f')}) {
        RemoveFile(path.c_str(), false, true);
        EXPECT_EQ(scheduled, path);
        EXPECT_EQ(Traced(100), "File will be deleted on reboot: " + path + "\nFile deleted: " + path + "\n");
    }
}

} // namespace
