#include "win/security.h"

#include "support/product_test.h"

#include <sddl.h>

namespace {

using namespace testing_support;

constexpr wchar_t kNoAccessControl[] = L"D:NO_ACCESS_CONTROL";

class AccessByEveryone : public ProductTest {
protected:
    void TearDown() override
    {
        descriptor.Reset();
        ProductTest::TearDown();
    }

    // Whether the descriptor's list of rights is missing, or else how many entries it has.
    static int Entries(const win::SecurityDescriptor& descriptor)
    {
        BOOL isPresent = FALSE;
        BOOL isDefaulted = FALSE;
        ACL* list = nullptr;
        EXPECT_NE(FALSE, GetSecurityDescriptorDacl(descriptor.Get(), &isPresent, &list, &isDefaulted));
        EXPECT_NE(FALSE, isPresent);
        return list == nullptr ? -1 : list->AceCount;
    }

    // A descriptor whose list of rights is missing, as Windows makes it.
    static PSECURITY_DESCRIPTOR WithoutList()
    {
        void* const descriptor = LocalAlloc(LPTR, sizeof(SECURITY_DESCRIPTOR));
        EXPECT_NE(FALSE, InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION));
        EXPECT_NE(FALSE, SetSecurityDescriptorDacl(descriptor, TRUE, nullptr, FALSE));
        return descriptor;
    }

    win::SecurityDescriptor descriptor;
};

TEST_F(AccessByEveryone, IsADescriptorThatKeepsNobodyOut)
{
    EXPECT_EQ(0U, win::MakeAccessByEveryone(descriptor));
    EXPECT_TRUE(IsValidSecurityDescriptor(descriptor.Get()));
    EXPECT_NE(0, Entries(descriptor));
}

TEST_F(AccessByEveryone, IsNoAccessControlWhereTheSystemKnowsThat)
{
    const Replaced<"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                   decltype(::ConvertStringSecurityDescriptorToSecurityDescriptorW)>
        convert([](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* made, PULONG) {
            EXPECT_STREQ(kNoAccessControl, text);
            EXPECT_EQ(1U, revision);
            *made = WithoutList();
            return TRUE;
        });
    EXPECT_EQ(0U, win::MakeAccessByEveryone(descriptor));
    EXPECT_EQ(-1, Entries(descriptor));
    EXPECT_EQ(1, convert.Calls());
}

TEST_F(AccessByEveryone, IsAListOfAllRightsWhereTheSystemMakesAnEmptyListOfThat)
{
    const Replaced<"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                   decltype(::ConvertStringSecurityDescriptorToSecurityDescriptorW)>
        convert([&](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* made, PULONG size) {
            return convert.Original(convert.Calls() == 1 ? L"D:" : text, revision, made, size);
        });
    EXPECT_EQ(0U, win::MakeAccessByEveryone(descriptor));
    EXPECT_EQ(1, Entries(descriptor));
    EXPECT_EQ(2, convert.Calls());
}

TEST_F(AccessByEveryone, GivesTheErrorOfEachConversion)
{
    for (const int failing : {1, 2}) {
        const Replaced<"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                       decltype(::ConvertStringSecurityDescriptorToSecurityDescriptorW)>
            convert([&](LPCWSTR, DWORD revision, PSECURITY_DESCRIPTOR* made, PULONG size) {
                if (convert.Calls() == failing) {
                    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                    return FALSE;
                }
                return convert.Original(L"D:", revision, made, size);
            });
        EXPECT_EQ(8U, win::MakeAccessByEveryone(descriptor));
        EXPECT_FALSE(descriptor);
        EXPECT_EQ(failing, convert.Calls());
    }
}

} // namespace
