#pragma once

#include <string>

namespace sim::odbc {

// The Unix path of a file that is named by a Windows path with a drive letter, by what Wine tells; any other text, and
// a path in a folder that is not there, as it stands.
[[nodiscard]] std::wstring ToUnixPath(const std::wstring& path);

} // namespace sim::odbc
