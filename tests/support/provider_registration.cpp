#include "support/provider_registration.h"

#include "base/registry_keys.h"

#include "support/module.h"

#include <stdexcept>
#include <string>

namespace testing_support {

void RegisterProvider()
{
    const std::wstring program = sim::ModulePath(nullptr);
    const std::wstring library = program.substr(0, program.rfind(L'\\') + 1) + L"VLAdo.dll";
    std::wstring registered;
    static_cast<void>(sim::ReadRegistryText(
        L"Software\\Classes\\CLSID\\{00000514-0000-0010-8000-00AA006D2EA4}\\InprocServer32", nullptr, registered));
    if (registered == library) {
        return;
    }
    const Module module(LoadLibraryW(library.c_str()));
    const auto registerServer = reinterpret_cast<HRESULT(WINAPI*)()>(
        reinterpret_cast<void*>(module ? GetProcAddress(module.Get(), "DllRegisterServer") : nullptr));
    if (registerServer == nullptr || FAILED(registerServer())) {
        throw std::runtime_error("VLAdo.dll cannot be registered");
    }
}

} // namespace testing_support
