#include "support/registry.h"

#include "win/result_code.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace {

constexpr DWORD kNameCharacters = 16384;

// RegQueryValueExW with a buffer of size bytes. Windows fills in the type also where the data does not fit.
LSTATUS Query(HKEY key, const wchar_t* name, DWORD* type, void* data, DWORD* size) noexcept
{
    return RegQueryValueExW(key, name, nullptr, type, static_cast<BYTE*>(data), size);
}

// Whether such an answer tells the value's type and size. With any other Windows may leave anything there.
bool IsTold(LSTATUS status) noexcept
{
    return status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
}

// The same for a value that must be of one type, whether or not its data fits.
LSTATUS QueryTyped(HKEY key, const wchar_t* name, DWORD wanted, void* data, DWORD& size) noexcept
{
    DWORD type = REG_NONE;
    const LSTATUS status = Query(key, name, &type, data, &size);
    return IsTold(status) && type != wanted ? ERROR_INVALID_DATA : status;
}

// Ends a list of count characters with the two NULs that it should have; false where the buffer has no room for them.
bool CloseList(wchar_t* characters, std::size_t count, std::size_t capacity) noexcept
{
    const auto isNul = [&](std::size_t fromEnd) { return count >= fromEnd && characters[count - fromEnd] == L'\0'; };
    // A list without items is one NUL alone.
    const bool isEmpty = count == 0 || (count == 1 && isNul(1));
    const std::size_t missing = isEmpty ? 1 - count : isNul(1) ? (isNul(2) ? 0 : 1) : 2;
    if (capacity - count < missing) {
        return false;
    }
    std::fill_n(characters + count, missing, L'\0');
    return true;
}

using EnumNames = LSTATUS(HKEY key, DWORD index, wchar_t* name, DWORD* length);

template <EnumNames Next>
LSTATUS AppendNames(HKEY key, std::vector<std::wstring>& names)
{
    const auto name = std::make_unique<wchar_t[]>(kNameCharacters);
    for (DWORD index = 0;; ++index) {
        DWORD length = kNameCharacters;
        if (const LSTATUS status = Next(key, index, name.get(), &length); status != ERROR_SUCCESS) {
            return status;
        }
        names.emplace_back(name.get(), length);
    }
}

LSTATUS NextSubkey(HKEY key, DWORD index, wchar_t* name, DWORD* length)
{
    return RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS NextValue(HKEY key, DWORD index, wchar_t* name, DWORD* length)
{
    return RegEnumValueW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
}

// What a typed read gives; nothing where it fails.
template <typename Value>
std::optional<Value> Find(LSTATUS (*read)(HKEY, const wchar_t*, Value&), HKEY key, const wchar_t* name)
{
    Value value{};
    return read(key, name, value) == ERROR_SUCCESS ? std::optional(std::move(value)) : std::nullopt;
}

} // namespace

LSTATUS RegOpen(HKEY root, const wchar_t* path, REGSAM access, win::RegistryKey& key, DWORD options) noexcept
{
    return RegOpenKeyExW(root, path, options, access, key.Put());
}

bool RegIsLink(HKEY key) noexcept
{
    DWORD type = REG_NONE;
    return RegReadType(key, L"SymbolicLinkValue", type) == ERROR_SUCCESS && type == REG_LINK;
}

LSTATUS RegReadType(HKEY key, const wchar_t* name, DWORD& type) noexcept
{
    DWORD told = type;
    const LSTATUS status = Query(key, name, &told, nullptr, nullptr);
    type = IsTold(status) ? told : type;
    return status;
}

LSTATUS RegReadSize(HKEY key, const wchar_t* name, DWORD& size) noexcept
{
    DWORD told = size;
    const LSTATUS status = Query(key, name, nullptr, nullptr, &told);
    size = IsTold(status) ? told : size;
    return status;
}

LSTATUS RegReadDword(HKEY key, const wchar_t* name, std::uint32_t& value) noexcept
{
    DWORD data = 0;
    DWORD size = sizeof data;
    const LSTATUS status = QueryTyped(key, name, REG_DWORD, &data, size);
    value = status == ERROR_SUCCESS ? data : value;
    return status;
}

LSTATUS RegReadString(HKEY key, const wchar_t* name, std::wstring& text)
{
    DWORD size = 0;
    if (const LSTATUS status = RegReadSize(key, name, size); status != ERROR_SUCCESS) {
        return status;
    }
    const std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[size]);
    if (!buffer) {
        return ERROR_OUTOFMEMORY;
    }
    DWORD type = REG_NONE;
    if (const LSTATUS status = Query(key, name, &type, buffer.get(), &size); status != ERROR_SUCCESS) {
        return status;
    }
    const std::size_t count = size / sizeof(wchar_t);
    if ((type != REG_SZ && type != REG_EXPAND_SZ) || size % sizeof(wchar_t) != 0 || count == 0 ||
        buffer[count - 1] != L'\0') {
        return ERROR_INVALID_DATA;
    }
    text = buffer.get();
    return ERROR_SUCCESS;
}

std::optional<std::uint32_t> RegFindDword(HKEY key, const wchar_t* name) noexcept
{
    return Find<std::uint32_t>(RegReadDword, key, name);
}

std::optional<std::uint32_t> RegFindDword(HKEY root, const wchar_t* path, const wchar_t* name) noexcept
{
    win::RegistryKey key;
    return RegOpen(root, path, KEY_READ, key) == ERROR_SUCCESS ? RegFindDword(key.Get(), name) : std::nullopt;
}

std::optional<std::wstring> RegFindString(HKEY key, const wchar_t* name)
{
    return Find<std::wstring>(RegReadString, key, name);
}

std::optional<std::wstring> RegFindString(HKEY root, const wchar_t* path, const wchar_t* name)
{
    win::RegistryKey key;
    return RegOpen(root, path, KEY_READ, key) == ERROR_SUCCESS ? RegFindString(key.Get(), name) : std::nullopt;
}

LSTATUS RegReadMultiString(HKEY key, const wchar_t* name, std::vector<std::wstring>& items,
                           std::size_t bufferCharacters)
{
    if (bufferCharacters < 2) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    const auto buffer = std::make_unique<wchar_t[]>(bufferCharacters);
    auto size = static_cast<DWORD>(bufferCharacters * sizeof(wchar_t));
    if (const LSTATUS status = QueryTyped(key, name, REG_MULTI_SZ, buffer.get(), size); status != ERROR_SUCCESS) {
        return status;
    }
    // Half a character at the end does not count.
    if (!CloseList(buffer.get(), size / sizeof(wchar_t), bufferCharacters)) {
        return ERROR_INVALID_DATA;
    }
    for (std::wstring_view item = buffer.get(); !item.empty(); item = item.data() + item.size() + 1) {
        items.emplace_back(item);
    }
    return ERROR_SUCCESS;
}

LSTATUS RegReadBinary(HKEY key, const wchar_t* name, void* buffer, DWORD& size) noexcept
{
    // Windows writes the data of any type before it tells which one it was.
    const std::unique_ptr<BYTE[]> data(new (std::nothrow) BYTE[size]);
    if (!data) {
        return ERROR_OUTOFMEMORY;
    }
    DWORD count = size;
    if (const LSTATUS status = QueryTyped(key, name, REG_BINARY, data.get(), count); status != ERROR_SUCCESS) {
        return status;
    }
    std::copy_n(data.get(), count, static_cast<BYTE*>(buffer));
    size = count;
    return ERROR_SUCCESS;
}

LSTATUS RegReadValueToStream(HKEY key, const wchar_t* name, win::ComPtr<IStream>& stream) noexcept
{
    DWORD size = 0;
    if (const LSTATUS status = RegReadSize(key, name, size); !IsTold(status)) {
        return status;
    }
    // Fixed memory: the handle is the address of the block.
    win::GlobalBlock block(GlobalAlloc(GMEM_ZEROINIT, size));
    if (!block) {
        return ERROR_OUTOFMEMORY;
    }
    if (const LSTATUS status = Query(key, name, nullptr, block.Get(), &size); status != ERROR_SUCCESS) {
        return status;
    }
    win::ComPtr<IStream> made;
    if (const HRESULT result = CreateStreamOnHGlobal(block.Get(), TRUE, made.Put()); FAILED(result)) {
        // A failure whose low half is 0 stays one.
        const std::uint32_t code = win::CodeOf(result);
        return static_cast<LSTATUS>(code != 0 ? code : win::ResultOf(result));
    }
    // The stream frees the block from now on.
    static_cast<void>(block.Detach());
    stream = std::move(made);
    return ERROR_SUCCESS;
}

LSTATUS RegEnumSubkeyNames(HKEY key, std::vector<std::wstring>& names)
{
    return AppendNames<NextSubkey>(key, names);
}

LSTATUS RegEnumValueNames(HKEY key, std::vector<std::wstring>& names)
{
    return AppendNames<NextValue>(key, names);
}
