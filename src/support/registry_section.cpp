#include "support/registry_section.h"

#include "support/registry.h"
#include "win/text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

struct DumpRequest {
    const wchar_t* path;
    const wchar_t* value; // null for the whole key
};

constexpr DumpRequest kRequests[] = {
    {L"HKEY_LOCAL_MACHINE\\Software\\Kestrane\\Velundra\\" PRODUCT_VERSION, nullptr},
    {L"HKEY_CURRENT_USER\\Software\\Kestrane\\Velundra\\" PRODUCT_VERSION, nullptr},
    {L"HKEY_LOCAL_MACHINE\\Software\\Kestrane\\VLCore\\" PRODUCT_VERSION, nullptr},
    {L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Velundra.exe", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLVolumeFS", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLFsFilter", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLEngine", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLAgent", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLExchange", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\VLVMDefrag", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\EventLog\\Application\\VLEngine", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\EventLog\\Application\\VLAgent", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\EventLog\\Application\\VLState", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\EventLog\\Application\\VLExchange", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\EventLog\\Application\\VLVMDefrag", nullptr},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager", L"BootExecute"},
    {L"HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager\\VLUnmovableFiles", nullptr},
};

struct RootKey {
    std::wstring_view name;
    HKEY key;
};

const RootKey kRootKeys[] = {
    {L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
    {L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
    {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
};

// What a value's data is appended to; false when the data cannot be read, which leaves the text as it was.
using AppendData = bool (*)(HKEY key, const wchar_t* name, std::wstring& text);

constexpr wchar_t kData[] = L" - Data: ";
constexpr wchar_t kLineEnd[] = L"\r\n";

bool AppendLine(std::wstring_view data, std::wstring& text)
{
    text.append(kData).append(data).append(kLineEnd);
    return true;
}

bool AppendString(HKEY key, const wchar_t* name, std::wstring& text)
{
    std::wstring data;
    return RegReadString(key, name, data) == ERROR_SUCCESS && AppendLine(data, text);
}

bool AppendDword(HKEY key, const wchar_t* name, std::wstring& text)
{
    std::uint32_t data = 0;
    return RegReadDword(key, name, data) == ERROR_SUCCESS &&
           AppendLine(std::to_wstring(static_cast<std::int32_t>(data)), text);
}

bool AppendMultiString(HKEY key, const wchar_t* name, std::wstring& text)
{
    std::vector<std::wstring> items;
    if (RegReadMultiString(key, name, items) != ERROR_SUCCESS) {
        return false;
    }
    std::wstring data;
    for (const std::wstring& item : items) {
        data += item;
    }
    return AppendLine(data, text);
}

// The next byte of the stream as two hexadecimal digits.
void AppendByte(IStream& stream, std::wstring& text)
{
    constexpr wchar_t kDigits[] = L"0123456789abcdef";
    std::uint8_t byte = 0;
    ULONG read = 0;
    if (FAILED(stream.Read(&byte, sizeof byte, &read)) || read != sizeof byte) {
        text += L"XX";
        return;
    }
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
}

// Thirteen bytes to the line, with a comma between them. A line that goes on ends in a backslash, and the next one
// begins with the comma.
bool AppendBinary(HKEY key, const wchar_t* name, std::wstring& text)
{
    constexpr std::size_t kBytesPerLine = 13;
    constexpr std::wstring_view kBreak = L"\\\r\n  ";
    constexpr std::size_t kDigitsAndComma = 3;
    win::ComPtr<IStream> stream;
    DWORD size = 0;
    if (RegReadValueToStream(key, name, stream) != ERROR_SUCCESS || RegReadSize(key, name, size) != ERROR_SUCCESS) {
        return false;
    }
    // A text that grows by itself would for a moment take three times the memory.
    constexpr std::size_t kAround = std::size(kData) + 2 * std::size(kLineEnd);
    text.reserve(text.size() + kAround + std::size_t{size} * kDigitsAndComma + size / kBytesPerLine * kBreak.size());
    text += kData;
    for (DWORD i = 0; i < size; ++i) {
        if ((i + 1) % kBytesPerLine == 0 && i + 1 != size) {
            text += kBreak;
        }
        if (i != 0) {
            text += L',';
        }
        AppendByte(*stream, text);
    }
    text += kLineEnd;
    return true;
}

bool AppendNothing(HKEY /*key*/, const wchar_t* /*name*/, std::wstring& /*text*/)
{
    return true;
}

struct ValueType {
    DWORD type;
    const wchar_t* name;
    AppendData appendData;
};

// The types that the dump knows; of others it shows the name alone.
constexpr ValueType kValueTypes[] = {
    {REG_SZ, L"REG_SZ", AppendString},         {REG_EXPAND_SZ, L"REG_EXPAND_SZ", AppendString},
    {REG_DWORD, L"REG_DWORD", AppendDword},    {REG_MULTI_SZ, L"REG_MULTI_SZ", AppendMultiString},
    {REG_BINARY, L"REG_BINARY", AppendBinary}, {REG_NONE, L"REG_NONE", AppendNothing},
};

// Whether the functions of the registry can be asked for a name. One that holds a NUL would reach them cut short, and
// they would find another key or value.
bool CanBeAskedFor(const std::wstring& name)
{
    return name.find(L'\0') == std::wstring::npos;
}

void AppendRequest(const DumpRequest& request, std::wstring& text)
{
    const RegistryPath path = SplitRegistryPath(request.path);
    win::RegistryKey key;
    if (RegOpen(path.root, path.subkey.c_str(), KEY_READ, key) != ERROR_SUCCESS) {
        return;
    }
    if (request.value == nullptr) {
        DumpRegistryKey(key.Get(), request.path, text);
    } else {
        DumpRegistryValue(key.Get(), request.path, request.value, text);
    }
}

} // namespace

std::wstring GetRegistrySection()
{
    std::wstring text = L"REGISTRY INFORMATION\r\n\r\n";
    for (const DumpRequest& request : kRequests) {
        AppendRequest(request, text);
    }
    return text;
}

void DumpRegistryKey(HKEY key, const std::wstring& path, std::wstring& text, int levels)
{
    std::vector<std::wstring> names;
    if (levels > 0) {
        RegEnumSubkeyNames(key, names);
    }
    for (const std::wstring& name : names) {
        win::RegistryKey subkey;
        if (CanBeAskedFor(name) &&
            RegOpen(key, name.c_str(), KEY_READ, subkey, REG_OPTION_OPEN_LINK) == ERROR_SUCCESS &&
            !RegIsLink(subkey.Get())) {
            DumpRegistryKey(subkey.Get(), std::wstring(path).append(1, L'\\').append(name), text, levels - 1);
        }
    }
    DumpRegistryValues(key, path, text);
}

void DumpRegistryValues(HKEY key, const std::wstring& path, std::wstring& text)
{
    text.append(L"* ").append(path).append(kLineEnd);
    std::vector<std::wstring> names;
    RegEnumValueNames(key, names);
    for (const std::wstring& name : names) {
        if (CanBeAskedFor(name)) {
            FormatRegistryValue(key, name, text);
        }
    }
}

void DumpRegistryValue(HKEY key, const std::wstring& path, const std::wstring& name, std::wstring& text)
{
    text.append(1, L'*').append(path).append(kLineEnd);
    FormatRegistryValue(key, name, text);
}

void FormatRegistryValue(HKEY key, const std::wstring& name, std::wstring& text)
{
    DWORD type = REG_NONE;
    if (RegReadType(key, name.c_str(), type) != ERROR_SUCCESS) {
        return;
    }
    text.append(L" - Value Name: ").append(name.empty() ? L"No Name" : name).append(kLineEnd);
    const auto* const known = std::find_if(std::begin(kValueTypes), std::end(kValueTypes),
                                           [&](const ValueType& valueType) { return valueType.type == type; });
    if (known == std::end(kValueTypes)) {
        return;
    }
    text.append(L" - Type: ").append(known->name).append(kLineEnd);
    if (known->appendData(key, name.c_str(), text)) {
        text += kLineEnd;
    }
}

RegistryPath SplitRegistryPath(const std::wstring& path)
{
    const std::size_t rootEnd = path.find(L'\\');
    const std::wstring_view root = std::wstring_view(path).substr(0, rootEnd);
    const auto* const known = std::find_if(std::begin(kRootKeys), std::end(kRootKeys),
                                           [&](const RootKey& rootKey) { return win::EqualNames(rootKey.name, root); });
    RegistryPath split{known == std::end(kRootKeys) ? HKEY_USERS : known->key, {}};
    if (rootEnd != std::wstring::npos) {
        // Several backslashes in a row stand for one.
        std::unique_copy(path.begin() + static_cast<std::ptrdiff_t>(rootEnd) + 1, path.end(),
                         std::back_inserter(split.subkey),
                         [](wchar_t left, wchar_t right) { return left == L'\\' && right == L'\\'; });
    }
    return split;
}
