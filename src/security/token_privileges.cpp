#include "security/token_privileges.h"

#include <algorithm>
#include <cstddef>

#include "security/atl_exception.h"

namespace {

constexpr DWORD kHead = offsetof(TOKEN_PRIVILEGES, Privileges);

} // namespace

bool CTokenPrivileges::Add(const char* name, DWORD attributes) {
    LUID luid = {};
    if (!LookupPrivilegeValueA(nullptr, name, &luid)) {
        return false;
    }
    Set(luid, attributes);
    return true;
}

void CTokenPrivileges::Add(const TOKEN_PRIVILEGES* privileges, DWORD size) {
    if (size < kHead) {
        return;
    }
    const DWORD room = static_cast<DWORD>((size - kHead) / sizeof(LUID_AND_ATTRIBUTES));
    const DWORD count = std::min(privileges->PrivilegeCount, room);
    for (DWORD i = 0; i < count; ++i) {
        Set(privileges->Privileges[i].Luid, privileges->Privileges[i].Attributes);
    }
}

void CTokenPrivileges::Set(LUID luid, DWORD attributes) {
    const LONGLONG key = static_cast<LONGLONG>(luid.HighPart) << 32 | luid.LowPart;
    OrOutOfMemory([&] { attributes_[key] = attributes; });
    dirty_ = true;
}

DWORD CTokenPrivileges::GetLength() const {
    return static_cast<DWORD>(kHead + attributes_.size() * sizeof(LUID_AND_ATTRIBUTES));
}

const TOKEN_PRIVILEGES* CTokenPrivileges::GetBinary() {
    if (dirty_) {
        OrOutOfMemory([&] { binary_.assign(GetLength(), 0); });
        auto* set = reinterpret_cast<TOKEN_PRIVILEGES*>(binary_.data());
        for (const auto& [key, attributes] : attributes_) {
            const LUID luid = {static_cast<DWORD>(key), static_cast<LONG>(key >> 32)};
            set->Privileges[set->PrivilegeCount++] = {luid, attributes};
        }
        dirty_ = false;
    }
    return reinterpret_cast<const TOKEN_PRIVILEGES*>(binary_.data());
}
