#pragma once

#include "engine/engine_contract.h"
#include "support/replaced_function.h"
#include "win/critical_section.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace testing_support {

// A drive of the fake engine.
struct FakeDrive {
    std::wstring identity;   // as in the drive list
    std::wstring name;       // as the user knows it
    std::wstring mountPoint; // as printed
    ULONG offlineFileTypes = 7;
    std::vector<ULONG> states{0}; // one per GetState call; the last one stays
};

// One call that reached the engine: "agent.GetDrive(C:\)", "drive.GetState(C:\)", "service.GetSchedule()". A drive
// among the arguments stands with its name.
using EngineCalls = std::vector<std::wstring>;

// One activation that the program asked for.
struct Activation {
    bool remote; // CoCreateInstanceEx, else CoCreateInstance
    CLSID classId;
    IID interfaceId;
    DWORD context;
    std::wstring server; // of a remote one
    bool operator==(const Activation&) const = default;
};

// What the fake engine does when a method is called.
struct Fault {
    // What the method answers instead of doing its work.
    HRESULT result = E_FAIL;
    // Only for calls whose argument text (what stands between the parentheses) begins so; empty for all.
    std::wstring argument{};
    // Only for the n-th call of the method that the argument admits, counted from 1; 0 for all.
    int call = 0;
};

// An engine inside the test process. As long as it lives, CoCreateInstance and CoCreateInstanceEx of the engine's
// classes hand out its objects and GetComputerNameW answers "THISPC". All of it may be used from several threads.
class FakeEngine {
public:
    FakeEngine();
    FakeEngine(FakeEngine&&) = delete;
    ~FakeEngine();

    std::wstring computerName = L"THISPC";
    HRESULT activation = S_OK;     // what activating a class answers
    bool activatesNothing = false; // activation succeeds and hands out null
    std::vector<FakeDrive> drives;
    // Replaces the list made of the drives' identities.
    std::wstring driveList;
    bool hasDriveList = false;
    std::wstring fileName = L"C:\\data\\report.doc"; // what GetFileNameById answers
    // What the statistics object of a drive holds, by path and name: "/ NumStatPoints", "/Fragmented/1 Before". A value
    // that is not held is a failure of its own, ERROR_FILE_NOT_FOUND.
    std::map<std::wstring, std::map<std::wstring, double>> figures;
    // Up to when points were asked for, by each GetStatistics.
    std::vector<DATE> cutOffs;
    // Called before each method does its work, with the call's text.
    std::function<void(const std::wstring& call)> onCall;

    // Adds a drive whose identity is "\\?\Volume{NAME}\", NAME without ":" and "\", and whose mount point is its
    // name.
    FakeDrive& AddDrive(const std::wstring& name);

    // Makes a method fail, by its bare name: "GetDrive".
    void Fail(const std::wstring& method, Fault fault);
    // Makes the call that will stand at this place of Calls(), counted from 0, fail.
    void FailCallAt(std::size_t place, HRESULT result) { faultByPlace_ = {place, result}; }
    // Makes a method succeed and hand out a null interface or a null string.
    void HandOutNull(const std::wstring& method);

    // The calls so far, in order, and again from now on.
    [[nodiscard]] EngineCalls Calls() const;
    [[nodiscard]] EngineCalls TakeCalls();
    // How many calls of a method there were.
    [[nodiscard]] int CountCalls(const std::wstring& method) const;
    [[nodiscard]] std::vector<Activation> Activations() const;
    // Objects of the engine that somebody still holds.
    [[nodiscard]] int LiveObjects() const { return liveObjects_; }

private:
    class Objects;
    friend class Objects;

    [[nodiscard]] bool HandsOutNull(const std::wstring& method) const { return nulls_.contains(method); }
    HRESULT Activate(bool remote, REFCLSID classId, DWORD context, const wchar_t* server, REFIID interfaceId,
                     void** object);

    mutable win::CriticalSection lock_;
    EngineCalls calls_;
    std::vector<Activation> activations_;
    std::multimap<std::wstring, Fault> faults_;
    std::optional<std::pair<std::size_t, HRESULT>> faultByPlace_;
    std::map<std::wstring, std::map<std::wstring, int>> counts_; // per method: calls by argument
    std::set<std::wstring> nulls_;
    std::map<std::wstring, std::size_t> statesAsked_;
    std::atomic<int> liveObjects_ = 0;

    Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> createLocal_;
    Replaced<"CoCreateInstanceEx", decltype(::CoCreateInstanceEx)> createRemote_;
    Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> computerName_;
};

} // namespace testing_support
