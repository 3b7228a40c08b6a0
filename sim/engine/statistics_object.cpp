#include "engine/statistics_object.h"

#include "base/text.h"
#include "engine/serve.h"

namespace sim {

StatisticsObject::StatisticsObject(const std::shared_ptr<Engine>& engine, DriveIndex drive,
                                   std::vector<StatisticsPoint> points)
    : ComObject(engine, ObjectKind::Statistics, engine->Drives().Setup(drive).name),
      drive_(drive),
      points_(std::move(points))
{}

HRESULT StatisticsObject::GetInteger(BSTR path, BSTR valueName, LONG* value)
{
    const Arguments arguments = Arguments().Text(L"path", path).Text(L"valueName", valueName).About(drive_);
    return Serve(*SharedEngine(), Label(), Method::GetInteger, arguments, NumberOutput(L"value", value),
                 [&](const NumberOutput<LONG>& output) {
                     if (ViewOf(path) != L"/" || ViewOf(valueName) != L"NumStatPoints") {
                         return kNoSuchValue;
                     }
                     output.Put(static_cast<LONG>(points_.size()));
                     return S_OK;
                 });
}

HRESULT StatisticsObject::GetDouble(BSTR path, BSTR valueName, double* value)
{
    const Arguments arguments = Arguments().Text(L"path", path).Text(L"valueName", valueName).About(drive_);
    return Serve(*SharedEngine(), Label(), Method::GetDouble, arguments, NumberOutput(L"value", value),
                 [&](const NumberOutput<double>& output) {
                     const std::optional<double> found = Find(ViewOf(path), ViewOf(valueName));
                     if (!found) {
                         return kNoSuchValue;
                     }
                     output.Put(*found);
                     return S_OK;
                 });
}

// The value at a path such as /Fragmented/1, where the point has it.
std::optional<double> StatisticsObject::Find(std::wstring_view path, std::wstring_view valueName) const
{
    struct Branch {
        std::wstring_view path;
        BeforeAfter StatisticsPoint::*figures;
        bool hasDate;
    };
    constexpr Branch kBranches[] = {{L"/Fragmented/", &StatisticsPoint::fragmented, true},
                                    {L"/FreeSpaceFragmentation/", &StatisticsPoint::freeSpace, false},
                                    {L"/Performance/", &StatisticsPoint::performance, false}};
    for (const Branch& branch : kBranches) {
        if (!path.starts_with(branch.path)) {
            continue;
        }
        const std::optional<std::uint64_t> number = ParseNumber(path.substr(branch.path.size()));
        if (!number || *number < 1 || *number > points_.size()) {
            return std::nullopt;
        }
        const StatisticsPoint& point = points_[static_cast<std::size_t>(*number - 1)];
        if (valueName == L"Date" && branch.hasDate) {
            return point.date;
        }
        if (valueName == L"Before") {
            return (point.*branch.figures).before;
        }
        if (valueName == L"After") {
            return (point.*branch.figures).after;
        }
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace sim
