#pragma once

#include "engine/com_object.h"

#include <memory>

namespace sim {

// The drive manager.
class AgentObject final : public ComObject<AgentSlots> {
public:
    explicit AgentObject(std::shared_ptr<Engine> engine);

    HRESULT STDMETHODCALLTYPE GetDriveList(BSTR* driveList) override;
    HRESULT STDMETHODCALLTYPE GetDrive(BSTR driveName, IVLDrive** drive) override;
    HRESULT STDMETHODCALLTYPE Analyze(IVLDrive* drive) override;
    HRESULT STDMETHODCALLTYPE OptimizeOnline(IVLDrive* drive, LONG mode) override;
    HRESULT STDMETHODCALLTYPE DefragFile(IVLDrive* drive, BSTR filePath) override;
    HRESULT STDMETHODCALLTYPE PrepareOffline(IVLDrive* drive, LONG reserved) override;
    HRESULT STDMETHODCALLTYPE ScheduleBootTime(IVLDrive* drive, ULONG fileTypes) override;
    HRESULT STDMETHODCALLTYPE CancelBootTime(IVLDrive* drive) override;
    HRESULT STDMETHODCALLTYPE OptimizeOffline(IVLDrive* drive, ULONG fileTypes) override;
    HRESULT STDMETHODCALLTYPE StopDrive(IVLDrive* drive) override;
    HRESULT STDMETHODCALLTYPE StopAll() override;
    HRESULT STDMETHODCALLTYPE CheckAccess(ULONG* rights) override;
    HRESULT STDMETHODCALLTYPE GetFileNameById(BSTR volume, hyper fileId, BSTR* fileName) override;
    HRESULT STDMETHODCALLTYPE GetStatistics(BSTR driveName, DATE cutOff, LONG pointCount,
                                            IVLStatistics** statistics) override;
    HRESULT STDMETHODCALLTYPE ZeroFreeSpace(IVLDrive* drive, LONG reserved) override;

private:
    template <typename AddArguments, typename Work>
    HRESULT ServeDrive(Method method, IVLDrive* drive, AddArguments addArguments, Work work);
};

} // namespace sim
