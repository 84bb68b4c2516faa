// Texts, keys and paths as the product passes them to Windows, and answers that Windows seldom gives.
#include <stdexcept>
#include <tuple>

#include "app/command_line.h"
#include "common/registry_helpers.h"
#include "common/text_conversion.h"
#include "comrestore/original_dll_restore.h"
#include "comrestore/registration_runner.h"
#include "files/file_remover.h"
#include "lsp/update_function_loading.h"
#include "security/permission_acquirer.h"
#include "support/machine_test.h"

namespace {

using WindowsCallsTest = MachineTest;

// What a conversion throws.
template <class F> std::string Thrown(F convert) {
    try {
        convert();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

TEST_F(WindowsCallsTest, TextsAreConvertedBetweenCodePages) {
    EXPECT_EQ(conv_to_wchar(""), L"");
    EXPECT_EQ(conv_to_wchar("caf\xE9"), L"caf\u00E9");
    EXPECT_EQ(conv_to_char(L"caf\u00E9\u4E2D"), "caf\xE9?") << "with the code page's default character";
    EXPECT_EQ(conv_wchar_to_utf8(L"caf\u00E9"), "caf\xC3\xA9");
    EXPECT_EQ(conv_utf8_to_wchar("caf\xC3\xA9\xFF"), L"caf\u00E9\uFFFD");
    const std::string narrow = "conv_to_char called wcstombs() and failed.";
    EXPECT_EQ(Thrown([] { conv_wchar_to_utf8(nullptr); }), narrow);
    on::MultiByteToWideChar.Fail(1, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Thrown([] { conv_to_wchar("a"); }), "conv_to_wchar called mbstowcs() failed.");
    for (const int call : {1, 2}) { // an empty text would fit the buffer of a failed sizing call
        on::WideCharToMultiByte.Fail(call, ERROR_INVALID_PARAMETER);
        EXPECT_EQ(Thrown([] { conv_to_char(L""); }), narrow);
        on::MultiByteToWideChar.Fail(call, ERROR_INVALID_PARAMETER);
        EXPECT_EQ(Thrown([] { conv_utf8_to_wchar(""); }), "conv_utf8_to_wchar called mbstowcs() failed.");
    }
}

TEST_F(WindowsCallsTest, EnvironmentReferencesAreExpanded) {
    const std::string longText(300, 'x');
    EXPECT_EQ(ExpandEnvString((longText + "%SystemDrive%b").c_str()), longText + "C:b");
    EXPECT_EQ(ExpandEnvString("%NORVANE_UNSET%"), "%NORVANE_UNSET%");
    EXPECT_EQ(ExpandEnvString(nullptr), "");
    // The environment can grow between the two calls. The text is then cut off and has no terminator.
    on::ExpandEnvironmentStringsA.Replace([](LPCSTR, LPSTR buffer, DWORD size) {
        EXPECT_TRUE(buffer == nullptr || _msize(buffer) > size) << "the last byte remains zero";
        std::fill_n(buffer, size, 'x');
        return DWORD{3};
    });
    EXPECT_EQ(ExpandEnvString("a"), "xxxx");
    on::ExpandEnvironmentStringsA.Fail(1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(ExpandEnvString("a"), "");
}

// The line break and one full stop are removed from a message of the system.
TEST_F(WindowsCallsTest, SystemMessagesEndWithOneFullStop) {
    EXPECT_EQ(FormatSystemError(0xE1234567), "Error 3777185127: .");
    std::string message;
    on::FormatMessageA.Replace([&](DWORD flags, LPCVOID, DWORD, DWORD language, LPSTR buffer, auto...) {
        EXPECT_EQ(flags, DWORD{FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM});
        EXPECT_EQ(language, DWORD{MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT)});
        char* text = static_cast<char*>(LocalAlloc(LPTR, message.size() + 1));
        message.copy(text, message.size());
        *reinterpret_cast<char**>(buffer) = text;
        return static_cast<DWORD>(message.size());
    });
    const std::pair<const char*, const char*> rows[] = {{"Done.\r\n", "Done."}, {"Done.", "Done."},
                                                        {"Why?\r\n", "Why?."},  {".", "."},
                                                        {"..\r\n", ".."},       {"\r\n", "."}};
    for (const auto& [text, shown] : rows) {
        message = text;
        EXPECT_EQ(FormatSystemError(5), std::string("Error 5: ") + shown);
    }
    on::FormatMessageA.Fail(1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(FormatSystemError(5), "Error 5: .");
}

// In the 64-bit view, the node of the 32-bit view is removed from a path once, whatever its letter case.
TEST_F(WindowsCallsTest, TheNodeOfThe32BitViewIsRemovedFromAPath) {
    WriteRegistry(HKEY_LOCAL_MACHINE, "Software\\Norvane_test", "", REG_SZ, "x");
    const std::tuple<BYTE, const char*, BYTE, const char*> rows[] = {
        // the view, the path, the view that remains, and the path that the trace names when there is no key
        {1, "Software\\Norvane_test", 1, ""},
        {1, "Software\\Wow6432Node\\Norvane_test", 0, ""},
        {0, "Software\\Wow6432Node\\Norvane_test", 0, "Software\\Wow6432Node\\Norvane_test"},
        {1, "Software\\Norvane_test\\Wow6432Node", 1, "Software\\Norvane_test\\Wow6432Node"},
        {1, "A\\WOW6432NODE\\Wow6432Node\\B", 0, "A\\Wow6432Node\\B"},
        {1, "S\\Wow6432Node\\x%s", 0, "S\\x%s"}};
    for (auto [use64, path, use64After, missing] : rows) {
        HKEY key = nullptr;
        const LONG error = RegOpenKeyLogged(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key, use64);
        EXPECT_EQ(use64, use64After) << path;
        EXPECT_EQ(Traced(), error == 0 ? missing
                                       : "RegOpenKeyEx(80000002H\\" + std::string(missing) + ") failed. " +
                                             FormatSystemError(ERROR_FILE_NOT_FOUND) + "\n");
        RegCloseKey(key);
    }
}

TEST_F(WindowsCallsTest, TheUpdateFunctionsAreLoadedFromTheSystemDirectory) {
    const std::string failed = "LoadUpdateProviderFunctions: StringCchCatA failed: ";
    const std::tuple<UINT, size_t, std::string> rows[] = {
        // what GetSystemDirectoryA returns, the length of the directory, what is loaded or traced
        {249, 249, std::string(249, 'x') + "\\ws2_32.dll"},
        {250, 250, failed + "0x8007007a<lf>\n"},
        {300, 261, failed + "0x80070057<lf>\n"},
        {0, 0, "\\ws2_32.dll"}}; // the expanded path is not the one that is loaded
    std::string loaded;
    on::LoadLibraryA.Replace([&](LPCSTR path) { return loaded = path, GetModuleHandleA(nullptr); });
    for (const auto& row : rows) {
        on::GetSystemDirectoryA.Replace([&](LPSTR buffer, UINT size) {
            EXPECT_EQ(size, MAX_PATH + 1u);
            std::fill_n(buffer, std::get<1>(row), 'x');
            return std::get<0>(row);
        });
        loaded.clear();
        LoadUpdateProviderFunctions();
        EXPECT_EQ(loaded + Traced(), std::get<2>(row));
    }
    testing::internal::CaptureStderr();
    on::ExpandEnvironmentStringsA.Fail(1, ERROR_NOT_ENOUGH_MEMORY);
    LoadUpdateProviderFunctions();
    on::LoadLibraryA.Fail(1, ERROR_MOD_NOT_FOUND);
    LoadUpdateProviderFunctions();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "LoadUpdateProviderFunctions: Unable to expand environment string: 8\n"
              "LoadUpdateProviderFunctions: Unable to load \\ws2_32.dll: 126\n");
}

// The name of a root is found anywhere in a path, and a fixed number of characters is removed from its start.
// The key is changed under the same name and in the same view as it was read.
TEST_F(WindowsCallsTest, PathsOfKeysAreTranslated) {
    std::string named;
    on::GetNamedSecurityInfoA.Replace([&](LPCSTR name, SE_OBJECT_TYPE type, auto... rest) {
        named = name + (" " + std::to_string(type));
        return on::GetNamedSecurityInfoA.Real("CLASSES_ROOT\\CLSID", SE_REGISTRY_KEY, rest...);
    });
    on::SetNamedSecurityInfoA.Replace([&](LPSTR name, SE_OBJECT_TYPE type, auto...) {
        EXPECT_EQ(name + (" " + std::to_string(type)), named);
        return DWORD{ERROR_SUCCESS};
    });
    const std::tuple<const char*, bool, const char*> rows[] = {
        {"HKEY_CLASSES_ROOT\\CLSID\\{x}", false, "CLASSES_ROOT\\CLSID\\{x} 4"},
        {"HKEY_LOCAL_MACHINE", false, "MACHINE 4"},
        {"HKEY_LOCAL_MACHINE\\S", true, "MACHINE\\S 12"},
        {"HKEY_CURRENT_USER\\S", false, "CURRENT_USER\\S 4"},
        {"XHKEY_USERS\\S-1-5-18", false, "USERSS\\S-1-5-18 4"},
        {"hkey_local_machine\\S", false, " 4"}};
    for (const auto& [path, view32, expected] : rows) {
        EXPECT_TRUE(PermissionAcquirer().SetPermissions(path, 0, view32));
        EXPECT_EQ(named, expected);
    }
}

bool Impersonates() {
    HANDLE token = nullptr;
    const bool found = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) != FALSE;
    CloseHandle(token);
    return found;
}

// The caller's registry calls need the privileges, also after an attempt that failed.
TEST_F(WindowsCallsTest, TheThreadImpersonatesUntilTheAcquirerIsDestroyed) {
    for (const DWORD error : {DWORD{ERROR_SUCCESS}, DWORD{ERROR_ACCESS_DENIED}}) {
        on::SetNamedSecurityInfoA.Replace([error](auto...) { return error; });
        {
            PermissionAcquirer acquirer;
            EXPECT_EQ(acquirer.SetPermissions("HKEY_LOCAL_MACHINE\\Software", 0, false), error == 0);
            EXPECT_TRUE(Impersonates());
        }
        EXPECT_FALSE(Impersonates());
    }
    // The restore of one class impersonates from its start.
    WriteRegistry(HKEY_CLASSES_ROOT, "CLSID\\{I}\\InprocServer32", "", REG_SZ, "x");
    on::RegOpenKeyExA.Replace([](auto... arguments) {
        EXPECT_TRUE(Impersonates());
        return on::RegOpenKeyExA.Real(arguments...);
    });
    EXPECT_EQ(RestoreClassOriginalDll("{I}"), ERROR_FILE_NOT_FOUND);
}

// The runtime would end the process if a part of a path did not fit its buffers.
TEST_F(WindowsCallsTest, AFileWithAnOverlongPartOfItsPathIsScheduledUnderItsPath) {
    std::string scheduled;
    on::GetFileAttributesExA.Replace([](auto...) { return TRUE; });
    on::MoveFileExA.Replace([&](LPCSTR path, LPCSTR, DWORD) { return scheduled += path, TRUE; });
    const std::string part(300, 'x');
    RemoveFile(("\\\\?\\C:\\" + part + "\\f.dll").c_str(), false, true);
    RemoveFile(("C:\\" + part).c_str(), false, true);
    EXPECT_EQ(scheduled, "\\\\?\\C:\\" + part + "\\f.dllC:\\" + part);
}

TEST_F(WindowsCallsTest, AnExceptionThatNothingCatchesEndsTheProgramWithItsText) {
    const auto end = []() noexcept { conv_wchar_to_utf8(nullptr); };
    EXPECT_EXIT(end(), testing::ExitedWithCode(3), "after throwing: conv_to_char called wcstombs");
}

// A program that does not start is not waited for.
TEST_F(WindowsCallsTest, ARegistrationWaitsForItsEndAndClosesItsHandles) {
    EXPECT_EQ(RegSvr32Dll(L"no_such_program.exe"), 0);
    EXPECT_EQ(Traced(), "RegSvr32Dll\nRegSvr32Dll CreateProcess ret=0 code=2\n");
    EXPECT_EQ(ResidueOf([] { RegSvr32Dll(L"cmd.exe /c echo x>C:\\sandbox\\ended & exit 3"); }), "");
    EXPECT_TRUE(DeleteFileA("C:\\sandbox\\ended")) << "not waited for";
    EXPECT_TRUE(Traced().ends_with("RegSvr32Dll WaitProcess ret=0\n"));
}

TEST_F(WindowsCallsTest, TheScriptEngineIsUnregisteredAndThenRegistered) {
    std::wstring started;
    on::CreateProcessW.Replace([&](LPCWSTR, LPWSTR commandLine, auto...) {
        started += commandLine + std::wstring(L"; ");
        return FALSE;
    });
    char words[][8] = {"norvane", "remove", "vbs", "x"};
    char* arguments[] = {words[0], words[1], words[2], words[3]};
    RunCommandLine(4, arguments);
    EXPECT_EQ(started, L"regsvr32.exe /s /u vbscript.dll; regsvr32.exe /s vbscript.dll; ");
}

} // namespace
