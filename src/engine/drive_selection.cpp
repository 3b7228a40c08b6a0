#include "engine/drive_selection.h"

#include "engine/drive_spec.h"
#include "win/result_code.h"

#include <algorithm>

HRESULT WalkDrives(IVLAgent& agent, const DriveVisit& visit)
{
    win::Bstr list;
    if (const HRESULT result = agent.GetDriveList(list.Put()); FAILED(result)) {
        return result;
    }
    HRESULT result = S_OK;
    win::ForEachPiece(list.View(), L'|', [&](std::wstring_view identity) {
        win::ComPtr<IVLDrive> drive;
        result = GetDrive(agent, identity, drive);
        return SUCCEEDED(result) && visit(identity, *drive);
    });
    return FAILED(result) ? result : S_OK;
}

Result ListAllDrives(const std::wstring& computer, DriveList& names)
{
    names.clear();
    win::ComPtr<IVLAgent> agent;
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    const HRESULT walk = WalkDrives(*agent, [&](std::wstring_view, IVLDrive& drive) {
        win::Bstr name;
        if (SUCCEEDED(drive.GetDriveName(name.Put()))) {
            names.push_back(name.ToString());
        }
        return true;
    });
    return win::CodeOf(walk);
}

Failure FindVolumeIdentity(const std::wstring& computer, std::wstring_view typedDrive, std::wstring& identity)
{
    identity.clear();
    win::ComPtr<IVLAgent> agent;
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    const std::wstring wanted = ConvertDriveSpec(typedDrive).text;
    bool found = false;
    const HRESULT walk = WalkDrives(*agent, [&](std::wstring_view piece, IVLDrive& drive) {
        win::Bstr name;
        // A word that converts to nothing does not name a drive without a name.
        found = SUCCEEDED(drive.GetDriveName(name.Put())) && !wanted.empty() && win::EqualNames(name.View(), wanted);
        if (found) {
            identity = piece;
        }
        return !found;
    });
    if (FAILED(walk)) {
        return win::CodeOf(walk);
    }
    return found ? Failure() : kNotMatched;
}

RequestedDrives::RequestedDrives(const DriveList& words)
{
    for (const std::wstring& word : words) {
        names_.insert(word);
        if (DriveSpec spec = ConvertDriveSpec(word); spec.kind != DriveSpecKind::Unknown) {
            names_.insert(std::move(spec.text));
        }
    }
}

bool RequestedDrives::Contains(std::wstring_view name) const
{
    return names_.contains(name);
}

HRESULT MatchDrives(IVLAgent& agent, const RequestedDrives& requested, DriveList& identities)
{
    const HRESULT walk = WalkDrives(agent, [&](std::wstring_view identity, IVLDrive& drive) {
        win::Bstr name;
        if (SUCCEEDED(drive.GetDriveName(name.Put())) && requested.Contains(name.View())) {
            identities.emplace_back(identity);
        }
        return true;
    });
    if (SUCCEEDED(walk)) {
        std::sort(identities.begin(), identities.end());
        identities.erase(std::unique(identities.begin(), identities.end()), identities.end());
    }
    return walk;
}
