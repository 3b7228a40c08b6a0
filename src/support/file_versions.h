#pragma once

#include <string>

// Where the tool is installed, and version, time and hotfix of each of the product's files.
[[nodiscard]] std::wstring GetFileVersionSection();

// The file's version as four numbers with points between them; empty where the file has no version resource.
[[nodiscard]] std::wstring GetFileVersionText(const std::wstring& path);

// The file's last-write time in local time, and its hotfix tag where it has one, each with a separator in front:
// ".  11/5/2026 6:30:00 AM.  HOTFIX: HF3". The date alone where the time cannot be written; empty where there is no
// such file.
[[nodiscard]] std::wstring GetFileTimeText(const std::wstring& path);

// The tag that a hotfix leaves in the file's version resource ("HF3", "exp7"); empty where there is none. Only the
// US-English string table is read.
[[nodiscard]] std::wstring GetHotfixTag(const std::wstring& path);

// The folder of a COM server, from the LocalServer32 key (below HKEY_LOCAL_MACHINE) that it is registered under; ends
// in a backslash. Empty where it is not registered.
[[nodiscard]] std::wstring GetServerDirectory(const wchar_t* localServerKey);
