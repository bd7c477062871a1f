// The frame of the ops that only measure: one source, walked over its own region.
#pragma once

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/report.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// How a measuring op reports what it cannot have.
struct RegionFacts {
    const char* file;
    Failure noStorage;
    Failure noRegion;
    Failure noList;
};

/// The source of a measuring op, and the rectangles of its own region.
class SourceRegion {
public:
    SourceRegion(OrvOp* op, const RegionFacts& facts) noexcept : image_(op->getSrc1()), facts_(facts) {}

    OrvStatus fetch(OrvDataType type) noexcept {
        return raster_.read(image_, type) ? ORV_SUCCESS : report(facts_.noStorage);
    }

    OrvStatus list() noexcept {
        OrvRoi* const region = image_->getImageSpaceRoi(); // the image's own
        if (region == nullptr) return report(facts_.noRegion);
        OrvRoiList* const rectangles = region->getRectList();
        if (rectangles == nullptr) return report(facts_.noList);
        rects_.reset(rectangles);
        return ORV_SUCCESS;
    }

    OrvStatus open(OrvDataType type) noexcept {
        if (fetch(type) != ORV_SUCCESS) return ORV_FAILURE;
        return list();
    }

    OrvStatus report(const Failure& failure, std::source_location where = std::source_location::current()) noexcept {
        return fail(image_, failure, facts_.file, where);
    }

    OrvImage* image() const noexcept { return image_; }
    const Raster& raster() const noexcept { return raster_; }
    RectCursor& rects() noexcept { return rects_; }

private:
    OrvImage* image_;
    const RegionFacts& facts_;
    Raster raster_;
    RectCursor rects_;
};

} // namespace orvi
