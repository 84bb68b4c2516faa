// What the sandbox keeps from the host, and how it reads the texts that describe a machine.
#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "machine/file_reading.h"
#include "machine/netcfg_state.h"
#include "machine/winsock_state.h"
#include "support/machine_steps.h"
#include "support/machine_test.h"

namespace {

// What is wrong with a text, or "sound".
std::string Verdict(void (*read)(const std::string&), const std::string& text) {
    try {
        read(text);
        return "sound";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST(SandboxTest, NothingOutsideCanBeWritten) {
    EXPECT_FALSE(FileExists("Z:\\*")) << "a drive that leads to the host";
    if (std::getenv("SANDBOX_JAILED") == nullptr) {
        return; // without the jail this way is open
    }
    std::string sandbox = "\\\\?\\unix" + std::string(std::getenv("SANDBOX"));
    std::replace(sandbox.begin(), sandbox.end(), '/', '\\');
    EXPECT_NE(GetFileAttributesA(sandbox.c_str()), INVALID_FILE_ATTRIBUTES) << "this way leads to the host";
    const HANDLE file = CreateFileA((sandbox + "-escaped").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    EXPECT_EQ(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
}

TEST(SandboxTest, AStateIsRefusedWithItsLine) {
    const std::pair<const char*, const char*> winsock[] = {
        {"# a comment\r\n\nnext-id 0x10\ncatalog 32\nentry 1 {1} length=1 path=\"C:\\a b.dll\" name=x\n",
         "sound"},
        {"entry 1 {1} path=\"\\\\?\\C:\\a.dll\"", "sound"},
        {"next-id 1\nnext-id x1", "2: not a number from -2147483648 to 4294967295: x1"},
        {"next-id 4294967296", "1: not a number from -2147483648 to 4294967295: 4294967296"},
        {"catalog 16", "1: not a line of a Winsock state: catalog 16"},
        {"entry 1 {00000001-0000-0000-0000-000000000000}", "sound"},
        {"entry 1 {1} pth=a", "1: unknown field: pth"},
        {"entry 1 {1} type=1 type=2", "1: a field that is there twice: type"},
        {"entry 1 {1} name=\xE9", "1: not UTF-8"},
        {"entry 1 {1} loose", "1: not a field: loose"},
        {"entry 1 {1} name=\"a", "1: a text without its closing quote"},
        {"entry 1 {1} name=\"a\"b", "1: something behind a closing quote: b"},
        {"entry 1 {1} chain=1,2,3,4,5,6,7,8", "1: a chain of more than 7 ids"},
        {"entry 1 {00000001-0000-0000-0000-00000000000G}",
         "1: not a GUID: {00000001-0000-0000-0000-00000000000G}"},
        {"entry 1 {1} path=\\\\?\\unix\\a", "1: a path that leaves the sandbox: \\\\?\\unix\\a"},
        {"entry 1 {1} path=//server/share/a", "1: a path that leaves the sandbox: //server/share/a"},
        {"entry 1 {1} path=\\??\\unix\\a", "1: a path that leaves the sandbox: \\??\\unix\\a"},
        {"fail WSCEnum 1 10107", "1: not a call that can be made to fail: WSCEnum"},
        {"fail WSAStartup 0 10107", "1: not a number from 1 to 2147483647: 0"}};
    for (const auto& [text, verdict] : winsock) {
        EXPECT_EQ(Verdict([](const std::string& state) { ParseWinsockState(state); }, text), verdict) << text;
    }
    const std::pair<const char*, const char*> netcfg[] = {
        {"component ms_a class=client name=\"Name of it\" removal=wants-restart\nlocked-by\ngranted-with "
         "Nobody\nfail Apply 1 0x4A020",
         "sound"},
        {"component", "1: not a line of a network configuration: component "},
        {"component ms_a class=other", "1: not a field of a component: class=other"},
        {"fail Aply 1 1", "1: not a call that can be made to fail: Aply"}};
    for (const auto& [text, verdict] : netcfg) {
        EXPECT_EQ(Verdict([](const std::string& state) { ParseNetcfgState(state); }, text), verdict) << text;
    }
}

TEST(SandboxTest, TwoProgramsAtOnceLoseNoChanges) {
    PrepareMachine("");
    const auto remove = [](void* words) -> DWORD {
        return RunProgram("C:\\sandbox\\release\\norvane64.exe remove " + *static_cast<std::string*>(words),
                          nullptr);
    };
    std::string words[] = {"lsp examplelsp.dll", "lsp guardlsp.dll", "network-component ms_example",
                           "network-component ms_client"};
    for (const int pair : {0, 2}) {
        const HANDLE other = CreateThread(nullptr, 0, remove, &words[pair], 0, nullptr);
        remove(&words[pair + 1]);
        WaitForSingleObject(other, INFINITE);
        CloseHandle(other);
    }
    EXPECT_EQ(ReadWholeFile("C:\\sandbox\\netcfg.txt"),
              "component ms_tcpip class=protocol name=\"Internet Protocol (TCP/IP)\"\n");
    // A program may meet a catalog that the other one has half changed, and give up. What it did stays done.
    WinsockState expected = ParseWinsockState(ReadWholeFile("C:\\sandbox\\sample_winsock.txt"));
    const std::string calls = ReadWholeFile("C:\\sandbox\\winsock.calls.txt");
    for (const auto& [catalog, call] : {std::pair(&expected.catalog64, "WSCDeinstallProvider "),
                                        std::pair(&expected.catalog32, "WSCDeinstallProvider32 ")}) {
        EXPECT_NE(std::erase_if(*catalog,
                                [&](const SimulatedEntry& entry) {
                                    return calls.find(call + FormatGuid(entry.info.ProviderId) + " = 0\n") !=
                                           std::string::npos;
                                }),
                  0u);
    }
    EXPECT_EQ(ReadWholeFile("C:\\sandbox\\winsock.txt"), FormatWinsockState(expected));
}

TEST(SandboxTest, AStateComesBackAsItWasWritten) {
    const std::string text =
        "next-id 7\nfail WSAStartup 1 10091\ncatalog 64\n"
        "entry 1 {E70F1AA0-AB8B-11CF-8CA3-00805F48A192} length=1 path=\"\" name=\"\" type=1\n"
        "entry 2 {2} chain=2,0,9 length=2 path=\"x:\\\xC3\xA9 \xE4\xB8\xAD.dll\" name=\"n m\"\n"
        "catalog 32\nentry 3 {3} length=-5 path=\"\\\\?\\Y:\\y\" name=\"\"\n";
    EXPECT_EQ(FormatWinsockState(ParseWinsockState(text)), text);
    EXPECT_EQ(DrivesOf(ParseWinsockState(text)), "cxy");
}

} // namespace
