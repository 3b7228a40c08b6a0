#include "ado/errors.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace sim::ado {

namespace {

Refusal MakeRefusal(std::uint32_t code, const wchar_t* text)
{
    return {static_cast<HRESULT>(code), text};
}

// HRESULTs of OLE DB.
constexpr std::uint32_t kCannotConvert = 0x80040E07;
constexpr std::uint32_t kErrorsInCommand = 0x80040E14;
constexpr std::uint32_t kIntegrityViolation = 0x80040E2F;
constexpr std::uint32_t kTimedOut = 0x80040E31;
constexpr std::uint32_t kNoTable = 0x80040E37;
constexpr std::uint32_t kAuthenticationFailed = 0x80040E4D;
constexpr std::uint32_t kOverflow = 0x80040E57;
constexpr std::uint32_t kUnspecified = 0x80004005;

// By the beginning of the SQLSTATE; the first that fits decides.
struct StateCode {
    std::string_view state;
    std::uint32_t code;
};

constexpr StateCode kStateCodes[] = {
    {"42S02", kNoTable},         {"S0002", kNoTable},           {"42P01", kNoTable},  {"42", kErrorsInCommand},
    {"37000", kErrorsInCommand}, {"23", kIntegrityViolation},   {"22001", kOverflow}, {"22003", kOverflow},
    {"22018", kCannotConvert},   {"28", kAuthenticationFailed}, {"HYT", kTimedOut},
};

} // namespace

Refusal InvalidArgument()
{
    return MakeRefusal(0x800A0BB9, L"Arguments are of the wrong type, are out of acceptable range, or are in conflict "
                                   L"with one another.");
}

Refusal NoCurrentRecord()
{
    return MakeRefusal(0x800A0BCD, L"Either BOF or EOF is True, or the current record has been deleted. Requested "
                                   L"operation requires a current record.");
}

Refusal InTransaction()
{
    return MakeRefusal(0x800A0CAE, L"Connection object cannot be explicitly closed while in a transaction.");
}

Refusal ItemNotFound()
{
    return MakeRefusal(0x800A0CC1,
                       L"Item cannot be found in the collection corresponding to the requested name or ordinal.");
}

Refusal ObjectClosed()
{
    return MakeRefusal(0x800A0E78, L"Operation is not allowed when the object is closed.");
}

Refusal ObjectOpen()
{
    return MakeRefusal(0x800A0E79, L"Operation is not allowed when the object is open.");
}

Refusal ProviderNotFound()
{
    return MakeRefusal(0x800A0E7A, L"Provider cannot be found. It may not be properly installed.");
}

Refusal InvalidConnection()
{
    return MakeRefusal(0x800A0E7D, L"The connection cannot be used to perform this operation. It is either closed or "
                                   L"invalid in this context.");
}

Refusal NoTransaction()
{
    return MakeRefusal(0x8004D00E, L"No transaction is active.");
}

Refusal TransactionExists()
{
    return MakeRefusal(0x8004D013, L"Only one transaction can be active on this session.");
}

Refusal RefusalOf(const odbc::Failure& failure)
{
    const auto* const found = std::ranges::find_if(
        kStateCodes, [&](const StateCode& entry) { return failure.state.starts_with(entry.state); });
    const std::uint32_t code = found == std::end(kStateCodes) ? kUnspecified : found->code;
    return {static_cast<HRESULT>(code), failure.text};
}

} // namespace sim::ado
