#include "engine/drive_object.h"

#include "engine/serve.h"

namespace sim {

namespace {

// Only our own drive objects answer to this identifier, with a pointer to the object itself, so that a drive that a
// client passes in can be recognised. No proxy has it.
constexpr GUID kOwnDrive = {0x3e1d77a2, 0x8c54, 0x4f0b, {0x9d, 0x16, 0x4b, 0x0e, 0xa7, 0x52, 0xc3, 0x98}};

} // namespace

DriveObject::DriveObject(const std::shared_ptr<Engine>& engine, DriveIndex drive)
    : ComObject(engine, ObjectKind::Drive, engine->Drives().Setup(drive).name), drive_(drive)
{}

win::ComPtr<DriveObject> DriveObject::From(IVLDrive* drive)
{
    win::ComPtr<DriveObject> own;
    void* object = nullptr;
    if (drive != nullptr && SUCCEEDED(drive->QueryInterface(kOwnDrive, &object))) {
        own.Attach(static_cast<DriveObject*>(object));
    }
    return own;
}

HRESULT DriveObject::QueryInterface(REFIID iid, void** object)
{
    const GUID wanted = CopyGuid(&iid);
    if (object != nullptr && IsEqualGUID(wanted, kOwnDrive)) {
        *object = this;
        AddRef();
        return S_OK;
    }
    return ComObject::QueryInterface(wanted, object);
}

template <typename Output, typename Work>
HRESULT DriveObject::ServeCall(Method method, Output output, Work work)
{
    return Serve(*SharedEngine(), Label(), method, Arguments().About(drive_), output, work);
}

HRESULT DriveObject::GetDriveName(BSTR* name)
{
    return ServeCall(Method::GetDriveName, TextOutput(L"name", name),
                     [this](const TextOutput& output) { return output.Put(Setup().name); });
}

HRESULT DriveObject::GetMountPoint(BSTR* mountPoint)
{
    return ServeCall(Method::GetMountPoint, TextOutput(L"mountPoint", mountPoint),
                     [this](const TextOutput& output) { return output.Put(Setup().mountPoint); });
}

HRESULT DriveObject::GetOfflineFileTypes(ULONG* fileTypes)
{
    return ServeCall(Method::GetOfflineFileTypes, NumberOutput(L"fileTypes", fileTypes),
                     [this](const NumberOutput<ULONG>& output) {
                         output.Put(Setup().offlineTypes);
                         return S_OK;
                     });
}

HRESULT DriveObject::GetState(ULONG* state)
{
    return ServeCall(Method::GetState, NumberOutput(L"state", state), [this](const NumberOutput<ULONG>& output) {
        output.Put(Drives().StateOf(drive_, EngineDrives::Clock::now()));
        return S_OK;
    });
}

} // namespace sim
