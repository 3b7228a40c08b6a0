#include "engine/engine.h"

#include "base/text.h"

namespace sim {

namespace {

constexpr std::array<std::wstring_view, 5> kKindNames = {L"agent", L"service", L"drive", L"schedule", L"statistics"};

} // namespace

Engine::Engine(const Scenario& scenario, CallLog& log, ServerLife& life)
    : database_(scenario.statisticsDatabase),
      drives_(scenario, EngineDrives::Clock::now(), [this](const FinishedWork& work) { Record(work); }),
      faults_(scenario.faults),
      faultCount_(scenario.faults.size()),
      rights_(scenario.rights),
      serviceState_(scenario.serviceState),
      log_(log),
      life_(life),
      counts_{}
{}

std::uint32_t Engine::ServiceState() const
{
    return serviceState_.value_or(drives_.AtWork(EngineDrives::Clock::now()) ? 1 : 0);
}

std::wstring Engine::ObjectCreated(ObjectKind kind, std::wstring_view about)
{
    life_.Hold();
    const auto index = static_cast<std::size_t>(kind);
    std::wstring label(kKindNames[index]);
    {
        const std::scoped_lock guard(lock_);
        ++counts_[index].live;
        label += L'#' + std::to_wstring(++counts_[index].created);
    }
    if (!about.empty()) {
        label += L'[' + std::wstring(about) + L']';
    }
    return label;
}

void Engine::ObjectReleased(ObjectKind kind, std::wstring_view label)
{
    {
        const std::scoped_lock guard(lock_);
        --counts_[static_cast<std::size_t>(kind)].live;
    }
    log_.Write(std::wstring(label) + L" released");
    life_.Drop();
}

void Engine::LogCall(std::wstring_view label, std::wstring_view method, std::wstring_view arguments, HRESULT result,
                     std::wstring_view output)
{
    std::wstring line;
    if (!label.empty()) {
        line.append(label).append(L" ");
    }
    line.append(method).append(L"(").append(arguments).append(L") -> ");
    line += HexText(static_cast<std::uint32_t>(result));
    if (!output.empty()) {
        line.append(L" ").append(output);
    }
    log_.Write(line);
}

// A database that is missing or broken is for the log to tell; the engine goes on.
void Engine::Record(const FinishedWork& work)
{
    if (const std::optional<std::wstring> fault = database_.Record(work)) {
        log_.Write(L"statistics of " + Quoted(work.driveName) + L" not recorded: " + Quoted(*fault));
    }
}

void Engine::BeginLog() const
{
    log_.Write(L"server started: " + std::to_wstring(drives_.DriveCount()) + L" drives, " +
               std::to_wstring(drives_.ScheduleCount()) + L" schedules, " + std::to_wstring(faultCount_) + L" faults");
}

void Engine::EndLog() const
{
    std::wstring line = L"server ended:";
    {
        const std::scoped_lock guard(lock_);
        for (std::size_t index = 0; index < kKindCount; ++index) {
            line.append(index == 0 ? L" " : L", ").append(kKindNames[index]);
            line += L' ' + std::to_wstring(counts_[index].live);
        }
    }
    log_.WriteLast(line);
}

} // namespace sim
