#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace testing_support {

// An empty folder of the test's own, deleted with the object.
class ScratchFolder {
public:
    ScratchFolder();
    ScratchFolder(ScratchFolder&&) = delete;
    ~ScratchFolder();

    // The folder's path, without a closing backslash.
    [[nodiscard]] std::wstring Path() const { return path_.wstring(); }

    // The path of a file in the folder.
    [[nodiscard]] std::wstring PathOf(std::wstring_view name) const { return (path_ / name).wstring(); }

    // Makes a file of the bytes.
    void AddFile(std::wstring_view name, std::string_view bytes) const;

    // The same with little-endian UTF-16 and no byte-order mark.
    void AddFile(std::wstring_view name, std::wstring_view text) const;

private:
    std::filesystem::path path_;
};

} // namespace testing_support
