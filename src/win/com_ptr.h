#pragma once

#include "win/windows_api.h"

#include <utility>

namespace win {

// Reference-counting owner of one COM interface: copying calls AddRef, going calls Release.
template <typename Interface>
class ComPtr {
public:
    ComPtr() noexcept = default;

    // Shares an interface that somebody else owns.
    explicit ComPtr(Interface* pointer) noexcept : pointer_(pointer)
    {
        if (pointer_ != nullptr) {
            pointer_->AddRef();
        }
    }
    ComPtr(const ComPtr& other) noexcept : ComPtr(other.pointer_) {}
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ~ComPtr() { Reset(); }

    ComPtr& operator=(ComPtr other) noexcept
    {
        std::swap(pointer_, other.pointer_);
        return *this;
    }

    [[nodiscard]] Interface* Get() const noexcept { return pointer_; }
    Interface* operator->() const noexcept { return pointer_; }
    Interface& operator*() const noexcept { return *pointer_; }
    explicit operator bool() const noexcept { return pointer_ != nullptr; }

    void Reset() noexcept
    {
        if (Interface* old = std::exchange(pointer_, nullptr)) {
            old->Release();
        }
    }

    // Takes over a reference that the caller owns.
    void Attach(Interface* pointer) noexcept
    {
        Reset();
        pointer_ = pointer;
    }

    // Hands the reference to the caller, who releases it.
    [[nodiscard]] Interface* Detach() noexcept { return std::exchange(pointer_, nullptr); }

    // An empty place for a COM call to fill with a reference.
    [[nodiscard]] Interface** Put() noexcept
    {
        Reset();
        return &pointer_;
    }

private:
    Interface* pointer_ = nullptr;
};

} // namespace win
