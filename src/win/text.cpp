#include "win/text.h"

#include "win/windows_api.h"

namespace win {

namespace {

int CompareNames(std::wstring_view left, std::wstring_view right) noexcept
{
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE);
}

} // namespace

bool EqualNames(std::wstring_view left, std::wstring_view right) noexcept
{
    return left.size() == right.size() && (left.empty() || CompareNames(left, right) == CSTR_EQUAL);
}

bool NameLess::operator()(std::wstring_view left, std::wstring_view right) const noexcept
{
    if (left.empty() || right.empty()) {
        return left.empty() && !right.empty();
    }
    return CompareNames(left, right) == CSTR_LESS_THAN;
}

} // namespace win
