#include "support/fake_engine.h"

#include "base/counted_object.h"
#include "engine/reserved_slots.h"
#include "win/bstr.h"
#include "win/com_ptr.h"
#include "win/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

namespace testing_support {

namespace {

std::wstring Text(const OLECHAR* text)
{
    return text == nullptr ? L"(null)" : std::wstring(text, SysStringLen(const_cast<BSTR>(text)));
}

} // namespace

// The engine's COM objects.
class FakeEngine::Objects {
public:
    // What every object shares: its interfaces and the engine's books.
    template <typename... Slots>
    class Object : public sim::CountedObject<Slots...> {
    public:
        explicit Object(FakeEngine& engine) : engine_(engine) { ++engine_.liveObjects_; }
        ~Object() override { --engine_.liveObjects_; }

        HRESULT WINAPI QueryInterface(REFIID interfaceId, void** object) override
        {
            return this->template OfferInterfaces<typename Slots::Contract...>(interfaceId, object);
        }

    protected:
        // The program has no business with these.
        HRESULT OnReserved(std::wstring_view interfaceName, unsigned slot) override
        {
            ADD_FAILURE() << "slot " << slot << " of " << std::wstring(interfaceName) << " was called";
            return E_NOTIMPL;
        }

        FakeEngine& engine_;
    };

    static HRESULT Enter(FakeEngine& engine, const wchar_t* object, const std::wstring& method,
                         const std::wstring& arguments)
    {
        const std::wstring call = std::wstring(object) + L'.' + method + L'(' + arguments + L')';
        std::function<void(const std::wstring&)> onCall;
        HRESULT result = S_OK;
        {
            const std::lock_guard guard(engine.lock_);
            if (engine.faultByPlace_ && engine.faultByPlace_->first == engine.calls_.size()) {
                result = engine.faultByPlace_->second;
            }
            engine.calls_.push_back(call);
            ++engine.counts_[method][arguments];
            onCall = engine.onCall;
            const auto [first, last] = engine.faults_.equal_range(method);
            for (auto fault = first; fault != last; ++fault) {
                if (Applies(engine, method, arguments, fault->second)) {
                    result = fault->second.result;
                }
            }
        }
        if (onCall) {
            onCall(call);
        }
        return result;
    }

    static bool Applies(FakeEngine& engine, const std::wstring& method, const std::wstring& arguments,
                        const Fault& fault)
    {
        if (!arguments.starts_with(fault.argument)) {
            return false;
        }
        int calls = 0;
        for (const auto& [text, count] : engine.counts_[method]) {
            calls += text.starts_with(fault.argument) ? count : 0;
        }
        return fault.call == 0 || fault.call == calls;
    }

    static HRESULT HandOut(FakeEngine& engine, const std::wstring& method, const std::wstring& text, BSTR* out)
    {
        *out = engine.HandsOutNull(method) ? nullptr : SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
        return S_OK;
    }

    class Drive;
    class Schedule;
    class Statistics;
    class Agent;
    class Service;
};

class FakeEngine::Objects::Drive final : public Object<sim::DriveSlots> {
public:
    Drive(FakeEngine& engine, FakeDrive drive) : Object(engine), drive_(std::move(drive)) {}

    [[nodiscard]] const FakeDrive& Described() const { return drive_; }

    HRESULT WINAPI GetDriveName(BSTR* name) override
    {
        const HRESULT result = Enter(engine_, L"drive", L"GetDriveName", drive_.name);
        return FAILED(result) ? result : HandOut(engine_, L"GetDriveName", drive_.name, name);
    }
    HRESULT WINAPI GetMountPoint(BSTR* mountPoint) override
    {
        const HRESULT result = Enter(engine_, L"drive", L"GetMountPoint", drive_.name);
        return FAILED(result) ? result : HandOut(engine_, L"GetMountPoint", drive_.mountPoint, mountPoint);
    }
    HRESULT WINAPI GetOfflineFileTypes(ULONG* fileTypes) override
    {
        const HRESULT result = Enter(engine_, L"drive", L"GetOfflineFileTypes", drive_.name);
        *fileTypes = FAILED(result) ? 0 : drive_.offlineFileTypes;
        return result;
    }
    HRESULT WINAPI GetState(ULONG* state) override
    {
        const HRESULT result = Enter(engine_, L"drive", L"GetState", drive_.name);
        if (FAILED(result)) {
            return result;
        }
        const std::lock_guard guard(engine_.lock_);
        std::size_t& asked = engine_.statesAsked_[drive_.identity];
        *state = drive_.states[std::min(asked, drive_.states.size() - 1)];
        ++asked;
        return result;
    }

private:
    const FakeDrive drive_;
};

class FakeEngine::Objects::Schedule final : public Object<sim::ScheduleSlots> {
public:
    using Object::Object;

    HRESULT WINAPI RunByName(BSTR scheduleName) override
    {
        return Enter(engine_, L"schedule", L"RunByName", Text(scheduleName));
    }
};

class FakeEngine::Objects::Statistics final : public Object<sim::StatisticsSlots> {
public:
    Statistics(FakeEngine& engine, std::map<std::wstring, double> values) : Object(engine), values_(std::move(values))
    {}

    HRESULT WINAPI GetInteger(BSTR path, BSTR valueName, LONG* value) override
    {
        double number = 0;
        const HRESULT result = Look(L"GetInteger", path, valueName, number);
        *value = static_cast<LONG>(number);
        return result;
    }
    HRESULT WINAPI GetDouble(BSTR path, BSTR valueName, double* value) override
    {
        return Look(L"GetDouble", path, valueName, *value);
    }

private:
    HRESULT Look(const wchar_t* method, BSTR path, BSTR valueName, double& value)
    {
        value = 0;
        const HRESULT result = Enter(engine_, L"statistics", method, Text(path) + L", " + Text(valueName));
        if (FAILED(result)) {
            return result;
        }
        const auto found = values_.find(Text(path) + L' ' + Text(valueName));
        if (found == values_.end()) {
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        }
        value = found->second;
        return S_OK;
    }

    const std::map<std::wstring, double> values_;
};

class FakeEngine::Objects::Agent final : public Object<sim::AgentSlots> {
public:
    using Object::Object;

    HRESULT WINAPI GetDriveList(BSTR* names) override
    {
        const HRESULT result = Enter(engine_, L"agent", L"GetDriveList", {});
        if (FAILED(result)) {
            return result;
        }
        std::wstring list = engine_.driveList;
        if (!engine_.hasDriveList) {
            for (const FakeDrive& drive : engine_.drives) {
                list += (list.empty() ? L"" : L"|") + drive.identity;
            }
        }
        return HandOut(engine_, L"GetDriveList", list, names);
    }
    HRESULT WINAPI GetDrive(BSTR driveName, IVLDrive** drive) override
    {
        *drive = nullptr;
        const std::wstring wanted = Text(driveName);
        const HRESULT result = Enter(engine_, L"agent", L"GetDrive", wanted);
        if (FAILED(result)) {
            return result;
        }
        const auto found = std::find_if(engine_.drives.begin(), engine_.drives.end(),
                                        [&](const FakeDrive& d) { return d.identity == wanted || d.name == wanted; });
        if (found == engine_.drives.end()) {
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        }
        if (!engine_.HandsOutNull(L"GetDrive")) {
            *drive = new Drive(engine_, *found);
        }
        return S_OK;
    }
    HRESULT WINAPI Analyze(IVLDrive* drive) override { return OnDrive(L"Analyze", drive); }
    HRESULT WINAPI OptimizeOnline(IVLDrive* drive, LONG mode) override
    {
        return OnDrive(L"OptimizeOnline", drive, mode);
    }
    HRESULT WINAPI DefragFile(IVLDrive* drive, BSTR filePath) override
    {
        return Enter(engine_, L"agent", L"DefragFile", NameOf(drive) + L", " + Text(filePath));
    }
    HRESULT WINAPI PrepareOffline(IVLDrive* drive, LONG reserved) override
    {
        return OnDrive(L"PrepareOffline", drive, reserved);
    }
    HRESULT WINAPI ScheduleBootTime(IVLDrive* drive, ULONG fileTypes) override
    {
        return OnDrive(L"ScheduleBootTime", drive, fileTypes);
    }
    HRESULT WINAPI CancelBootTime(IVLDrive* drive) override { return OnDrive(L"CancelBootTime", drive); }
    HRESULT WINAPI OptimizeOffline(IVLDrive* drive, ULONG fileTypes) override
    {
        return OnDrive(L"OptimizeOffline", drive, fileTypes);
    }
    HRESULT WINAPI StopDrive(IVLDrive* drive) override { return OnDrive(L"StopDrive", drive); }
    HRESULT WINAPI StopAll() override { return Enter(engine_, L"agent", L"StopAll", {}); }
    HRESULT WINAPI CheckAccess(ULONG* rights) override
    {
        *rights = 0;
        return Enter(engine_, L"agent", L"CheckAccess", {});
    }
    HRESULT WINAPI GetFileNameById(BSTR volume, hyper fileId, BSTR* name) override
    {
        const HRESULT result =
            Enter(engine_, L"agent", L"GetFileNameById", Text(volume) + L", " + std::to_wstring(fileId));
        return FAILED(result) ? result : HandOut(engine_, L"GetFileNameById", engine_.fileName, name);
    }
    HRESULT WINAPI GetStatistics(BSTR driveName, DATE cutOff, LONG pointCount, IVLStatistics** statistics) override
    {
        *statistics = nullptr;
        const HRESULT result =
            Enter(engine_, L"agent", L"GetStatistics", Text(driveName) + L", " + std::to_wstring(pointCount));
        engine_.cutOffs.push_back(cutOff);
        if (SUCCEEDED(result) && !engine_.HandsOutNull(L"GetStatistics")) {
            *statistics = new Statistics(engine_, engine_.figures[Text(driveName)]);
        }
        return result;
    }
    HRESULT WINAPI ZeroFreeSpace(IVLDrive* drive, LONG reserved) override
    {
        return OnDrive(L"ZeroFreeSpace", drive, reserved);
    }

private:
    static std::wstring NameOf(IVLDrive* drive) { return static_cast<Drive*>(drive)->Described().name; }

    HRESULT OnDrive(const wchar_t* method, IVLDrive* drive) { return Enter(engine_, L"agent", method, NameOf(drive)); }

    template <typename Number>
    HRESULT OnDrive(const wchar_t* method, IVLDrive* drive, Number number)
    {
        return Enter(engine_, L"agent", method, NameOf(drive) + L", " + std::to_wstring(number));
    }
};

class FakeEngine::Objects::Service final : public Object<sim::ServiceSlots, sim::RefreshSlots> {
public:
    using Object::Object;

    HRESULT WINAPI GetServiceState(ULONG* state) override
    {
        *state = 0;
        return Enter(engine_, L"service", L"GetServiceState", {});
    }
    HRESULT WINAPI GetSchedule(IVLSchedule** schedule) override
    {
        *schedule = nullptr;
        const HRESULT result = Enter(engine_, L"service", L"GetSchedule", {});
        if (SUCCEEDED(result) && !engine_.HandsOutNull(L"GetSchedule")) {
            *schedule = new Schedule(engine_);
        }
        return result;
    }
    HRESULT WINAPI Refresh() override { return Enter(engine_, L"refresh", L"Refresh", {}); }
};

FakeEngine::FakeEngine()
    : createLocal_([this](REFCLSID classId, IUnknown*, DWORD context, REFIID interfaceId, void** object) {
          return Activate(false, classId, context, L"", interfaceId, object);
      }),
      createRemote_([this](REFCLSID classId, IUnknown*, DWORD context, COSERVERINFO* server, DWORD, MULTI_QI* results) {
          results->hr = Activate(true, classId, context, server->pwszName, *results->pIID,
                                 reinterpret_cast<void**>(&results->pItf));
          return results->hr;
      }),
      computerName_([this](wchar_t* name, DWORD* length) {
          if (*length <= computerName.size()) {
              SetLastError(ERROR_BUFFER_OVERFLOW);
              return FALSE;
          }
          *length = static_cast<DWORD>(computerName.copy(name, computerName.size()));
          name[*length] = L'\0';
          return TRUE;
      })
{}

FakeEngine::~FakeEngine()
{
    EXPECT_EQ(0, LiveObjects()) << "the program still holds objects of the engine";
}

FakeDrive& FakeEngine::AddDrive(const std::wstring& name)
{
    std::wstring guid = name;
    std::erase_if(guid, [](wchar_t c) { return c == L'\\' || c == L':'; });
    drives.push_back({L"\\\\?\\Volume{" + guid + L"}\\", name, name});
    return drives.back();
}

void FakeEngine::Fail(const std::wstring& method, Fault fault)
{
    faults_.emplace(method, std::move(fault));
}

void FakeEngine::HandOutNull(const std::wstring& method)
{
    nulls_.insert(method);
}

EngineCalls FakeEngine::Calls() const
{
    const std::lock_guard guard(lock_);
    return calls_;
}

EngineCalls FakeEngine::TakeCalls()
{
    const std::lock_guard guard(lock_);
    return std::exchange(calls_, {});
}

int FakeEngine::CountCalls(const std::wstring& method) const
{
    const std::lock_guard guard(lock_);
    return static_cast<int>(std::count_if(calls_.begin(), calls_.end(), [&](const std::wstring& call) {
        return call.find(L'.' + method + L'(') != std::wstring::npos;
    }));
}

std::vector<Activation> FakeEngine::Activations() const
{
    const std::lock_guard guard(lock_);
    return activations_;
}

HRESULT FakeEngine::Activate(bool remote, REFCLSID classId, DWORD context, const wchar_t* server, REFIID interfaceId,
                             void** object)
{
    *object = nullptr;
    {
        const std::lock_guard guard(lock_);
        activations_.push_back({remote, classId, interfaceId, context, server});
    }
    if (FAILED(activation) || activatesNothing) {
        return activation;
    }
    win::ComPtr<IUnknown> created;
    if (classId == AgentClass()) {
        created.Attach(new Objects::Agent(*this));
    } else if (classId == ServiceClass()) {
        created.Attach(static_cast<IVLService*>(new Objects::Service(*this)));
    } else {
        return REGDB_E_CLASSNOTREG;
    }
    return created->QueryInterface(interfaceId, object);
}

} // namespace testing_support
