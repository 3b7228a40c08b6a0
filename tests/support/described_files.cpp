#include "support/described_files.h"

#include <algorithm>
#include <filesystem>

namespace testing_support {

namespace {

// A version resource is made of 16-bit units throughout, so a string of them holds any part of it.
using Units = std::wstring;

// What kind of value a node has.
constexpr wchar_t kBinary = 0;
constexpr wchar_t kText = 1;

void AlignToDword(Units& units)
{
    units.resize((units.size() + 1) / 2 * 2);
}

// A node: its own size, the size of its value, kind, name, value, then the nodes in it, all but the name at addresses
// that divide by 4. The size of a text counts characters, that of any other value bytes.
Units Node(std::wstring_view name, wchar_t kind, const Units& value, const std::vector<Units>& nodes)
{
    Units units(3, L'\0');
    units.append(name).push_back(L'\0');
    AlignToDword(units);
    units += value;
    for (const Units& node : nodes) {
        AlignToDword(units);
        units += node;
    }
    units[0] = static_cast<wchar_t>(units.size() * sizeof(wchar_t));
    units[1] = static_cast<wchar_t>(value.size() * (kind == kText ? 1 : sizeof(wchar_t)));
    units[2] = kind;
    return units;
}

Units FixedPart(const std::array<WORD, 4>& version)
{
    VS_FIXEDFILEINFO fixed{};
    fixed.dwSignature = VS_FFI_SIGNATURE;
    fixed.dwStrucVersion = VS_FFI_STRUCVERSION;
    fixed.dwFileVersionMS = static_cast<DWORD>(MAKELONG(version[1], version[0]));
    fixed.dwFileVersionLS = static_cast<DWORD>(MAKELONG(version[3], version[2]));
    // Numbers that must not be taken for the file's own.
    fixed.dwProductVersionMS = static_cast<DWORD>(MAKELONG(92, 91));
    fixed.dwProductVersionLS = static_cast<DWORD>(MAKELONG(94, 93));
    const auto* const units = reinterpret_cast<const wchar_t*>(&fixed);
    return {units, sizeof fixed / sizeof(wchar_t)};
}

} // namespace

std::vector<BYTE> VersionResourceOf(const DescribedFile& file)
{
    if (!file.version && file.strings.empty()) {
        return {};
    }
    std::vector<Units> texts;
    texts.reserve(file.strings.size());
    for (const auto& [name, text] : file.strings) {
        texts.push_back(Node(name, kText, text + L'\0', {}));
    }
    std::vector<Units> parts;
    if (!texts.empty()) {
        parts.push_back(Node(L"StringFileInfo", kText, {}, {Node(file.table, kText, {}, texts)}));
    }
    const Units root = Node(L"VS_VERSION_INFO", kBinary, file.version ? FixedPart(*file.version) : Units(), parts);
    const auto* const bytes = reinterpret_cast<const BYTE*>(root.data());
    return {bytes, bytes + root.size() * sizeof(wchar_t)};
}

DescribedFiles::~DescribedFiles()
{
    EXPECT_EQ(0U, searches_.size());
}

DescribedFile& DescribedFiles::Add(const std::wstring& path)
{
    return files[std::filesystem::absolute(path).wstring()];
}

DescribedFile& DescribedFiles::Add(const std::wstring& path, const std::array<WORD, 4>& version,
                                   std::vector<std::pair<std::wstring, std::wstring>> strings)
{
    DescribedFile& file = Add(path);
    file.version = version;
    file.strings = std::move(strings);
    return file;
}

const DescribedFile* DescribedFiles::FileAt(const wchar_t* path) const
{
    const auto found = files.find(std::filesystem::absolute(path).wstring());
    if (found == files.end()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    return &found->second;
}

std::vector<BYTE> DescribedFiles::ResourceAt(const wchar_t* path) const
{
    // Windows looks for any other path beside the program first.
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    const DescribedFile* const file = FileAt(path);
    if (file == nullptr) {
        return {};
    }
    std::vector<BYTE> resource = VersionResourceOf(*file);
    if (resource.empty()) {
        SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    }
    return resource;
}

HANDLE DescribedFiles::Search(const wchar_t* path, WIN32_FIND_DATAW& found)
{
    const DescribedFile* const file = FileAt(path);
    if (file == nullptr) {
        return INVALID_HANDLE_VALUE;
    }
    // Times that must not be taken for that of the last write.
    found.ftCreationTime = {0, 1};
    found.ftLastAccessTime = {0, 2};
    EXPECT_NE(FALSE, SystemTimeToFileTime(&file->written, &found.ftLastWriteTime));
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number that looks like an address.
    auto* const search = reinterpret_cast<HANDLE>(++lastSearch_);
    searches_.insert(search);
    return search;
}

} // namespace testing_support
