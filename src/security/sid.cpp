#include "security/sid.h"

#include "security/atl_exception.h"

CSid::CSid(const CSid& source)
    : valid_(source.valid_), use_(source.use_), accountName_(source.accountName_), domain_(source.domain_),
      text_(source.text_), system_(source.system_) {
    if (valid_) {
        CopyFrom(source.Get());
    }
}

CSid& CSid::operator=(PSID sid) {
    if (sid == sid_) {
        return *this;
    }
    use_ = SidTypeUnknown;
    accountName_ = domain_ = text_ = system_ = nullptr;
    valid_ = false;
    CopyFrom(sid);
    valid_ = true;
    return *this;
}

DWORD CSid::GetLength() const {
    if (!valid_) {
        throw CAtlException(E_FAIL);
    }
    return GetLengthSid(sid_);
}

void CSid::CopyFrom(PSID sid) {
    if (!IsValidSid(sid) || GetLengthSid(sid) > sizeof(sid_)) {
        throw CAtlException(E_INVALIDARG);
    }
    if (!CopySid(sizeof(sid_), sid_, sid)) {
        ThrowLastError();
    }
}
