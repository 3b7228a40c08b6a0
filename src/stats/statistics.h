#pragma once

#include "engine/drive_selection.h"
#include "engine/result_codes.h"

#include <string>

// The latest statistics that the product recorded for drives.

// The error where there is no database: the configured connection names no known provider, or none is configured.
inline constexpr auto kNoDatabase = static_cast<Result>(0x80070429); // the HRESULT of ERROR_DATABASE_DOES_NOT_EXIST

// Print the latest analysis, online or offline optimisation of one drive of the local computer, from the product's
// database; one line when none was recorded. Nothing is printed when the database fails. Return 0 or the code of the
// database error.
[[nodiscard]] Result ShowAnalyzeStats(const std::wstring& drive);
[[nodiscard]] Result ShowOnlineStats(const std::wstring& drive);
[[nodiscard]] Result ShowOfflineStats(const std::wstring& drive);

// What the local reports are about.
enum class StatisticsKind {
    Analyze,
    Online,
    Offline,
};

// Prints the report of each drive in order under the computer's name. The first drive whose report fails ends it with a
// message; its code is returned, else 0.
[[nodiscard]] Result ShowLocalStats(const DriveList& drives, StatisticsKind kind);

// Prints what the engine on another computer recorded last for each drive: one report of fragmentation and performance
// before and after, whatever kind was asked for. Returns 0 or the failing HRESULT, which ends it: of the connection,
// whose reason has been printed; of asking for a drive's statistics; of reading them, which is told. Memory that runs
// out on a drive is told in the same way and is kOutOfMemory.
[[nodiscard]] Result ShowRemoteStats(const std::wstring& computer, const DriveList& drives);
