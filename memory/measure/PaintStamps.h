// The stamps of a paint op: where the brush falls, and what of it lies inside both images.
#pragma once

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/numbers.h"
#include "memory/frame/report.h"
#include "orv/device/OrvKernel.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// What a member of the paint family reports as, and what it says where the images' regions have no intersection.
struct PaintFacts {
    const char* file;
    Failure noIntersection;
};

/// One stamp: the images, the brush, and where the brush's top left corner falls in the common space.
struct Stamp {
    const Raster& source;
    const Raster& destination;
    const float* brush;
    long width;
    long x;
    long y;

    /// The brush's weights from a pixel on.
    const float* weights(long px, long py) const noexcept { return brush + (py - y) * width + (px - x); }
};

/// Owns a host object, null included.
template <class Object>
class Owned {
public:
    explicit Owned(Object* object) noexcept : object_(object) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() { orv_destroy(object_); }

    explicit operator bool() const noexcept { return object_ != nullptr; }
    Object* operator->() const noexcept { return object_; }
    Object* get() const noexcept { return object_; }
    Object* release() noexcept {
        Object* const object = object_;
        object_ = nullptr;
        return object;
    }

private:
    Object* object_;
};

class PaintStamps {
public:
    PaintStamps(OrvOp* op, const PaintFacts& facts) noexcept : op_(op), facts_(facts) {}

    OrvStatus fetchSource(OrvDataType type) noexcept {
        return source_.read(op_->getSrc1(), type) ? ORV_SUCCESS : report(op_->getSrc1(), {"di-9", 1, 0});
    }
    OrvStatus fetchDestination(OrvDataType type) noexcept {
        return destination_.read(op_->getDst(), type) ? ORV_SUCCESS : report(op_->getDst(), {"di-10", 1, 0});
    }
    const Raster& source() const noexcept { return source_; }

    /// Runs `paintRow(stamp, x, y, pixels)` for each row of each rectangle of each stamp, in the order of the list.
    /// The touched region is what the stamps reached, and is set after the last of them alone.
    template <class PaintRow>
    OrvStatus run(OrvKernel* brush, PaintRow paintRow) noexcept {
        const Owned<OrvRoi> base(intersection());
        if (!base) return report(destination_.image, facts_.noIntersection);
        Owned<OrvRoi> touched(makeRoi());
        if (!touched) return report(destination_.image, noRoi);
        const long count = op_->getLongParam(3);
        const auto* position = static_cast<const float*>(op_->getPtrParam(4));
        const auto width = static_cast<long>(brush->getWidth());
        for (long i = 0; i < count; ++i, position += 2) {
            const Stamp stamp{source_,
                              destination_,
                              brush->getValue(),
                              width,
                              rounded(position[0]) - static_cast<long>(brush->getKeyX()),
                              rounded(position[1]) - static_cast<long>(brush->getKeyY())};
            RectCursor rects;
            if (place(stamp, brush, base.get(), rects) != ORV_SUCCESS) return ORV_FAILURE;
            for (Rect rect{}; rects.next(rect);) {
                touched->addRect(rect.x, rect.y, rect.width, rect.height);
                for (long row = 0; row < static_cast<long>(rect.height); ++row) {
                    paintRow(stamp, rect.x, rect.y + row, rect.width);
                }
            }
        }
        destination_.image->setPixelsTouchedRoi(touched.release());
        destination_.image->setPixelsTouchedRoi_flag(1);
        return ORV_SUCCESS;
    }

private:
    static constexpr Failure noRoi{"di-1", 1, 0};

    static long rounded(float coordinate) noexcept {
        return toInt(addHalf(coordinate), lowest<std::int32_t>, highest<std::int32_t>);
    }

    OrvStatus report(OrvImage* image, const Failure& failure,
                     std::source_location where = std::source_location::current()) noexcept {
        return fail(image, failure, facts_.file, where);
    }

    /// What both images' regions have in common, or null.
    OrvRoi* intersection() noexcept;
    /// An empty region, or null.
    OrvRoi* makeRoi() noexcept;
    /// The rectangles of a stamp within the base. A brush rectangle that cannot be added fails without a report.
    OrvStatus place(const Stamp& stamp, OrvKernel* brush, OrvRoi* base, RectCursor& rects) noexcept;

    OrvOp* op_;
    PaintFacts facts_;
    Raster source_;
    Raster destination_;
};

} // namespace orvi
