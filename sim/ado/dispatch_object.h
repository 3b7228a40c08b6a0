#pragma once

#include "ado/errors.h"
#include "ado/module.h"
#include "base/counted_object.h"
#include "base/guid.h"
#include "base/text.h"
#include "odbc/odbc.h"

#include "win/text.h"

#include <algorithm>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sim::ado {

// One call of a member: its arguments in their order, and the place for what it returns.
class Call {
public:
    // The arguments stand in the parameters from the last to the first. The place may be null.
    Call(const DISPPARAMS& parameters, WORD kind, VARIANT* place) : parameters_(parameters), kind_(kind), place_(place)
    {}

    // Whether a property is to be set.
    [[nodiscard]] bool IsPut() const { return (kind_ & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0; }

    // The argument of this number, counted from 0, looked up behind a reference; null where it is left out.
    [[nodiscard]] VARIANT* Argument(UINT number) const;

    // The argument as text or number; the fallback where it is left out, nothing where it is of no such type.
    [[nodiscard]] std::optional<std::wstring> Text(UINT number) const;
    [[nodiscard]] std::optional<LONG> Number(UINT number, LONG fallback) const;

    // Writes the number into an argument that is a reference to a VARIANT or to a LONG.
    void PutBack(UINT number, LONG value) const;

    // Returns a value.
    [[nodiscard]] Answer Return(const odbc::Value& value) const;
    // Returns an object; the reference passes to the caller.
    template <typename Object>
    [[nodiscard]] Answer ReturnObject(win::ComPtr<Object> object) const
    {
        if (place_ != nullptr) {
            V_DISPATCH(place_) = object.Detach();
            V_VT(place_) = VT_DISPATCH;
        }
        return {};
    }

private:
    const DISPPARAMS& parameters_;
    WORD kind_;
    VARIANT* place_;
};

// A member of an object as IDispatch knows it.
template <typename Object>
struct Member {
    std::wstring_view name;
    DISPID id;
    WORD kinds;
    UINT fewestArguments;
    UINT mostArguments;
    Answer (Object::*call)(const Call& call);
};

constexpr WORD kMethod = DISPATCH_METHOD;
constexpr WORD kReadOnly = DISPATCH_PROPERTYGET;
constexpr WORD kReadWrite = DISPATCH_PROPERTYGET | DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF;
// A property with arguments, which languages without such properties call as a method.
constexpr WORD kItem = DISPATCH_METHOD | DISPATCH_PROPERTYGET;

// Fills EXCEPINFO, where the caller wants it, and answers DISP_E_EXCEPTION.
[[nodiscard]] HRESULT Raise(const Refusal& refusal, const wchar_t* source, EXCEPINFO* exception);

// What the objects of the module have in common: calls by name through IDispatch. Object is the class itself; it has a
// table kMembers and a name kSource under which it refuses. Every object holds the module.
template <typename Object>
class DispatchObject : public SingleInterfaceObject<IDispatch> {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (count == nullptr) {
            return E_POINTER;
        }
        *count = 0;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT /*index*/, LCID /*locale*/, ITypeInfo** information) override
    {
        if (information != nullptr) {
            *information = nullptr;
        }
        return DISP_E_BADINDEX;
    }

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID /*locale*/,
                                            DISPID* ids) override
    {
        if (!IsEqualGUID(CopyGuid(&reserved), IID_NULL)) {
            return DISP_E_UNKNOWNINTERFACE;
        }
        if (names == nullptr || ids == nullptr || count == 0) {
            return E_INVALIDARG;
        }
        std::fill_n(ids, count, DISPID_UNKNOWN);
        const auto member = std::ranges::find_if(
            Members(), [&](const Member<Object>& known) { return win::EqualNames(known.name, names[0]); });
        if (member == Members().end()) {
            return DISP_E_UNKNOWNNAME;
        }
        ids[0] = member->id;
        // The other names are those of arguments, which have none here.
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID /*locale*/, WORD kind, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* /*wrongArgument*/) override
    {
        if (!IsEqualGUID(CopyGuid(&reserved), IID_NULL)) {
            return DISP_E_UNKNOWNINTERFACE;
        }
        if (parameters == nullptr) {
            return E_INVALIDARG;
        }
        if (result != nullptr) {
            VariantInit(result);
        }
        const auto member = std::ranges::find_if(
            Members(), [&](const Member<Object>& known) { return known.id == id && (known.kinds & kind) != 0; });
        if (member == Members().end()) {
            return DISP_E_MEMBERNOTFOUND;
        }
        const Call call(*parameters, kind, result);
        // The one name that an argument may have is that of the value to be set.
        const UINT named = call.IsPut() ? 1 : 0;
        if (parameters->cNamedArgs > named) {
            return DISP_E_NONAMEDARGS;
        }
        if (parameters->cArgs < std::max(member->fewestArguments, named) ||
            parameters->cArgs > std::max(member->mostArguments, named)) {
            return DISP_E_BADPARAMCOUNT;
        }
        // The caller's language need not know C++, so no exception leaves.
        try {
            const Answer answer = (static_cast<Object*>(this)->*member->call)(call);
            return answer ? Raise(*answer, Object::kSource, exception) : S_OK;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

private:
    static std::span<const Member<Object>> Members() { return Object::kMembers; }

    ModuleHold hold_;
};

} // namespace sim::ado
