// Faults that the host plays to a device.
#pragma once

#include <vector>

#include "orv/device/OrvObject.h"
#include "orv/host/FaultPoint.h"

namespace orv::host {

struct Fault {
    FaultPoint point = FaultPoint::storage; ///< any but newMemory
    const OrvObject* image = nullptr;       ///< storage, imageRoi, roi, systemState alone
    unsigned nth = 1;                       ///< counted from 1; no meaning where every call fails
};

/// The faults of the next call. They hit, and count, the calls that the device itself makes while one of its functions
/// runs, through all functions that the call tries; the dispatch disarms what is left when the call ends.
class ORV_API FaultPlan {
public:
    void arm(const Fault& fault);
    void disarm() noexcept {
        armed_.clear();
        met_ = 0;
    }
    bool empty() const noexcept { return armed_.empty(); }

    /// How many calls were made to fail since the plan was last disarmed.
    unsigned met() const noexcept { return met_; }

    /// Counts a call of the device's; true where it must fail.
    bool hits(FaultPoint point, const OrvObject* object) noexcept;

private:
    struct Armed {
        Fault fault;
        unsigned seen = 0;
    };
    std::vector<Armed> armed_;
    unsigned met_ = 0;
};

} // namespace orv::host
