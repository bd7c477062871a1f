#include "memory/measure/PaintStamps.h"

namespace orvi {

OrvRoi* PaintStamps::intersection() noexcept {
    OrvRoi* const ours = destination_.image->getImageSpaceRoi(); // the images' own
    if (ours == nullptr) return nullptr;
    OrvRoi* const theirs = source_.image->getImageSpaceRoi();
    return theirs != nullptr ? ours->intersect(theirs) : nullptr;
}

OrvRoi* PaintStamps::makeRoi() noexcept {
    OrvSystemState* const state = destination_.image->getSystemState();
    return state != nullptr ? state->createRoi() : nullptr;
}

OrvStatus PaintStamps::place(const Stamp& stamp, OrvKernel* brush, OrvRoi* base, RectCursor& rects) noexcept {
    const Owned<OrvRoi> rectangle(makeRoi());
    if (!rectangle) return report(destination_.image, noRoi);
    if (rectangle->addRect(stamp.x, stamp.y, brush->getWidth(), brush->getHeight()) == ORV_FAILURE) return ORV_FAILURE;
    const Owned<OrvRoi> part(rectangle->intersect(base));
    if (!part) return report(destination_.image, facts_.noIntersection);
    OrvRoiList* const list = part->getRectList();
    if (list == nullptr) return report(destination_.image, {"di-8", 1, 0});
    rects.reset(list);
    return ORV_SUCCESS;
}

} // namespace orvi
