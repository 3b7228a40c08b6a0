#pragma once

#include "win/windows_api.h"

#include <string>

// The product's registry keys as text, keys below each key first. Lines end in CR LF.
[[nodiscard]] std::wstring GetRegistrySection();

// The functions below append to the text, so that nothing is copied from level to level. The path is what the text
// calls the open key.

// How deep Windows lets keys lie below one another.
inline constexpr int kRegistryLevels = 512;

// All of an open key: the keys below it, down to so many levels, then its own values. A key below that cannot be opened
// is left out, and so is one that is a symbolic link: what it leads to may be the very key that it lies in.
void DumpRegistryKey(HKEY key, const std::wstring& path, std::wstring& text, int levels = kRegistryLevels);

// A heading with the path, then each of the key's values.
void DumpRegistryValues(HKEY key, const std::wstring& path, std::wstring& text);

// A heading with the path, then one value.
void DumpRegistryValue(HKEY key, const std::wstring& path, const std::wstring& name, std::wstring& text);

// Name, type and data of one value; the empty name stands for the key's default value. Data that cannot be read is left
// out, and a value that is not there adds nothing.
void FormatRegistryValue(HKEY key, const std::wstring& name, std::wstring& text);

// A registry path that begins with the name of a root key ("HKEY_LOCAL_MACHINE\\Software"). Any other beginning stands
// for HKEY_USERS.
struct RegistryPath {
    HKEY root;
    std::wstring subkey;
};
[[nodiscard]] RegistryPath SplitRegistryPath(const std::wstring& path);
