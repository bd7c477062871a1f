#include "orv/host/Faults.h"

namespace orv::host {
namespace {

bool ofOneImage(FaultPoint point) {
    return point == FaultPoint::storage || point == FaultPoint::imageRoi || point == FaultPoint::roi ||
           point == FaultPoint::systemState;
}

bool everyTime(FaultPoint point) {
    return point == FaultPoint::roiList || point == FaultPoint::cube || point == FaultPoint::systemState;
}

} // namespace

void FaultPlan::arm(const Fault& fault) { armed_.push_back({.fault = fault}); }

bool FaultPlan::hits(FaultPoint point, const OrvObject* object) noexcept {
    bool hit = false;
    for (Armed& armed : armed_) {
        if (armed.fault.point != point || (ofOneImage(point) && armed.fault.image != object)) continue;
        ++armed.seen;
        hit = hit || everyTime(point) || armed.seen == armed.fault.nth;
    }
    met_ += hit;
    return hit;
}

} // namespace orv::host
