// The rectangles of an op.

#include <initializer_list>

#include "dispatch/Running.h"
#include "orv/device/OrvRoi.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"
#include "regions/Roi.h"

using orv::host::Image;
using orv::host::Region;
using orv::host::Roi;
using orv::host::RoiList;
using orv::host::Running;

namespace {

/// The intersection of the images' regions, cut down image by image; false where one cannot be had.
bool intersectAll(Region& common, OrvImage* first, std::initializer_list<OrvImage*> others) {
    const auto regionOf = [](OrvImage* image) -> const Region* {
        const OrvRoi* const roi = static_cast<Image*>(image)->imageSpaceRegion();
        return roi ? Roi::of(*roi).region() : nullptr;
    };
    const Region* const start = regionOf(first);
    if (!start || !common.assign(*start)) return false;
    for (OrvImage* const image : others) {
        if (!image) continue;
        const Region* const region = regionOf(image);
        if (!region || !common.intersect(*region)) return false;
    }
    return true;
}

} // namespace

OrvRoiList* OrviGetRoiList(OrvRoi** touched, OrvImage* dst, OrvImage* src1, OrvImage* src2, OrvImage* src3) noexcept {
    if (Running::faultHits(orv::host::FaultPoint::roiList) || !dst) return nullptr;
    Region common;
    if (!intersectAll(common, dst, {src1, src2, src3})) return nullptr;
    orv::host::Session& session = *orv::host::ObjectAccess::session(*dst);
    RoiList* const list = RoiList::make(session, common.boxes());
    Roi* const roi = list ? Roi::make(session, std::move(common)) : nullptr;
    if (!roi) {
        orv::host::ObjectAccess::end(list);
        return nullptr;
    }
    *touched = Running::handOut(roi);
    return Running::handOut(list);
}
