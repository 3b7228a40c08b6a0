#pragma once

#include "engine/connection.h"
#include "win/text.h"

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// Names of drives, in the engine's order where the engine gave them.
using DriveList = std::vector<std::wstring>;

// Splits the engine's drive list at "|" and visits each volume identity with its drive, in the engine's order, until
// visit returns false. Returns the failing HRESULT of GetDriveList or GetDrive, which ends the walk; else S_OK.
using DriveVisit = std::function<bool(std::wstring_view identity, IVLDrive& drive)>;
[[nodiscard]] HRESULT WalkDrives(IVLAgent& agent, const DriveVisit& visit);

// Fills the list with the names of all drives that the engine on the computer manages, as the user knows them; a drive
// that does not tell its name is passed over. Returns 0, the connection's HRESULT, or the low 16 bits of a failing
// engine call, with the names gathered before it in the list.
[[nodiscard]] Result ListAllDrives(const std::wstring& computer, DriveList& names);

// The engine's identity of the drive that the user typed, compared in its converted form (ConvertDriveSpec) without
// regard to case. Fails with the connection's HRESULT, kNotMatched, or the low 16 bits of a failing engine call.
[[nodiscard]] Failure FindVolumeIdentity(const std::wstring& computer, std::wstring_view typedDrive,
                                         std::wstring& identity);

// Drive words as the user typed them, ready to be compared with the engine's names.
class RequestedDrives {
public:
    explicit RequestedDrives(const DriveList& words);

    // Whether one of the words, as typed or in its converted form, is this name without regard to case.
    [[nodiscard]] bool Contains(std::wstring_view name) const;

private:
    std::set<std::wstring, win::NameLess> names_;
};

// Appends the identities of the engine's drives whose names were requested, sorted and each once. Returns S_OK or the
// failing HRESULT of an engine call; what was matched before it is in the list as it was found.
[[nodiscard]] HRESULT MatchDrives(IVLAgent& agent, const RequestedDrives& requested, DriveList& identities);
