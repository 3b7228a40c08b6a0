#include "engine/drive_spec.h"

#include <gtest/gtest.h>

#include <cwctype>
#include <ios>
#include <string>

namespace {

constexpr int kUnknown = 0;
constexpr int kDriveLetter = 1;
constexpr int kMountPoint = 2;
constexpr int kVolumeGuid = 3;

struct Word {
    const wchar_t* typed;
    bool isDrive;
    int kind;
    const wchar_t* converted;
};

class DriveWord : public ::testing::TestWithParam<Word> {};

TEST_P(DriveWord, IsRecognisedAndConverted)
{
    const Word& word = GetParam();
    EXPECT_EQ(word.isDrive, IsDriveSpec(word.typed));
    const DriveSpec spec = ConvertDriveSpec(word.typed);
    EXPECT_EQ(word.kind, static_cast<int>(spec.kind));
    EXPECT_EQ(word.converted, spec.text);
}

INSTANTIATE_TEST_SUITE_P(
    ThatIsADriveLetter, DriveWord,
    ::testing::Values(Word{L"c", true, kDriveLetter, L"C:\\"}, Word{L"c:", true, kDriveLetter, L"C:\\"},
                      Word{L"c:\\", true, kDriveLetter, L"C:\\"}, Word{L"C", true, kDriveLetter, L"C:\\"},
                      Word{L"C:", true, kDriveLetter, L"C:\\"}, Word{L"C:\\", true, kDriveLetter, L"C:\\"},
                      Word{L"a:", true, kDriveLetter, L"A:\\"}, Word{L"z:", true, kDriveLetter, L"Z:\\"}));

INSTANTIATE_TEST_SUITE_P(ThatIsAMountPoint, DriveWord,
                         ::testing::Values(Word{L"D:\\Mounts\\Data\\", true, kMountPoint, L"D:\\Mounts\\Data\\"},
                                           Word{L"D:\\Mounts\\Data", true, kMountPoint, L"D:\\Mounts\\Data\\"},
                                           Word{L"d:\\m", true, kMountPoint, L"d:\\m\\"},
                                           Word{L"C:\\\\", true, kMountPoint, L"C:\\\\"},
                                           Word{L"D:\\Mount 1", true, kMountPoint, L"D:\\Mount 1\\"},
                                           Word{L"D:\\a/b", true, kMountPoint, L"D:\\a/b\\"}));

INSTANTIATE_TEST_SUITE_P(ThatIsAVolumeGuid, DriveWord,
                         ::testing::Values(Word{L"\\\\?\\Volume{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\", true,
                                                kVolumeGuid, L"\\\\?\\Volume{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}"},
                                           Word{L"\\\\?\\Volume{0c5e92b1-7f3a-4d68-b2c4-9a81e6f05d17}", true,
                                                kVolumeGuid, L"\\\\?\\Volume{0c5e92b1-7f3a-4d68-b2c4-9a81e6f05d17}"},
                                           Word{L"{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}", true, kVolumeGuid,
                                                L"\\\\?\\Volume{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}"},
                                           Word{L"Volume{abc}\\folder", true, kVolumeGuid, L"\\\\?\\Volume{abc}"},
                                           Word{L"{}", true, kVolumeGuid, L"\\\\?\\Volume{}"},
                                           Word{L"x{y", false, kUnknown, L""}));

INSTANTIATE_TEST_SUITE_P(WithBracesInOddOrder, DriveWord,
                         ::testing::Values(Word{L"}{", false, kUnknown, L""}, Word{L"{", false, kUnknown, L""},
                                           Word{L"}", false, kUnknown, L""},
                                           Word{L"}a{b}c", true, kVolumeGuid, L"\\\\?\\Volume{b}"},
                                           Word{L"{a}b}", true, kVolumeGuid, L"\\\\?\\Volume{a}"},
                                           Word{L"{a{b}", true, kVolumeGuid, L"\\\\?\\Volume{a{b}"},
                                           Word{L"{a}{b}", true, kVolumeGuid, L"\\\\?\\Volume{a}"}));

// The shapes are tried in order: letter, folder, volume.
INSTANTIATE_TEST_SUITE_P(OfSeveralShapes, DriveWord,
                         ::testing::Values(Word{L"C:\\{a}", true, kMountPoint, L"C:\\{a}\\"},
                                           Word{L"C:\\{a}\\", true, kMountPoint, L"C:\\{a}\\"},
                                           Word{L"C:{a}", true, kVolumeGuid, L"\\\\?\\Volume{a}"},
                                           Word{L"C{a}", true, kVolumeGuid, L"\\\\?\\Volume{a}"},
                                           Word{L"1:\\{a}", true, kVolumeGuid, L"\\\\?\\Volume{a}"}));

INSTANTIATE_TEST_SUITE_P(ThatNamesNoDrive, DriveWord,
                         ::testing::Values(Word{L"", false, kUnknown, L""}, Word{L"CD", false, kUnknown, L""},
                                           Word{L"C:x", false, kUnknown, L""}, Word{L"C:x\\", false, kUnknown, L""},
                                           Word{L"C\\", false, kUnknown, L""}, Word{L"C/", false, kUnknown, L""},
                                           Word{L"C:/", false, kUnknown, L""}, Word{L"C::", false, kUnknown, L""},
                                           Word{L"CC:\\", false, kUnknown, L""}, Word{L"1", false, kUnknown, L""},
                                           Word{L"1:", false, kUnknown, L""}, Word{L"1:\\", false, kUnknown, L""},
                                           Word{L"1:\\data", false, kUnknown, L""}, Word{L":", false, kUnknown, L""},
                                           Word{L":\\", false, kUnknown, L""}, Word{L"\\", false, kUnknown, L""},
                                           Word{L" C:", false, kUnknown, L""}, Word{L"C: ", false, kUnknown, L""},
                                           Word{L"\\\\SRV1", false, kUnknown, L""}, Word{L"?", false, kUnknown, L""},
                                           Word{L"_:\\", false, kUnknown, L""}, Word{L"@:\\", false, kUnknown, L""},
                                           Word{L"[:\\", false, kUnknown, L""}));

// A switch never names a drive, but the conversion looks at the shape alone.
INSTANTIATE_TEST_SUITE_P(ThatBeginsLikeASwitch, DriveWord,
                         ::testing::Values(Word{L"/", false, kUnknown, L""}, Word{L"-", false, kUnknown, L""},
                                           Word{L"-C", false, kUnknown, L""}, Word{L"/c", false, kUnknown, L""},
                                           Word{L"-C:\\", false, kUnknown, L""},
                                           Word{L"/{a}", false, kVolumeGuid, L"\\\\?\\Volume{a}"},
                                           Word{L"-{a}", false, kVolumeGuid, L"\\\\?\\Volume{a}"},
                                           Word{L"\\-{a}", true, kVolumeGuid, L"\\\\?\\Volume{a}"}));

TEST(DriveLetter, IsWhatTheRuntimeCallsALetter)
{
    int letters = 0;
    for (unsigned code = 1; code <= 0xFFFF; ++code) {
        const auto character = static_cast<wchar_t>(code);
        const bool letter = std::iswalpha(character) != 0;
        letters += letter ? 1 : 0;
        for (const wchar_t* const rest : {L"", L":", L":\\"}) {
            const std::wstring word = std::wstring(1, character) + rest;
            ASSERT_EQ(letter, IsDriveSpec(word)) << std::hex << code;
            const DriveSpec spec = ConvertDriveSpec(word);
            ASSERT_EQ(letter ? kDriveLetter : kUnknown, static_cast<int>(spec.kind)) << std::hex << code;
            ASSERT_EQ(letter ? std::wstring(1, static_cast<wchar_t>(std::towupper(character))) + L":\\" : L"",
                      spec.text)
                << std::hex << code;
        }
    }
    EXPECT_GE(letters, 52);
}

TEST(DriveLetter, MayBeOfAnotherScript)
{
    EXPECT_TRUE(IsDriveSpec(L"\u0434:\\data"));
    EXPECT_EQ(L"\u0434:\\data\\", ConvertDriveSpec(L"\u0434:\\data").text);
    EXPECT_TRUE(IsDriveSpec(L"\u03B1:"));
}

TEST(DriveWordOfAnyText, KeepsTheCaseOfAllButADriveLetter)
{
    EXPECT_EQ(L"d:\\MoUnT\\", ConvertDriveSpec(L"d:\\MoUnT").text);
    EXPECT_EQ(L"\\\\?\\Volume{aBc}", ConvertDriveSpec(L"vOLUME{aBc}").text);
}

TEST(DriveWordOfAnyText, NeedNotEndInANul)
{
    const std::wstring_view line = L"c:\\data";
    EXPECT_EQ(L"C:\\", ConvertDriveSpec(line.substr(0, 1)).text);
    EXPECT_EQ(L"C:\\", ConvertDriveSpec(line.substr(0, 3)).text);
    EXPECT_EQ(L"c:\\d\\", ConvertDriveSpec(line.substr(0, 4)).text);
    EXPECT_FALSE(IsDriveSpec(std::wstring_view(L"{a}").substr(0, 2)));
}

} // namespace
