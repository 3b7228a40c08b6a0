#pragma once

#include "engine/com_object.h"

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace sim {

// The statistics points of one drive, as they were when a client asked for them.
class StatisticsObject final : public ComObject<StatisticsSlots> {
public:
    StatisticsObject(const std::shared_ptr<Engine>& engine, DriveIndex drive, std::vector<StatisticsPoint> points);

    HRESULT STDMETHODCALLTYPE GetInteger(BSTR path, BSTR valueName, LONG* value) override;
    HRESULT STDMETHODCALLTYPE GetDouble(BSTR path, BSTR valueName, double* value) override;

private:
    [[nodiscard]] std::optional<double> Find(std::wstring_view path, std::wstring_view valueName) const;

    DriveIndex drive_;
    std::vector<StatisticsPoint> points_;
};

} // namespace sim
