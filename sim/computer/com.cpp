#include "computer/kept_connections.h"
#include "computer/replacements.h"
#include "computer/simulated_computer.h"
#include "engine/server_classes.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <string>

namespace sim {

namespace {

HRESULT WINAPI InitializeApartment(void* reserved, DWORD model)
{
    const std::optional<DWORD> failure = Computer().TakeFault(L"CoInitializeEx");
    const HRESULT result = failure ? static_cast<HRESULT>(*failure) : CoInitializeEx(reserved, model);
    if (SUCCEEDED(result)) {
        CountApartment();
    }
    return result;
}

void WINAPI UninitializeApartment()
{
    UncountApartment();
    CoUninitialize();
}

HRESULT WINAPI InitializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG serviceCount,
                                  SOLE_AUTHENTICATION_SERVICE* services, void* reserved, DWORD authentication,
                                  DWORD impersonation, void* authenticationList, DWORD capabilities, void* reserved3)
{
    const std::optional<DWORD> failure = Computer().TakeFault(L"CoInitializeSecurity");
    return failure ? static_cast<HRESULT>(*failure)
                   : CoInitializeSecurity(descriptor, serviceCount, services, reserved, authentication, impersonation,
                                          authenticationList, capabilities, reserved3);
}

// The identifier under which another computer has the class here; a class that is none of the engine's stays as it is.
GUID ClassOn(const std::wstring& computer, REFCLSID identifier)
{
    const ServerClasses classes = ServerClassesOf(L"");
    const std::span here(classes);
    const auto found = std::ranges::find_if(here, [&](const GUID& known) { return IsEqualGUID(known, identifier); });
    return found == here.end() ? identifier : ServerClassesOf(computer)[static_cast<std::size_t>(found - here.begin())];
}

HRESULT WINAPI ActivateHere(REFCLSID identifier, IUnknown* outer, DWORD context, REFIID wanted, void** object)
{
    if (context == CLSCTX_LOCAL_SERVER) {
        KeepConnection(identifier);
    }
    return CoCreateInstance(identifier, outer, context, wanted, object);
}

HRESULT WINAPI ActivateInstance(REFCLSID identifier, IUnknown* outer, DWORD context, COSERVERINFO* server, DWORD count,
                                MULTI_QI* results)
{
    const OtherComputer* const other =
        server == nullptr || server->pwszName == nullptr ? nullptr : Computer().Setup().FindComputer(server->pwszName);
    if (other == nullptr) {
        return CoCreateInstanceEx(identifier, outer, context, server, count, results);
    }
    if (other->failure) {
        return static_cast<HRESULT>(*other->failure);
    }
    // The other computer's engine is a local server here, under a class of its own.
    const GUID there = ClassOn(other->name, identifier);
    KeepConnection(there);
    return CoCreateInstanceEx(there, outer, CLSCTX_LOCAL_SERVER, nullptr, count, results);
}

// Wine's proxies have no security to set, so E_NOTIMPL counts as success.
HRESULT WINAPI SetProxySecurity(IUnknown* proxy, DWORD authenticationService, DWORD authorizationService,
                                OLECHAR* serverName, DWORD authentication, DWORD impersonation, void* identity,
                                DWORD capabilities)
{
    if (const std::optional<DWORD> failure = Computer().TakeFault(L"CoSetProxyBlanket")) {
        return static_cast<HRESULT>(*failure);
    }
    const HRESULT result = CoSetProxyBlanket(proxy, authenticationService, authorizationService, serverName,
                                             authentication, impersonation, identity, capabilities);
    return result == E_NOTIMPL ? S_OK : result;
}

} // namespace

std::span<const Replacement> ComReplacements()
{
    static const Replacement kReplacements[] = {
        Replace("CoInitializeEx", &CoInitializeEx, &InitializeApartment),
        Replace("CoInitializeSecurity", &CoInitializeSecurity, &InitializeSecurity),
        Replace("CoUninitialize", &CoUninitialize, &UninitializeApartment),
        Replace("CoCreateInstance", &CoCreateInstance, &ActivateHere),
        Replace("CoCreateInstanceEx", &CoCreateInstanceEx, &ActivateInstance),
        Replace("CoSetProxyBlanket", &CoSetProxyBlanket, &SetProxySecurity),
    };
    return kReplacements;
}

} // namespace sim
