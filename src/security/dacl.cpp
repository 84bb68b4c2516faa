#include "security/dacl.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <tuple>
#include <utility>

#include "security/access_ace.h"
#include "security/atl_exception.h"

namespace {

// Copies the header, because an entry of a damaged ACL can have an unaligned address.
ACE_HEADER ReadHeader(const void* ace) {
    ACE_HEADER header;
    std::memcpy(&header, ace, sizeof(header));
    return header;
}

// Counts the entries, from the first one, that lie within the AclSize of the ACL.
WORD CountReadableAces(const ACL* acl) {
    const BYTE* const end = reinterpret_cast<const BYTE*>(acl) + acl->AclSize;
    const BYTE* place = reinterpret_cast<const BYTE*>(acl + 1);
    for (WORD i = 0; i < acl->AceCount; ++i) {
        if (end - place < static_cast<ptrdiff_t>(sizeof(ACE_HEADER))) {
            return i;
        }
        const WORD size = ReadHeader(place).AceSize;
        if (size < sizeof(ACE_HEADER) || end - place < size) {
            return i;
        }
        place += size;
    }
    return acl->AceCount;
}

// Copies the ACL with its readable entries only. Windows adds up the sizes of the entries without a check, so
// it must not receive the other entries.
std::unique_ptr<BYTE[]> CopyReadable(const ACL* acl) {
    const size_t size = std::max(size_t{acl->AclSize}, sizeof(ACL));
    auto copy = AllocateBytes(size);
    std::memcpy(copy.get(), acl, size);
    reinterpret_cast<ACL*>(copy.get())->AceCount = CountReadableAces(acl);
    return copy;
}

// Reads the fields of one entry in order, never beyond its end.
class AceReader {
  public:
    explicit AceReader(const void* ace)
        : place_(static_cast<const BYTE*>(ace)), end_(place_ + ReadHeader(ace).AceSize) {}

    const BYTE* Take(size_t size) {
        if (static_cast<size_t>(end_ - place_) < size) {
            throw CAtlException(E_INVALIDARG);
        }
        return std::exchange(place_, place_ + size);
    }

    DWORD TakeDword() {
        DWORD value;
        std::memcpy(&value, Take(sizeof(value)), sizeof(value));
        return value;
    }

    std::optional<GUID> TakeGuidIf(bool present) {
        if (!present) {
            return std::nullopt;
        }
        GUID guid;
        std::memcpy(&guid, Take(sizeof(guid)), sizeof(guid));
        return guid;
    }

    // Takes a SID, whose length depends on its SubAuthorityCount.
    PSID TakeSid() {
        const BYTE* sid = Take(offsetof(SID, SubAuthority));
        Take(sid[offsetof(SID, SubAuthorityCount)] * sizeof(DWORD));
        return const_cast<BYTE*>(sid);
    }

  private:
    const BYTE* place_;
    const BYTE* end_;
};

// Direct entries before inherited ones, then denied before allowed, then whole objects before parts of them.
std::tuple<bool, bool, bool> CanonicalKey(const CAcl::CAce& ace) {
    const bool allowed =
        ace.GetType() == ACCESS_ALLOWED_ACE_TYPE || ace.GetType() == ACCESS_ALLOWED_OBJECT_ACE_TYPE;
    return {(ace.GetFlags() & INHERITED_ACE) != 0, allowed, ace.IsObjectAce()};
}

} // namespace

CDacl& CDacl::operator=(const ACL* acl) {
    if (acl == nullptr) {
        SetNull();
        return *this;
    }
    SetEmpty();
    const auto copy = CopyReadable(acl);
    ACL* const source = reinterpret_cast<ACL*>(copy.get());
    ACL_SIZE_INFORMATION size = {};
    ACL_REVISION_INFORMATION revision = {};
    if (!GetAclInformation(source, &size, sizeof(size), AclSizeInformation) ||
        !GetAclInformation(source, &revision, sizeof(revision), AclRevisionInformation)) {
        ThrowLastError();
    }
    revision_ = revision.AclRevision;
    for (DWORD i = 0; i < size.AceCount; ++i) {
        void* ace = nullptr;
        if (::GetAce(source, i, &ace)) {
            CopyAce(ace);
        }
    }
    return *this;
}

void CDacl::CopyAce(const void* ace) {
    const ACE_HEADER header = ReadHeader(ace);
    const BYTE type = header.AceType;
    const bool object = type == ACCESS_ALLOWED_OBJECT_ACE_TYPE || type == ACCESS_DENIED_OBJECT_ACE_TYPE;
    if (!object && type != ACCESS_ALLOWED_ACE_TYPE && type != ACCESS_DENIED_ACE_TYPE) {
        return;
    }
    AceReader reader(ace);
    reader.Take(sizeof(ACE_HEADER));
    const ACCESS_MASK mask = reader.TakeDword();
    const DWORD present = object ? reader.TakeDword() : 0;
    const auto objectType = reader.TakeGuidIf((present & ACE_OBJECT_TYPE_PRESENT) != 0);
    const auto inheritedType = reader.TakeGuidIf((present & ACE_INHERITED_OBJECT_TYPE_PRESENT) != 0);
    CSid sid;
    sid = reader.TakeSid();
    OrOutOfMemory([&] {
        if (object) {
            Append(std::make_unique<CAccessObjectAce>(
                sid, mask, header.AceFlags, type == ACCESS_ALLOWED_OBJECT_ACE_TYPE,
                objectType ? &*objectType : nullptr, inheritedType ? &*inheritedType : nullptr));
        } else {
            Append(std::make_unique<CAccessAce>(sid, mask, header.AceFlags, type == ACCESS_ALLOWED_ACE_TYPE));
        }
    });
}

void CDacl::Append(std::unique_ptr<CAce> ace) {
    aces_.push_back(std::move(ace));
    DropCached();
}

void CDacl::RemoveAllAces() {
    aces_.clear();
    DropCached();
}

void CDacl::RemoveAce(UINT index) {
    GetAce(index);
    aces_.erase(aces_.begin() + static_cast<ptrdiff_t>(index));
    DropCached();
}

const CAcl::CAce* CDacl::GetAce(UINT index) const {
    if (index >= aces_.size()) {
        throw CAtlException(E_INVALIDARG);
    }
    return aces_[index].get();
}

// A Shell sort with the gaps 1, 4, 13, 40 ... It is not stable: with another sort, entries with equal keys
// could have another order. Kept, see docs/kept-behaviour.md.
void CDacl::SortAces() {
    const size_t count = aces_.size();
    size_t gap = 1;
    while (3 * gap + 1 < count) {
        gap = 3 * gap + 1;
    }
    for (; gap > 0; gap /= 3) {
        for (size_t i = gap; i < count; ++i) {
            for (size_t j = i; j >= gap && CanonicalKey(*aces_[j]) < CanonicalKey(*aces_[j - gap]);
                 j -= gap) {
                std::swap(aces_[j], aces_[j - gap]);
            }
        }
    }
    DropCached();
}

bool CDacl::AddAllowedAce(const CSid& sid, ACCESS_MASK mask, BYTE flags) {
    if (!sid.IsValid() || !IsValidSid(sid.Get())) {
        return false;
    }
    if (null_) {
        SetEmpty();
    }
    OrOutOfMemory([&] { Append(std::make_unique<CAccessAce>(sid, mask, flags, true)); });
    return true;
}
