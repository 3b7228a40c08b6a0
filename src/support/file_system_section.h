#pragma once

#include <string>

// The local volumes that the product would optimise: where each is mounted, its file system, clusters, master file
// table and boot.ini.
[[nodiscard]] std::wstring GetFileSystemSection();

// A byte count in the largest binary unit that it reaches, with at most two decimals: "1.5 KB".
[[nodiscard]] std::wstring GetSizeText(double bytes);
