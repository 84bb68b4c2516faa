#include "security/access_ace.h"

#include <cstddef>
#include <cstring>

#include "security/atl_exception.h"

namespace {

constexpr DWORD kAccessAceHead = offsetof(ACCESS_ALLOWED_ACE, SidStart);
constexpr DWORD kObjectAceHead = offsetof(ACCESS_ALLOWED_OBJECT_ACE, ObjectType);

std::unique_ptr<GUID> CopyGuid(const GUID* guid) {
    std::unique_ptr<GUID> copy;
    if (guid != nullptr) {
        OrOutOfMemory([&] { copy = std::make_unique<GUID>(*guid); });
    }
    return copy;
}

// Returns the place after the bytes that were written.
BYTE* Append(BYTE* place, const void* bytes, size_t size) {
    std::memcpy(place, bytes, size);
    return place + size;
}

} // namespace

void CAccessAce::BuildHead(void* buffer) const {
    // All access entries have the same header and mask.
    auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(buffer);
    ace->Header.AceType = GetType();
    ace->Header.AceFlags = flags_;
    ace->Header.AceSize = static_cast<WORD>(GetLength());
    ace->Mask = mask_;
}

void CAccessAce::Build(void* buffer) const {
    BuildHead(buffer);
    Append(static_cast<BYTE*>(buffer) + kAccessAceHead, sid_.Get(), sid_.GetLength());
}

DWORD CAccessAce::GetLength() const {
    return kAccessAceHead + sid_.GetLength();
}

CAccessObjectAce::CAccessObjectAce(const CSid& sid, ACCESS_MASK mask, BYTE flags, bool allow,
                                   const GUID* objectType, const GUID* inheritedObjectType)
    : CAccessAce(sid, mask, flags, allow), objectType_(CopyGuid(objectType)),
      inheritedObjectType_(CopyGuid(inheritedObjectType)) {}

void CAccessObjectAce::Build(void* buffer) const {
    BuildHead(buffer);
    auto* ace = static_cast<ACCESS_ALLOWED_OBJECT_ACE*>(buffer);
    ace->Flags = (objectType_ != nullptr ? ACE_OBJECT_TYPE_PRESENT : 0u) |
                 (inheritedObjectType_ != nullptr ? ACE_INHERITED_OBJECT_TYPE_PRESENT : 0u);
    BYTE* place = static_cast<BYTE*>(buffer) + kObjectAceHead;
    for (const GUID* guid : {GetObjectType(), GetInheritedObjectType()}) {
        if (guid != nullptr) {
            place = Append(place, guid, sizeof(GUID));
        }
    }
    Append(place, sid_.Get(), sid_.GetLength());
}

DWORD CAccessObjectAce::GetLength() const {
    const DWORD guids = (objectType_ != nullptr ? 1u : 0u) + (inheritedObjectType_ != nullptr ? 1u : 0u);
    return kObjectAceHead + guids * static_cast<DWORD>(sizeof(GUID)) + sid_.GetLength();
}
