#pragma once

#include "base/counted_object.h"

#include <atomic>
#include <optional>
#include <string>
#include <utility>

namespace testing_support {

// An error object with a description, or one whose description cannot be had. Its description comes from the test
// program, so that a resource census sees it, which one of CreateErrorInfo's object would escape.
class ErrorObject final : public sim::SingleInterfaceObject<IErrorInfo> {
public:
    // Gives the calling thread an error object, as a method that fails does; null stands for no description.
    static void SetForThread(std::optional<std::wstring> description)
    {
        auto* const error = new ErrorObject(std::move(description));
        SetErrorInfo(0, error);
        error->Release();
    }
    static void TakeFromThread() { SetErrorInfo(0, nullptr); }

    // How many of them somebody still holds.
    [[nodiscard]] static int Live() { return live; }

    HRESULT WINAPI GetDescription(BSTR* description) override
    {
        *description = description_ ? SysAllocString(description_->c_str()) : nullptr;
        return description_ ? S_OK : E_FAIL;
    }

    HRESULT WINAPI GetGUID(GUID* /*guid*/) override { return E_NOTIMPL; }
    HRESULT WINAPI GetSource(BSTR* /*source*/) override { return E_NOTIMPL; }
    HRESULT WINAPI GetHelpFile(BSTR* /*file*/) override { return E_NOTIMPL; }
    HRESULT WINAPI GetHelpContext(DWORD* /*context*/) override { return E_NOTIMPL; }

private:
    explicit ErrorObject(std::optional<std::wstring> description) : description_(std::move(description)) { ++live; }
    ~ErrorObject() override { --live; }

    static inline std::atomic<int> live = 0;

    const std::optional<std::wstring> description_;
};

} // namespace testing_support
