// The least that `VLCmd /sta DRIVES...` can cost: the same statements through the same provider, with the same calls of
// its objects, and the values thrown away. statistics_floor CONNECTION-STRING DRIVE... ends with 1 when a call fails or
// a drive has no row.

#include "stats/statements.h"
#include "win/com_apartment.h"
#include "win/late_bound.h"

#include <cstdio>
#include <string>

namespace {

constexpr LONG kColumns = 11;

void Require(const win::CallResult& result)
{
    if (FAILED(result.code)) {
        std::fprintf(stderr, "statistics_floor: 0x%08lX\n", static_cast<unsigned long>(result.code));
        ExitProcess(1);
    }
}

void RequireRow(IDispatch* recordset)
{
    win::Variant end;
    Require(win::GetProperty(recordset, L"EOF", {}, end));
    if (end.Get().boolVal != VARIANT_FALSE) {
        std::fputs("statistics_floor: no row\n", stderr);
        ExitProcess(1);
    }
}

std::wstring StatementFor(const std::wstring& drive)
{
    std::wstring statement = kAnalyzeStatement;
    constexpr std::wstring_view kTag = L"%1%";
    return statement.replace(statement.find(kTag), kTag.size(), L"'" + drive + L"'");
}

void ReadDrive(const wchar_t* connectionString, const wchar_t* drive)
{
    win::ComPtr<IDispatch> connection;
    Require(win::CreateLateBound(L"ADODB.Connection", connection));
    const win::Variant source[] = {win::Variant::OfText(connectionString), win::Variant::OfText(L""),
                                   win::Variant::OfText(L""), win::Variant::OfInteger(-1)};
    Require(win::CallMethod(connection.Get(), L"Open", source));
    win::ComPtr<IDispatch> recordset;
    Require(win::CreateLateBound(L"ADODB.Recordset", recordset));
    const win::Variant query[] = {win::Variant::OfText(StatementFor(drive)), win::Variant::OfObject(connection.Get()),
                                  win::Variant::OfInteger(0), win::Variant::OfInteger(1), win::Variant::OfInteger(1)};
    Require(win::CallMethod(recordset.Get(), L"Open", query));
    RequireRow(recordset.Get());
    Require(win::CallMethod(recordset.Get(), L"MoveFirst"));
    RequireRow(recordset.Get());
    for (LONG column = 0; column < kColumns; ++column) {
        win::ComPtr<IDispatch> fields;
        Require(win::GetObjectProperty(recordset.Get(), L"Fields", {}, fields));
        const win::Variant index[] = {win::Variant::OfInteger(column)};
        win::ComPtr<IDispatch> field;
        Require(win::GetObjectProperty(fields.Get(), L"Item", index, field));
        win::Variant value;
        Require(win::GetProperty(field.Get(), L"Value", {}, value));
    }
    Require(win::CallMethod(recordset.Get(), L"Close"));
    Require(win::CallMethod(connection.Get(), L"Close"));
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv)
{
    const win::ComApartment apartment;
    for (int i = 2; i < argc; ++i) {
        ReadDrive(argv[1], argv[i]);
    }
    return 0;
}
