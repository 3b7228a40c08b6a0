#include "engine/connection.h"

#include "messages/console_output.h"
#include "win/result_code.h"
#include "win/system.h"
#include "win/text.h"

#include <algorithm>
#include <iterator>

namespace {

struct ConnectFailure {
    HRESULT result;
    Message message;
};

constexpr ConnectFailure kConnectFailures[] = {
    {REGDB_E_CLASSNOTREG, {2489, "Velundra is not installed on computer '%1'"}},
    {E_ACCESSDENIED,
     {3584, "You do not have permission to connect to Velundra on computer '%1'.  You must be a member of the Local "
            "Admin group."}},
};

constexpr Message kCouldNotConnect{1042, "Could not connect to computer '%1'.  Verify the name is correct and the "
                                         "machine is turned on."};
constexpr Message kAccessDenied{3244, "Unable to connect to specified computer, error access denied."};

template <typename Interface>
HRESULT Connect(REFCLSID serverClass, const std::wstring& computer, win::ComPtr<Interface>* connected)
{
    if (connected == nullptr) {
        return E_POINTER;
    }
    std::wstring name = computer.empty() ? win::LocalComputerName() : computer;
    COSERVERINFO server{};
    server.pwszName = name.data();
    MULTI_QI request{&__uuidof(Interface), nullptr, S_OK};
    const HRESULT activation = ActivateServer(serverClass, nullptr, CLSCTX_REMOTE_SERVER, &server, 1, &request);
    const HRESULT result = win::RequireInterface(activation, request.pItf);
    if (FAILED(result)) {
        return ReportConnectFailure(computer, result);
    }
    connected->Attach(static_cast<Interface*>(request.pItf));
    return S_OK;
}

} // namespace

HRESULT ActivateServer(REFCLSID classId, IUnknown* outer, DWORD context, COSERVERINFO* server, DWORD count,
                       MULTI_QI* results)
{
    const std::wstring_view requested =
        server != nullptr && server->pwszName != nullptr ? server->pwszName : std::wstring_view();
    if (!win::EqualNames(requested, win::LocalComputerName())) {
        return CoCreateInstanceEx(classId, outer, context, server, count, results);
    }
    if ((context & CLSCTX_REMOTE_SERVER) != 0) {
        context = (context & ~static_cast<DWORD>(CLSCTX_REMOTE_SERVER)) | CLSCTX_LOCAL_SERVER;
    }
    return CoCreateInstance(classId, outer, context, *results->pIID, reinterpret_cast<void**>(&results->pItf));
}

HRESULT ConnectToAgent(const std::wstring& computer, win::ComPtr<IVLAgent>* agent)
{
    return Connect(AgentClass(), computer, agent);
}

HRESULT ConnectToService(const std::wstring& computer, win::ComPtr<IVLService>* service)
{
    return Connect(ServiceClass(), computer, service);
}

HRESULT ConnectToRefresh(const std::wstring& computer, win::ComPtr<IVLRefresh>* refresh)
{
    return Connect(ServiceClass(), computer, refresh);
}

HRESULT ReportConnectFailure(const std::wstring& computer, HRESULT failure)
{
    const auto* const known = std::find_if(std::begin(kConnectFailures), std::end(kConnectFailures),
                                           [failure](const ConnectFailure& row) { return row.result == failure; });
    PrintMessage(known != std::end(kConnectFailures) ? known->message : kCouldNotConnect, {computer});
    return failure;
}

Result CheckAccess(IVLAgent& agent, HRESULT* refusal)
{
    ULONG rights = 0;
    const HRESULT result = agent.CheckAccess(&rights);
    if (SUCCEEDED(result)) {
        return kSuccess;
    }
    if (refusal != nullptr) {
        *refusal = result;
    }
    PrintMessage(kAccessDenied);
    return kNotPermitted;
}

HRESULT GetDrive(IVLAgent& agent, std::wstring_view name, win::ComPtr<IVLDrive>& drive)
{
    const win::Bstr driveName(name);
    const HRESULT result = agent.GetDrive(driveName.Get(), drive.Put());
    return win::RequireInterface(result, drive.Get());
}
