#include "support/registry_steps.h"

#include <sddl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include "files/file_remover.h"
#include "machine/text.h"
#include "security/access_token.h"
#include "support/machine_test.h"
#include "support/text.h"

namespace {

const std::map<std::string, DWORD> kTypes = {{"sz", REG_SZ},         {"expand", REG_EXPAND_SZ},
                                             {"binary", REG_BINARY}, {"multi", REG_MULTI_SZ},
                                             {"dword", REG_DWORD},   {"short-dword", REG_DWORD}};

// The root and the path of a key.
std::pair<HKEY, std::string> SplitKey(std::string key) {
    static const std::map<std::string, std::string> names = {
        {"CLASS", "HKCR\\CLSID\\{T}\\InprocServer32"}, {"COUNTS", std::string("HKLM\\") + kSharedDllsKey}};
    key = names.contains(key) ? names.at(key) : key;
    if (!key.starts_with("HKCR\\") && !key.starts_with("HKLM\\")) {
        throw std::runtime_error("not a key: " + key);
    }
    return {key.starts_with("HKCR") ? HKEY_CLASSES_ROOT : HKEY_LOCAL_MACHINE, key.substr(5)};
}

std::string ValueName(const std::string& word) {
    return word == "@" ? "" : word;
}

// The SID of the process's user, or owner, in text form; ME and OWNER in the cases.
std::string OwnSid(bool owner) {
    CAccessToken token;
    CSid sid;
    char* text = nullptr;
    EXPECT_TRUE(token.AttachProcessToken(TOKEN_QUERY) &&
                (owner ? token.GetTokenOwner(sid) : token.GetTokenUser(sid)) &&
                ConvertSidToStringSidA(sid.Get(), &text));
    const std::string result = text;
    LocalFree(text);
    return result;
}

} // namespace

void WriteValue(const std::string& key, const std::string& name, const std::string& type,
                const std::string& text) {
    const auto [root, path] = SplitKey(key);
    std::string bytes = text;
    if (type == "dword") {
        const DWORD number = ParseNumber32(text);
        bytes.assign(reinterpret_cast<const char*>(&number), sizeof(number));
    }
    WriteRegistry(root, path, ValueName(name), kTypes.at(type), bytes);
}

std::string ShowValue(const std::string& key, const std::string& name) {
    const auto [root, path] = SplitKey(key);
    char data[4096] = {};
    DWORD size = sizeof(data);
    DWORD type = 0;
    const LONG error = RegGetValueA(root, path.c_str(), ValueName(name).c_str(), RRF_RT_ANY | RRF_NOEXPAND,
                                    &type, data, &size);
    if (error != ERROR_SUCCESS) {
        return "error " + std::to_string(error) + "\n";
    }
    if (type == REG_DWORD) {
        DWORD number = 0;
        std::memcpy(&number, data, sizeof(number));
        return "dword " + std::to_string(number) + "\n";
    }
    const auto known =
        std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& each) { return type == each.second; });
    return (known == kTypes.end() ? "another type" : known->first) + " " + Escaped(std::string(data, size)) +
           "\n";
}

void WriteSecurity(const std::string& key, std::string sddl) {
    ReplaceAll(sddl, "ME", OwnSid(false));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl.c_str(), SDDL_REVISION_1,
                                                                     &descriptor, nullptr));
    HKEY handle = nullptr;
    const auto [root, path] = SplitKey(key);
    EXPECT_EQ(RegOpenKeyExA(root, path.c_str(), 0, WRITE_DAC | WRITE_OWNER, &handle), 0);
    EXPECT_EQ(RegSetKeySecurity(handle,
                                DACL_SECURITY_INFORMATION |
                                    (sddl.starts_with("O:") ? OWNER_SECURITY_INFORMATION : 0u),
                                descriptor),
              0);
    RegCloseKey(handle);
    LocalFree(descriptor);
}

std::string ShowSecurity(const std::string& key) {
    const auto [root, path] = SplitKey(key);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    std::string name = (root == HKEY_CLASSES_ROOT ? "CLASSES_ROOT\\" : "MACHINE\\") + path;
    EXPECT_EQ(on::GetNamedSecurityInfoA.Real(name.data(), SE_REGISTRY_KEY, kOwnerAndDacl, nullptr, nullptr,
                                             nullptr, nullptr, &descriptor),
              0u);
    char* text = nullptr;
    EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                                     kOwnerAndDacl, &text, nullptr));
    std::string sddl = text;
    LocalFree(text);
    LocalFree(descriptor);
    ReplaceAll(sddl, OwnSid(false), "ME");
    ReplaceAll(sddl, OwnSid(true), "OWNER");
    return sddl + "\n";
}
