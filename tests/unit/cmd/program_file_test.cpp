#include "support/module.h"
#include "win/windows_api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

// The program has as many bits as its tests. Addresses of 32 bits have no room for much chance.
#ifdef _WIN64
constexpr WORD kMachine = IMAGE_FILE_MACHINE_AMD64;
constexpr WORD kHighEntropy = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA;
constexpr std::size_t kMostKilobytes = 720;
#else
constexpr WORD kMachine = IMAGE_FILE_MACHINE_I386;
constexpr WORD kHighEntropy = 0;
// What GNU's compiler writes down for exceptions takes twice the room there.
constexpr std::size_t kMostKilobytes = 1792;
#endif

// The built program, which stands beside the test program.
std::filesystem::path ProgramPath()
{
    wchar_t path[1024] = {};
    GetModuleFileNameW(nullptr, path, 1024);
    return std::filesystem::path(path).replace_filename(L"VLCmd.exe");
}

// The program file as Windows' loader reads it.
class ProgramFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::ifstream file(ProgramPath(), std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
        ASSERT_GT(bytes.size(), sizeof(IMAGE_DOS_HEADER));
        const auto* const dos = At<IMAGE_DOS_HEADER>(0);
        ASSERT_EQ(IMAGE_DOS_SIGNATURE, dos->e_magic);
        const auto headersOffset = static_cast<std::size_t>(dos->e_lfanew);
        headers = At<IMAGE_NT_HEADERS>(headersOffset);
        ASSERT_EQ(static_cast<DWORD>(IMAGE_NT_SIGNATURE), headers->Signature);
        sections = At<IMAGE_SECTION_HEADER>(headersOffset + offsetof(IMAGE_NT_HEADERS, OptionalHeader) +
                                            headers->FileHeader.SizeOfOptionalHeader);
    }

    template <typename T>
    [[nodiscard]] const T* At(std::size_t offset) const
    {
        EXPECT_LE(offset + sizeof(T), bytes.size());
        return reinterpret_cast<const T*>(bytes.data() + offset);
    }

    // What stands at an address relative to the loaded program.
    template <typename T>
    [[nodiscard]] const T* AtAddress(DWORD address) const
    {
        for (unsigned i = 0; i < headers->FileHeader.NumberOfSections; ++i) {
            const IMAGE_SECTION_HEADER& section = sections[i];
            if (address >= section.VirtualAddress && address < section.VirtualAddress + section.SizeOfRawData) {
                return At<T>(address - section.VirtualAddress + section.PointerToRawData);
            }
        }
        ADD_FAILURE() << "no section holds " << address;
        return At<T>(0);
    }

    [[nodiscard]] std::vector<std::string> ImportedLibraries() const
    {
        std::vector<std::string> names;
        const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (const auto* dll = AtAddress<IMAGE_IMPORT_DESCRIPTOR>(imports); dll->Name != 0; ++dll) {
            names.emplace_back(AtAddress<char>(dll->Name));
        }
        return names;
    }

    [[nodiscard]] std::vector<std::string> SectionNames() const
    {
        std::vector<std::string> names;
        for (unsigned i = 0; i < headers->FileHeader.NumberOfSections; ++i) {
            const auto* const name = reinterpret_cast<const char*>(sections[i].Name);
            names.emplace_back(name, strnlen(name, IMAGE_SIZEOF_SHORT_NAME));
        }
        return names;
    }

    std::vector<char> bytes;
    const IMAGE_NT_HEADERS* headers = nullptr;
    const IMAGE_SECTION_HEADER* sections = nullptr;
};

TEST_F(ProgramFile, IsAConsoleProgramOfItsBuildsBits)
{
    EXPECT_EQ(kMachine, headers->FileHeader.Machine);
    EXPECT_EQ(IMAGE_NT_OPTIONAL_HDR_MAGIC, headers->OptionalHeader.Magic);
    EXPECT_EQ(IMAGE_SUBSYSTEM_WINDOWS_CUI, headers->OptionalHeader.Subsystem);
    EXPECT_NE(0, headers->FileHeader.Characteristics & IMAGE_FILE_EXECUTABLE_IMAGE);
    EXPECT_EQ(0, headers->FileHeader.Characteristics & IMAGE_FILE_DLL);
}

TEST_F(ProgramFile, LetsWindowsProtectItsAddressSpace)
{
    constexpr WORD kProtections =
        IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | kHighEntropy | IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(kProtections, headers->OptionalHeader.DllCharacteristics & kProtections);
    // Without relocations Windows could not move it.
    EXPECT_NE(0U, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size);
    EXPECT_EQ(0, headers->FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
}

// Session hosts give a program without the mark a Windows folder of each user's own.
TEST_F(ProgramFile, KnowsThatSeveralUsersMayShareTheComputer)
{
    EXPECT_NE(0, headers->OptionalHeader.DllCharacteristics & IMAGE_DLLCHARACTERISTICS_TERMINAL_SERVER_AWARE);
}

// Windows takes the libraries of its list of known ones (Session Manager\KnownDLLs) from its system folder; any other
// that a program imports it looks for beside the program first. These are in the list of every Windows from 7 on.
TEST_F(ProgramFile, ImportsOnlyLibrariesThatEveryWindowsKnows)
{
    constexpr const char* kKnown[] = {"ADVAPI32.dll", "GDI32.dll",    "KERNEL32.dll", "msvcrt.dll",
                                      "ole32.dll",    "OLEAUT32.dll", "RPCRT4.dll",   "SHELL32.dll",
                                      "SHLWAPI.dll",  "USER32.dll",   "WS2_32.dll"};
    const std::vector<std::string> libraries = ImportedLibraries();
    EXPECT_THAT(libraries, Contains("KERNEL32.dll"));
    for (const std::string& library : libraries) {
        EXPECT_TRUE(std::any_of(std::begin(kKnown), std::end(kKnown), [&](const char* known) {
            return _stricmp(known, library.c_str()) == 0;
        })) << library;
    }
    EXPECT_EQ(0U, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].Size);
}

#ifdef VLCMD_RELEASE_BUILD

TEST_F(ProgramFile, IsSmall)
{
    EXPECT_LE(bytes.size(), kMostKilobytes * 1024);
}

TEST_F(ProgramFile, CarriesNoSymbols)
{
    EXPECT_EQ(0U, headers->FileHeader.PointerToSymbolTable);
    EXPECT_EQ(0U, headers->FileHeader.NumberOfSymbols);
    EXPECT_EQ(0U, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DEBUG].Size);
    for (const std::string& name : SectionNames()) {
        // A name that begins with "/" points into the string table of the symbols; debug sections have such names.
        EXPECT_THAT(name, Not(HasSubstr("debug")));
        EXPECT_FALSE(name.starts_with("/")) << name;
    }
}

#endif

// The program's resources, read without running it.
class ProgramResources : public ::testing::Test {
protected:
    // The bytes of a resource; empty when there is none.
    [[nodiscard]] std::string_view Resource(WORD name, WORD type) const
    {
        const HRSRC found = FindResourceW(module_.Get(), MAKEINTRESOURCEW(name), MAKEINTRESOURCEW(type));
        const HGLOBAL loaded = found == nullptr ? nullptr : LoadResource(module_.Get(), found);
        return loaded == nullptr ? std::string_view()
                                 : std::string_view(static_cast<const char*>(LockResource(loaded)),
                                                    SizeofResource(module_.Get(), found));
    }

private:
    testing_support::Module module_{
        LoadLibraryExW(ProgramPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE)};
};

TEST_F(ProgramResources, HoldAManifestThatAsksForTheCallersRights)
{
    constexpr WORD kManifest = 24;
    const std::string manifest(Resource(1, kManifest));
    EXPECT_THAT(manifest, HasSubstr("<requestedExecutionLevel level=\"asInvoker\" uiAccess=\"false\"/>"));
    EXPECT_THAT(manifest, HasSubstr("version=\"14.0.0.0\""));
}

TEST_F(ProgramResources, HoldAManifestThatKnowsLongPaths)
{
    const std::string manifest(Resource(1, 24));
    EXPECT_THAT(manifest,
                HasSubstr("<longPathAware xmlns=\"http://schemas.microsoft.com/SMI/2016/WindowsSettings\">true<"));
}

// With one, GetVersionExW would tell another version, and with the version the product behaves otherwise.
TEST_F(ProgramResources, HoldAManifestThatNamesNoVersionOfWindows)
{
    const std::string manifest(Resource(1, 24));
    EXPECT_THAT(manifest, Not(HasSubstr("supportedOS")));
    EXPECT_THAT(manifest, Not(HasSubstr("compatibility")));
}

// The version block as Windows' own functions read it.
class ProgramVersion : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::wstring path = ProgramPath().wstring();
        block_.resize(GetFileVersionInfoSizeW(path.c_str(), nullptr));
        ASSERT_NE(FALSE, GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block_.size()), block_.data()));
    }

    template <typename T>
    const T* Query(const wchar_t* path)
    {
        void* value = nullptr;
        UINT size = 0;
        EXPECT_NE(FALSE, VerQueryValueW(block_.data(), path, &value, &size)) << path;
        return static_cast<const T*>(value);
    }

    std::wstring String(const std::wstring& name)
    {
        const auto* const text = Query<wchar_t>((L"\\StringFileInfo\\040904b0\\" + name).c_str());
        return text == nullptr ? L"(missing)" : text;
    }

private:
    std::vector<char> block_;
};

TEST_F(ProgramVersion, IsFixedAt14)
{
    const auto* const version = Query<VS_FIXEDFILEINFO>(L"\\");
    ASSERT_NE(nullptr, version);
    EXPECT_EQ(0x000E0000U, version->dwFileVersionMS);
    EXPECT_EQ(0U, version->dwFileVersionLS);
    EXPECT_EQ(0x000E0000U, version->dwProductVersionMS);
    EXPECT_EQ(0U, version->dwProductVersionLS);
    EXPECT_EQ(static_cast<DWORD>(VFT_APP), version->dwFileType);
}

TEST_F(ProgramVersion, NamesTheProgramInEnglishUnicode)
{
    EXPECT_EQ(L"VLCmd", String(L"InternalName"));
    EXPECT_EQ(L"VLCmd.exe", String(L"OriginalFilename"));
    EXPECT_EQ(L"Velundra", String(L"ProductName"));
    EXPECT_EQ(L"Kestrane", String(L"CompanyName"));
    EXPECT_EQ(L"14.0.0.0", String(L"FileVersion"));
    EXPECT_EQ(L"14.0.0.0", String(L"ProductVersion"));
    const auto* const translation = Query<WORD>(L"\\VarFileInfo\\Translation");
    ASSERT_NE(nullptr, translation);
    EXPECT_EQ(0x0409, translation[0]);
    EXPECT_EQ(0x04B0, translation[1]);
}

} // namespace
