#include "support/fake_ado.h"

#include "support/error_object.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace testing_support {

namespace {

constexpr CLSID kConnectionClass{0x7A11C000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
constexpr CLSID kRecordsetClass{0x7A11C000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};

BSTR Copy(const std::wstring& text)
{
    return SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

void Assign(const AdoValue& value, VARIANT& variant)
{
    struct Visitor {
        VARIANT& variant;
        void operator()(std::monostate /*null*/) const { variant.vt = VT_NULL; }
        void operator()(LONG number) const
        {
            variant.vt = VT_I4;
            variant.lVal = number;
        }
        void operator()(LONGLONG number) const
        {
            variant.vt = VT_I8;
            variant.llVal = number;
        }
        void operator()(double number) const
        {
            variant.vt = VT_R8;
            variant.dblVal = number;
        }
        void operator()(const std::wstring& text) const
        {
            variant.vt = VT_BSTR;
            variant.bstrVal = Copy(text);
        }
        void operator()(const VARIANT& other) const { variant = other; }
    };
    std::visit(Visitor{variant}, value);
}

// The fault that the object tells about later.
HRESULT WINAPI TellLater(EXCEPINFO* info);

void Tell(const AdoFault& fault, EXCEPINFO& info)
{
    info.scode = fault.scode;
    info.wCode = fault.wCode;
    info.bstrSource = Copy(L"source");
    info.bstrHelpFile = Copy(L"help file");
    info.bstrDescription = fault.description ? Copy(*fault.description) : nullptr;
}

HRESULT WINAPI TellLater(EXCEPINFO* info)
{
    Tell(*static_cast<const AdoFault*>(info->pvReserved), *info);
    return S_OK;
}

} // namespace

class FakeAdo::Objects {
public:
    // What every object shares: late binding, the books, the faults.
    class Object : public sim::SingleInterfaceObject<IDispatch> {
    public:
        Object(FakeAdo& ado, const wchar_t* name, std::vector<std::wstring> members)
            : ado_(ado), name_(name), members_(std::move(members))
        {
            ++ado_.liveObjects_;
        }
        ~Object() override { --ado_.liveObjects_; }

        HRESULT WINAPI GetTypeInfoCount(UINT* count) override
        {
            *count = 0;
            return S_OK;
        }
        HRESULT WINAPI GetTypeInfo(UINT /*index*/, LCID /*locale*/, ITypeInfo** /*info*/) override { return E_NOTIMPL; }

        HRESULT WINAPI GetIDsOfNames(REFIID interfaceId, LPOLESTR* names, UINT count, LCID /*locale*/,
                                     DISPID* ids) override
        {
            EXPECT_EQ(IID_NULL, interfaceId);
            EXPECT_EQ(1U, count);
            ids[0] = DISPID_UNKNOWN;
            if (const auto fault = ado_.faults_.find(name_ + L'.' + names[0]);
                fault != ado_.faults_.end() && fault->second.isUnknown) {
                if (fault->second.errorObject) {
                    ErrorObject::SetForThread(fault->second.errorObject);
                }
                return fault->second.result;
            }
            const auto found = std::find(members_.begin(), members_.end(), names[0]);
            if (found == members_.end()) {
                ADD_FAILURE() << "no member " << ::testing::PrintToString(std::wstring(names[0]));
                return DISP_E_UNKNOWNNAME;
            }
            ids[0] = static_cast<DISPID>(found - members_.begin());
            return S_OK;
        }

        HRESULT WINAPI Invoke(DISPID id, REFIID interfaceId, LCID /*locale*/, WORD flags, DISPPARAMS* parameters,
                              VARIANT* result, EXCEPINFO* exception, UINT* /*badArgument*/) override
        {
            EXPECT_EQ(IID_NULL, interfaceId);
            EXPECT_EQ(0U, parameters->cNamedArgs);
            const std::wstring member = name_ + L'.' + members_[static_cast<std::size_t>(id)];
            const bool isProperty = IsProperty(members_[static_cast<std::size_t>(id)]);
            EXPECT_EQ(isProperty ? DISPATCH_PROPERTYGET : DISPATCH_METHOD, flags);
            const std::vector<const VARIANT*> arguments = NaturalOrder(*parameters);
            ado_.calls_.push_back(member + ArgumentText(arguments, isProperty));
            if (const auto fault = ado_.faults_.find(member); fault != ado_.faults_.end()) {
                const int call = ++ado_.counts_[member];
                if (fault->second.call == 0 || fault->second.call == call) {
                    return Refuse(fault->second, *exception);
                }
            }
            if (const auto answer = ado_.answers.find(member); answer != ado_.answers.end()) {
                Assign(answer->second, *result);
                return S_OK;
            }
            return Do(members_[static_cast<std::size_t>(id)], arguments, result);
        }

        [[nodiscard]] const std::wstring& Name() const { return name_; }

    protected:
        virtual HRESULT Do(const std::wstring& member, const std::vector<const VARIANT*>& arguments,
                           VARIANT* result) = 0;

        static void HandOut(IDispatch* object, VARIANT* result)
        {
            result->vt = VT_DISPATCH;
            result->pdispVal = object;
        }

        FakeAdo& ado_;

    private:
        static bool IsProperty(const std::wstring& member)
        {
            constexpr std::wstring_view kProperties[] = {L"EOF", L"Fields", L"Item", L"Count", L"Name", L"Value"};
            return std::find(std::begin(kProperties), std::end(kProperties), member) != std::end(kProperties);
        }

        static std::vector<const VARIANT*> NaturalOrder(const DISPPARAMS& parameters)
        {
            std::vector<const VARIANT*> arguments;
            for (UINT i = parameters.cArgs; i > 0; --i) {
                arguments.push_back(&parameters.rgvarg[i - 1]);
            }
            return arguments;
        }

        static std::wstring ArgumentText(const std::vector<const VARIANT*>& arguments, bool isProperty)
        {
            if (arguments.empty() && isProperty) {
                return {};
            }
            std::wstring text;
            for (const VARIANT* const argument : arguments) {
                text += (text.empty() ? L"" : L", ") + ValueText(*argument);
            }
            return L'(' + text + L')';
        }

        static std::wstring ValueText(const VARIANT& value)
        {
            switch (value.vt) {
            case VT_I4:
                return L"I4 " + std::to_wstring(value.lVal);
            case VT_BSTR:
                return L"BSTR " + std::wstring(value.bstrVal, SysStringLen(value.bstrVal));
            case VT_DISPATCH:
                return L"DISPATCH " +
                       (value.pdispVal == nullptr ? L"null" : static_cast<Object*>(value.pdispVal)->Name());
            default:
                return L"type " + std::to_wstring(value.vt);
            }
        }

        static HRESULT Refuse(const AdoFault& fault, EXCEPINFO& exception)
        {
            if (fault.errorObject) {
                ErrorObject::SetForThread(fault.errorObject);
            }
            if (fault.result != DISP_E_EXCEPTION) {
                return fault.result;
            }
            if (fault.isDeferred) {
                exception.pvReserved = const_cast<AdoFault*>(&fault);
                exception.pfnDeferredFillIn = TellLater;
            } else {
                Tell(fault, exception);
            }
            return fault.result;
        }

        const std::wstring name_;
        const std::vector<std::wstring> members_;
    };

    class Field final : public Object {
    public:
        Field(FakeAdo& ado, std::wstring name, AdoValue value)
            : Object(ado, L"field", {L"Name", L"Value"}), fieldName_(std::move(name)), value_(std::move(value))
        {}

    private:
        HRESULT Do(const std::wstring& member, const std::vector<const VARIANT*>& /*arguments*/,
                   VARIANT* result) override
        {
            Assign(member == L"Name" ? AdoValue(fieldName_) : value_, *result);
            return S_OK;
        }

        const std::wstring fieldName_;
        const AdoValue value_;
    };

    class Fields final : public Object {
    public:
        Fields(FakeAdo& ado, std::size_t row) : Object(ado, L"fields", {L"Item", L"Count"}), row_(row) {}

    private:
        HRESULT Do(const std::wstring& member, const std::vector<const VARIANT*>& arguments, VARIANT* result) override
        {
            if (member == L"Count") {
                Assign(static_cast<LONG>(ado_.columns.size()), *result);
                return S_OK;
            }
            const auto column = static_cast<std::size_t>(arguments.at(0)->lVal);
            if (column >= ado_.columns.size()) {
                return DISP_E_BADINDEX;
            }
            const AdoValue value = row_ < ado_.rows.size() ? ado_.rows[row_].at(column) : AdoValue();
            HandOut(new Field(ado_, ado_.columns[column], value), result);
            return S_OK;
        }

        const std::size_t row_;
    };

    class Recordset final : public Object {
    public:
        explicit Recordset(FakeAdo& ado)
            : Object(ado, L"recordset", {L"Open", L"Close", L"EOF", L"MoveFirst", L"MoveNext", L"Fields"})
        {}

    private:
        HRESULT Do(const std::wstring& member, const std::vector<const VARIANT*>& /*arguments*/,
                   VARIANT* result) override
        {
            if (member == L"MoveFirst") {
                row_ = 0;
            } else if (member == L"MoveNext") {
                ++row_;
            } else if (member == L"EOF") {
                result->vt = VT_BOOL;
                result->boolVal = row_ < ado_.rows.size() ? VARIANT_FALSE : VARIANT_TRUE;
            } else if (member == L"Fields") {
                HandOut(new Fields(ado_, row_), result);
            }
            return S_OK;
        }

        std::size_t row_ = 0;
    };

    class Connection final : public Object {
    public:
        explicit Connection(FakeAdo& ado)
            : Object(ado, L"connection",
                     {L"Open", L"Close", L"Execute", L"BeginTrans", L"CommitTrans", L"RollbackTrans"})
        {}

    private:
        HRESULT Do(const std::wstring& /*member*/, const std::vector<const VARIANT*>& /*arguments*/,
                   VARIANT* /*result*/) override
        {
            return S_OK;
        }
    };
};

FakeAdo::FakeAdo()
    : classId_([this](LPCOLESTR name, CLSID* classId) -> HRESULT {
          if (const auto found = unregistered.find(name); found != unregistered.end()) {
              *classId = CLSID{};
              return found->second;
          }
          EXPECT_TRUE(name == std::wstring_view(L"ADODB.Connection") || name == std::wstring_view(L"ADODB.Recordset"));
          *classId = name == std::wstring_view(L"ADODB.Connection") ? kConnectionClass : kRecordsetClass;
          return S_OK;
      }),
      create_([this](REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) -> HRESULT {
          if (classId != kConnectionClass && classId != kRecordsetClass) {
              return create_.Original(classId, outer, context, interfaceId, object);
          }
          EXPECT_EQ(nullptr, outer);
          const std::wstring name = classId == kConnectionClass ? L"ADODB.Connection" : L"ADODB.Recordset";
          creations_.push_back({name, context, interfaceId});
          *object = nullptr;
          if (const auto found = uncreatable.find(name); found != uncreatable.end()) {
              return found->second;
          }
          *object = classId == kConnectionClass ? static_cast<IDispatch*>(new Objects::Connection(*this))
                                                : new Objects::Recordset(*this);
          return S_OK;
      })
{}

FakeAdo::~FakeAdo()
{
    EXPECT_EQ(0, liveObjects_) << "the program still holds objects of ADO";
}

void FakeAdo::Fail(const std::wstring& member, AdoFault fault)
{
    faults_.insert_or_assign(member, std::move(fault));
    counts_.erase(member);
}

} // namespace testing_support
