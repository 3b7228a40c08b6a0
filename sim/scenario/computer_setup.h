#pragma once

#include "win/windows_api.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <winioctl.h>

namespace sim {

// The calls for which a fault holds; they are counted from 1.
struct CallRange {
    std::uint64_t first = 1;
    std::optional<std::uint64_t> last; // for good if absent

    [[nodiscard]] bool Holds(std::uint64_t call) const { return call >= first && (!last || call <= *last); }
};

// The version of Windows as GetVersionExW tells it.
struct WindowsVersion {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
};

// A volume as Windows shows it. Sizes are in clusters unless they say otherwise.
struct VolumeSetup {
    std::size_t line = 0;             // where its section begins
    std::wstring name;                // its GUID path, with the closing backslash
    std::vector<std::wstring> mounts; // drive roots and folders, each with the closing backslash
    std::uint32_t type = DRIVE_FIXED; // as GetDriveTypeW tells it
    std::uint32_t bus = BusTypeSata;  // as STORAGE_BUS_TYPE numbers it
    std::wstring fileSystem;          // empty for a volume without one
    std::wstring label;
    std::uint32_t sectorsPerCluster = 8;
    std::uint32_t bytesPerSector = 512;
    std::uint64_t totalClusters = 0;
    std::uint64_t freeClusters = 0;
    std::uint64_t mftBytes = 0;
    std::uint64_t mftZoneStart = 0;
    std::uint64_t mftZoneEnd = 0;
    bool floppy = false;
    std::wstring bootIni; // the file that is shown as boot.ini in the volume's root
};

// Another computer of the network: an engine with a scenario of its own, or the HRESULT of every attempt to reach one.
struct OtherComputer {
    std::size_t line = 0;
    std::wstring name; // "*" stands for every computer without a section of its own
    std::wstring scenario;
    std::optional<std::uint32_t> failure;
};

// A registry value; the data are as the registry holds them.
struct RegistryValueSetup {
    std::wstring name; // empty for the key's default value
    std::uint32_t type = 0;
    std::vector<unsigned char> data;
};

// A registry key that is shown with these values and without any others, in place of what the registry holds there.
struct RegistryKeySetup {
    std::size_t line = 0;
    std::wstring path; // from the root's name on
    std::vector<RegistryValueSetup> values;
};

// A change of a policy value: its new number, or its end.
struct PolicyChange {
    std::chrono::milliseconds after{0}; // counted from the registration for policy changes
    std::wstring name;
    std::optional<std::uint32_t> number;
};

// A control key that is pressed in the tool's console, or another event that Windows tells console programs.
struct KeyPress {
    std::chrono::milliseconds after{0}; // counted from the program's first control handler
    std::uint32_t event = 0;            // as control handlers get it
};

// One order to a function of Windows. Calls are counted per fault, over those that concern its path if it names one.
struct WindowsFault {
    std::size_t line = 0;
    std::wstring function;
    std::wstring path;
    CallRange calls;
    std::optional<std::uint32_t> error; // a Windows error, or an HRESULT where the function returns one
};

// The computer around the engine, as far as the scenario describes it; the rest is as Windows has it.
struct ComputerSetup {
    std::optional<std::wstring> name;
    std::optional<std::uint32_t> cleanBoot; // 0 normal, 1 Safe Boot, 2 Safe Boot with network
    std::optional<WindowsVersion> windows;
    std::wstring servicePack;
    std::uint32_t servicePackMajor = 0;
    std::uint32_t servicePackMinor = 0;
    std::optional<std::uint32_t> productType; // as OSVERSIONINFOEXW numbers it
    std::optional<std::uint32_t> suite;
    std::optional<std::uint64_t> memoryKilobytes;
    std::optional<std::uint64_t> commitKilobytes;
    double clockSpeed = 1; // how many seconds of the scenario pass in one
    std::vector<VolumeSetup> volumes;
    std::vector<OtherComputer> computers;
    std::vector<RegistryKeySetup> registry;
    std::vector<PolicyChange> policyChanges; // the earliest first
    std::vector<KeyPress> presses;           // the earliest first
    std::vector<WindowsFault> faults;

    // The computer of this name, in any case and with or without two backslashes before it; null where the scenario
    // says nothing of it.
    [[nodiscard]] const OtherComputer* FindComputer(std::wstring_view computer) const;

    // Makes the relative paths of the scenario's files absolute; the folder that they begin in ends in a backslash.
    void ResolvePaths(const std::wstring& folder);
};

// How long a time of the scenario really takes at this speed; zero only for zero.
[[nodiscard]] std::chrono::milliseconds AtSpeed(std::chrono::milliseconds time, double speed);

} // namespace sim
