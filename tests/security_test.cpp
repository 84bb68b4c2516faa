// The security classes on descriptors and access lists, sound and hostile, and on tokens.
#include "security/access_token.h"
#include "security/atl_exception.h"
#include "security/object_security.h"
#include "support/guarded_memory.h"
#include "support/machine_test.h"

namespace {

using SecurityTest = MachineTest;
using Bytes = std::vector<BYTE>;

// An entry with a mask of 1, the given bytes behind it, and the SID of everyone.
Bytes Ace(BYTE type, BYTE flags = 0, Bytes middle = {}, BYTE subAuthorities = 1, BYTE sizeError = 0) {
    Bytes ace = {type, flags, static_cast<BYTE>(20 + middle.size() + sizeError), 0, 1, 0, 0, 0};
    ace.insert(ace.end(), middle.begin(), middle.end());
    ace.insert(ace.end(), {1, subAuthorities, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0});
    return ace;
}

// The bytes of an object entry before its SID.
Bytes Object(BYTE present) {
    return Bytes(4 + (present & 1u) * sizeof(GUID) + present / 2 * sizeof(GUID), present);
}

// An access list of the entries, in guarded memory that the test does not release.
const ACL* List(std::initializer_list<Bytes> aces, int sizeError = 0) {
    Bytes list = {ACL_REVISION_DS, 0, 0, 0, static_cast<BYTE>(aces.size()), 0, 0, 0};
    for (const Bytes& ace : aces) {
        list.insert(list.end(), ace.begin(), ace.end());
    }
    list[2] = static_cast<BYTE>(static_cast<int>(list.size()) + sizeError);
    auto* copy = static_cast<BYTE*>(AllocateGuarded(list.size()));
    std::copy(list.begin(), list.end(), copy);
    return reinterpret_cast<ACL*>(copy);
}

// The types of the entries after the copy, with their own flags and GUIDs; or what the copy throws.
std::string TypesOf(const ACL* acl) {
    CDacl dacl;
    std::string types;
    try {
        dacl = acl;
    } catch (const CAtlException& exception) {
        return exception == E_INVALIDARG ? "invalid" : "other";
    }
    for (UINT i = 0; i < dacl.GetAceCount(); ++i) {
        const CAcl::CAce* ace = dacl.GetAce(i);
        const int own = ace->GetFlags() & ~INHERITED_ACE;
        types += std::to_string(ace->GetType()) + (own != 0 ? ":" + std::to_string(own) : "") +
                 (ace->GetObjectType() != nullptr ? "o" : "") +
                 (ace->GetInheritedObjectType() != nullptr ? "i " : " ");
    }
    return types;
}

TEST_F(SecurityTest, AccessEntriesAreCopiedAndHostileOnesReadWithinTheirSize) {
    // Neither audit (2) nor callback (9) entries.
    EXPECT_EQ(TypesOf(List({Ace(0), Ace(1), Ace(2), Ace(9), Ace(5, 0, Object(0)), Ace(6, 0, Object(1))})),
              "0 1 5 6o ");
    EXPECT_EQ(TypesOf(List({Ace(5, 0, Object(2)), Ace(5, 0, Object(3))})), "5i 5oi ");
    EXPECT_EQ(TypesOf(List({Ace(0), Ace(0, 0, {}, 1, 9)})), "0 ") << "an entry larger than the list";
    EXPECT_EQ(TypesOf(List({Ace(0, 0, {}, 1, 200), Ace(0)})), "") << "the same before the last entry";
    EXPECT_EQ(TypesOf(List({Ace(0, 0, {}, 1, 237), Ace(0)})), "") << "an entry smaller than its header";
    EXPECT_EQ(TypesOf(List({Ace(0, 0, {}, 1, 249), Ace(0)})), "invalid")
        << "an entry that ends before its SID";
    EXPECT_EQ(TypesOf(List({Ace(0, 0, {}, 200)})), "invalid") << "a SID beyond its entry";
    EXPECT_EQ(TypesOf(List({Ace(5, 0, {1, 0, 0, 0})})), "invalid") << "a missing GUID";
    Bytes damaged = Ace(0);
    damaged[8] = SID_REVISION + 1;
    EXPECT_EQ(TypesOf(List({damaged})), "invalid") << "a SID of another revision";
    EXPECT_EQ(TypesOf(List({Ace(0)}, -8)), "") << "a list that is cut off";
}

TEST_F(SecurityTest, AListIsBuiltInCanonicalOrderAndAgainAfterEachChange) {
    CDacl dacl;
    dacl = List({Ace(5, INHERITED_ACE, Object(1)), Ace(0, INHERITED_ACE), Ace(6, INHERITED_ACE, Object(3)),
                 Ace(1, INHERITED_ACE), Ace(5, 0, Object(2)), Ace(0), Ace(6, 0, Object(0)), Ace(1)});
    const ACL* built = dacl.BuildAcl();
    EXPECT_EQ(TypesOf(built), "1 6 0 5i 1 6oi 0 5o ");
    EXPECT_EQ(built->AclRevision, ACL_REVISION_DS);
    EXPECT_EQ(dacl.BuildAcl(), built);
    dacl.RemoveAce(1);
    EXPECT_EQ(TypesOf(dacl.BuildAcl()), "1 0 5i 1 6oi 0 5o ");
    EXPECT_THROW(dacl.RemoveAce(7), CAtlException);
    CSid sid;
    EXPECT_FALSE(dacl.AddAllowedAce(sid, 1, 0));
    EXPECT_THROW(sid.GetLength(), CAtlException);
    CAccessToken token;
    ASSERT_TRUE(token.AttachProcessToken(TOKEN_QUERY) && token.GetTokenUser(sid));
    EXPECT_TRUE(dacl.AddAllowedAce(sid, 1, 0));
    EXPECT_EQ(dacl.BuildAcl()->AceCount, 8);
    dacl = nullptr;
    EXPECT_EQ(dacl.BuildAcl(), nullptr);
    EXPECT_TRUE(dacl.AddAllowedAce(sid, 1, 0));
    EXPECT_EQ(TypesOf(dacl.BuildAcl()), "0 ") << "a null list becomes one with only the new entry";
    dacl.SetEmpty();
    EXPECT_EQ(dacl.BuildAcl()->AclSize, sizeof(ACL));
    dacl = List({Ace(0), Ace(1)});
    dacl = List({Ace(1)});
    EXPECT_EQ(TypesOf(dacl.BuildAcl()), "1 ") << "a second list replaces the first";
}

// The sort begins with a gap of 4, which exchanges the first and the last of five entries, and is not stable.
TEST_F(SecurityTest, FiveEntriesAreSortedWithAGapOfFour) {
    CDacl dacl;
    dacl = List({Ace(0, 1), Ace(0, 2), Ace(0, 3), Ace(0, 4), Ace(1)});
    EXPECT_EQ(TypesOf(dacl.BuildAcl()), "1 0:2 0:3 0:4 0:1 ");
}

// The size of the list that is built from a descriptor: 0 for a null list, -1 if it cannot be read.
int ListSizeOf(PSECURITY_DESCRIPTOR source) {
    CSecurityDesc descriptor;
    CDacl dacl;
    descriptor = source;
    return !descriptor.GetDacl(dacl) ? -1 : dacl.BuildAcl() == nullptr ? 0 : dacl.BuildAcl()->AclSize;
}

TEST_F(SecurityTest, DescriptorsDistinguishAbsentNullAndBrokenLists) {
    ACL list;
    InitializeAcl(&list, sizeof(list), ACL_REVISION);
    SECURITY_DESCRIPTOR absolute;
    InitializeSecurityDescriptor(&absolute, SECURITY_DESCRIPTOR_REVISION);
    EXPECT_EQ(ListSizeOf(&absolute), 8) << "absent";
    SetSecurityDescriptorDacl(&absolute, TRUE, nullptr, FALSE);
    EXPECT_EQ(ListSizeOf(&absolute), 0) << "null";
    SetSecurityDescriptorDacl(&absolute, TRUE, &list, FALSE);
    EXPECT_EQ(ListSizeOf(&absolute), 8);
    on::MakeSelfRelativeSD.Fail(1, ERROR_INVALID_SECURITY_DESCR);
    EXPECT_THROW(ListSizeOf(&absolute), CAtlException);
    SECURITY_DESCRIPTOR_RELATIVE relative[16] = {};
    DWORD size = sizeof(relative);
    ASSERT_TRUE(MakeSelfRelativeSD(&absolute, relative, &size));
    relative[0].Dacl = 200; // beyond the copy
    EXPECT_EQ(ListSizeOf(relative), -1);
    CDacl dacl;
    EXPECT_FALSE(CSecurityDesc().GetDacl(dacl));
    EXPECT_FALSE(GetObjectSecurityDescriptor(nullptr, SE_REGISTRY_KEY, nullptr, 0xF, true));
    on::OpenThreadToken.Fail(2, ERROR_ACCESS_DENIED);
    on::RevertToSelf.Fail(1, ERROR_INVALID_HANDLE);
    CSecurityDesc descriptor;
    EXPECT_FALSE(GetObjectSecurityDescriptor(GetCurrentProcess(), SE_KERNEL_OBJECT, descriptor, 0xF, true));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE}) << "the error of the failed revert";
}

TEST_F(SecurityTest, ASetOfPrivilegesIsReadWithinItsBuffer) {
    struct {
        DWORD count = 3;
        LUID_AND_ATTRIBUTES privileges[3] = {{{1, 0}, 2}, {{2, 0}, 2}, {{3, 0}, 2}};
    } buffer;
    CTokenPrivileges set;
    set.Add(reinterpret_cast<TOKEN_PRIVILEGES*>(&buffer), sizeof(buffer) - 1);
    EXPECT_EQ(set.GetLength(), sizeof(buffer) - sizeof(LUID_AND_ATTRIBUTES));
    CTokenPrivileges empty;
    empty.Add(reinterpret_cast<TOKEN_PRIVILEGES*>(&buffer), sizeof(buffer.count) - 1);
    EXPECT_TRUE(empty.IsEmpty()) << "a buffer that is smaller than the count";
}

struct ProfileToken : CAccessToken {
    using CAccessToken::profile_;
};

TEST_F(SecurityTest, TokensKeepTheirImpersonationsApart) {
    std::string calls;
    on::ImpersonateSelf.Replace([&](SECURITY_IMPERSONATION_LEVEL level) {
        calls += std::to_string(level);
        return on::ImpersonateSelf.Real(level);
    });
    on::LoadLibraryA.Replace([&](LPCSTR path) {
        calls += path;
        return on::LoadLibraryA.Real(path);
    });
    ProfileToken token;
    EXPECT_FALSE(token.Impersonate()) << "no token yet";
    ASSERT_TRUE(
        token.OpenImpersonationToken(TOKEN_QUERY | TOKEN_IMPERSONATE, false, false, SecurityImpersonation));
    // The thread's own token cannot be opened: the level of the token held before is restored.
    on::OpenThreadToken.Fail(1, ERROR_ACCESS_DENIED);
    ASSERT_TRUE(token.OpenImpersonationToken(TOKEN_QUERY, false, false, SecurityIdentification));
    on::OpenThreadToken.Fail(1, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(token.OpenImpersonationToken(TOKEN_QUERY, true, false, SecurityImpersonation));
    EXPECT_EQ(calls, "2122") << "none is restored under an impersonation that remains";
    EXPECT_TRUE(token.Revert()) << "with its revert object";
    EXPECT_TRUE(token.Revert()) << "without its revert object";
    EXPECT_TRUE(token.EnablePrivilege("SeNoSuchPrivilege", nullptr));
    token.profile_ = GetCurrentProcess();
    token.Clear();
    EXPECT_EQ(calls, "2122C:\\windows\\system32\\userenv.dll");
    HANDLE left = nullptr;
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &left));
}

} // namespace
