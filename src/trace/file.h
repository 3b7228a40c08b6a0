#pragma once

#include "win/owner.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace trace {

// The folder of the trace file where the settings name none.
[[nodiscard]] std::wstring DefaultDirectory();

// The text file that all programs of the product write. Results are 0 or a Windows error.
class File {
public:
    // Appends the line to the trace file of the directory, both of which are made where they are missing. A file that
    // had reached its size, in megabytes, before the line was written is then moved to a name with the time of its last
    // write, so that the next line begins a new one.
    std::uint32_t Append(const std::wstring& directory, std::uint32_t maxSize, std::wstring_view line);

private:
    std::uint32_t OpenOrMakeDirectory(std::wstring& directory, win::FileHandle& file);
    std::uint32_t Open(const std::wstring& directory, win::FileHandle& file);

    win::SecurityDescriptor everyone_; // made when a file is opened for the first time
};

} // namespace trace
