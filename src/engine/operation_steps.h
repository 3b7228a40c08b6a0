#pragma once

#include "engine/connection.h"
#include "messages/catalogue.h"

#include <string>

// Steps that several of the operations in Operations.h take.

// A drive with the connection that it came through.
struct OpenedDrive {
    win::ComPtr<IVLAgent> agent;
    win::ComPtr<IVLDrive> drive;
    std::wstring mountPoint;
};

// Connects to the agent and makes the rights check. Fails with the connection's HRESULT or kNotPermitted.
[[nodiscard]] Failure ConnectAndCheckAccess(const std::wstring& computer, win::ComPtr<IVLAgent>& agent);

// The drive's mount point as the engine shows it.
[[nodiscard]] HRESULT GetMountPoint(IVLDrive& drive, std::wstring& mountPoint);

// The drive of a name and its mount point, through opened.agent. Returns the first failing HRESULT.
[[nodiscard]] HRESULT OpenDrive(const std::wstring& name, OpenedDrive& opened);

// Takes away the error object that an earlier call may have left on the thread. It stands before each call whose
// failure is printed with an error text, so that the text tells of that call alone.
void ForgetErrorObject() noexcept;

// The error text of a failing HRESULT, which names the operations' source and the line.
[[nodiscard]] std::wstring OperationError(HRESULT failure, int line);

// Prints a message whose %1 is the error text. Returns the low 16 bits of the HRESULT.
Result ReportFailure(const Message& message, HRESULT failure, int line);

// Tells the product's other programs that drives have changed: only on the local computer, and only when the product's
// own window, which sees it by itself, is not running. A failure is ignored.
void SendRefreshNotice(const std::wstring& computer);
