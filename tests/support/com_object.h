#pragma once

#include "win/windows_api.h"

#include <atomic>

namespace testing_support {

// COM interfaces have no virtual destructor by design: an object ends in its own Release.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// What an object of one interface shares with all others: who made it owns the first reference.
template <typename Interface>
class ComObject : public Interface {
public:
    ComObject(const ComObject&) = delete;
    ComObject(ComObject&&) = delete;
    ComObject& operator=(const ComObject&) = delete;
    ComObject& operator=(ComObject&&) = delete;

    HRESULT WINAPI QueryInterface(REFIID interfaceId, void** object) override
    {
        if (interfaceId != IID_IUnknown && interfaceId != __uuidof(Interface)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        *object = this;
        AddRef();
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return ++references_; }
    ULONG WINAPI Release() override
    {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

private:
    std::atomic<ULONG> references_ = 1;
};

#pragma GCC diagnostic pop

} // namespace testing_support
