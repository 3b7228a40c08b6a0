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

// A drive letter's device as the root of the drive, any other path as it is.
std::wstring RootOfDevice(std::wstring_view path)
{
    constexpr std::wstring_view kDevice = L"\\\\.\\C:";
    const bool isDevice = path.size() == kDevice.size() && path.starts_with(L"\\\\.\\") && path.ends_with(L':');
    return isDevice ? std::wstring(path.substr(4)) + L'\\' : std::wstring(path);
}

bool SamePath(std::wstring_view left, std::wstring_view right)
{
    return win::EqualNames(WithoutTrailingBackslash(left), WithoutTrailingBackslash(right));
}

} // namespace

SimulatedComputer::SimulatedComputer(ComputerSetup setup) : setup_(std::move(setup))
{
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

const VolumeSetup* SimulatedComputer::FindVolume(std::wstring_view path) const
{
    const std::wstring wanted = RootOfDevice(path);
    for (const VolumeSetup& volume : setup_.volumes) {
        if (SamePath(volume.name, wanted) ||
            std::ranges::any_of(volume.mounts, [&](const std::wstring& mount) { return SamePath(mount, wanted); })) {
            return &volume;
        }
    }
    return nullptr;
}

bool SimulatedComputer::Concerns(const WindowsFault& fault, std::wstring_view path) const
{
    if (fault.path.empty() || SamePath(fault.path, path)) {
        return true;
    }
    const VolumeSetup* const volume = FindVolume(fault.path);
    return volume != nullptr && volume == FindVolume(path);
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
