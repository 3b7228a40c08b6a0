#include "registry_value.h"

#include <stdexcept>
#include <utility>

namespace e2e {

namespace {

template <typename Item>
std::vector<BYTE> BytesOf(const Item* items, std::size_t count)
{
    const auto* const first = reinterpret_cast<const BYTE*>(items);
    return {first, first + count * sizeof(Item)};
}

} // namespace

RegistryValue::RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, std::uint32_t value)
    : RegistryValue(root, key, name, Content{REG_DWORD, BytesOf(&value, 1)})
{}

RegistryValue::RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& value)
    : RegistryValue(root, key, name, Content{REG_SZ, BytesOf(value.c_str(), value.size() + 1)})
{}

RegistryValue::RegistryValue(HKEY root, const std::wstring& key, const std::wstring& name)
    : RegistryValue(root, key, name, std::nullopt)
{}

RegistryValue::RegistryValue(HKEY root, std::wstring key, std::wstring name, const std::optional<Content>& content)
    : root_(root), path_(std::move(key)), name_(std::move(name))
{
    DWORD disposition = 0;
    if (RegCreateKeyExW(root, path_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key_.Put(), &disposition) !=
        ERROR_SUCCESS) {
        throw std::runtime_error("a registry key of the test cannot be made");
    }
    createdKey_ = disposition == REG_CREATED_NEW_KEY;
    before_ = Read();
    if (Write(content) != ERROR_SUCCESS) {
        throw std::runtime_error("a registry value of the test cannot be written");
    }
}

RegistryValue::~RegistryValue()
{
    static_cast<void>(Write(before_));
    if (createdKey_) {
        RegDeleteKeyW(root_, path_.c_str());
    }
}

std::optional<RegistryValue::Content> RegistryValue::Read() const
{
    Content content;
    DWORD size = 0;
    if (RegQueryValueExW(key_.Get(), name_.c_str(), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    content.bytes.resize(size);
    if (RegQueryValueExW(key_.Get(), name_.c_str(), nullptr, &content.type, content.bytes.data(), &size) !=
        ERROR_SUCCESS) {
        throw std::runtime_error("a registry value cannot be read");
    }
    return content;
}

LSTATUS RegistryValue::Write(const std::optional<Content>& content) const
{
    if (!content) {
        const LSTATUS status = RegDeleteValueW(key_.Get(), name_.c_str());
        return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
    }
    return RegSetValueExW(key_.Get(), name_.c_str(), 0, content->type, content->bytes.data(),
                          static_cast<DWORD>(content->bytes.size()));
}

} // namespace e2e
