#include "scenario/computer_setup.h"

#include "win/text.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

// Whether the path begins with a drive, a share or a device.
bool IsAbsolute(std::wstring_view path)
{
    return path.starts_with(L'\\') || path.starts_with(L'/') || path.substr(0, 2).ends_with(L':');
}

} // namespace

const OtherComputer* ComputerSetup::FindComputer(std::wstring_view computer) const
{
    constexpr std::wstring_view kNetworkPrefix = L"\\\\";
    if (computer.starts_with(kNetworkPrefix)) {
        computer.remove_prefix(kNetworkPrefix.size());
    }
    const OtherComputer* anyOther = nullptr;
    for (const OtherComputer& other : computers) {
        if (win::EqualNames(other.name, computer)) {
            return &other;
        }
        if (other.name == L"*") {
            anyOther = &other;
        }
    }
    return anyOther;
}

void ComputerSetup::ResolvePaths(const std::wstring& folder)
{
    const auto resolve = [&folder](std::wstring& path) {
        if (!path.empty() && !IsAbsolute(path)) {
            path.insert(0, folder);
        }
    };
    for (OtherComputer& other : computers) {
        resolve(other.scenario);
    }
    for (VolumeSetup& volume : volumes) {
        resolve(volume.bootIni);
    }
}

std::chrono::milliseconds AtSpeed(std::chrono::milliseconds time, double speed)
{
    return std::chrono::milliseconds(std::llround(std::ceil(static_cast<double>(time.count()) / speed)));
}

} // namespace sim
