#pragma once

#include "engine/engine_contract.h"
#include "engine/result_codes.h"
#include "win/bstr.h"
#include "win/com_ptr.h"

#include <string>
#include <string_view>

// Activates a server as CoCreateInstanceEx does, with its arguments; exactly one MULTI_QI is passed. When the server
// name is the local computer's, the activation is made local instead: CLSCTX_REMOTE_SERVER gives way to
// CLSCTX_LOCAL_SERVER and CoCreateInstance is called, because remote activation of the computer itself would need the
// rights and the network of a remote caller.
[[nodiscard]] HRESULT ActivateServer(REFCLSID classId, IUnknown* outer, DWORD context, COSERVERINFO* server,
                                     DWORD count, MULTI_QI* results);

// Connect to one interface of the engine on a computer; an empty name stands for the local one. On failure the reason
// has been printed and the activation's HRESULT is returned; a missing out-pointer is E_POINTER, without activation.
[[nodiscard]] HRESULT ConnectToAgent(const std::wstring& computer, win::ComPtr<IVLAgent>* agent);
[[nodiscard]] HRESULT ConnectToService(const std::wstring& computer, win::ComPtr<IVLService>* service);
[[nodiscard]] HRESULT ConnectToRefresh(const std::wstring& computer, win::ComPtr<IVLRefresh>* refresh);

// Prints why the engine on the computer could not be reached: not installed, access denied, or any other failure.
// Returns the HRESULT unchanged.
HRESULT ReportConnectFailure(const std::wstring& computer, HRESULT failure);

// Asks the engine whether the caller may use it. Returns 0; or kNotPermitted, after the refusal has been printed, and
// the engine's HRESULT in refusal.
[[nodiscard]] Result CheckAccess(IVLAgent& agent, HRESULT* refusal = nullptr);

// The engine's drive of a name; a success without a drive counts as E_POINTER.
[[nodiscard]] HRESULT GetDrive(IVLAgent& agent, std::wstring_view name, win::ComPtr<IVLDrive>& drive);
