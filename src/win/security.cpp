#include "win/security.h"

#include <sddl.h>

namespace win {

namespace {

// No list of rights at all, so that nothing is checked.
constexpr wchar_t kNoAccessControl[] = L"D:NO_ACCESS_CONTROL";
// A list that gives everyone all rights.
constexpr wchar_t kAllRightsForEveryone[] = L"D:(A;;GA;;;WD)";

DWORD Convert(const wchar_t* text, SecurityDescriptor& descriptor) noexcept
{
    return ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, descriptor.Put(), nullptr) !=
                   FALSE
               ? ERROR_SUCCESS
               : GetLastError();
}

// Whether the descriptor has an empty list of rights, by which nobody has any.
bool KeepsEveryoneOut(const SecurityDescriptor& descriptor) noexcept
{
    BOOL isPresent = FALSE;
    BOOL isDefaulted = FALSE;
    ACL* list = nullptr;
    return GetSecurityDescriptorDacl(descriptor.Get(), &isPresent, &list, &isDefaulted) != FALSE &&
           isPresent != FALSE && list != nullptr && list->AceCount == 0;
}

} // namespace

DWORD MakeAccessByEveryone(SecurityDescriptor& descriptor) noexcept
{
    const DWORD error = Convert(kNoAccessControl, descriptor);
    // Wine ignores the words of the text and makes an empty list, by which nobody has any right.
    return error == ERROR_SUCCESS && KeepsEveryoneOut(descriptor) ? Convert(kAllRightsForEveryone, descriptor) : error;
}

} // namespace win
