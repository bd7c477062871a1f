#include <algorithm>

#include "memory/frame/Extent.h"
#include "memory/geometry/fast_paths.h"

namespace orvi {

OrvStatus ScaledRegion::open(OrvImage* from, OrvImage* to, OrvDataType type, float sx, float sy,
                             const Facts& facts) noexcept {
    const PictureFailures failures{
        {"di-9", 1, facts.storagePrimary}, {"di-10", 1, facts.storagePrimary}, {"di-6", 1, 1}};
    if (readPictures(src, dst, from, to, type, failures, facts.file) != ORV_SUCCESS) return ORV_FAILURE;
    bands = std::min(src.raster.bands, dst.raster.bands);
    const std::ptrdiff_t sample = type == ORV_SHORT ? sizeof(std::int16_t) : 1;
    apart = !Extent(src.raster, sample).overlaps(Extent(dst.raster, sample));

    OrvRoi* scaled = src.roi->scale(sx, sy, 0, 0);
    if (scaled == nullptr) return fail(from, failures.region, facts.file);
    OrvRoi* region = dst.roi->intersect(scaled);
    OrvRoiList* list = region != nullptr ? region->getRectList() : nullptr;
    scaled->destroy();
    if (region == nullptr) return fail(to, {"di-7", 1, 0}, facts.file);
    rects.reset(list);
    if (list == nullptr || !facts.touches) {
        region->destroy();
    } else {
        to->setPixelsTouchedRoi(region);
        to->setPixelsTouchedRoi_flag(1);
    }
    return list != nullptr ? ORV_SUCCESS : fail(to, facts.list, facts.file);
}

} // namespace orvi
