#include "base/settings.h"
#include "base/text.h"
#include "computer/replacements.h"
#include "computer/shown_registry.h"
#include "computer/simulated_computer.h"

#include "support/registry.h"
#include "win/text.h"

#include <algorithm>
#include <iterator>

namespace sim {

namespace {

constexpr wchar_t kUserRoot[] = L"HKEY_CURRENT_USER\\";

std::wstring ScratchPathOf(const std::wstring& path)
{
    return ScratchKeyOf(GetCurrentProcessId()) + L'\\' + path;
}

// The path of a key from its root's name on, or nothing where the key is not opened from a root.
std::wstring FullPath(HKEY root, const wchar_t* subkey)
{
    struct Root {
        HKEY key;
        const wchar_t* name;
    };
    const Root roots[] = {{HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT"},
                          {HKEY_CURRENT_CONFIG, L"HKEY_CURRENT_CONFIG"},
                          {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER"},
                          {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE"},
                          {HKEY_USERS, L"HKEY_USERS"}};
    const Root* const found = std::ranges::find(roots, root, &Root::key);
    if (found == std::end(roots) || subkey == nullptr) {
        return {};
    }
    return std::wstring(found->name) + L'\\' + std::wstring(WithoutTrailingBackslash(subkey));
}

bool IsAtOrBelow(std::wstring_view path, std::wstring_view key)
{
    return win::EqualNames(path.substr(0, key.size()), key) && (path.size() == key.size() || path[key.size()] == L'\\');
}

bool IsShown(std::wstring_view path)
{
    const ComputerSetup& setup = Computer().Setup();
    const bool isPolicy = !setup.policyChanges.empty() && IsAtOrBelow(path, std::wstring(kUserRoot) + kPolicyKey);
    return isPolicy || std::ranges::any_of(setup.registry,
                                           [&](const RegistryKeySetup& key) { return IsAtOrBelow(path, key.path); });
}

LSTATUS WINAPI OpenKey(HKEY root, const wchar_t* subkey, DWORD options, REGSAM access, HKEY* key)
{
    const std::wstring path = FullPath(root, subkey);
    if (const std::optional<DWORD> error = Computer().TakeFault(L"RegOpenKeyExW", path)) {
        return static_cast<LSTATUS>(*error);
    }
    return IsShown(path) ? RegOpenKeyExW(HKEY_CURRENT_USER, ScratchPathOf(path).c_str(), options, access, key)
                         : RegOpenKeyExW(root, subkey, options, access, key);
}

LSTATUS MakeScratchKey(const std::wstring& path, win::RegistryKey& key)
{
    // Volatile, so that it ends with the Wine server or the logon session even if nobody deletes it.
    return RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                           key.Put(), nullptr);
}

LSTATUS ShowKey(const RegistryKeySetup& setup)
{
    win::RegistryKey key;
    LSTATUS status = MakeScratchKey(ScratchPathOf(setup.path), key);
    for (const RegistryValueSetup& value : setup.values) {
        if (status == ERROR_SUCCESS) {
            status = RegSetValueExW(key.Get(), value.name.c_str(), 0, value.type, value.data.data(),
                                    static_cast<DWORD>(value.data.size()));
        }
    }
    return status;
}

// Copies the policy key from the registry, so that changes of it end with this process.
LSTATUS ShowPolicyKey()
{
    win::RegistryKey shown;
    LSTATUS status = MakeScratchKey(ScratchPathOf(std::wstring(kUserRoot) + kPolicyKey), shown);
    win::RegistryKey real;
    if (status == ERROR_SUCCESS &&
        RegOpenKeyExW(HKEY_CURRENT_USER, kPolicyKey, 0, KEY_READ, real.Put()) == ERROR_SUCCESS) {
        status = RegCopyTreeW(real.Get(), nullptr, shown.Get());
    }
    return status;
}

} // namespace

LSTATUS ShowRegistry(const ComputerSetup& setup)
{
    // An earlier process of the same number may have left keys.
    RegDeleteTreeW(HKEY_CURRENT_USER, ScratchKeyOf(GetCurrentProcessId()).c_str());
    win::RegistryKey key;
    LSTATUS status = MakeScratchKey(ScratchKeyOf(GetCurrentProcessId()), key);
    const std::wstring policyPath = std::wstring(kUserRoot) + kPolicyKey;
    const bool namesPolicy = std::ranges::any_of(
        setup.registry, [&](const RegistryKeySetup& shown) { return IsAtOrBelow(policyPath, shown.path); });
    if (!setup.policyChanges.empty() && !namesPolicy) {
        status = ShowPolicyKey();
    }
    for (const RegistryKeySetup& shown : setup.registry) {
        if (status == ERROR_SUCCESS) {
            status = ShowKey(shown);
        }
    }
    return status;
}

LSTATUS ChangePolicy(const PolicyChange& change)
{
    win::RegistryKey key;
    LSTATUS status = MakeScratchKey(ScratchPathOf(std::wstring(kUserRoot) + kPolicyKey), key);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    if (change.number) {
        return RegSetValueExW(key.Get(), change.name.c_str(), 0, REG_DWORD,
                              reinterpret_cast<const BYTE*>(&*change.number), sizeof *change.number);
    }
    status = RegDeleteValueW(key.Get(), change.name.c_str());
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

std::span<const Replacement> RegistryReplacements()
{
    static const Replacement kReplacements[] = {Replace("RegOpenKeyExW", &RegOpenKeyExW, &OpenKey)};
    return kReplacements;
}

} // namespace sim
