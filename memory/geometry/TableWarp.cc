#include "memory/geometry/TableWarp.h"

#include "memory/frame/orvi_new.h"

namespace orvi {

bool AddressTables::fits(const Raster& source, long sourceWidth, long sourceHeight) const noexcept {
    if (source.stride != stride || sourceHeight > height) return false;
    return source.type == ORV_BIT || (source.pixel == pixel && sourceWidth == width);
}

namespace {

std::ptrdiff_t* multiplesOf(std::ptrdiff_t step, long count) noexcept {
    std::ptrdiff_t* table = newArray<std::ptrdiff_t>(static_cast<std::size_t>(count));
    if (table == nullptr) return nullptr;
    for (long i = 0; i < count; ++i) table[i] = i * step;
    return table;
}

} // namespace

bool AddressTables::refresh(const Raster& source, long sourceWidth, long sourceHeight) noexcept {
    if (fits(source, sourceWidth, sourceHeight)) return true;
    orvi_delete(rows);
    orvi_delete(columns);
    *this = {};
    rows = multiplesOf(source.stride, sourceHeight);
    if (rows == nullptr) return false;
    if (source.type != ORV_BIT) {
        columns = multiplesOf(source.pixel, sourceWidth);
        if (columns == nullptr) return false;
    }
    stride = source.stride;
    pixel = source.pixel;
    height = sourceHeight;
    width = sourceWidth;
    return true;
}

WarpCall::~WarpCall() {
    orv_destroy(touched_);
    while (sampled_ != nullptr) {
        SampledRect* next = sampled_->next;
        orvi_delete(sampled_);
        sampled_ = next;
    }
}

OrvStatus WarpCall::openSource(OrvOp* op) noexcept {
    OrvImage* image = op->getSrc1();
    if (!source.read(image, type_)) return fail(image, {"di-9", 1, 0}, file_);
    unsigned w = 0;
    unsigned h = 0;
    image->getDimensions(&w, &h, nullptr);
    width = static_cast<long>(w);
    height = static_cast<long>(h);
    return ORV_SUCCESS;
}

OrvStatus WarpCall::openRest(OrvOp* op) noexcept {
    if (!table.read(op->getSrc2(), ORV_SHORT)) return fail(op->getSrc2(), {"di-11", 1, 0}, file_);
    if (!destination.read(op->getDst(), type_)) return fail(op->getDst(), {"di-10", 1, 0}, file_);
    bands = source.bands < destination.bands ? source.bands : destination.bands;
    if (listSource() != ORV_SUCCESS) return ORV_FAILURE;
    OrvRoiList* list = OrviGetRoiList(&touched_, destination.image, table.image, nullptr, nullptr);
    if (list == nullptr) return fail(destination.image, {"di-8", 1, 1}, file_);
    targets.reset(list);
    return ORV_SUCCESS;
}

OrvStatus WarpCall::listSource() noexcept {
    OrvRoi* roi = source.image->getImageSpaceRoi();
    if (roi == nullptr) return fail(source.image, {"di-6", 1, 1}, file_);
    OrvRoiList* list = roi->getRectList();
    if (list == nullptr) return fail(source.image, {"di-8", 1, 1}, file_);
    RectCursor rects(list);
    SampledRect* last = newArray<SampledRect>(1);
    if (last == nullptr) return fail(source.image, noMemory, file_);
    *last = {};
    sampled_ = last;
    for (Rect rect{}; rects.next(rect);) {
        if (!append(rect, last)) return fail(source.image, noMemory, file_);
    }
    return ORV_SUCCESS;
}

bool WarpCall::append(const Rect& rect, SampledRect*& last) noexcept {
    SampledRect* end = newArray<SampledRect>(1);
    if (end == nullptr) return false;
    *end = {};
    const long x = source.ox + rect.x;
    const long y = source.oy + rect.y;
    *last = {x + margins_.low, x + static_cast<long>(rect.width) - margins_.high, y + margins_.low,
             y + static_cast<long>(rect.height) - margins_.high, end};
    last = end;
    return true;
}

} // namespace orvi
