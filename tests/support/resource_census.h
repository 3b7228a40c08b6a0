#pragma once

#include <memory>
#include <string>

namespace testing_support {

// Counts what Windows hands out to the program and gets back: BSTRs and arrays, also in VARIANTs, handles (files,
// events, mutexes, threads, processes), searches (files, volumes, mount points), registry keys, local and global
// memory, streams over memory, COM initialisations. Libraries are not given back. It sees the calls of the test
// program's import table for as long as it lives; a replacement of one of these functions made after it stands in front
// of it and reaches it through Original. A stream that the program has released stays in memory until the next one is
// made, or the census goes.
class ResourceCensus {
public:
    ResourceCensus();
    ResourceCensus(ResourceCensus&&) = delete;
    ~ResourceCensus();

    // A line for every kind of thing of which more or fewer were given back than handed out; empty when all is even.
    [[nodiscard]] std::string Imbalance() const;

    // CoInitializeEx calls that succeeded, less CoUninitialize calls.
    [[nodiscard]] int ComBalance() const;

private:
    class Counters;
    std::unique_ptr<Counters> counters_;
};

} // namespace testing_support
