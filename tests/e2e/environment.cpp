#include "engine_process.h"
#include "registry_value.h"
#include "support/provider_registration.h"

#include <gtest/gtest.h>

namespace {

using namespace e2e;

// What every test finds: the simulated engine of this build registered, and nothing in the registry that makes the tool
// behave otherwise. What a user has set there comes back at the end.
class UntouchedComputer : public testing::Environment {
public:
    void SetUp() override
    {
        for (const wchar_t* const name : {L"ConnectionString", L"IncludeTransId", L"Language", L"TraceEntryExit",
                                          L"TraceFilePath", L"TraceFunctionName", L"TraceLevel", L"TraceModuleList"}) {
            values_.Add(HKEY_LOCAL_MACHINE, kCoreKey, name);
        }
        for (const wchar_t* const name : kPolicyValues) {
            values_.Add(HKEY_CURRENT_USER, kPolicyKey, name);
        }
        for (const wchar_t* const name : {L"Scenario", L"CallLog"}) {
            values_.Add(HKEY_LOCAL_MACHINE, kSimulatorKey, name);
        }
        if (RegisteredEngine() != L'"' + (ProgramFolder() / L"VLEngine.exe").wstring() + L'"') {
            ASSERT_EQ(0U, RunEngine(L"/regserver"));
        }
        testing_support::RegisterProvider();
    }

    void TearDown() override { values_.Clear(); }

private:
    // How COM starts the engine's drive manager.
    static std::wstring RegisteredEngine()
    {
        wchar_t command[1024] = {};
        DWORD size = sizeof command;
        RegGetValueW(HKEY_LOCAL_MACHINE,
                     L"Software\\Classes\\CLSID\\{0C5E92B1-7F3A-4D68-B2C4-9A81E6F05D17}\\LocalServer32", nullptr,
                     RRF_RT_REG_SZ, nullptr, command, &size);
        return command;
    }

    RegistryValues values_;
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new UntouchedComputer);

} // namespace
