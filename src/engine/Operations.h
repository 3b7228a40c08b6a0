#pragma once

#include "engine/drive_selection.h"
#include "engine/result_codes.h"

#include <cstdint>
#include <string>

// What the commands have the engine do. Each operation makes its own connection to the engine on the computer (an empty
// name stands for the local one), prints its own messages and returns the command's result.

// --- Status ---

// Prints a line for every drive that the engine manages: its name and what the engine is doing on it. Returns 0, the
// connection's HRESULT, kNotPermitted, or the low 16 bits of a failing GetDriveList or GetDrive; lines printed before
// the failure stay.
[[nodiscard]] Result ShowDriveStatus(const std::wstring& computer);

// --- Runs: analysis and optimisation, one thread per drive ---

// One drive of an analysis, or of zeroing free space.
struct DriveJob {
    std::wstring computer;
    std::wstring drive; // as GetDrive takes it
    bool wait = false;  // until the drive is idle again
};

// One drive of an optimisation.
struct OptimizeJob : DriveJob {
    bool online = true; // else the offline pass of system files
    VLOnlineMode mode = VLModeTierWeave;
    std::uint32_t fileTypes = VLFilesConfigured; // of the offline pass
};

// Starts the work on every drive, each on a thread of its own, and returns when all threads have ended. Analysing and
// zeroing fail when a drive failed, with the last result in list order that is not 0, or 0 where none is; an
// optimisation returns 0 whatever its drives returned. A drive whose thread cannot be started is passed over.
[[nodiscard]] Failure AnalyzeDrives(const std::wstring& computer, const DriveList& drives, bool wait);
[[nodiscard]] Result OptimizeDrives(const DriveList& drives, const OptimizeJob& settings);
[[nodiscard]] Failure ZeroFreeSpaceOnDrives(const std::wstring& computer, const DriveList& drives, bool wait);

// The work on one drive, on the calling thread, which is in a COM apartment. Each fails with kConnectionFailed or the
// low 16 bits of a failing engine call. A refused rights check is kNotPermitted for an analysis; an offline pass that
// cannot run now is scheduled for the next boot and ends with kScheduledForBoot.
[[nodiscard]] Failure AnalyzeDrive(const DriveJob& job);
[[nodiscard]] Failure OptimizeDrive(const OptimizeJob& job);
[[nodiscard]] Failure ZeroFreeSpaceOnDrive(const DriveJob& job);

// Polls the drive every five seconds until it is idle after having been busy, or has been idle for twelve polls, within
// which the engine takes up its work. Returns S_OK then; the HRESULT of a failing GetDrive or GetState; with StopEvent
// signalled, the result of stopping all drives of the computer.
[[nodiscard]] HRESULT WaitForDriveIdle(IVLAgent& agent, const std::wstring& drive);

// --- Requests that the engine answers at once ---

// Schedules the drive's offline pass for the next boot. Returns 0, the connection's HRESULT, kNotPermitted,
// kBadCommandData when there are no file types to schedule, or kEngineCallFailed.
Result ScheduleBootTime(const std::wstring& computer, const std::wstring& drive, std::uint32_t fileTypes);

// Removes the drive from the offline pass of the next boot. Returns 0, the connection's HRESULT, kNotPermitted, or
// kEngineCallFailed.
[[nodiscard]] Result CancelBootTime(const std::wstring& computer, const std::wstring& drive);

// Stops the work on one drive. Returns 0, the connection's HRESULT, kNotPermitted, the low 16 bits of a failing
// GetDrive or GetMountPoint, or kEngineCallFailed when the engine does not stop the drive.
[[nodiscard]] Result StopDrive(const std::wstring& computer, const std::wstring& drive);

// Stops the work on all drives of the computer. Returns 0, the connection's HRESULT, kNotPermitted, or the low 16 bits
// of the engine's failure.
[[nodiscard]] Result StopAllDrives(const std::wstring& computer);

// Runs the schedule of this name. Returns 0, kConnectionFailed, or the low 16 bits of a failing engine call.
[[nodiscard]] Result RunSchedule(const std::wstring& computer, const std::wstring& schedule);

// --- Files ---

// Defragments files of one drive; paths holds their full paths with "|" between them. Returns 0, the connection's
// HRESULT, the low 16 bits of a failing call before the request itself, or kEngineCallFailed.
[[nodiscard]] Result DefragFiles(const std::wstring& computer, const std::wstring& drive, const std::wstring& paths);

// Prints the name of the file that has this NTFS file identifier on the drive that the user typed. Returns 0,
// kBadCommandData for a word that names no drive, the result of looking the drive up (FindVolumeIdentity),
// kNotPermitted, or the low 16 bits of a failing connection or engine call.
[[nodiscard]] Result ShowFileNameById(const std::wstring& computer, const std::wstring& drive, std::int64_t fileId);
