#include "memory/filter/NineRegions.h"

#include "memory/filter/orvi_roi_clip.h"
#include "memory/frame/walk.h"

namespace orvi {

OrvStatus NineRegions::fetch(OrvDataType type) noexcept {
    const Fetch fetches[] = {{src1, type, {"di-9", 1, facts_.primary}, src1},
                             {dst, type, {"di-10", 1, facts_.primary}, dst}};
    if (frame_.fetch({facts_.file, fetches, {}, src1}) != ORV_SUCCESS) return ORV_FAILURE;
    width_ = static_cast<long>(frame_.image(src1)->getWidth());
    height_ = static_cast<long>(frame_.image(src1)->getHeight());
    bands_ = commonBands(source(), destination());
    return ORV_SUCCESS;
}

OrvStatus NineRegions::intersect() noexcept {
    OrvImage* to = frame_.image(dst);
    OrvRoi* toRoi = to->getImageSpaceRoi();
    if (toRoi == nullptr) return fail("di-6");
    OrvRoi* fromRoi = frame_.image(src1)->getImageSpaceRoi();
    if (fromRoi == nullptr) return fail("di-6");
    touched_ = toRoi->intersect(fromRoi);
    if (touched_ == nullptr) return fail("di-7");
    to->setPixelsTouchedRoi(touched_);
    to->setPixelsTouchedRoi_flag(1);
    return ORV_SUCCESS;
}

OrvStatus NineRegions::open(Region region, const Window& window) noexcept {
    struct Span {
        long from, to;
    };
    const auto third = [](int index, long size, long origin, long extent, long key) -> Span {
        const long first = key - origin;
        const long last = extent + key - size - origin;
        if (index == 0) return {-1 - origin, first - 1};
        if (index == 1) return {first, last};
        return {last + 1, extent - origin};
    };
    const int index = static_cast<int>(region);
    Span columns = third(index % 3, window.width, source().ox, width_, window.keyX);
    const Span rows = third(index / 3, window.height, source().oy, height_, window.keyY);
    // This one region ends at the width itself, whatever the origin.
    if (region == Region::topRight) columns.to = width_;

    clipped_ = orvi_roi_clip(touched_, columns.from, rows.from, columns.to, rows.to);
    if (clipped_ == nullptr) return fail("di-7");
    OrvRoiList* list = clipped_->getRectList();
    if (list == nullptr) {
        if (!facts_.keepsRois) orv_destroy(clipped_);
        return fail("di-7");
    }
    frame_.rects().reset(list);
    return ORV_SUCCESS;
}

void NineRegions::close() noexcept {
    frame_.rects().reset(nullptr);
    orv_destroy(clipped_);
    clipped_ = nullptr;
}

} // namespace orvi
