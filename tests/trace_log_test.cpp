// The trace log: stamps, levels, outputs and the wide path.
#include "trace/trace_log.h"

#include <regex>
#include <stdexcept>

#include "machine/files.h"
#include "support/machine_test.h"

namespace {

using TraceLogTest = MachineTest;

// Whether a trace call with this format and arguments of these types compiles.
// clang-format off: its versions differ here
template <class... Args, class Format> consteval bool Fits(Format) {
    return requires {
        typename std::bool_constant<(CheckedFormat<Args...>(Format()()), true)>;
    };
}
// clang-format on

#define FITS(format, ...) Fits<__VA_ARGS__>([] { return format; })
static_assert(FITS("%s %ws %c %d %lld %p", const char*, const wchar_t*, char, DWORD, long long, HANDLE));
static_assert(!FITS("%d", const char*) && !FITS("%s", int) && !FITS("%s", const wchar_t*));
static_assert(!FITS("%ws", const char*) && !FITS("%d", long long) && !FITS("%lld", int));
static_assert(!FITS("%d", int, int) && !FITS("%d %d", int) && !FITS("%x", HANDLE) && !FITS("%f", int));

void Append(const char* text, size_t length, void* context, unsigned level) {
    *static_cast<std::string*>(context) += std::to_string(level) + ":" + std::string(text, length) + ";";
}

void StopTheClock() {
    on::GetLocalTime.Replace([](SYSTEMTIME* now) { *now = {2026, 3, 3, 4, 5, 6, 7, 8}; });
}

TEST_F(TraceLogTest, LevelsChooseFilesAndSinks) {
    StopTheClock();
    for (const char* path : {"C:\\sandbox\\main.log", "C:\\sandbox\\extra.log"}) {
        WriteWholeFile(path, "earlier\n");
    }
    std::string all;
    std::string results;
    {
        TraceLog log("%TEMP%", "norvane");
        log.TraceAtLevel(100, "not %s", "written");
        ASSERT_TRUE(log.AddFile("C:\\sandbox\\main.log"));
        ASSERT_TRUE(log.AddFile("C:\\sandbox\\main.log"));
        ASSERT_TRUE(log.AddExtraFile("C:\\sandbox\\extra.log"));
        ASSERT_TRUE(log.AddFile("C:\\sandbox\\extra.log")) << "one path in both sets";
        EXPECT_FALSE(log.AddFile("C:\\no such folder\\main.log"));
        log.AddSink({Append, &all, 700});
        log.AddSink({Append, &results, 500});
        log.AddSink({nullptr, nullptr, 700});
        log.TraceAtLevel(700, "step %d", 1);
        log.TraceAtLevel(100, "result\n");
        log.TraceAtLevel(0xFFFFFFFF, "beyond every sink");
    }
    EXPECT_EQ(all, "700:step 1;100:result\n;");
    EXPECT_EQ(results, "100:result\n;");
    char ids[32];
    _snprintf(ids, sizeof(ids), "%03lu:%04lx", GetCurrentProcessId(), GetCurrentThreadId());
    const std::string stamp = ids + std::string(" 05:06:07.008 ");
    const std::string first = "earlier\n" + stamp + "step 1\n" + stamp + "result\n\n";
    const std::string last = stamp + "beyond every sink\n";
    EXPECT_EQ(ReadWholeFile("C:\\sandbox\\main.log"), first + last);
    EXPECT_EQ(ReadWholeFile("C:\\sandbox\\extra.log"), first + stamp + "result\n\n" + last)
        << "the result once for each set";
}

TEST_F(TraceLogTest, LinesAreNeverCutAndTextBeyondTheCodePageIsUtf8) {
    const std::string longText(70000, 'y');
    Trace("<%s>", longText.c_str());
    EXPECT_EQ(Traced(), "<" + longText + ">\n");
    Trace("%ws", L"caf\u00E9"); // the code page has it
    EXPECT_EQ(Traced(), "caf<e9>\n");
    // So it has the euro sign, but the C locale lacks it.
    Trace("%s|%5d|%08X|%ws|%-3s|%.2s|100%%|%S", "caf\xE9", 42, 0xABu, L"\u20AC", "x", "abc", L"y");
    EXPECT_EQ(Traced(), "caf\xC3\xA9|   42|000000AB|\xE2\x82\xAC|x  |ab|100%|y\n");
    Trace("%s \xC3\xA9 %u%% of %u %ls", static_cast<const char*>(nullptr), 50u, 7u, L"\u4E2D");
    EXPECT_EQ(Traced(), "(null) \xC3\xA9 50% of 7 \xE4\xB8\xAD\n");
}

TEST_F(TraceLogTest, CharactersPointersAndLongNumbersAreTheSameInBothPaths) {
    constexpr CheckedFormat<char, const char*, const void*, long, long long, unsigned long long,
                            const wchar_t*>
        format = "\xC3\xA9 %c|%-4.2s|%p|%ld|%6lld|%I64X|%.1S";
    const char unterminated[] = {'a', 'b', '\xE9'};
    for (const auto& [text, last] : {std::pair(L"y\u4E2D", "y"), std::pair(L"\u4E2D", "\xE4\xB8\xAD")}) {
        Trace(format, '\x41', unterminated, reinterpret_cast<const void*>(0xAB), -5L, -1LL << 32, ~0ULL,
              text);
        EXPECT_EQ(Traced(), "\xC3\xA9 A|ab  |00000000000000AB|-5|-4294967296|FFFFFFFFFFFFFFFF|" +
                                std::string(last) + "\n");
    }
    Trace("%c %ls", '\xE9', L"\u4E2D");
    EXPECT_EQ(Traced(), "\xC3\xA9 \xE4\xB8\xAD\n");
}

TEST_F(TraceLogTest, AFailedConversionLeavesTheLogUsable) {
    on::WideCharToMultiByte.Fail(1, ERROR_INVALID_PARAMETER);
    EXPECT_THROW(Trace("%ls", L"\u4E2D"), std::runtime_error);
    on::MultiByteToWideChar.Fail(1, ERROR_INVALID_PARAMETER);
    EXPECT_THROW(Trace("%ls", L"\u4E2D"), std::runtime_error);
    // Another thread would wait for ever if the lock were still held.
    const auto write = [](void*) -> DWORD { return Trace("still %s", "here"), 0; };
    const HANDLE thread = CreateThread(nullptr, 0, write, nullptr, 0, nullptr);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    CloseHandle(thread);
    EXPECT_EQ(Traced(), "still here\n");
}

TEST_F(TraceLogTest, LinesAfterTheLogAreDropped) {
    TraceLog* const log = std::exchange(traceLog, nullptr);
    Trace("not %s", "written");
    traceLog = log;
    EXPECT_EQ(Traced(), "");
}

TEST_F(TraceLogTest, ComposesPathsAndOpensNothing) {
    StopTheClock();
    TraceLog log("%TEMP%", "norvane");
    const std::string name = R"(norvane 2026-03-04 05-06-07 \(pid \d{3,}\)\.log)";
    const std::pair<const char*, std::string> rows[] = {
        {".", R"(\.\\)"}, {"", R"(\.\\)"}, {"%TEMP%", R"(%TEMP%\\)"}, {"C:\\", R"(C:\\)"}};
    for (const auto& [directory, start] : rows) {
        const std::string path = log.BuildTraceFilePath(directory, "norvane");
        EXPECT_TRUE(std::regex_match(path, std::regex(start + name))) << path;
        EXPECT_FALSE(FileExists(path));
    }
}

} // namespace
