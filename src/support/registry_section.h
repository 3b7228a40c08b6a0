#pragma once

#include "win/windows_api.h"

#include <string>

// The product's registry keys as text, keys below each key first. Lines end in CR LF.
[[nodiscard]] std::wstring GetRegistrySection();

// All of an open key: the keys below it, then its own values. The path is what the text calls it.
[[nodiscard]] std::wstring DumpRegistryKey(HKEY key, const std::wstring& path);

// A heading with the path, then each of the key's values.
[[nodiscard]] std::wstring DumpRegistryValues(HKEY key, const std::wstring& path);

// A heading with the path, then one value.
[[nodiscard]] std::wstring DumpRegistryValue(HKEY key, const std::wstring& path, const std::wstring& name);

// Name, type and data of one value; the empty name stands for the key's default value. Data that cannot be read is left
// out, and a value that is not there is empty.
[[nodiscard]] std::wstring FormatRegistryValue(HKEY key, const std::wstring& name);

// A registry path that begins with the name of a root key ("HKEY_LOCAL_MACHINE\\Software"). Any other beginning stands
// for HKEY_USERS.
struct RegistryPath {
    HKEY root;
    std::wstring subkey;
};
[[nodiscard]] RegistryPath SplitRegistryPath(const std::wstring& path);
