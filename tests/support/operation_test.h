#pragma once

#include "engine/result_codes.h"
#include "support/error_object.h"
#include "support/message_tables.h"
#include "support/numbered_messages.h"
#include "support/process_list.h"
#include "support/product_test.h"

#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace testing_support {

inline constexpr Failure kSucceeded = std::nullopt;

// A failure of the engine and how the user reads it.
struct EngineFailure {
    const char* kind;
    HRESULT failure;
    Result code;              // the low 16 bits
    const wchar_t* object;    // description of the thread's error object; null for none
    const wchar_t* errorText; // up to the return code
};

inline constexpr EngineFailure kEngineFailures[] = {
    {"with an error object", static_cast<HRESULT>(0x80041234), 0x1234, L"The engine is busy.",
     L"\r\nError text:\r\nThe engine is busy.\r\nReturn code: 0x80041234 (2147750452)"},
    {"known to the system", static_cast<HRESULT>(0x80070005), 5, nullptr,
     L"\r\nError text:\r\nAccess is denied.\r\n\r\nReturn code: 0x80070005 (2147942405)"},
    {"known to the internet module", static_cast<HRESULT>(0x80072EE7), 12007, nullptr,
     L"\r\nError text:\r\nThe server name cannot be resolved.\r\nReturn code: 0x80072EE7 (2147954407)"},
    {"known to nobody", static_cast<HRESULT>(0x8004FFFE), 0xFFFE, nullptr,
     L"\r\nError text:\r\nDetailed error text is not available\r\nReturn code: 0x8004FFFE (2147811326)"},
    {"whose low 16 bits are 0", static_cast<HRESULT>(0x80040000), 0, nullptr,
     L"\r\nError text:\r\nThe operation completed successfully.\r\n\r\nReturn code: 0x80040000 (2147745792)"},
    {"of the Windows error 0", static_cast<HRESULT>(0x80070000), 0, nullptr,
     L"\r\nError text:\r\nThe operation completed successfully.\r\n\r\nReturn code: 0x80070000 (2147942400)"},
};

// Ground for a test of the engine's operations: an engine with the drive C:, whose mount point is shown as
// "C:\ (Boot)"; no process runs; the system's and the internet module's message tables hold what kEngineFailures says.
class OperationTest : public EngineTest {
protected:
    OperationTest()
    {
        engine.AddDrive(L"C:\\").mountPoint = L"C:\\ (Boot)";
        tables.system[0] = L"The operation completed successfully.\r\n";
        tables.system[0x80070005] = L"Access is denied.\r\n";
        tables.internet[12007] = L"The server name cannot be resolved.";
        ErrorObject::TakeFromThread();
    }

    void TearDown() override
    {
        ErrorObject::TakeFromThread();
        EXPECT_EQ(0, ErrorObject::Live());
        EngineTest::TearDown();
    }

    // Makes every call of a method fail, and again do its work. Every other call leaves an error object of its own on
    // the thread, which is not the failure's.
    void FailWith(const std::wstring& method, const EngineFailure& failure)
    {
        engine.Fail(method, {failure.failure});
        engine.onCall = [dotted = L'.' + method + L'(', object = failure.object](const std::wstring& call) {
            if (call.find(dotted) == std::wstring::npos) {
                ErrorObject::SetForThread(L"Another call has failed.");
            } else if (object != nullptr) {
                ErrorObject::SetForThread(object);
            }
        };
    }
    void Repair(const std::wstring& method)
    {
        engine.Fail(method, {S_OK});
        engine.onCall = nullptr;
    }

    // What an operation does when one of its engine calls fails.
    struct FailingCall {
        const wchar_t* method;
        // The line that is printed: what stands before the error text, with its number, and what ends it; nothing is
        // printed where it is null.
        const wchar_t* message = nullptr;
        const wchar_t* end = L"";
        // The result; the low 16 bits of the failure unless given.
        std::optional<Result> result{};
    };

    // Runs the operation with the call failing in every kind of way, in front of it all that succeeds, and nothing of
    // the engine called after it.
    void ExpectFailure(const std::function<Failure()>& operation, const FailingCall& call)
    {
        const NumberedMessages numbered;
        for (const EngineFailure& failure : kEngineFailures) {
            SCOPED_TRACE(::testing::Message() << ::testing::PrintToString(call.method) << " fails, " << failure.kind);
            FailWith(call.method, failure);
            static_cast<void>(engine.TakeCalls());
            EXPECT_EQ(Failure(call.result.value_or(failure.code)), operation());
            EXPECT_EQ(call.message == nullptr ? L"" : call.message + std::wstring(failure.errorText) + call.end,
                      output.Take());
            const EngineCalls calls = engine.TakeCalls();
            ASSERT_FALSE(calls.empty());
            EXPECT_NE(std::wstring::npos, calls.back().find(L'.' + std::wstring(call.method) + L'('))
                << ::testing::PrintToString(calls);
            Repair(call.method);
            ErrorObject::TakeFromThread();
        }
    }

    [[nodiscard]] static Activation LocalAgent() { return {false, AgentClass(), __uuidof(IVLAgent), 4, L""}; }
    [[nodiscard]] static Activation RemoteAgent(const wchar_t* server)
    {
        return {true, AgentClass(), __uuidof(IVLAgent), 16, server};
    }
    [[nodiscard]] static Activation LocalRefresh() { return {false, ServiceClass(), __uuidof(IVLRefresh), 4, L""}; }

    ProcessList processes;
    MessageTables tables;
};

} // namespace testing_support
