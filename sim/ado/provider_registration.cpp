#include "ado/provider_registration.h"

#include "base/registry_keys.h"

#include <array>
#include <new>
#include <string>

namespace sim::ado {

namespace {

struct ProviderClass {
    const GUID& identifier;
    const wchar_t* name;
};

const std::array<ProviderClass, 2> kClasses = {
    {{kConnectionClass, L"ADODB.Connection"}, {kRecordsetClass, L"ADODB.Recordset"}}};

std::wstring NameKeyPath(const ProviderClass& providerClass)
{
    return std::wstring(L"Software\\Classes\\") + providerClass.name;
}

HRESULT RegisterClass(const ProviderClass& providerClass, const std::wstring& libraryPath)
{
    const std::wstring classKey = ClassKeyPath(providerClass.identifier);
    const std::wstring serverKey = classKey + L"\\InprocServer32";
    struct {
        std::wstring key;
        const wchar_t* name;
        std::wstring value;
    } const values[] = {
        {classKey, nullptr, providerClass.name},
        {classKey + L"\\ProgID", nullptr, providerClass.name},
        {serverKey, nullptr, libraryPath},
        {serverKey, L"ThreadingModel", L"Both"},
        {NameKeyPath(providerClass), nullptr, providerClass.name},
        {NameKeyPath(providerClass) + L"\\CLSID", nullptr, GuidText(providerClass.identifier)},
    };
    for (const auto& [key, name, value] : values) {
        if (const HRESULT result = SetRegistryText(key, name, value); FAILED(result)) {
            return result;
        }
    }
    return S_OK;
}

} // namespace

HRESULT RegisterProvider(HMODULE library)
{
    try {
        const std::wstring path = ModulePath(library);
        for (const ProviderClass& providerClass : kClasses) {
            if (const HRESULT result = RegisterClass(providerClass, path); FAILED(result)) {
                return result;
            }
        }
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT UnregisterProvider()
{
    try {
        HRESULT result = S_OK;
        for (const ProviderClass& providerClass : kClasses) {
            for (const std::wstring& key : {ClassKeyPath(providerClass.identifier), NameKeyPath(providerClass)}) {
                const HRESULT removed = RemoveRegistryKey(key);
                result = FAILED(result) ? result : removed;
            }
        }
        return result;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace sim::ado
