#pragma once

#include "win/windows_api.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

// The bytes of a text as the registry keeps them, without a NUL of its own.
inline std::vector<BYTE> BytesOf(std::wstring_view text)
{
    const auto* const bytes = reinterpret_cast<const BYTE*>(text.data());
    return {bytes, bytes + text.size() * sizeof(wchar_t)};
}

// The bytes of a REG_MULTI_SZ value: each item with its NUL, and one more.
inline std::vector<BYTE> ListBytes(std::initializer_list<std::wstring_view> items)
{
    std::wstring list;
    for (const std::wstring_view item : items) {
        list.append(item).append(1, L'\0');
    }
    list.append(1, L'\0');
    return BytesOf(list);
}

} // namespace testing_support
