#include "stats/statistics.h"

#include "engine/connection.h"
#include "engine/formatting.h"
#include "messages/console_output.h"
#include "stats/date_text.h"
#include "stats/report_messages.h"
#include "win/result_code.h"

#include <cmath>

namespace {

constexpr Message kComputer{2644, "Remote Computer:   %1"};
constexpr Message kDrive{185, "Drive   :   %1"};
constexpr Message kDate{1137, "Date    :   %1"};
constexpr Message kBeforeAfter{199, "\t\t\t\tBefore\tAfter"};
constexpr Message kFailed{1501, "Error occurred while getting statistics.\n"};

// A line of two percentages and the path of their values.
struct Figure {
    Message message;
    const wchar_t* path;
};

constexpr Figure kFigures[] = {
    {{1703, "File Fragmentation\t\t%1%%\t%2%%"}, L"/Fragmented/"},
    {{1811, "Free Space Fragmentation\t%1%%\t%2%%"}, L"/FreeSpaceFragmentation/"},
    {{2528, "Performance\t\t\t%1%%\t%2%%"}, L"/Performance/"},
};
constexpr std::wstring_view kDatePath = L"/Fragmented/";
constexpr std::wstring_view kNewestPoint = L"1";

// The statistics object as the report reads it: the first failure ends the reading.
class StatisticsReader {
public:
    explicit StatisticsReader(IVLStatistics& statistics) : statistics_(statistics) {}

    [[nodiscard]] HRESULT Failure() const { return failure_; }

    LONG Integer(std::wstring_view path, std::wstring_view name)
    {
        return Read<LONG>(&IVLStatistics::GetInteger, path, name);
    }

    // A value of the newest point.
    double Double(std::wstring_view path, std::wstring_view name)
    {
        return Read<double>(&IVLStatistics::GetDouble, std::wstring(path).append(kNewestPoint), name);
    }

private:
    template <typename Value>
    Value Read(HRESULT (WINAPI IVLStatistics::*get)(BSTR, BSTR, Value*), std::wstring_view path, std::wstring_view name)
    {
        Value value{};
        if (SUCCEEDED(failure_)) {
            const win::Bstr pathText(path);
            const win::Bstr nameText(name);
            failure_ = (statistics_.*get)(pathText.Get(), nameText.Get(), &value);
        }
        return value;
    }

    IVLStatistics& statistics_;
    HRESULT failure_ = S_OK;
};

// Later than every point that has been recorded, on whatever clock.
DATE Tomorrow()
{
    SYSTEMTIME now{};
    GetSystemTime(&now);
    DATE date = 0;
    SystemTimeToVariantTime(&now, &date);
    return date + 1.0;
}

// The drive's newest point. Each call of it is to reach the engine under the caller's own identity.
HRESULT GetStatistics(IVLAgent& agent, const std::wstring& drive, win::ComPtr<IVLStatistics>& statistics)
{
    const win::Bstr name(drive);
    HRESULT result = agent.GetStatistics(name.Get(), Tomorrow(), 1, statistics.Put());
    result = win::RequireInterface(result, statistics.Get());
    return FAILED(result) ? result
                          : CoSetProxyBlanket(statistics.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                              RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

std::wstring RoundedText(double value)
{
    // Adding 0 makes a negative zero a plain one.
    return FormatNumber(std::trunc(value + 0.5) + 0.0, kDefaultWidth, kDefaultFill, 0);
}

// The line's text, in which a percent sign is written doubled.
std::wstring FigureText(const Figure& figure, double before, double after)
{
    std::wstring text = ToWideString(GetMessage(figure.message, {RoundedText(before), RoundedText(after)}));
    for (std::size_t at = text.find(L"%%"); at != std::wstring::npos; at = text.find(L"%%", at + 1)) {
        text.erase(at, 1);
    }
    return text;
}

// The report of a drive; how reading it ended is the reader's to tell.
std::wstring ReportText(StatisticsReader& reader, const std::wstring& drive)
{
    if (reader.Integer(L"/", L"NumStatPoints") < 1) {
        return ToWideString(GetMessage(kNoStatistics, {drive}));
    }
    std::wstring text = ToWideString(GetMessage(kDrive, {drive}));
    text += L'\n' + ToWideString(GetMessage(kDate, {FormatDate(reader.Double(kDatePath, L"Date"))}));
    text += L'\n' + ToWideString(GetMessage(kBeforeAfter));
    for (const Figure& figure : kFigures) {
        const double before = reader.Double(figure.path, L"Before");
        const double after = reader.Double(figure.path, L"After");
        text += L'\n' + FigureText(figure, before, after);
    }
    return text;
}

HRESULT ShowDrive(IVLAgent& agent, const std::wstring& drive)
{
    win::ComPtr<IVLStatistics> statistics;
    if (const HRESULT result = GetStatistics(agent, drive, statistics); FAILED(result)) {
        return result;
    }
    StatisticsReader reader(*statistics);
    const std::wstring text = ReportText(reader, drive);
    if (FAILED(reader.Failure())) {
        PrintMessage(kFailed);
        return reader.Failure();
    }
    PrintLine(text);
    return S_OK;
}

} // namespace

Result ShowRemoteStats(const std::wstring& computer, const DriveList& drives)
{
    win::ComPtr<IVLAgent> agent;
    if (const HRESULT connection = ConnectToAgent(computer, &agent); FAILED(connection)) {
        return win::ResultOf(connection);
    }
    PrintMessage(kComputer, {computer});
    for (const std::wstring& drive : drives) {
        if (const HRESULT result = ShowDrive(*agent, drive); FAILED(result)) {
            return win::ResultOf(result);
        }
    }
    return kSuccess;
}
