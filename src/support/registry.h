#pragma once

#include "win/com_ptr.h"
#include "win/owner.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <product_version.h>

// The product's keys. Core and console stand under HKEY_LOCAL_MACHINE, the policy under HKEY_CURRENT_USER.
inline constexpr wchar_t kCoreKey[] = L"Software\\Kestrane\\VLCore\\" PRODUCT_VERSION;
inline constexpr wchar_t kConsoleKey[] = L"Software\\Kestrane\\VLConsole\\" PRODUCT_VERSION;
inline constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Kestrane\\Velundra\\" PRODUCT_VERSION;

// Typed reads of registry values. Each function returns a Windows error code: ERROR_SUCCESS, what the registry call
// answered, or ERROR_INVALID_DATA (13) for a value of another type or with malformed data. On failure an output keeps
// what it held.

// Opens a key below one of the predefined keys, or below an open one. What the owner held is closed in any case. With
// REG_OPTION_OPEN_LINK a symbolic link is opened itself, not the key that it leads to.
[[nodiscard]] LSTATUS RegOpen(HKEY root, const wchar_t* path, REGSAM access, win::RegistryKey& key,
                              DWORD options = 0) noexcept;

// Whether an open key is a symbolic link: only one that was opened with REG_OPTION_OPEN_LINK is.
[[nodiscard]] bool RegIsLink(HKEY key) noexcept;

// Reads the type of a value (REG_SZ and so on), or the number of bytes that its data has. With ERROR_MORE_DATA (234)
// the output is filled in as well.
[[nodiscard]] LSTATUS RegReadType(HKEY key, const wchar_t* name, DWORD& type) noexcept;
[[nodiscard]] LSTATUS RegReadSize(HKEY key, const wchar_t* name, DWORD& size) noexcept;

// Reads a REG_DWORD value; bytes that it lacks are zero.
[[nodiscard]] LSTATUS RegReadDword(HKEY key, const wchar_t* name, std::uint32_t& value) noexcept;

// Reads a REG_SZ or REG_EXPAND_SZ value; environment variables in it stay as they are. The data must be whole
// characters that end in a NUL; the text goes as far as the first NUL. ERROR_OUTOFMEMORY (14) where there is no memory
// for the data.
[[nodiscard]] LSTATUS RegReadString(HKEY key, const wchar_t* name, std::wstring& text);

// The short form of the two reads above, for a caller that has no use for the error: the value of an open key, or of
// the key at a path, which is opened with KEY_READ; nothing where the key cannot be opened or the value cannot be read.
[[nodiscard]] std::optional<std::uint32_t> RegFindDword(HKEY key, const wchar_t* name) noexcept;
[[nodiscard]] std::optional<std::uint32_t> RegFindDword(HKEY root, const wchar_t* path, const wchar_t* name) noexcept;
[[nodiscard]] std::optional<std::wstring> RegFindString(HKEY key, const wchar_t* name);
[[nodiscard]] std::optional<std::wstring> RegFindString(HKEY root, const wchar_t* path, const wchar_t* name);

// How many characters a REG_MULTI_SZ value may have.
inline constexpr std::size_t kMultiStringCharacters = 16384;

// Appends the items of a REG_MULTI_SZ value, up to the first empty one. Closing NULs that are missing are made up for
// where the buffer has room for them; an odd last byte does not count. ERROR_MORE_DATA (234) for a value that is longer
// than the buffer, ERROR_INSUFFICIENT_BUFFER (122) for a buffer that does not even take an empty list.
[[nodiscard]] LSTATUS RegReadMultiString(HKEY key, const wchar_t* name, std::vector<std::wstring>& items,
                                         std::size_t bufferCharacters = kMultiStringCharacters);

// Reads a REG_BINARY value into a buffer of size bytes; size then tells how many bytes it has. ERROR_MORE_DATA (234)
// where it has more than the buffer takes, ERROR_OUTOFMEMORY (14) where there is no memory for as many.
[[nodiscard]] LSTATUS RegReadBinary(HKEY key, const wchar_t* name, void* buffer, DWORD& size) noexcept;

// Reads the data of a value of any type, byte for byte, into a stream that stands at its beginning. ERROR_OUTOFMEMORY
// (14) where there is no memory for the data.
[[nodiscard]] LSTATUS RegReadValueToStream(HKEY key, const wchar_t* name, win::ComPtr<IStream>& stream) noexcept;

// Appends the names of the key's subkeys, or of its values, in Windows' order. Names that were given below the Windows
// API may hold NULs; they are appended whole, and cannot be asked for again by name. Returns what ended the
// enumeration: ERROR_NO_MORE_ITEMS (259) where the names are complete.
LSTATUS RegEnumSubkeyNames(HKEY key, std::vector<std::wstring>& names);
LSTATUS RegEnumValueNames(HKEY key, std::vector<std::wstring>& names);
