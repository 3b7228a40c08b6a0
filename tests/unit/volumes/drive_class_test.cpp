#include "volumes/drive_class.h"

#include "support/described_volumes.h"
#include "support/product_test.h"
#include "support/registry.h"

#include <array>
#include <string>
#include <vector>

namespace {

using namespace testing_support;

constexpr wchar_t kSetting[] = L"ShowAllOtherRemoveableDrives";

// A Windows with one volume, which is mounted at E:.
class DriveClass : public ProductTest {
protected:
    DriveClass() { windows.Add({L"E:\\"}); }

    DescribedVolume& Volume() { return windows.volumes.front(); }
    [[nodiscard]] const std::wstring& Name() { return Volume().name; }

    static void SetSetting(std::uint32_t value)
    {
        RegistrySandbox::SetDword(HKEY_LOCAL_MACHINE, kCoreKey, kSetting, value);
    }

    DescribedVolumes windows;
};

// --- Floppy drives ---

class FloppyDrive : public DriveClass {
protected:
    bool IsFloppyAs(const std::wstring& target)
    {
        windows.devices[L'A'] = target;
        return IsFloppyDrive(L'A');
    }
};

TEST_F(FloppyDrive, IsWhateverDeviceIsCalledSo)
{
    EXPECT_TRUE(IsFloppyAs(L"\\Device\\Floppy0"));
    EXPECT_TRUE(IsFloppyAs(L"\\Device\\Floppy1"));
    EXPECT_TRUE(IsFloppyAs(L"\\floppy"));
    EXPECT_TRUE(IsFloppyAs(L"\\Device\\FloppyPDO3\\Part"));
}

TEST_F(FloppyDrive, IsKnownInAnyCase)
{
    EXPECT_TRUE(IsFloppyAs(L"\\DEVICE\\FLOPPY0"));
    EXPECT_TRUE(IsFloppyAs(L"\\device\\floppy0"));
    EXPECT_TRUE(IsFloppyAs(L"\\Device\\fLOPPy0"));
}

TEST_F(FloppyDrive, IsNoOtherDevice)
{
    EXPECT_FALSE(IsFloppyAs(L"\\Device\\HarddiskVolume1"));
    EXPECT_FALSE(IsFloppyAs(L"\\Device\\CdRom0"));
    EXPECT_FALSE(IsFloppyAs(L"Floppy0"));
    EXPECT_FALSE(IsFloppyAs(L"\\Device\\SuperFloppy0"));
    EXPECT_FALSE(IsFloppyAs(L"\\Device\\Flopp"));
}

TEST_F(FloppyDrive, IsNoDriveThatWindowsDoesNotKnow)
{
    EXPECT_FALSE(IsFloppyDrive(L'B'));
}

TEST_F(FloppyDrive, IsAskedForByItsLetterWithAColon)
{
    windows.devices[L'A'] = L"\\Device\\Floppy0";
    std::vector<std::wstring> asked;
    const Replaced<"QueryDosDeviceW", decltype(::QueryDosDeviceW)> query(
        [&](LPCWSTR device, LPWSTR target, DWORD length) {
            asked.emplace_back(device);
            EXPECT_EQ(260U, length);
            return query.Original(device, target, length);
        });
    EXPECT_TRUE(IsFloppyDrive(L'A'));
    EXPECT_FALSE(IsFloppyDrive(L'E'));
    EXPECT_EQ((std::vector<std::wstring>{L"A:", L"E:"}), asked);
}

TEST_F(FloppyDrive, IsNoDriveOfAQueryThatFailsWhateverItLeavesBehind)
{
    const Replaced<"QueryDosDeviceW", decltype(::QueryDosDeviceW)> query([](LPCWSTR, LPWSTR target, DWORD) -> DWORD {
        constexpr std::wstring_view kLeft = L"\\Device\\Floppy0";
        target[kLeft.copy(target, kLeft.size())] = L'\0';
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    });
    EXPECT_FALSE(IsFloppyDrive(L'A'));
}

// --- File systems ---

class SupportedFileSystem : public DriveClass {
protected:
    bool IsSupported(const std::wstring& name)
    {
        Volume().fileSystem = name;
        return IsSupportedFileSystem(Name());
    }
};

TEST_F(SupportedFileSystem, IsSupportedByItsName)
{
    for (const wchar_t* const name :
         {L"FAT", L"FAT12", L"FAT16", L"FAT32", L"NTFS", L"CsvFS", L"ReFS", L"exFAT", L"KestraneFS"}) {
        EXPECT_TRUE(IsSupported(name)) << name;
    }
}

TEST_F(SupportedFileSystem, IsSupportedInAnyCase)
{
    for (const wchar_t* const name : {L"fat", L"Fat32", L"ntfs", L"Ntfs", L"CSVFS", L"csvfs", L"REFS", L"refs",
                                      L"EXFAT", L"exfat", L"KESTRANEFS", L"kestranefs"}) {
        EXPECT_TRUE(IsSupported(name)) << name;
    }
}

TEST_F(SupportedFileSystem, IsSupportedWhateverFollowsFat)
{
    EXPECT_TRUE(IsSupported(L"FATX"));
    EXPECT_TRUE(IsSupported(L"fatality"));
    EXPECT_TRUE(IsSupported(L"FAT "));
}

TEST_F(SupportedFileSystem, IsNotSupportedByAnyOtherName)
{
    for (const wchar_t* const name :
         {L"",         L"F",    L"FA",    L"fa",    L"FA T",  L" FAT",   L"VFAT", L"exFAT2",
          L"exFA",     L"NTF",  L"NTFS ", L"NTFS2", L"ReFS2", L"CsvFS1", L"CSV",  L"KestraneFS2",
          L"Kestrane", L"CDFS", L"UDF",   L"RAW",   L"HPFS",  L"ext4"}) {
        EXPECT_FALSE(IsSupported(name)) << name;
    }
}

TEST_F(SupportedFileSystem, IsNotSupportedWhereWindowsDoesNotTellIt)
{
    Volume().fileSystemError = ERROR_UNRECOGNIZED_VOLUME;
    EXPECT_FALSE(IsSupported(L"NTFS"));
    EXPECT_FALSE(IsSupportedFileSystem(L"Q:\\"));
    EXPECT_FALSE(IsSupportedFileSystem(L""));
}

TEST_F(SupportedFileSystem, IsAskedForWith261Characters)
{
    const Replaced<"GetVolumeInformationW", decltype(::GetVolumeInformationW)> information(
        [&](LPCWSTR root, LPWSTR label, DWORD labelLength, LPDWORD serial, LPDWORD longest, LPDWORD flags, LPWSTR name,
            DWORD length) {
            EXPECT_EQ(Name(), root);
            EXPECT_EQ(261U, length);
            return information.Original(root, label, labelLength, serial, longest, flags, name, length);
        });
    EXPECT_TRUE(IsSupportedFileSystem(Name()));
    EXPECT_EQ(1, information.Calls());
}

// --- Buses ---

class VolumeBus : public DriveClass {};

TEST_F(VolumeBus, IsOneOfTheSet)
{
    for (const STORAGE_BUS_TYPE bus : {BusTypeUsb, BusType1394, BusTypeAta}) {
        Volume().bus = bus;
        EXPECT_TRUE(IsVolumeOnBus(Name(), {BusTypeUsb, BusType1394, BusTypeAta})) << bus;
        EXPECT_TRUE(IsVolumeOnBus(Name(), {bus})) << bus;
    }
}

TEST_F(VolumeBus, IsNoneOfTheSet)
{
    Volume().bus = BusTypeUsb;
    EXPECT_FALSE(IsVolumeOnBus(Name(), {}));
    EXPECT_FALSE(IsVolumeOnBus(Name(), {BusTypeAta}));
    EXPECT_FALSE(IsVolumeOnBus(Name(), {BusType1394, BusTypeAta, BusTypeSata, BusTypeUnknown}));
}

TEST_F(VolumeBus, IsAskedOfTheVolumesDevice)
{
    Volume().bus = BusTypeUsb;
    EXPECT_TRUE(IsVolumeOnBus(L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}\\", {BusTypeUsb}));
    ASSERT_EQ(1U, windows.opened.size());
    EXPECT_EQ(L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}", windows.opened[0].path);
    EXPECT_EQ(0U, windows.opened[0].access);
}

TEST_F(VolumeBus, IsAskedOfADevicePathAsItStands)
{
    Volume().bus = BusTypeUsb;
    EXPECT_TRUE(IsVolumeOnBus(L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}", {BusTypeUsb}));
    EXPECT_TRUE(IsVolumeOnBus(L"\\\\.\\E:", {BusTypeUsb}));
    ASSERT_EQ(2U, windows.opened.size());
    EXPECT_EQ(L"\\\\?\\Volume{00000001-aBcD-11ee-8c99-0242ac120002}", windows.opened[0].path);
    EXPECT_EQ(L"\\\\.\\E:", windows.opened[1].path);
}

TEST_F(VolumeBus, LosesOneBackslashOnly)
{
    Volume().bus = BusTypeUsb;
    EXPECT_FALSE(IsVolumeOnBus(Name() + L'\\', {BusTypeUsb}));
    ASSERT_EQ(1U, windows.opened.size());
    EXPECT_EQ(Name(), windows.opened[0].path);
}

TEST_F(VolumeBus, IsNotAskedOfNoVolume)
{
    EXPECT_FALSE(IsVolumeOnBus(L"", {BusTypeUnknown, BusTypeUsb}));
    EXPECT_TRUE(windows.opened.empty());
}

TEST_F(VolumeBus, IsNoneOfADeviceThatCannotBeOpened)
{
    Volume().bus = BusTypeUsb;
    Volume().openError = ERROR_ACCESS_DENIED;
    const Replaced<"DeviceIoControl", decltype(::DeviceIoControl)> control(
        [](HANDLE, DWORD, LPVOID, DWORD, LPVOID, DWORD, LPDWORD, LPOVERLAPPED) {
            ADD_FAILURE();
            return FALSE;
        });
    EXPECT_FALSE(IsVolumeOnBus(Name(), {BusTypeUsb, BusTypeUnknown}));
}

TEST_F(VolumeBus, IsNoneOfADeviceThatDoesNotTellIt)
{
    Volume().bus = BusTypeUsb;
    Volume().busError = ERROR_INVALID_FUNCTION;
    EXPECT_FALSE(IsVolumeOnBus(Name(), {BusTypeUsb, BusTypeUnknown}));
    EXPECT_EQ(1U, windows.opened.size());
}

// --- The setting ---

class RemovableSetting : public DriveClass {};

TEST_F(RemovableSetting, IsOffWithoutItsKeyOrItsValue)
{
    EXPECT_FALSE(ShowAllOtherRemovableDrives());
    RegistrySandbox::MakeKey(HKEY_LOCAL_MACHINE, kCoreKey);
    EXPECT_FALSE(ShowAllOtherRemovableDrives());
}

TEST_F(RemovableSetting, IsOnWithAnyNumber)
{
    for (const std::uint32_t value : {1U, 0U, 2U, 0xFFFFFFFFU}) {
        SetSetting(value);
        EXPECT_TRUE(ShowAllOtherRemovableDrives()) << value;
    }
}

TEST_F(RemovableSetting, IsOffWithAnythingButANumber)
{
    const auto isOnWith = [](DWORD type, const std::vector<BYTE>& data) {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kCoreKey, kSetting, type, data);
        return ShowAllOtherRemovableDrives();
    };
    EXPECT_FALSE(isOnWith(REG_SZ, {'1', 0, 0, 0}));
    EXPECT_FALSE(isOnWith(REG_BINARY, {1, 0, 0, 0}));
    EXPECT_FALSE(isOnWith(REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_FALSE(isOnWith(REG_DWORD, {1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(isOnWith(REG_DWORD, {1, 0, 0, 0}));
}

TEST_F(RemovableSetting, IsOnWithANumberOfFewerThanFourBytes)
{
    for (const std::vector<BYTE>& data : {std::vector<BYTE>{}, {0}, {1, 0}, {0, 0, 0}}) {
        RegistrySandbox::SetRaw(HKEY_LOCAL_MACHINE, kCoreKey, kSetting, REG_DWORD, data);
        EXPECT_TRUE(ShowAllOtherRemovableDrives()) << data.size();
    }
}

TEST_F(RemovableSetting, IsTheMachinesNotTheUsers)
{
    RegistrySandbox::SetDword(HKEY_CURRENT_USER, kCoreKey, kSetting, 1);
    EXPECT_FALSE(ShowAllOtherRemovableDrives());
}

TEST_F(RemovableSetting, IsOpenedForReadingAndOffWhereThatFails)
{
    SetSetting(1);
    LSTATUS answer = ERROR_SUCCESS;
    const Replaced<"RegOpenKeyExW", decltype(::RegOpenKeyExW)> open(
        [&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(L"Software\\Kestrane\\VLCore\\14.0", path);
            EXPECT_EQ(0x20019U, access);
            return answer != ERROR_SUCCESS ? answer : open.Original(root, path, options, access, key);
        });
    EXPECT_TRUE(ShowAllOtherRemovableDrives());
    answer = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(ShowAllOtherRemovableDrives());
    EXPECT_EQ(2, open.Calls());
}

TEST_F(RemovableSetting, IsOffWhereItsValueCannotBeRead)
{
    SetSetting(1);
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR name, LPDWORD, LPDWORD, LPBYTE, LPDWORD size) -> LSTATUS {
            EXPECT_STREQ(L"ShowAllOtherRemoveableDrives", name);
            EXPECT_EQ(4U, *size);
            return ERROR_KEY_DELETED;
        });
    EXPECT_FALSE(ShowAllOtherRemovableDrives());
    EXPECT_EQ(1, query.Calls());
}

// --- Eligible volumes ---

// Every bus that a device can name, from BusTypeUnknown to BusTypeNvme. Not every SDK has names for the last ones.
constexpr std::array<STORAGE_BUS_TYPE, 18> AllBuses()
{
    std::array<STORAGE_BUS_TYPE, 18> buses{};
    for (std::size_t number = 0; number < buses.size(); ++number) {
        buses[number] = static_cast<STORAGE_BUS_TYPE>(number);
    }
    return buses;
}
constexpr auto kAllBuses = AllBuses();
static_assert(kAllBuses[3] == BusTypeAta && kAllBuses[4] == BusType1394 && kAllBuses[7] == BusTypeUsb);

bool IsExternal(STORAGE_BUS_TYPE bus)
{
    return bus == BusTypeUsb || bus == BusType1394;
}

class Eligibility : public DriveClass {
protected:
    bool IsEligible(bool fixedExternal, bool removableKnownBus)
    {
        return IsEligibleVolume(Name(), fixedExternal, removableKnownBus);
    }
};

TEST_F(Eligibility, OfAFixedDiskOnAnExternalBusIsTheFirstValue)
{
    for (const STORAGE_BUS_TYPE bus : {BusTypeUsb, BusType1394}) {
        Volume().bus = bus;
        EXPECT_FALSE(IsEligible(false, true)) << bus;
        EXPECT_TRUE(IsEligible(true, false)) << bus;
    }
}

TEST_F(Eligibility, OfAFixedDiskOnAnyOtherBusIsGiven)
{
    for (const STORAGE_BUS_TYPE bus : kAllBuses) {
        if (!IsExternal(bus)) {
            Volume().bus = bus;
            EXPECT_TRUE(IsEligible(false, false)) << bus;
        }
    }
}

TEST_F(Eligibility, OfAFixedDiskDoesNotHangOnTheSetting)
{
    SetSetting(1);
    Volume().bus = BusTypeUsb;
    EXPECT_FALSE(IsEligible(false, true));
}

TEST_F(Eligibility, OfAFixedDiskIsGivenWhereItsBusIsNotTold)
{
    Volume().bus = BusTypeUsb;
    Volume().busError = ERROR_INVALID_FUNCTION;
    EXPECT_TRUE(IsEligible(false, false));
    Volume().busError = ERROR_SUCCESS;
    Volume().openError = ERROR_ACCESS_DENIED;
    EXPECT_TRUE(IsEligible(false, false));
}

TEST_F(Eligibility, OfARemovableDiskOnAKnownBusIsTheSecondValue)
{
    Volume().driveType = DRIVE_REMOVABLE;
    Volume().fileSystem = L"FAT32";
    for (const STORAGE_BUS_TYPE bus : {BusTypeUsb, BusType1394, BusTypeAta}) {
        Volume().bus = bus;
        EXPECT_TRUE(IsEligible(false, true)) << bus;
        EXPECT_FALSE(IsEligible(true, false)) << bus;
    }
}

TEST_F(Eligibility, OfARemovableDiskOnAKnownBusDoesNotHangOnTheSetting)
{
    SetSetting(1);
    Volume().driveType = DRIVE_REMOVABLE;
    for (const STORAGE_BUS_TYPE bus : {BusTypeUsb, BusType1394, BusTypeAta}) {
        Volume().bus = bus;
        EXPECT_FALSE(IsEligible(true, false)) << bus;
    }
}

TEST_F(Eligibility, OfARemovableDiskOnAnyOtherBusIsTheSetting)
{
    Volume().driveType = DRIVE_REMOVABLE;
    for (const STORAGE_BUS_TYPE bus : kAllBuses) {
        if (!IsExternal(bus) && bus != BusTypeAta) {
            Volume().bus = bus;
            EXPECT_FALSE(IsEligible(true, true)) << bus;
        }
    }
    SetSetting(0);
    for (const STORAGE_BUS_TYPE bus : kAllBuses) {
        if (!IsExternal(bus) && bus != BusTypeAta) {
            Volume().bus = bus;
            EXPECT_TRUE(IsEligible(false, false)) << bus;
        }
    }
}

TEST_F(Eligibility, OfARemovableDiskIsTheSettingWhereItsBusIsNotTold)
{
    Volume().driveType = DRIVE_REMOVABLE;
    Volume().bus = BusTypeUsb;
    const auto isEligibleBy = [&](DWORD openError, DWORD busError) {
        Volume().openError = openError;
        Volume().busError = busError;
        return IsEligible(true, true);
    };
    EXPECT_FALSE(isEligibleBy(ERROR_ACCESS_DENIED, 0));
    EXPECT_FALSE(isEligibleBy(0, ERROR_INVALID_FUNCTION));
    SetSetting(1);
    EXPECT_TRUE(isEligibleBy(ERROR_ACCESS_DENIED, 0));
    EXPECT_TRUE(isEligibleBy(0, ERROR_INVALID_FUNCTION));
}

TEST_F(Eligibility, AsksARemovableDiskForBothSetsOfBusesAndAFixedOneForOne)
{
    Volume().bus = BusTypeUsb;
    EXPECT_TRUE(IsEligible(true, true));
    EXPECT_EQ(1U, windows.opened.size());
    windows.opened.clear();
    Volume().driveType = DRIVE_REMOVABLE;
    EXPECT_TRUE(IsEligible(true, true));
    EXPECT_EQ(2U, windows.opened.size());
}

TEST_F(Eligibility, IsDeniedToEveryOtherTypeOfDrive)
{
    SetSetting(1);
    constexpr UINT kTypes[] = {DRIVE_UNKNOWN, DRIVE_NO_ROOT_DIR, DRIVE_REMOTE, DRIVE_CDROM, DRIVE_RAMDISK, 7};
    for (const UINT type : kTypes) {
        Volume().driveType = type;
        for (const STORAGE_BUS_TYPE bus : kAllBuses) {
            Volume().bus = bus;
            EXPECT_FALSE(IsEligible(true, true)) << type << " on " << bus;
        }
    }
}

TEST_F(Eligibility, IsDeniedToEveryOtherFileSystemBeforeAnythingIsAsked)
{
    SetSetting(1);
    const Replaced<"GetDriveTypeW", decltype(::GetDriveTypeW)> type([](LPCWSTR) {
        ADD_FAILURE();
        return static_cast<UINT>(DRIVE_FIXED);
    });
    for (const wchar_t* const name : {L"RAW", L"CDFS", L"UDF", L"FA", L""}) {
        Volume().fileSystem = name;
        EXPECT_FALSE(IsEligible(true, true)) << name;
    }
    Volume().fileSystem = L"NTFS";
    Volume().fileSystemError = ERROR_NOT_READY;
    EXPECT_FALSE(IsEligible(true, true));
    EXPECT_TRUE(windows.opened.empty());
}

TEST_F(Eligibility, IsGivenToEverySupportedFileSystem)
{
    for (const wchar_t* const name : {L"FAT", L"fat", L"FAT32", L"NTFS", L"CsvFS", L"ReFS", L"exFAT", L"KestraneFS"}) {
        Volume().fileSystem = name;
        EXPECT_TRUE(IsEligible(false, false)) << name;
    }
}

TEST_F(Eligibility, AsksEverythingOfTheVolumeItself)
{
    Volume().driveType = DRIVE_REMOVABLE;
    const Replaced<"GetDriveTypeW", decltype(::GetDriveTypeW)> type([&](LPCWSTR root) {
        EXPECT_EQ(Name(), root);
        return type.Original(root);
    });
    EXPECT_FALSE(IsEligible(true, true));
    ASSERT_EQ(2U, windows.opened.size());
    for (const OpenedDevice& device : windows.opened) {
        EXPECT_EQ(Name(), device.path + L'\\');
        EXPECT_EQ(0U, device.access);
    }
}

} // namespace
