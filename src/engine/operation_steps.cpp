#include "engine/operation_steps.h"

#include "engine/formatting.h"
#include "messages/console_output.h"
#include "win/process_list.h"
#include "win/result_code.h"
#include "win/system.h"
#include "win/text.h"

Failure ConnectAndCheckAccess(const std::wstring& computer, win::ComPtr<IVLAgent>& agent)
{
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    const Result access = CheckAccess(*agent);
    return access == kSuccess ? Failure() : access;
}

HRESULT GetMountPoint(IVLDrive& drive, std::wstring& mountPoint)
{
    win::Bstr text;
    const HRESULT result = drive.GetMountPoint(text.Put());
    mountPoint = text.View();
    return result;
}

HRESULT OpenDrive(const std::wstring& name, OpenedDrive& opened)
{
    const HRESULT result = GetDrive(*opened.agent, name, opened.drive);
    return FAILED(result) ? result : GetMountPoint(*opened.drive, opened.mountPoint);
}

void ForgetErrorObject() noexcept
{
    static_cast<void>(SetErrorInfo(0, nullptr));
}

std::wstring OperationError(HRESULT failure, int line)
{
    return FormatError(failure, L"Operations", line);
}

Result ReportFailure(const Message& message, HRESULT failure, int line)
{
    PrintMessage(message, {OperationError(failure, line)});
    return win::CodeOf(failure);
}

void SendRefreshNotice(const std::wstring& computer)
{
    const bool isLocal = computer.empty() || win::EqualNames(computer, win::LocalComputerName());
    if (!isLocal || win::IsProcessRunning(L"Velundra.exe")) {
        return;
    }
    win::ComPtr<IVLRefresh> refresh;
    if (SUCCEEDED(ConnectToRefresh(computer, &refresh))) {
        static_cast<void>(refresh->Refresh());
    }
}
