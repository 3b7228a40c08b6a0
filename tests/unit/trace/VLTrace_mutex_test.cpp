#include "trace/VLTrace.h"

#include "trace_test.h"

#include <filesystem>
#include <map>
#include <set>
#include <vector>

#include <sddl.h>

namespace {

using namespace testing_support;
using namespace testing_support::tracing;

// --- The mutex between processes ---

class TraceMutex : public TraceLog {
protected:
    // The texts of the records about the mutex.
    [[nodiscard]] Lines Messages() const
    {
        Lines texts;
        for (const std::wstring& record : Records()) {
            const std::wstring head = L" (CVLTrace::CVLTrace) ";
            const std::size_t at = record.find(head);
            EXPECT_NE(std::wstring::npos, record.find(L" VLTrace                          0"));
            texts.push_back(at == std::wstring::npos ? record : record.substr(at + head.size()));
        }
        return texts;
    }

    std::vector<DWORD> waits; // time-outs
    DWORD waited = WAIT_OBJECT_0;
    Replaced<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait{[this](HANDLE, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return waited;
    }};
    Replaced<"ReleaseMutex", decltype(::ReleaseMutex)> release{[](HANDLE) { return TRUE; }};
};

TEST_F(TraceMutex, IsMadeForEveryoneAndNotOwned)
{
    const Replaced<"CreateMutexW", decltype(::CreateMutexW)> create(
        [&](LPSECURITY_ATTRIBUTES security, BOOL owned, LPCWSTR name) {
            EXPECT_STREQ(L"Global\\VL140_LogFileMutex", name);
            EXPECT_EQ(FALSE, owned);
            EXPECT_EQ(FALSE, security->bInheritHandle);
            EXPECT_TRUE(IsOpenToEveryone(*security));
            return create.Original(security, owned, name);
        });
    const CVLTrace trace;
    EXPECT_EQ(1, create.Calls());
}

TEST_F(TraceMutex, IsWaitedForTwoSecondsAndGivenBackAfterTheRecord)
{
    CVLTrace trace;
    const Replaced<"WriteFile", decltype(::WriteFile)> write(
        [&](HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
            EXPECT_EQ(1U, waits.size());
            EXPECT_EQ(0, release.Calls());
            return write.Original(file, data, size, written, overlapped);
        });
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(std::vector<DWORD>{2000}, waits);
    EXPECT_EQ(1, release.Calls());
}

TEST_F(TraceMutex, IsTheNextOnesWhenItsHolderHasEnded)
{
    waited = WAIT_ABANDONED;
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1, release.Calls());
}

TEST_F(TraceMutex, IsDispensedWithWhenItIsNotToBeHad)
{
    for (const DWORD answer : {DWORD(WAIT_TIMEOUT), DWORD(WAIT_FAILED)}) {
        waited = answer;
        CVLTrace trace;
        EXPECT_EQ(0U, Write(trace));
        EXPECT_EQ(0, release.Calls());
        EXPECT_TRUE(TakeRecord().ends_with(L" 000007 text"));
    }
}

TEST_F(TraceMutex, IsGivenBackHoweverTheRecordFails)
{
    CVLTrace trace;
    {
        const WantedFiles wanted(ERROR_ACCESS_DENIED);
        EXPECT_EQ(5U, Write(trace));
        EXPECT_EQ(1, release.Calls());
    }
    const Replaced<"WriteFile", decltype(::WriteFile)> write([](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) {
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    });
    EXPECT_EQ(112U, Write(trace));
    EXPECT_EQ(2, release.Calls());
}

TEST_F(TraceMutex, IsNotWaitedForByARecordThatIsNotWritten)
{
    SetText(L"TraceModuleList", L"OTHER");
    CVLTrace trace;
    EXPECT_EQ(0U, Write(trace));
    EXPECT_TRUE(waits.empty());
}

TEST_F(TraceMutex, OfAnotherUserIsOpenedForWaitingAlone)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    const Replaced<"CreateMutexW", decltype(::CreateMutexW)> create([](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    });
    const Replaced<"OpenMutexW", decltype(::OpenMutexW)> open([](DWORD access, BOOL inherit, LPCWSTR name) {
        EXPECT_EQ(static_cast<DWORD>(SYNCHRONIZE), access);
        EXPECT_EQ(FALSE, inherit);
        EXPECT_STREQ(L"Global\\VL140_LogFileMutex", name);
        return CreateEventW(nullptr, FALSE, FALSE, nullptr);
    });
    CVLTrace trace;
    EXPECT_EQ(1, open.Calls());
    EXPECT_EQ(Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 5"}, Messages());
    EXPECT_TRUE(waits.empty()); // there was none yet
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1U, waits.size());
    EXPECT_EQ(1, release.Calls());
}

class MissingTraceMutex : public TraceMutex {
protected:
    DWORD createError = 0;
    DWORD openError = 0;
    Replaced<"CreateMutexW", decltype(::CreateMutexW)> create{[this](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(createError);
        return nullptr;
    }};
    Replaced<"OpenMutexW", decltype(::OpenMutexW)> open{[this](DWORD, BOOL, LPCWSTR) -> HANDLE {
        SetLastError(openError);
        return nullptr;
    }};
};

TEST_F(MissingTraceMutex, IsToldAtTheHighestLevelAndDispensedWith)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    createError = ERROR_ACCESS_DENIED;
    openError = ERROR_FILE_NOT_FOUND;
    CVLTrace trace;
    EXPECT_EQ((Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 5",
                     L"Call to OpenMutex() failed.  Microsoft Error Code = 2",
                     L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed."}),
              Messages());
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(4U, Records().size());
    EXPECT_TRUE(waits.empty());
    EXPECT_EQ(0, release.Calls());
}

TEST_F(MissingTraceMutex, IsOpenedOnlyWhereAccessWasDenied)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    createError = ERROR_INVALID_HANDLE;
    const CVLTrace trace;
    EXPECT_EQ(0, open.Calls());
    EXPECT_EQ((Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 6",
                     L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed."}),
              Messages());
}

TEST_F(MissingTraceMutex, IsNotMadeWithoutASecurityDescriptor)
{
    Set(L"TraceLevel", 100000);
    Set(L"TraceFunctionName", 1);
    int calls = 0;
    const Replaced<"ConvertStringSecurityDescriptorToSecurityDescriptorW",
                   decltype(::ConvertStringSecurityDescriptorToSecurityDescriptorW)>
        convert([&](LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return ++calls == 1 ? FALSE : convert.Original(text, revision, descriptor, size);
        });
    const CVLTrace trace;
    EXPECT_EQ(0, create.Calls());
    EXPECT_EQ((Lines{L"Call to CreateMutex() failed.  Microsoft Error Code = 8",
                     L"Mutex could not be successfully created or opened. Log file I/O will NOT be mutexed."}),
              Messages());
}

TEST_F(MissingTraceMutex, IsToldNobodyBelowThatLevel)
{
    Set(L"TraceLevel", 99999);
    createError = ERROR_ACCESS_DENIED;
    const CVLTrace trace;
    EXPECT_TRUE(Files().empty());
}

// --- Several processes ---

class SharedTraceLog : public TraceLog {
protected:
    // Another of the product's programs.
    class Program {
    public:
        // The program's standard input ends with the object.
        explicit Program(const std::wstring& arguments)
        {
            SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
            win::KernelHandle input;
            EXPECT_NE(FALSE, CreatePipe(input.Put(), input_.Put(), &inherited, 0));
            EXPECT_NE(FALSE, SetHandleInformation(input_.Get(), HANDLE_FLAG_INHERIT, 0));
            STARTUPINFOW startup{};
            startup.cb = sizeof startup;
            startup.dwFlags = STARTF_USESTDHANDLES;
            startup.hStdInput = input.Get();
            startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
            startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
            std::wstring command = L"\"" + Path() + L"\" " + arguments;
            PROCESS_INFORMATION made{};
            EXPECT_NE(FALSE, CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                            &startup, &made));
            process_.Reset(made.hProcess);
            CloseHandle(made.hThread);
        }

        // Ends the program's input and waits for its end; the exit code.
        DWORD Finish()
        {
            input_.Reset();
            constexpr DWORD kTooLong = 100'000;
            EXPECT_EQ(static_cast<DWORD>(WAIT_OBJECT_0), WaitForSingleObject(process_.Get(), kTooLong));
            DWORD code = STILL_ACTIVE;
            GetExitCodeProcess(process_.Get(), &code);
            return code;
        }

    private:
        // It stands beside the test program.
        static std::wstring Path()
        {
            std::wstring path(1024, L'\0');
            auto length = static_cast<DWORD>(path.size());
            EXPECT_NE(FALSE, QueryFullProcessImageNameW(GetCurrentProcess(), 0, path.data(), &length));
            path.resize(length);
            return (std::filesystem::path(path).parent_path() / L"trace_writer.exe").wstring();
        }

        win::KernelHandle process_;
        win::KernelHandle input_;
    };

    [[nodiscard]] std::wstring ArgumentsOf(const std::wstring& label, int count) const
    {
        return L"\"" + folder.Path() + L"\" " + mutexName + L" " + goName + L" " + label + L" " +
               std::to_wstring(count);
    }

    std::wstring goName = mutexName + L"_go";
    win::KernelHandle go{CreateEventW(nullptr, TRUE, FALSE, goName.c_str())};

    void TearDown() override
    {
        go.Reset();
        TraceLog::TearDown();
    }
};

TEST_F(SharedTraceLog, LosesNoRecordAndTearsNoneWhenTwoProgramsWriteAtOnce)
{
    constexpr int kRecords = 10'000;
    Program first(ArgumentsOf(L"first", kRecords));
    Program second(ArgumentsOf(L"second", kRecords));
    SetEvent(go.Get());
    EXPECT_EQ(0U, first.Finish());
    EXPECT_EQ(0U, second.Finish());

    // 20,000 records of some 150 characters are more than the 5 MB that a file takes.
    const std::set<std::wstring> files = Files();
    EXPECT_EQ(2U, files.size());
    std::map<std::wstring, int> texts;
    for (const std::wstring& name : files) {
        for (const std::wstring& record : LinesOf(ReadTraceFile(folder.PathOf(name)))) {
            const std::size_t at = record.rfind(L" trace_writer                     "); // its source file
            ASSERT_NE(std::wstring::npos, at) << ::testing::PrintToString(record);
            // The line number is the record's own.
            ++texts[record.substr(at + 34)];
        }
    }
    EXPECT_EQ(2U * kRecords, texts.size());
    for (const wchar_t* const label : {L"first", L"second"}) {
        for (int number = 1; number <= kRecords; ++number) {
            wchar_t expected[40] = {};
            swprintf(expected, 40, L"%06d %ls %d", number, label, number);
            ASSERT_EQ(1, texts[expected]) << ::testing::PrintToString(std::wstring(expected));
        }
    }
}

TEST_F(SharedTraceLog, IsWrittenAfterTwoSecondsThoughAnotherProgramHoldsTheMutex)
{
    CVLTrace trace;
    Program holder(ArgumentsOf(L"holder", 0));
    WaitForSingleObject(go.Get(), INFINITE);
    const Replaced<"ReleaseMutex", decltype(::ReleaseMutex)> release([](HANDLE) { return TRUE; });
    const ULONGLONG before = GetTickCount64();
    EXPECT_EQ(0U, Write(trace));
    EXPECT_GE(GetTickCount64() - before, 1900U); // the clock's ticks are coarse
    EXPECT_EQ(1U, Records().size());
    EXPECT_EQ(0, release.Calls());
    EXPECT_EQ(0U, holder.Finish());
    // Its holder has ended without giving it back, and it is free again.
    EXPECT_EQ(0U, Write(trace));
    EXPECT_EQ(1, release.Calls());
}

} // namespace
