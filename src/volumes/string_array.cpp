#include "volumes/string_array.h"

#include "win/owner.h"

#include <new>

namespace {

// The strings of an array, which is locked for as long as the object lives.
class LockedStrings {
public:
    explicit LockedStrings(SAFEARRAY* array) noexcept : array_(array)
    {
        void* data = nullptr;
        if (SUCCEEDED(SafeArrayAccessData(array, &data))) {
            strings_ = static_cast<BSTR*>(data);
        }
    }
    LockedStrings(const LockedStrings&) = delete;
    LockedStrings(LockedStrings&&) = delete;
    ~LockedStrings()
    {
        if (strings_ != nullptr) {
            SafeArrayUnaccessData(array_);
        }
    }
    LockedStrings& operator=(const LockedStrings&) = delete;
    LockedStrings& operator=(LockedStrings&&) = delete;

    explicit operator bool() const noexcept { return strings_ != nullptr; }
    [[nodiscard]] ULONG Count() const noexcept { return strings_ == nullptr ? 0 : array_->rgsabound[0].cElements; }
    [[nodiscard]] BSTR& operator[](ULONG index) const noexcept { return strings_[index]; }

private:
    SAFEARRAY* array_;
    BSTR* strings_ = nullptr;
};

} // namespace

win::Variant ToVariant(const StringList& list)
{
    win::SafeArray array(SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(list.size())));
    if (!array) {
        throw std::bad_alloc();
    }
    {
        const LockedStrings strings(array.Get());
        if (!strings) {
            return {};
        }
        for (ULONG i = 0; i < strings.Count(); ++i) {
            strings[i] = win::Bstr(list[i]).Detach();
        }
    }
    VARIANT value{};
    value.vt = VT_ARRAY | VT_BSTR;
    value.parray = array.Detach();
    return win::Variant(value);
}

StringList ToStringList(const win::Variant& variant)
{
    StringList list;
    if (variant.Type() != (VT_ARRAY | VT_BSTR) || SafeArrayGetDim(variant.Get().parray) != 1) {
        return list;
    }
    const LockedStrings strings(variant.Get().parray);
    list.reserve(strings.Count());
    for (ULONG i = 0; i < strings.Count(); ++i) {
        list.emplace_back(strings[i], SysStringLen(strings[i]));
    }
    return list;
}
