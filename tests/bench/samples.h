#pragma once

#include "win/windows_api.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

// What the bench's programs share: timing, and the figures as one JSON object on standard output.

// Ends the program with the reason on standard error unless the condition holds.
inline void Require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "%s (last error %lu)\n", what, GetLastError());
        ExitProcess(1);
    }
}

// The milliseconds that work() takes.
template <typename Work>
double Milliseconds(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Times in milliseconds of the tool's code and of what stands beside it, pair by pair.
struct Samples {
    std::vector<double> tool;
    std::vector<double> floor;
};

inline void PrintTimes(const char* name, const std::vector<double>& times)
{
    std::printf("\"%s\": [", name);
    for (std::size_t i = 0; i < times.size(); ++i) {
        std::printf("%s%.6f", i == 0 ? "" : ", ", times[i]);
    }
    std::printf("]");
}

inline void Print(const Samples& samples)
{
    std::printf("{");
    PrintTimes("tool", samples.tool);
    std::printf(", ");
    PrintTimes("floor", samples.floor);
    std::printf("}\n");
}

// Runs both as often as said, in turn and each as often first. Both return the milliseconds of what is measured.
template <typename Tool, typename Floor>
Samples RunInTurn(int turns, Tool tool, Floor floor)
{
    Samples samples;
    for (int turn = 0; turn < turns; ++turn) {
        const bool floorFirst = turn % 2 != 0;
        if (floorFirst) {
            samples.floor.push_back(floor());
        }
        samples.tool.push_back(tool());
        if (!floorFirst) {
            samples.floor.push_back(floor());
        }
    }
    return samples;
}
