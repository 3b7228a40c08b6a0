#pragma once

#include "engine/com_object.h"

#include <memory>

namespace sim {

// One drive, as a client holds it.
class DriveObject final : public ComObject<DriveSlots> {
public:
    DriveObject(const std::shared_ptr<Engine>& engine, DriveIndex drive);

    // The object behind an interface that a client handed in, or nothing where the interface is null or not ours.
    [[nodiscard]] static win::ComPtr<DriveObject> From(IVLDrive* drive);

    [[nodiscard]] DriveIndex Drive() const { return drive_; }
    [[nodiscard]] const DriveSetup& Setup() const { return Drives().Setup(drive_); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;

    HRESULT STDMETHODCALLTYPE GetDriveName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE GetMountPoint(BSTR* mountPoint) override;
    HRESULT STDMETHODCALLTYPE GetOfflineFileTypes(ULONG* fileTypes) override;
    HRESULT STDMETHODCALLTYPE GetState(ULONG* state) override;

private:
    template <typename Output, typename Work>
    HRESULT ServeCall(Method method, Output output, Work work);

    DriveIndex drive_;
};

} // namespace sim
