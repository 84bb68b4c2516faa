// Text conversion and the registry helpers.
#include "common/text_conversion.h"

#include <stdexcept>

#include "common/registry_helpers.h"
#include "support/machine_test.h"

namespace {

class TextConversionTest : public MachineTest {};

std::string MessageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no exception";
}

TEST_F(TextConversionTest, ConvertsBothWaysInBothCodePages) {
    EXPECT_EQ(conv_to_wchar(""), L"");
    EXPECT_EQ(conv_to_wchar("caf\xE9"), L"caf\u00E9");
    EXPECT_EQ(conv_to_char(L"caf\u00E9"), "caf\xE9");
    EXPECT_EQ(conv_to_char(L"\u4E2D"), "?");
    EXPECT_EQ(conv_utf8_to_wchar("\xE4\xB8\xAD"), L"\u4E2D");
    EXPECT_EQ(conv_utf8_to_wchar("a\xFF"), L"a\uFFFD");
    EXPECT_EQ(conv_wchar_to_utf8(L"\u4E2D"), "\xE4\xB8\xAD");
    EXPECT_EQ(conv_wchar_to_utf8(L""), "");
}

TEST_F(TextConversionTest, FailuresThrowTheirFixedTexts) {
    const std::string narrowed = "conv_to_char called wcstombs() and failed.";
    const std::string utf8 = "conv_utf8_to_wchar called mbstowcs() failed.";
    const struct {
        HookBase& hook;
        int call;
        std::function<void()> action;
        std::string message;
    } rows[] = {
        {on::MultiByteToWideChar, 1, [] { conv_to_wchar("a"); }, "conv_to_wchar called mbstowcs() failed."},
        {on::MultiByteToWideChar, 1, [] { conv_utf8_to_wchar("a"); }, utf8},
        {on::MultiByteToWideChar, 2, [] { conv_utf8_to_wchar("a"); }, utf8},
        {on::WideCharToMultiByte, 1, [] { conv_to_char(L"a"); }, narrowed},
        {on::WideCharToMultiByte, 2, [] { conv_to_char(L"a"); }, narrowed},
        {on::WideCharToMultiByte, 1, [] { conv_wchar_to_utf8(L"a"); }, narrowed},
        {on::WideCharToMultiByte, 0, [] { conv_wchar_to_utf8(nullptr); }, narrowed},
    };
    for (const auto& row : rows) {
        ResetHooks();
        row.hook.Fail(row.call, ERROR_INVALID_PARAMETER);
        EXPECT_EQ(MessageOf(row.action), row.message) << row.hook.name << " " << row.call;
    }
}

TEST_F(TextConversionTest, ExpandsEnvironmentReferences) {
    SetEnvironmentVariableA("NORVANE_TEST", std::string(300, 'x').c_str());
    EXPECT_EQ(ExpandEnvString("a%NORVANE_TEST%b"), "a" + std::string(300, 'x') + "b");
    EXPECT_EQ(ExpandEnvString("%NORVANE_UNSET%"), "%NORVANE_UNSET%");
    EXPECT_EQ(ExpandEnvString(nullptr), "");
    on::ExpandEnvironmentStringsA.Fail(1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(ExpandEnvString("a"), "");
}

TEST_F(TextConversionTest, FormatsSystemErrors) {
    EXPECT_EQ(FormatSystemError(0xE1234567), "Error 3777185127: .");
    const struct {
        const char* system;
        const char* text;
    } rows[] = {{"Done.\r\n", "Done"}, {"Done.", "Done"}, {"Why?\r\n", "Why?"}, {"\r\n", ""}, {"..\r\n", "."},
                {"\n", "\n"},          {".", ""}};
    for (const auto& row : rows) {
        on::FormatMessageA.Replace(
            [&](DWORD flags, LPCVOID, DWORD, DWORD language, LPSTR buffer, DWORD, va_list*) {
                EXPECT_EQ(flags, 0x1100u);
                EXPECT_EQ(language, 0x400u);
                char* text = static_cast<char*>(LocalAlloc(LMEM_FIXED, 16));
                strcpy_s(text, 16, row.system);
                *reinterpret_cast<char**>(buffer) = text;
                return static_cast<DWORD>(strlen(text));
            });
        EXPECT_EQ(FormatSystemError(5), std::string("Error 5: ") + row.text + ".");
    }
}

TEST_F(TextConversionTest, StripsTheRedirectedNodeOnce) {
    const struct {
        const char* path;
        BYTE use64;
        const char* stripped;
        BYTE left;
    } rows[] = {{"software\\WOW6432NODE\\x", 1, "software\\x", 0},
                {"software\\WOW6432NODE\\x", 0, "software\\WOW6432NODE\\x", 0},
                {"Software\\Wow6432Node", 1, "Software\\Wow6432Node", 1},
                {"A\\Wow6432Node\\Wow6432Node\\B", 1, "A\\Wow6432Node\\B", 0}};
    for (const auto& row : rows) {
        std::string path = row.path;
        BYTE use64 = row.use64;
        StripWow6432Node(path, use64);
        EXPECT_EQ(path, row.stripped);
        EXPECT_EQ(use64, row.left) << row.path;
    }
}

TEST_F(TextConversionTest, OpensKeysInTheViewAskedForAndTracesFailures) {
    REGSAM access = 0;
    on::RegOpenKeyExA.Replace([&](HKEY, LPCSTR path, DWORD, REGSAM asked, PHKEY) {
        access = asked;
        return std::string(path) == "S\\x%s" ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
    });
    HKEY key = nullptr;
    BYTE use64 = 1;
    EXPECT_EQ(RegOpenKeyLogged(HKEY_LOCAL_MACHINE, "Foo", 0, KEY_READ, &key, use64), ERROR_SUCCESS);
    EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ | KEY_WOW64_64KEY));
    EXPECT_EQ(Traced(), "");
    EXPECT_EQ(RegOpenKeyLogged(HKEY_LOCAL_MACHINE, "S\\Wow6432Node\\x%s", 0, KEY_READ, &key, use64), 2);
    EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ));
    EXPECT_EQ(use64, 0);
    EXPECT_EQ(Traced(), "RegOpenKeyEx(80000002H\\S\\x%s) failed. " + FormatSystemError(2) + "\n");
}

} // namespace
