#pragma once

#include <cstdint>
#include <string_view>

namespace sim {

// The condition of a drive as an analysis tells it. Sizes are bytes; fragmentation and performance are percent.
struct DriveCondition {
    std::int64_t freeSpace = 0;
    std::int64_t totalFiles = 0;
    std::int64_t fragmentedFiles = 0;
    std::int64_t largestFreeSpace = 0;
    std::int64_t mftExcessFragments = 0;
    std::int64_t metadataExcessFragments = 0;
    std::int64_t directoryFragments = 0;
    double freeSpaceFragmentation = 0;
    double fileFragmentation = 0;
    double directoryFragmentation = 0;
    double drivePerformance = 0;

    friend bool operator==(const DriveCondition&, const DriveCondition&) = default;
};

// What has been defragmented on a drive since the server started: files and free space by an online pass, directories
// and metadata by an offline pass.
struct Tidiness {
    bool files = false;
    bool metadata = false;
};

// The condition of the drive of this name, whatever its case: plausible figures, the same at every call.
[[nodiscard]] DriveCondition ConditionOf(std::wstring_view driveName, Tidiness tidiness);

} // namespace sim
