#include "memory/geometry/Transpose.h"

#include "memory/frame/report.h"

namespace orvi {

namespace {

constexpr Failure noSource{"di-9", 4, 1};
constexpr Failure noDestination{"di-10", 4, 1};
constexpr Failure noRegion{"di-6", 4, 1};
constexpr Failure noIntersection{"di-7", 4, 1};
constexpr Failure noList{"di-24", 4, 1};

} // namespace

OrvStatus TransposeCall::open(OrvOp* op, OrvDataType type, const char* file) noexcept {
    const long which = op->getLongParam(1);
    if (which < 0 || which >= flipCount) return ORV_FAILURE;
    fliptype = static_cast<int>(which);
    flip = flips[fliptype];
    OrvImage* from = op->getSrc1();
    OrvImage* to = op->getDst();
    if (!src.read(from, type)) return fail(from, noSource, file);
    if (!dst.read(to, type)) return fail(to, noDestination, file);
    bands = src.bands < dst.bands ? src.bands : dst.bands;
    unsigned w = 0;
    unsigned h = 0;
    from->getDimensions(&w, &h, nullptr);
    width_ = static_cast<long>(w);
    height_ = static_cast<long>(h);
    firstColumn_ = flip.columnRight + flip.columnDown < 0 ? width_ - 1 : 0;
    firstRow_ = flip.rowRight + flip.rowDown < 0 ? height_ - 1 : 0;
    OrvRoi* source = from->getImageSpaceRoi();
    if (source == nullptr) return fail(from, noRegion, file);
    OrvRoi* destination = to->getImageSpaceRoi();
    if (destination == nullptr) return fail(to, noRegion, file);
    return findRects(source, destination, file);
}

/// The source's region where the flip brings it, in storage positions of the destination; null without memory. Flips
/// that turn rows into columns go about the first pixel, so what they mirror is moved beforehand.
OrvRoi* TransposeCall::flipped(OrvRoi* source) const noexcept {
    const bool turns = flip.turnsRows();
    OrvRoi* moved = source->translate(src.ox - (turns ? firstColumn_ : 0), src.oy - (turns ? firstRow_ : 0));
    if (moved == nullptr) return nullptr;
    const float centreX = turns ? 0.0F : static_cast<float>(static_cast<double>(width_ - 1) * 0.5);
    const float centreY = turns ? 0.0F : static_cast<float>(static_cast<double>(height_ - 1) * 0.5);
    OrvRoi* result = moved->transpose(fliptype, centreX, centreY);
    moved->destroy();
    return result;
}

OrvStatus TransposeCall::findRects(OrvRoi* source, OrvRoi* destination, const char* file) noexcept {
    OrvRoi* from = flipped(source);
    if (from == nullptr) return fail(src.image, noRegion, file);
    OrvRoi* to = destination->translate(dst.ox, dst.oy);
    OrvRoi* both = to != nullptr ? to->intersect(from) : nullptr;
    OrvRoiList* list = both != nullptr ? both->getRectList() : nullptr;
    rects.reset(list);
    from->destroy();
    orv_destroy(to);
    orv_destroy(both);
    if (to == nullptr) return fail(dst.image, noRegion, file);
    if (both == nullptr) return fail(dst.image, noIntersection, file);
    return list != nullptr ? ORV_SUCCESS : fail(dst.image, noList, file);
}

} // namespace orvi
