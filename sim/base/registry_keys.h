#pragma once

#include "win/windows_api.h"

#include <string>

namespace sim {

// The full path of the file of a module of this process; of the program itself for null.
[[nodiscard]] std::wstring ModulePath(HMODULE module);

// The identifier as the registry writes it, in braces.
[[nodiscard]] std::wstring GuidText(const GUID& identifier);

// The key of a class below HKEY_LOCAL_MACHINE.
[[nodiscard]] std::wstring ClassKeyPath(const GUID& identifier);

// Reads a text value of a key below HKEY_LOCAL_MACHINE; an absent key or value leaves the text as it is.
[[nodiscard]] LSTATUS ReadRegistryText(const wchar_t* keyPath, const wchar_t* name, std::wstring& text);

// Sets a text value of a key below HKEY_LOCAL_MACHINE, which is made where it is missing; without a name, the key's
// default value.
[[nodiscard]] HRESULT SetRegistryText(const std::wstring& keyPath, const wchar_t* name, const std::wstring& value);

// Removes a key below HKEY_LOCAL_MACHINE with all that it holds; it succeeds where there is none.
[[nodiscard]] HRESULT RemoveRegistryKey(const std::wstring& keyPath);

} // namespace sim
