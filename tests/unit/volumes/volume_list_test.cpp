#include "volumes/volume_list.h"

#include "support/described_volumes.h"
#include "support/failing_memory.h"
#include "support/product_test.h"
#include "support/registry.h"
#include "volumes/string_array.h"

#include <algorithm>
#include <new>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

// Calls it with one allocation after the other failing, until none fails; how many there are.
template <typename Call>
int FailEachAllocation(Call call)
{
    for (int failing = 1;; ++failing) {
        const FailingMemory memory(failing);
        try {
            call();
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(memory.HasFailed());
        }
        if (!memory.HasFailed()) {
            return failing - 1;
        }
    }
}

// --- The lists of volumes ---

class VolumeList : public ProductTest {
protected:
    struct Lists {
        StringList eligible;
        StringList other;
    };

    static Lists Enumerate()
    {
        win::Variant eligible;
        win::Variant other;
        EnumerateLocalVolumes(1, 1, eligible, other);
        EXPECT_EQ(VT_ARRAY | VT_BSTR, eligible.Type());
        EXPECT_EQ(VT_ARRAY | VT_BSTR, other.Type());
        return {ToStringList(eligible), ToStringList(other)};
    }

    // The names of the volumes with these numbers, as the lists have them.
    static StringList Names(const std::vector<unsigned>& numbers)
    {
        StringList names;
        for (const unsigned number : numbers) {
            names.push_back(VolumeNameOf(number));
            names.back().pop_back();
        }
        return names;
    }

    // A removable volume in the letter; the DOS device of the letter has the target.
    DescribedVolume& AddInLetter(wchar_t letter, const std::wstring& target)
    {
        windows.devices[letter] = target;
        DescribedVolume& volume = windows.Add({std::wstring(1, letter) + L":\\"});
        volume.driveType = DRIVE_REMOVABLE;
        volume.fileSystem = L"FAT";
        volume.bus = BusTypeUsb;
        return volume;
    }

    DescribedVolumes windows;
};

TEST_F(VolumeList, HasNamesWithoutTheClosingBackslash)
{
    windows.Add({L"C:\\"});
    windows.Add({L"D:\\"}).fileSystem = L"UDF";
    const Lists lists = Enumerate();
    EXPECT_EQ((StringList{L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}"}), lists.eligible);
    EXPECT_EQ((StringList{L"\\\\?\\Volume{00000002-aBcD-11ee-8c99-0242ac120002}"}), lists.other);
}

TEST_F(VolumeList, KeepsTheOrderOfWindows)
{
    const std::vector<unsigned> numbers = {40, 7, 23, 1, 99, 55, 8};
    for (const unsigned number : numbers) {
        windows.Add().name = VolumeNameOf(number);
        windows.Add().name = VolumeNameOf(number + 100);
        windows.volumes.back().driveType = DRIVE_CDROM;
    }
    const Lists lists = Enumerate();
    EXPECT_EQ(Names(numbers), lists.eligible);
    EXPECT_EQ(Names({140, 107, 123, 101, 199, 155, 108}), lists.other);
}

TEST_F(VolumeList, HasVolumesWithLettersInFoldersAndNowhere)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\Data\\"});
    windows.Add();
    EXPECT_EQ(Names({1, 2, 3}), Enumerate().eligible);
}

TEST_F(VolumeList, HasEverySupportedFixedDiskAmongTheEligible)
{
    windows.Add();
    windows.Add().bus = BusTypeUsb;
    windows.Add().bus = BusType1394;
    windows.Add().openError = ERROR_ACCESS_DENIED;
    const Lists lists = Enumerate();
    EXPECT_EQ(Names({1, 2, 3, 4}), lists.eligible);
    EXPECT_EQ(StringList{}, lists.other);
}

TEST_F(VolumeList, HasRemovableDisksOnKnownBusesAmongTheEligible)
{
    for (const STORAGE_BUS_TYPE bus : {BusTypeUsb, BusTypeSd, BusTypeAta, BusTypeSata, BusType1394}) {
        DescribedVolume& volume = windows.Add();
        volume.driveType = DRIVE_REMOVABLE;
        volume.fileSystem = L"FAT32";
        volume.bus = bus;
    }
    Lists lists = Enumerate();
    EXPECT_EQ(Names({1, 3, 5}), lists.eligible);
    EXPECT_EQ(Names({2, 4}), lists.other);
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreKey, L"ShowAllOtherRemoveableDrives", 0);
    lists = Enumerate();
    EXPECT_EQ(Names({1, 2, 3, 4, 5}), lists.eligible);
    EXPECT_EQ(StringList{}, lists.other);
}

TEST_F(VolumeList, HasEverythingElseAmongTheOthers)
{
    RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreKey, L"ShowAllOtherRemoveableDrives", 1);
    constexpr UINT kTypes[] = {DRIVE_CDROM, DRIVE_REMOTE, DRIVE_RAMDISK, DRIVE_UNKNOWN, DRIVE_NO_ROOT_DIR};
    for (const UINT type : kTypes) {
        windows.Add().driveType = type;
    }
    windows.Add().fileSystem = L"RAW";
    windows.Add().fileSystem = L"";
    windows.Add().fileSystemError = ERROR_UNRECOGNIZED_VOLUME;
    const Lists lists = Enumerate();
    EXPECT_EQ(StringList{}, lists.eligible);
    EXPECT_EQ(Names({1, 2, 3, 4, 5, 6, 7, 8}), lists.other);
}

TEST_F(VolumeList, HasManyVolumes)
{
    std::vector<unsigned> eligible;
    std::vector<unsigned> other;
    for (unsigned number = 1; number <= 300; ++number) {
        const bool isEligible = number % 3 != 0;
        windows.Add().driveType = isEligible ? DRIVE_FIXED : DRIVE_CDROM;
        (isEligible ? eligible : other).push_back(number);
    }
    const Lists lists = Enumerate();
    EXPECT_EQ(Names(eligible), lists.eligible);
    EXPECT_EQ(Names(other), lists.other);
}

TEST_F(VolumeList, DoesNotHangOnItsFlags)
{
    windows.Add();
    windows.Add().driveType = DRIVE_CDROM;
    for (const std::uint32_t flags : {0U, 1U, 2U, 0xFFFFFFFFU}) {
        win::Variant eligible;
        win::Variant other;
        EnumerateLocalVolumes(flags, ~flags, eligible, other);
        EXPECT_EQ(Names({1}), ToStringList(eligible));
        EXPECT_EQ(Names({2}), ToStringList(other));
    }
}

TEST_F(VolumeList, TakesTheOutputsPlace)
{
    windows.Add();
    win::Variant eligible = win::Variant::OfText(L"before");
    win::Variant other = ToVariant({L"a", L"b"});
    EnumerateLocalVolumes(1, 1, eligible, other);
    EXPECT_EQ(Names({1}), ToStringList(eligible));
    EXPECT_EQ(StringList{}, ToStringList(other));
}

TEST_F(VolumeList, LeavesTheOutputsAsTheyWereWithoutVolumes)
{
    win::Variant eligible = win::Variant::OfText(L"before");
    win::Variant other = ToVariant({L"a", L"b"});
    EnumerateLocalVolumes(1, 1, eligible, other);
    ASSERT_EQ(VT_BSTR, eligible.Type());
    EXPECT_STREQ(L"before", eligible.Get().bstrVal);
    EXPECT_EQ((StringList{L"a", L"b"}), ToStringList(other));
}

TEST_F(VolumeList, EndsWhereWindowsTellsNoFurtherVolume)
{
    windows.Add();
    windows.Add();
    windows.Add();
    const Replaced<"FindNextVolumeW", decltype(::FindNextVolumeW)> next([&](HANDLE search, LPWSTR name, DWORD length) {
        if (next.Calls() > 1) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        return next.Original(search, name, length);
    });
    EXPECT_EQ(Names({1, 2}), Enumerate().eligible);
    EXPECT_EQ(2, next.Calls());
}

TEST_F(VolumeList, KeepsAnEmptyNameAsItIs)
{
    windows.Add().name = L"";
    windows.Add();
    const Lists lists = Enumerate();
    EXPECT_EQ(StringList{L""}, lists.other);
    EXPECT_EQ(Names({2}), lists.eligible);
}

TEST_F(VolumeList, GivesBackWhatItHoldsWithoutMemory)
{
    AddInLetter(L'A', L"\\Device\\Floppy0");
    AddInLetter(L'E', L"\\Device\\HarddiskVolume1");
    windows.Add().driveType = DRIVE_CDROM;
    const int allocations = FailEachAllocation([&] {
        win::Variant eligible;
        win::Variant other;
        EnumerateLocalVolumes(1, 1, eligible, other);
    });
    EXPECT_GT(allocations, 5);
}

// --- Floppies ---

TEST_F(VolumeList, LeavesOutFloppiesInAAndB)
{
    AddInLetter(L'A', L"\\Device\\Floppy0");
    windows.Add({L"C:\\"});
    AddInLetter(L'B', L"\\Device\\Floppy1").fileSystem = L"RAW";
    windows.Add().driveType = DRIVE_CDROM;
    const Lists lists = Enumerate();
    EXPECT_EQ(Names({2}), lists.eligible);
    EXPECT_EQ(Names({4}), lists.other);
}

TEST_F(VolumeList, LeavesOutEachFloppyAlone)
{
    AddInLetter(L'A', L"\\Device\\Floppy0");
    AddInLetter(L'B', L"\\Device\\HarddiskVolume2");
    EXPECT_EQ(Names({2}), Enumerate().eligible);
    windows.devices[L'A'] = L"\\Device\\HarddiskVolume1";
    windows.devices[L'B'] = L"\\Device\\Floppy1";
    EXPECT_EQ(Names({1}), Enumerate().eligible);
}

TEST_F(VolumeList, HasAVolumeInAOrBThatIsNoFloppy)
{
    AddInLetter(L'A', L"\\Device\\HarddiskVolume1");
    AddInLetter(L'B', L"\\Device\\CdRom0").driveType = DRIVE_CDROM;
    const Lists lists = Enumerate();
    EXPECT_EQ(Names({1}), lists.eligible);
    EXPECT_EQ(Names({2}), lists.other);
}

TEST_F(VolumeList, HasAVolumeInAWhoseDeviceIsNotTold)
{
    AddInLetter(L'A', L"");
    EXPECT_EQ(Names({1}), Enumerate().eligible);
}

TEST_F(VolumeList, HasAFloppyInAnyOtherLetter)
{
    AddInLetter(L'F', L"\\Device\\Floppy2");
    EXPECT_EQ(Names({1}), Enumerate().eligible);
}

TEST_F(VolumeList, HasAllVolumesWithAFloppyDriveThatIsEmpty)
{
    windows.devices[L'A'] = L"\\Device\\Floppy0";
    windows.Add({L"C:\\"});
    windows.Add().name = L"";
    const Lists lists = Enumerate();
    EXPECT_EQ(Names({1}), lists.eligible);
    EXPECT_EQ(StringList{L""}, lists.other);
}

TEST_F(VolumeList, KnowsAFloppyByItsNameInAnyCase)
{
    AddInLetter(L'A', L"\\Device\\Floppy0");
    AddInLetter(L'B', L"\\Device\\Floppy1");
    const Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> name(
        [&](LPCWSTR root, LPWSTR buffer, DWORD length) {
            EXPECT_EQ(name.Calls() == 1 ? L"A:\\" : std::wstring(L"B:\\"), root);
            const BOOL found = name.Original(root, buffer, length);
            CharUpperW(buffer);
            return found;
        });
    const Lists lists = Enumerate();
    EXPECT_EQ(StringList{}, lists.eligible);
    EXPECT_EQ(StringList{}, lists.other);
    EXPECT_EQ(2, name.Calls());
}

TEST_F(VolumeList, MayHaveFloppiesAlone)
{
    AddInLetter(L'A', L"\\Device\\Floppy0");
    const Lists lists = Enumerate();
    EXPECT_EQ(StringList{}, lists.eligible);
    EXPECT_EQ(StringList{}, lists.other);
}

// --- Where a volume is mounted ---

class MountPath : public ProductTest {
protected:
    static std::wstring Find(const std::wstring& name)
    {
        std::wstring path = L"before";
        FindVolumeMountPath(name, path);
        return path;
    }

    DescribedVolumes windows;
};

TEST_F(MountPath, IsTheDriveRoot)
{
    windows.Add({L"C:\\"});
    windows.Add({L"D:\\"});
    EXPECT_EQ(L"C:\\", Find(VolumeNameOf(1)));
    EXPECT_EQ(L"D:\\", Find(VolumeNameOf(2)));
}

TEST_F(MountPath, IsAFolderWithoutALetter)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\Data\\"});
    windows.Add({L"C:\\Other\\"});
    windows.Add({L"D:\\"});
    windows.Add({L"D:\\Deep\\er\\"});
    EXPECT_EQ(L"C:\\Mount\\Data\\", Find(VolumeNameOf(2)));
    EXPECT_EQ(L"C:\\Other\\", Find(VolumeNameOf(3)));
    EXPECT_EQ(L"D:\\Deep\\er\\", Find(VolumeNameOf(5)));
}

TEST_F(MountPath, IsEmptyForAVolumeThatIsMountedNowhere)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\"});
    windows.Add();
    EXPECT_EQ(L"", Find(VolumeNameOf(3)));
    EXPECT_EQ(L"", Find(VolumeNameOf(4)));
}

TEST_F(MountPath, IsFoundByTheNameInAnyCase)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\"});
    EXPECT_EQ(L"C:\\", Find(L"\\\\?\\VOLUME{00000001-ABCD-11EE-8C99-0242AC120002}\\"));
    EXPECT_EQ(L"C:\\Mount\\", Find(L"\\\\?\\volume{00000002-abcd-11ee-8c99-0242ac120002}\\"));
}

TEST_F(MountPath, IsFoundOnlyByTheNameWithItsBackslash)
{
    windows.Add({L"C:\\"});
    EXPECT_EQ(L"", Find(L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}"));
}

TEST_F(MountPath, IsTheFirstOfSeveral)
{
    // A folder of an earlier letter comes before a later letter, the letter itself before its folders.
    windows.Add({L"C:\\"});
    windows.Add({L"E:\\", L"C:\\Mount\\", L"C:\\Second\\"});
    windows.Add({L"D:\\Mount\\", L"D:\\"});
    EXPECT_EQ(L"C:\\Mount\\", Find(VolumeNameOf(2)));
    EXPECT_EQ(L"D:\\", Find(VolumeNameOf(3)));
}

TEST_F(MountPath, AsksForNothingMoreOnceItIsFound)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\"});
    windows.Add({L"C:\\Later\\"});
    windows.Add({L"D:\\"});
    std::vector<std::wstring> asked;
    const Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> name(
        [&](LPCWSTR place, LPWSTR buffer, DWORD length) {
            asked.emplace_back(place);
            return name.Original(place, buffer, length);
        });
    EXPECT_EQ(L"C:\\Mount\\", Find(VolumeNameOf(2)));
    EXPECT_EQ((std::vector<std::wstring>{L"C:\\", L"C:\\Mount\\"}), asked);
}

TEST_F(MountPath, IsNotInAFolderOfAnotherMountedFolder)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\"});
    windows.Add({L"C:\\Mount\\Nested\\"});
    EXPECT_EQ(L"", Find(VolumeNameOf(3)));
}

TEST_F(MountPath, IsOnNoFloppy)
{
    windows.devices[L'A'] = L"\\Device\\Floppy0";
    windows.devices[L'F'] = L"\\Device\\Floppy1";
    windows.Add({L"A:\\"});
    windows.Add({L"A:\\Mount\\", L"F:\\"});
    windows.Add({L"C:\\"});
    const Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> name(
        [&](LPCWSTR place, LPWSTR buffer, DWORD length) {
            EXPECT_STREQ(L"C:\\", place);
            return name.Original(place, buffer, length);
        });
    EXPECT_EQ(L"", Find(VolumeNameOf(1)));
    EXPECT_EQ(L"", Find(VolumeNameOf(2)));
    EXPECT_EQ(L"C:\\", Find(VolumeNameOf(3)));
}

TEST_F(MountPath, IsOnADriveInAThatIsNoFloppy)
{
    windows.devices[L'A'] = L"\\Device\\HarddiskVolume9";
    windows.Add({L"A:\\"});
    windows.Add({L"A:\\Mount\\"});
    EXPECT_EQ(L"A:\\", Find(VolumeNameOf(1)));
    EXPECT_EQ(L"A:\\Mount\\", Find(VolumeNameOf(2)));
}

TEST_F(MountPath, PassesByADriveWithoutAVolume)
{
    windows.devices[L'D'] = L"\\Device\\CdRom0";
    windows.Add({L"C:\\"});
    windows.Add({L"E:\\"});
    EXPECT_EQ(L"E:\\", Find(VolumeNameOf(2)));
}

TEST_F(MountPath, IsFoundWithEveryLetterInUse)
{
    for (wchar_t letter = L'A'; letter <= L'Z'; ++letter) {
        windows.Add({std::wstring(1, letter) + L":\\"});
    }
    windows.Add({L"Z:\\Mount\\"});
    EXPECT_EQ(L"Z:\\", Find(VolumeNameOf(26)));
    EXPECT_EQ(L"Z:\\Mount\\", Find(VolumeNameOf(27)));
}

TEST_F(MountPath, IsEmptyWhereWindowsTellsNoDrives)
{
    windows.Add({L"C:\\"});
    const Replaced<"GetLogicalDriveStringsW", decltype(::GetLogicalDriveStringsW)> drives([](DWORD, LPWSTR) -> DWORD {
        SetLastError(ERROR_INVALID_FUNCTION);
        return 0;
    });
    EXPECT_EQ(L"", Find(VolumeNameOf(1)));
    EXPECT_EQ(1, drives.Calls());
}

TEST_F(MountPath, IsOnALaterDriveWhereAnEarlierOnesFoldersAreNotTold)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\Mount\\", L"D:\\Mount\\"});
    windows.Add({L"D:\\"});
    const Replaced<"FindFirstVolumeMountPointW", decltype(::FindFirstVolumeMountPointW)> first(
        [&](LPCWSTR root, LPWSTR folder, DWORD length) {
            if (std::wstring(L"C:\\") == root) {
                SetLastError(ERROR_ACCESS_DENIED);
                return INVALID_HANDLE_VALUE;
            }
            return first.Original(root, folder, length);
        });
    EXPECT_EQ(L"D:\\Mount\\", Find(VolumeNameOf(2)));
    EXPECT_EQ(2, first.Calls());
}

TEST_F(MountPath, IsOnALaterDriveWhereAnEarlierOnesFoldersEndEarly)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\First\\"});
    windows.Add({L"C:\\Second\\", L"D:\\Mount\\"});
    windows.Add({L"D:\\"});
    const Replaced<"FindNextVolumeMountPointW", decltype(::FindNextVolumeMountPointW)> next([](HANDLE, LPWSTR, DWORD) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    });
    EXPECT_EQ(L"D:\\Mount\\", Find(VolumeNameOf(3)));
    EXPECT_EQ(1, next.Calls());
}

TEST_F(MountPath, PassesByAFolderWhoseVolumeIsNotTold)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\First\\", L"C:\\Second\\"});
    const Replaced<"GetVolumeNameForVolumeMountPointW", decltype(::GetVolumeNameForVolumeMountPointW)> name(
        [&](LPCWSTR place, LPWSTR buffer, DWORD length) {
            if (std::wstring(L"C:\\First\\") == place) {
                SetLastError(ERROR_ACCESS_DENIED);
                return FALSE;
            }
            return name.Original(place, buffer, length);
        });
    EXPECT_EQ(L"C:\\Second\\", Find(VolumeNameOf(2)));
}

TEST_F(MountPath, FillsABufferOf261CharactersAndNoMore)
{
    // With the root in front and the NUL behind them.
    const std::wstring folder = std::wstring(256, L'x') + L'\\';
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\" + folder});
    windows.Add({L"C:\\y" + folder});
    EXPECT_EQ(L"C:\\" + folder, Find(VolumeNameOf(2)));
    EXPECT_EQ(L"", Find(VolumeNameOf(3)));
}

TEST_F(MountPath, GivesBackWhatItHoldsWithoutMemory)
{
    windows.Add({L"C:\\"});
    windows.Add({L"C:\\A folder with a long name\\", L"C:\\Another folder with a long name\\"});
    const std::wstring name = VolumeNameOf(3);
    std::wstring path;
    const int allocations = FailEachAllocation([&] { FindVolumeMountPath(name, path); });
    EXPECT_GT(allocations, 3);
    EXPECT_EQ(L"", path);
}

// --- The volumes of the machine that the test runs on ---

class RealVolumes : public ProductTest {};

TEST_F(RealVolumes, AreInOneOfTheTwoLists)
{
    for (const wchar_t* const root : {L"A:\\", L"B:\\"}) {
        if (GetDriveTypeW(root) != DRIVE_NO_ROOT_DIR) {
            GTEST_SKIP() << "a floppy drive's volume may be in neither list";
        }
    }
    StringList expected;
    wchar_t name[261] = {};
    const win::FindVolume search(FindFirstVolumeW(name, 261));
    ASSERT_TRUE(search);
    do {
        expected.emplace_back(name, std::wstring(name).size() - 1);
    } while (FindNextVolumeW(search.Get(), name, 261) != FALSE);

    win::Variant eligible;
    win::Variant other;
    EnumerateLocalVolumes(1, 1, eligible, other);
    StringList found = ToStringList(eligible);
    for (const std::wstring& volume : ToStringList(other)) {
        found.push_back(volume);
    }
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(expected, found);
    for (const std::wstring& volume : found) {
        EXPECT_EQ(48U, volume.size());
    }
}

TEST_F(RealVolumes, AreFoundAtTheirDriveRoots)
{
    wchar_t name[261] = {};
    ASSERT_NE(FALSE, GetVolumeNameForVolumeMountPointW(L"C:\\", name, 261));
    std::wstring path;
    FindVolumeMountPath(name, path);
    EXPECT_EQ(L"C:\\", path);
}

} // namespace
