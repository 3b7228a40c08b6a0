// VLFaults.dll: counts the calls that the program which loads it makes of Windows, the engine and ADO, and has one of
// them fail. It is loaded before the program's entry point runs and after the library that shows the program the
// simulated computer, so that what fails are the functions of that computer.

#include "call_stub.h"
#include "exchange.h"
#include "function_table.h"
#include "interfaces.h"

#include "base/import_table.h"
#include "win/owner.h"

#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace faults;

// Tags of stubs: a function's place in the table, that of an exemption behind kExempt, and an object's Release.
constexpr std::uint64_t kExempt = kMostFunctions;
constexpr std::uint64_t kRelease = 2 * kMostFunctions;

Exchange* exchange = nullptr;

// What the program holds.
class Census {
public:
    void HandedOut(Kind kind, std::uint64_t thing)
    {
        const std::scoped_lock guard(lock_);
        if (thing != 0 && held_.emplace(kind, thing).second) {
            InterlockedIncrement(&exchange->kept[static_cast<std::size_t>(kind)]);
        }
    }

    // What is not known to be held comes from elsewhere.
    void TakenBack(Kind kind, std::uint64_t thing)
    {
        const std::scoped_lock guard(lock_);
        if (held_.erase({kind, thing}) != 0) {
            InterlockedDecrement(&exchange->kept[static_cast<std::size_t>(kind)]);
        }
    }

private:
    std::mutex lock_; // guards held_
    std::set<std::pair<Kind, std::uint64_t>> held_;
};

Census& TheCensus()
{
    static Census census;
    return census;
}

template <typename T>
T* PointerIn(std::uint64_t argument)
{
    return reinterpret_cast<T*>(argument);
}

bool HasSucceeded(Returns returns, std::uint64_t returned)
{
    const auto code = static_cast<DWORD>(returned);
    switch (returns) {
    case Returns::Status:
        return code == ERROR_SUCCESS;
    case Returns::Result:
        return SUCCEEDED(static_cast<HRESULT>(code));
    default:
        return code != 0;
    }
}

// --- Objects ---

// The method that is the function of this place in the table.
std::array<const Method*, kMostFunctions> methodOf{};

std::mutex adoptionLock; // guards adopted
std::set<void**> adopted;

// Has the methods of an object called through stubs, by giving it a table of functions of its own. The two words in
// front of the table go along: there the compiler, or COM for a proxy, keeps what the object is.
void Adopt(void* object, const IID& id)
{
    constexpr std::size_t kInFront = 2;
    const Interface* const known = object == nullptr ? nullptr : FindInterface(id);
    if (known == nullptr) {
        return;
    }
    auto**& table = *static_cast<void***>(object);
    const std::scoped_lock guard(adoptionLock);
    if (adopted.contains(table)) {
        return;
    }
    auto** const copy = new (std::nothrow) void*[kInFront + known->slots];
    if (copy == nullptr) {
        return;
    }
    std::memcpy(copy, table - kInFront, (kInFront + known->slots) * sizeof(void*));
    void** const functions = copy + kInFront;
    const auto place = [&](std::size_t slot, std::uint64_t tag) {
        if (void* const stub = MakeStub(functions[slot], tag)) {
            functions[slot] = stub;
        }
    };
    place(2, kRelease);
    for (const Method& method : known->methods) {
        const std::size_t function = FindFunction(method.name).value();
        methodOf[function] = &method;
        place(method.slot, function);
    }
    adopted.insert(functions);
    table = functions;
    TheCensus().HandedOut(Kind::Object, reinterpret_cast<std::uintptr_t>(object));
}

void AdoptValue(VARIANT* value)
{
    if (value != nullptr && V_VT(value) == VT_DISPATCH) {
        Adopt(V_DISPATCH(value), IID_IDispatch);
    } else if (value != nullptr && V_VT(value) == VT_BSTR) {
        TheCensus().HandedOut(Kind::Text, reinterpret_cast<std::uintptr_t>(V_BSTR(value)));
    }
}

// --- Functions that are looked up by name ---

std::uint64_t LookedUp(std::uint64_t found, std::uint64_t name);

// --- What single functions do besides ---

// An array goes, and the texts in it.
void SeeArrayGo(const SAFEARRAY* array)
{
    TheCensus().TakenBack(Kind::Array, reinterpret_cast<std::uintptr_t>(array));
    if (array != nullptr && (array->fFeatures & FADF_BSTR) != 0 && array->cDims == 1) {
        for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i) {
            TheCensus().TakenBack(Kind::Text, reinterpret_cast<std::uintptr_t>(static_cast<BSTR*>(array->pvData)[i]));
        }
    }
}

void SeeVariantGo(const Call& call)
{
    const auto* const value = PointerIn<VARIANT>(call.arguments[0]);
    if (V_VT(value) == VT_BSTR) {
        TheCensus().TakenBack(Kind::Text, reinterpret_cast<std::uintptr_t>(V_BSTR(value)));
    } else if ((V_VT(value) & VT_ARRAY) != 0) {
        SeeArrayGo(V_ARRAY(value));
    }
}

struct Special {
    std::string_view name;
    void (*before)(const Call& call);
    void (*after)(const Call& call);
};

constexpr Special kSpecials[] = {
    {"GetProcAddress", nullptr, [](const Call& call) { *call.returned = LookedUp(*call.returned, call.arguments[1]); }},
    {"CoCreateInstance", nullptr,
     [](const Call& call) {
         if (HasSucceeded(Returns::Result, *call.returned)) {
             Adopt(*PointerIn<void*>(call.arguments[4]), *PointerIn<IID>(call.arguments[3]));
         }
     }},
    {"CoCreateInstanceEx", nullptr,
     [](const Call& call) {
         auto* const wanted = PointerIn<MULTI_QI>(call.arguments[5]);
         for (DWORD i = 0; HasSucceeded(Returns::Result, *call.returned) && i < call.arguments[4]; ++i) {
             Adopt(wanted[i].pItf, *wanted[i].pIID);
         }
     }},
    {"IDispatch::Invoke", nullptr,
     [](const Call& call) {
         if (HasSucceeded(Returns::Result, *call.returned)) {
             AdoptValue(PointerIn<VARIANT>(call.arguments[6]));
         }
     }},
    {"SafeArrayDestroy", [](const Call& call) { SeeArrayGo(PointerIn<SAFEARRAY>(call.arguments[0])); }, nullptr},
    {"VariantChangeType", SeeVariantGo, nullptr},
    {"VariantClear", SeeVariantGo, nullptr},
};

const Special* FindSpecial(std::string_view name)
{
    for (const Special& special : kSpecials) {
        if (special.name == name) {
            return &special;
        }
    }
    return nullptr;
}

// --- Calls ---

const char* NameOfTag(std::uint64_t tag)
{
    return tag < kExempt ? Functions()[tag].name : Exemptions()[tag - kExempt].name;
}

// Has the call fail as it is ordered.
void Fail(const Call& call, const Function& function, DWORD errorBefore)
{
    const Way way = WaysOf(function).at(static_cast<std::size_t>(exchange->way));
    // A failing method hands out null, too.
    if (const auto& output = way.nothing ? way.nothing : function.nothing;
        output && (way.nothing || function.returns == Returns::Result)) {
        if (void* const place = PointerIn<void>(call.arguments[output->argument])) {
            std::memset(place, 0, output->size);
        }
    }
    *call.returned = way.returned;
    InterlockedExchange(&exchange->happened, 1);
    SetLastError(way.lastError.value_or(errorBefore));
}

bool SeeBefore(const Call& call)
{
    const DWORD error = GetLastError();
    const std::uint64_t tag = call.stub.tag;
    if (tag == kRelease) {
        return true;
    }
    if (const Special* const special = FindSpecial(NameOfTag(tag)); special != nullptr && special->before != nullptr) {
        special->before(call);
    }
    if (tag >= kExempt) {
        TheCensus().TakenBack(Exemptions()[tag - kExempt].takes, call.arguments[0]);
        return true;
    }
    const Function& function = Functions()[tag];
    if (function.takes != Kind::None) {
        TheCensus().TakenBack(function.takes, call.arguments[function.takesAt]);
    }
    const LONG number = InterlockedIncrement(&exchange->calls[tag]);
    if (exchange->function != static_cast<LONG>(tag) || exchange->call != number) {
        return true;
    }
    Fail(call, function, error);
    return false;
}

void SeeAfter(const Call& call)
{
    const std::uint64_t tag = call.stub.tag;
    if (tag == kRelease) {
        if (static_cast<ULONG>(*call.returned) == 0) {
            TheCensus().TakenBack(Kind::Object, call.arguments[0]);
        }
        return;
    }
    if (const Special* const special = FindSpecial(NameOfTag(tag)); special != nullptr && special->after != nullptr) {
        special->after(call);
    }
    if (tag >= kExempt) {
        return;
    }
    const Function& function = Functions()[tag];
    if (function.gives != Kind::None) {
        if (function.givesAt == kReturned) {
            if (*call.returned != ~std::uint64_t{0}) {
                TheCensus().HandedOut(function.gives, *call.returned);
            }
        } else if (HasSucceeded(function.returns, *call.returned)) {
            TheCensus().HandedOut(function.gives, *PointerIn<std::uint64_t>(call.arguments[function.givesAt]));
        }
    }
    if (const Method* const method = methodOf[tag];
        method != nullptr && method->interfaceId != nullptr && HasSucceeded(Returns::Result, *call.returned)) {
        Adopt(*PointerIn<void*>(call.arguments[method->object]), *method->interfaceId);
    }
}

// The tag of a function whose calls are seen.
std::optional<std::uint64_t> TagOf(std::string_view name)
{
    if (const std::optional<std::size_t> function = FindFunction(name)) {
        return *function;
    }
    const std::span<const Exemption> exemptions = Exemptions();
    for (std::size_t i = 0; i < exemptions.size(); ++i) {
        if (exemptions[i].name == name && (exemptions[i].takes != Kind::None || FindSpecial(name) != nullptr)) {
            return kExempt + i;
        }
    }
    return std::nullopt;
}

bool IsExempt(std::string_view name)
{
    for (const Exemption& exemption : Exemptions()) {
        if (exemption.name == name) {
            return true;
        }
    }
    return false;
}

void NoteUnknown(std::string_view name)
{
    char* const noted = exchange->unknown;
    const std::size_t length = std::strlen(noted);
    if (length + name.size() + 2 < sizeof exchange->unknown) {
        noted[length] = ' ';
        name.copy(noted + length + 1, name.size());
    }
}

std::uint64_t LookedUp(std::uint64_t found, std::uint64_t name)
{
    constexpr std::uint64_t kLastOrdinal = 0xFFFF;
    static std::mutex lock;
    static std::map<std::pair<std::string, std::uint64_t>, void*> stubs;
    if (found == 0 || name <= kLastOrdinal) {
        return found;
    }
    const std::string text = PointerIn<const char>(name);
    const std::scoped_lock guard(lock);
    const std::optional<std::uint64_t> tag = TagOf(text);
    if (!tag) {
        if (!IsExempt(text)) {
            NoteUnknown(text);
        }
        return found;
    }
    void*& stub = stubs[{text, found}];
    if (stub == nullptr) {
        stub = MakeStub(PointerIn<void>(found), *tag);
    }
    return stub == nullptr ? found : reinterpret_cast<std::uintptr_t>(stub);
}

// Puts a stub into the program's import table. The program's threads do not run yet.
void WatchImport(HMODULE program, const char* name)
{
    if (const std::optional<std::uint64_t> tag = TagOf(name); tag && sim::IsImported(program, name)) {
        void* const original = sim::PatchImport(program, name, nullptr);
        void* const stub = MakeStub(original, *tag);
        sim::PatchImport(program, name, stub == nullptr ? original : stub);
    }
}

bool TakeOrder()
{
    const win::KernelHandle memory(
        OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, ExchangeName(GetCurrentProcessId()).c_str()));
    // The view stays as long as the process.
    exchange = memory ? static_cast<Exchange*>(MapViewOfFile(memory.Get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Exchange)))
                      : nullptr;
    return exchange != nullptr;
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void* /*reserved*/)
{
    if (reason != DLL_PROCESS_ATTACH) {
        return TRUE;
    }
    DisableThreadLibraryCalls(library);
    if (!TakeOrder()) {
        return FALSE;
    }
    WatchCalls(SeeBefore, SeeAfter);
    const HMODULE program = GetModuleHandleW(nullptr);
    for (const Function& function : Functions()) {
        WatchImport(program, function.name);
    }
    for (const Exemption& exemption : Exemptions()) {
        WatchImport(program, exemption.name);
    }
    return TRUE;
}
