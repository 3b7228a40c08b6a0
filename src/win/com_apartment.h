#pragma once

#include "win/windows_api.h"

namespace win {

// The calling thread's membership of the process's multithreaded COM apartment.
class ComApartment {
public:
    ComApartment() noexcept : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)), entered_(SUCCEEDED(result_)) {}
    ComApartment(ComApartment&&) = delete;
    ~ComApartment()
    {
        if (entered_) {
            CoUninitialize();
        }
    }

    // What CoInitializeEx answered; a failure means that the thread is in no apartment.
    [[nodiscard]] HRESULT Result() const noexcept { return result_; }

    // Leaves COM initialised when the object is destroyed.
    void Abandon() noexcept { entered_ = false; }

private:
    HRESULT result_;
    bool entered_;
};

} // namespace win
