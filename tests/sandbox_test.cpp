// The jail around the sandbox, and the states that describe a machine.
#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <tuple>

#include "machine/text.h"
#include "machine/windows_path.h"
#include "rehearsal/report/similar_text.h"
#include "simulation/netcfg_state.h"
#include "simulation/winsock_state.h"
#include "support/machine_test.h"

namespace {

// The error of a text, or "sound".
std::string Verdict(void (*read)(const std::string&), const std::string& text) {
    try {
        read(text);
        return "sound";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST(SandboxTest, NothingOutsideIsWritable) {
    EXPECT_FALSE(FileExists("Z:\\*")) << "a drive that leads to the host";
    if (std::getenv("SANDBOX_JAILED") == nullptr) {
        return; // without the jail this path is open
    }
    std::string sandbox = "\\\\?\\unix" + std::string(std::getenv("SANDBOX"));
    std::replace(sandbox.begin(), sandbox.end(), '/', '\\');
    EXPECT_NE(GetFileAttributesA(sandbox.c_str()), INVALID_FILE_ATTRIBUTES) << "this path leads to the host";
    const HANDLE file = CreateFileA((sandbox + "-escaped").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    EXPECT_EQ(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
}

TEST(SandboxTest, AWrongStateIsRefusedWithItsLine) {
    const auto winsock = [](const std::string& state) { ParseWinsockState(state); };
    const auto netcfg = [](const std::string& state) { ParseNetcfgState(state); };
    const std::tuple<void (*)(const std::string&), const char*, const char*> rows[] = {
        {winsock, "# a comment\r\n\nnext-id 0x10\ncatalog 32\nentry 1 {1} length=1 path=\"C:\\a b.dll\"",
         "sound"},
        {winsock, "next-id 1\nnext-id x1", "2: not a number from -2147483648 to 4294967295: x1"},
        {winsock, "entry 1 {1} name=\xE9", "1: not UTF-8"},
        {winsock, "entry 1 {1} chain=1,2,3,4,5,6,7,8", "1: a chain of more than 7 ids"},
        {winsock, "entry 1 {1} path=\\\\?\\unix\\a", "1: a path that leaves the sandbox: \\\\?\\unix\\a"},
        {netcfg, "component ms_a class=other", "1: not a field of a component: class=other"},
        {netcfg, "fail Aply 1 1", "1: not a call that can be made to fail: Aply"}};
    for (const auto& [read, text, verdict] : rows) {
        EXPECT_EQ(Verdict(read, text), verdict) << text;
    }
}

TEST(SandboxTest, AStateIsFormattedAsItIsParsed) {
    const std::string text =
        "next-id 7\nfail WSAStartup 1 10091\ncatalog 64\n"
        "entry 1 {E70F1AA0-AB8B-11CF-8CA3-00805F48A192} length=1 path=\"\" name=\"\" type=1\n"
        "entry 2 {2} chain=2,0,9 length=2 path=\"x:\\\xC3\xA9 \xE4\xB8\xAD.dll\" name=\"n m\"\n"
        "catalog 32\nentry 3 {3} length=-5 path=\"\\\\?\\Y:\\y\" name=\"\"\n";
    EXPECT_EQ(FormatWinsockState(ParseWinsockState(text)), text);
    EXPECT_EQ(DrivesOf(ParseWinsockState(text)), "cxy");
}

TEST(SandboxTest, AFaultOccursAtItsCallAlone) {
    FaultPlan plan = {{{"A", 2, 5}, {"B", kEachCall, 6}}, {}};
    std::string codes;
    for (const char* call : {"A", "A", "A", "B", "B", "C"}) {
        codes += std::to_string(NextFault(plan, call).value_or(0));
    }
    EXPECT_EQ(codes, "050660");
    EXPECT_TRUE(HasOccurred(plan, "A", 5) && HasOccurred(plan, "B", 6));
    EXPECT_FALSE(HasOccurred(plan, "A", 6));
    EXPECT_EQ(FormatFault(plan.faults[0]), "failed A 2 5\n");
}

TEST(SandboxTest, TheNearestNameComesFirst) {
    EXPECT_EQ(SortedByLikeness("Mid.dll", {"other.dll", "mad.dll", "mid.dll"}).front(), "mid.dll");
    EXPECT_TRUE(IsAlike("--form", "--from"));
    EXPECT_FALSE(IsAlike("--form", "--full"));
}

TEST(SandboxTest, APathHasManyForms) {
    const Folders folders = AssumedFolders();
    const std::wstring file = L"\\\\srv\\share\\x.dll";
    for (const wchar_t* path :
         {L"\\\\SRV\\share\\x.dll", L"\\\\?\\unc\\srv\\share\\x.dll", L"\\\\.\\UNC\\srv\\share\\x.dll",
          L"//srv/share/./x.dll", L"\\\\srv\\share\\..\\x.dll"}) {
        EXPECT_EQ(FileOf(path, folders, true), file);
    }
    EXPECT_EQ(OpenedPath(L"\\a\\b.dll", folders, false), L"C:\\a\\b.dll") << "on the drive of Windows";
    EXPECT_EQ(OpenedPath(L"\\\\.\\C:\\a.dll", folders, false), L"C:\\a.dll");
    EXPECT_EQ(OpenedPath(L"a.dll", folders, false), L"C:\\Windows\\system32\\a.dll");
    EXPECT_EQ(OpenedPath(L"a.dll", folders, true), L"C:\\Windows\\SysWOW64\\a.dll");
    EXPECT_EQ(OpenedPath(L"", folders, true), L"");
    for (const wchar_t* name :
         {L"fltx64.dll", L"flt32.dll", L"flt_i386.dll", L"flt-amd64.dll", L"f86lt.x86dll"}) {
        EXPECT_EQ(PlainName(std::wstring(L"c:\\p64\\") + name), L"fltdll");
    }
    EXPECT_EQ(PlainName(L"x48amd6"), L"x48amd6");
    for (const wchar_t* path : {L"", L"C:\\a\\", L"C:/a/", L"\"C:\\a.dll\"", L"\"a.dll"}) {
        EXPECT_FALSE(CanBeFile(path)) << ToUtf8(path);
    }
    EXPECT_TRUE(CanBeFile(L"a.dll"));
    CreateDirectoryA("C:\\a long name", nullptr);
    wchar_t shortName[MAX_PATH] = {};
    ASSERT_NE(GetShortPathNameW(L"C:\\a long name", shortName, MAX_PATH), 0u);
    EXPECT_EQ(LongPath(shortName), L"C:\\a long name") << ToUtf8(shortName);
    EXPECT_EQ(LongPath(L"C:\\NOSUCH~1\\a.dll"), L"C:\\NOSUCH~1\\a.dll");
    RemoveDirectoryA("C:\\a long name");
}

} // namespace
