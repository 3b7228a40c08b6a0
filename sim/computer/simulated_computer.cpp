#include "computer/simulated_computer.h"

#include "base/text.h"

#include "win/text.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

std::optional<SimulatedComputer>& TheComputer()
{
    static std::optional<SimulatedComputer> computer;
    return computer;
}

bool SamePath(std::wstring_view left, std::wstring_view right)
{
    return win::EqualNames(WithoutTrailingBackslash(left), WithoutTrailingBackslash(right));
}

DWORD SaturatedCount(std::uint64_t count)
{
    return static_cast<DWORD>(std::min<std::uint64_t>(count, 0xFFFFFFFF));
}

// What Windows tells of the volume.
ShownVolume VolumeOf(const VolumeSetup& setup)
{
    const DWORD clusterSize = setup.sectorsPerCluster * setup.bytesPerSector;
    ShownVolume volume;
    volume.name = setup.name;
    volume.mountedAt = setup.mounts;
    volume.driveType = setup.type;
    volume.label = setup.label;
    volume.fileSystem = setup.fileSystem;
    volume.bus = static_cast<STORAGE_BUS_TYPE>(setup.bus);
    volume.ntfs.NumberSectors.QuadPart = static_cast<LONGLONG>(setup.totalClusters * setup.sectorsPerCluster);
    volume.ntfs.TotalClusters.QuadPart = static_cast<LONGLONG>(setup.totalClusters);
    volume.ntfs.FreeClusters.QuadPart = static_cast<LONGLONG>(setup.freeClusters);
    volume.ntfs.BytesPerSector = setup.bytesPerSector;
    volume.ntfs.BytesPerCluster = clusterSize;
    volume.ntfs.MftValidDataLength.QuadPart = static_cast<LONGLONG>(setup.mftBytes);
    volume.ntfs.MftZoneStart.QuadPart = static_cast<LONGLONG>(setup.mftZoneStart);
    volume.ntfs.MftZoneEnd.QuadPart = static_cast<LONGLONG>(setup.mftZoneEnd);
    volume.ntfsError = win::EqualNames(setup.fileSystem, L"NTFS") ? ERROR_SUCCESS : ERROR_INVALID_FUNCTION;
    volume.sectorsPerCluster = setup.sectorsPerCluster;
    volume.bytesPerSector = setup.bytesPerSector;
    volume.freeClusters = SaturatedCount(setup.freeClusters);
    volume.totalClusters = SaturatedCount(setup.totalClusters);
    volume.callersFreeBytes = setup.freeClusters * setup.sectorsPerCluster * setup.bytesPerSector;
    volume.totalBytes = setup.totalClusters * setup.sectorsPerCluster * setup.bytesPerSector;
    if (setup.fileSystem.empty()) {
        // There is no medium, or it is not formatted.
        const bool isDriveWithMedia = setup.type == DRIVE_CDROM || setup.type == DRIVE_REMOVABLE;
        const DWORD error = isDriveWithMedia ? ERROR_NOT_READY : ERROR_UNRECOGNIZED_VOLUME;
        volume.fileSystemError = volume.clustersError = volume.bytesError = error;
    }
    return volume;
}

// The volume that the path names, as a root or as a device.
const ShownVolume* FindVolume(const ShownVolumes& volumes, std::wstring_view path)
{
    return path.ends_with(L'\\') ? volumes.Find(path) : volumes.FindDevice(path);
}

} // namespace

SimulatedComputer::SimulatedComputer(ComputerSetup setup) : setup_(std::move(setup))
{
    for (const VolumeSetup& volume : setup_.volumes) {
        volumes_.volumes.push_back(VolumeOf(volume));
        if (!volume.bootIni.empty()) {
            bootInis_.emplace(volume.name, volume.bootIni);
        }
        if (!volume.floppy) {
            continue;
        }
        const std::wstring device = L"\\Device\\Floppy" + std::to_wstring(volumes_.volumes.size());
        for (const std::wstring& mount : volume.mounts) {
            if (mount.size() == std::wstring_view(L"A:\\").size()) {
                volumes_.devices.emplace(mount.front(), device);
            }
        }
    }
    for (const WindowsFault& fault : setup_.faults) {
        faults_.push_back({fault});
    }
}

std::optional<DWORD> SimulatedComputer::TakeFault(std::wstring_view function, std::wstring_view path)
{
    std::optional<DWORD> error;
    const std::scoped_lock guard(lock_);
    for (CountedFault& counted : faults_) {
        const WindowsFault& fault = counted.fault;
        if (fault.function == function && Concerns(fault, path) && fault.calls.Holds(++counted.calls) && !error) {
            error = fault.error;
        }
    }
    return error;
}

bool SimulatedComputer::Concerns(const WindowsFault& fault, std::wstring_view path) const
{
    if (fault.path.empty() || SamePath(fault.path, path)) {
        return true;
    }
    const ShownVolume* const volume = FindVolume(volumes_, fault.path);
    return volume != nullptr && volume == FindVolume(volumes_, path);
}

void SetComputer(ComputerSetup setup)
{
    TheComputer().emplace(std::move(setup));
}

SimulatedComputer& Computer()
{
    return *TheComputer();
}

bool Fails(std::wstring_view function, std::wstring_view path)
{
    const std::optional<DWORD> error = Computer().TakeFault(function, path);
    if (error) {
        SetLastError(*error);
    }
    return error.has_value();
}

} // namespace sim
