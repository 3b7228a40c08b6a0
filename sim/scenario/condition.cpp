#include "scenario/condition.h"

#include "win/text.h"

namespace sim {

namespace {

// Numbers that look arbitrary and follow from the drive's name alone.
class Dice {
public:
    explicit Dice(std::wstring_view name)
    {
        for (const wchar_t character : win::UpperCase(name)) {
            state_ = Mixed(state_ ^ static_cast<std::uint64_t>(character));
        }
    }

    // The next number, from the least to the most.
    std::int64_t Roll(std::int64_t least, std::int64_t most)
    {
        constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15;
        state_ += kStep;
        return least + static_cast<std::int64_t>(Mixed(state_) % static_cast<std::uint64_t>(most - least + 1));
    }

    // The next number with one decimal place; the limits are in tenths.
    double RollTenths(std::int64_t least, std::int64_t most) { return static_cast<double>(Roll(least, most)) / 10; }

private:
    // The mixing step of the generator SplitMix64.
    static std::uint64_t Mixed(std::uint64_t value)
    {
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
        return value ^ (value >> 31);
    }

    std::uint64_t state_ = 0x14C0;
};

std::int64_t PercentOf(std::int64_t whole, std::int64_t percent)
{
    return whole / 100 * percent;
}

} // namespace

DriveCondition ConditionOf(std::wstring_view driveName, Tidiness tidiness)
{
    constexpr std::int64_t kClusterSize = 4096;
    Dice dice(driveName);
    const std::int64_t freeClusters = dice.Roll(2'000'000, 100'000'000);
    DriveCondition condition;
    condition.freeSpace = freeClusters * kClusterSize;
    condition.totalFiles = dice.Roll(20'000, 600'000);

    // Every number is rolled whatever the drive's state, so that those after it stay the same.
    const std::int64_t fragmentedWorn = PercentOf(condition.totalFiles, dice.Roll(3, 20));
    const std::int64_t fragmentedTidy = fragmentedWorn / dice.Roll(10, 40);
    const std::int64_t largestWorn = PercentOf(freeClusters, dice.Roll(10, 30)) * kClusterSize;
    const std::int64_t largestTidy = PercentOf(freeClusters, dice.Roll(50, 80)) * kClusterSize;
    const double freeSpaceWorn = dice.RollTenths(400, 700);
    const double freeSpaceTidy = dice.RollTenths(80, 300);
    const double filesWorn = dice.RollTenths(80, 350);
    const double filesTidy = dice.RollTenths(2, 40);
    const double performanceWorn = dice.RollTenths(450, 750);
    const double performanceTidy = dice.RollTenths(850, 980);
    condition.fragmentedFiles = tidiness.files ? fragmentedTidy : fragmentedWorn;
    condition.largestFreeSpace = tidiness.files ? largestTidy : largestWorn;
    condition.freeSpaceFragmentation = tidiness.files ? freeSpaceTidy : freeSpaceWorn;
    condition.fileFragmentation = tidiness.files ? filesTidy : filesWorn;
    condition.drivePerformance = tidiness.files ? performanceTidy : performanceWorn;

    const std::int64_t mftWorn = dice.Roll(8, 40);
    const std::int64_t mftTidy = dice.Roll(0, 3);
    const std::int64_t metadataWorn = dice.Roll(20, 120);
    const std::int64_t metadataTidy = dice.Roll(0, 9);
    const std::int64_t directoriesWorn = dice.Roll(300, 4000);
    const std::int64_t directoriesTidy = dice.Roll(0, 60);
    const double directoryWorn = dice.RollTenths(40, 200);
    const double directoryTidy = dice.RollTenths(1, 15);
    condition.mftExcessFragments = tidiness.metadata ? mftTidy : mftWorn;
    condition.metadataExcessFragments = tidiness.metadata ? metadataTidy : metadataWorn;
    condition.directoryFragments = tidiness.metadata ? directoriesTidy : directoriesWorn;
    condition.directoryFragmentation = tidiness.metadata ? directoryTidy : directoryWorn;
    return condition;
}

} // namespace sim
