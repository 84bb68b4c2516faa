// The trace log: stamps, levels, outputs and the wide path.
#include "trace/trace_log.h"

#include <stdexcept>

#include "common/text_conversion.h"
#include "support/machine_test.h"

namespace {

class TraceLogTest : public MachineTest {};

void Append(const char* text, size_t length, void* context, unsigned level) {
    *static_cast<std::string*>(context) += std::to_string(level) + ":" + std::string(text, length) + ";";
}

TEST_F(TraceLogTest, LevelsChooseFilesAndSinks) {
    DeleteFileA("C:\\sandbox\\main.log");
    DeleteFileA("C:\\sandbox\\extra.log");
    std::string all;
    std::string results;
    {
        TraceLog log("%TEMP%", "norvane");
        log.Write(100, "nobody %s", "listens");
        ASSERT_TRUE(log.AddFile("C:\\sandbox\\main.log"));
        ASSERT_TRUE(log.AddFile("C:\\sandbox\\main.log"));
        ASSERT_TRUE(log.AddExtraFile("C:\\sandbox\\extra.log"));
        EXPECT_FALSE(log.AddFile("C:\\no such folder\\main.log"));
        log.AddSink({Append, &all, 700});
        log.AddSink({Append, &results, 500});
        log.AddSink({nullptr, nullptr, 700});
        log.Write(700, "step %d", 1);
        log.Write(100, "result\n");
        log.Write(0xFFFFFFFF, "beyond every sink");
    }
    EXPECT_EQ(all, "700:step 1;100:result\n;");
    EXPECT_EQ(results, "100:result\n;");
    SYSTEMTIME now;
    GetLocalTime(&now);
    const std::string main = ReadWholeFile("C:\\sandbox\\main.log");
    const std::string extra = ReadWholeFile("C:\\sandbox\\extra.log");
    EXPECT_EQ(extra.substr(extra.find_last_of(' ')), " result\n\n");
    EXPECT_NE(main.find(extra + main.substr(0, 9)), std::string::npos) << "whole lines, in order: " << main;
    char stamp[32];
    _snprintf(stamp, sizeof(stamp), "%03lu:%04lx %02d:", GetCurrentProcessId(), GetCurrentThreadId(),
              now.wHour);
    EXPECT_EQ(main.substr(0, strlen(stamp)), stamp);
    EXPECT_EQ(main.find(" step 1\n"), strlen(stamp) + strlen("mm:ss.mmm")) << main;
}

TEST_F(TraceLogTest, LinesAreNeverCut) {
    const std::string longText(70000, 'x');
    Trace("<%s>", longText.c_str());
    EXPECT_EQ(Traced(), "<" + longText + ">\n");
}

TEST_F(TraceLogTest, TextBeyondTheCodePageComesOutAsUtf8) {
    Trace("%ws", L"caf\u00E9"); // one that the code page has stays narrow
    EXPECT_EQ(Traced(), "caf\xE9\n");
    Trace("%s|%5d|%08X|%ws|%-3s|%.2s|100%%|%S", "caf\xE9", 42, 0xABu, L"\u4E2D", "x", "abc", L"y");
    EXPECT_EQ(Traced(), "caf\xC3\xA9|   42|000000AB|\xE4\xB8\xAD|x  |ab|100%|y\n");
    Trace("%s %ls", static_cast<const char*>(nullptr), L"\u4E2D");
    EXPECT_EQ(Traced(), "(null) \xE4\xB8\xAD\n");
    Trace("%u%% of %u \xC3\xA9 %ls", 50u, 7u, L"\u4E2D");
    EXPECT_EQ(Traced(), "50% of 7 \xC3\xA9 \xE4\xB8\xAD\n");
}

TEST_F(TraceLogTest, AFailedConversionLeavesTheLogUsable) {
    on::WideCharToMultiByte.Fail(1, ERROR_INVALID_PARAMETER);
    EXPECT_THROW(Trace("%ls", L"\u4E2D"), std::runtime_error);
    on::MultiByteToWideChar.Fail(1, ERROR_INVALID_PARAMETER);
    EXPECT_THROW(Trace("%ls", L"\u4E2D"), std::runtime_error);
    // Another thread would wait for ever if the lock were still held.
    const HANDLE thread = CreateThread(
        nullptr, 0,
        [](void*) -> DWORD {
            Trace("still %s", "here");
            return 0;
        },
        nullptr, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_EQ(Traced(), "still here\n");
}

TEST_F(TraceLogTest, ComposesPathsAndOpensNothing) {
    TraceLog log("%TEMP%", "norvane");
    SYSTEMTIME now;
    GetLocalTime(&now);
    char name[64];
    _snprintf(name, sizeof(name), "norvane %04d-%02d-%02d", now.wYear, now.wMonth, now.wDay);
    char pid[32];
    _snprintf(pid, sizeof(pid), " (pid %03lu).log", GetCurrentProcessId());
    const struct {
        const char* directory;
        const char* start;
    } rows[] = {{".", ".\\"}, {"", ".\\"}, {"%TEMP%", "%TEMP%\\"}, {"C:\\", "C:\\"}};
    for (const auto& row : rows) {
        const std::string path = log.BuildTraceFilePath(row.directory, "norvane");
        EXPECT_EQ(path.find(row.start + std::string(name)), 0u) << path;
        EXPECT_TRUE(path.ends_with(pid)) << path;
        EXPECT_FALSE(FileExists(path));
    }
}

TEST_F(TraceLogTest, AnySmallValueThatIsNotZeroSwitchesTracingOn) {
    const struct {
        LONG openResult;
        LONG queryResult;
        DWORD value;
    } rows[] = {{0, 0, 1}, {0, 0, 0}, {2, 0, 1}, {0, ERROR_MORE_DATA, 1}};
    for (const auto& row : rows) {
        ResetHooks();
        on::RegOpenKeyExA.Replace([&](HKEY root, LPCSTR path, DWORD, REGSAM access, PHKEY) {
            EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
            EXPECT_STREQ(path, "Software\\Wow6432Node\\Brennick\\Norvane");
            EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ));
            return row.openResult;
        });
        on::RegQueryValueExA.Replace([&](HKEY, LPCSTR name, LPDWORD, LPDWORD, LPBYTE data, LPDWORD size) {
            EXPECT_STREQ(name, "TraceEnable");
            EXPECT_EQ(*size, 4u);
            memcpy(data, &row.value, 4);
            return row.queryResult;
        });
        const int opened = on::CreateFileA.calls;
        const TraceLog log("%TEMP%", "norvane");
        EXPECT_EQ(on::RegQueryValueExA.calls, row.openResult == 0 ? 1 : 0);
        EXPECT_EQ(on::CreateFileA.calls, opened);
    }
}

} // namespace
