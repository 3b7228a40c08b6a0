#include "engine/faults.h"

#include <utility>

namespace sim {

FaultTable::FaultTable(std::vector<Fault> faults)
{
    faults_.reserve(faults.size());
    for (Fault& fault : faults) {
        faults_.push_back({std::move(fault)});
    }
}

FaultOrder FaultTable::Take(Method method, std::optional<DriveIndex> drive)
{
    FaultOrder order;
    const std::scoped_lock guard(lock_);
    for (CountedFault& counted : faults_) {
        const Fault& fault = counted.fault;
        if (fault.method != method || (fault.drive && fault.drive != drive)) {
            continue;
        }
        if (!fault.calls.Holds(++counted.calls)) {
            continue;
        }
        order.delay += fault.delay;
        if (order.failure || order.substitute.index() != 0) {
            continue;
        }
        if (fault.failure) {
            order.failure = static_cast<HRESULT>(*fault.failure);
        }
        order.substitute = fault.substitute;
    }
    return order;
}

} // namespace sim
