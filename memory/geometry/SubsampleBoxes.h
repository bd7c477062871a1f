// What the subsampling ops share: the regions of a call, and the boxes of source pixels that fall on one destination
// pixel.
#pragma once

#include <algorithm>
#include <climits>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/report.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// The source positions of one axis that fall on one destination position, in image space.
struct Span {
    long first;
    long count;
    long to;
};

/// The destination position that a source position falls on.
inline long scaledPlace(long at, float scale) noexcept {
    return toInt(static_cast<double>(static_cast<float>(at)) * static_cast<double>(scale), INT_MIN, INT_MAX);
}

/// Cuts the positions from `at` to `end` - 1 into spans, one after another.
class SpanWalk {
public:
    SpanWalk(long at, long end, float scale) noexcept : at_(at), end_(end), scale_(scale) {}

    bool next(Span& span) noexcept {
        if (at_ >= end_) return false;
        span = {at_, 0, place(at_)};
        do {
            ++at_;
        } while (at_ < end_ && place(at_) == span.to);
        span.count = at_ - span.first;
        return true;
    }

private:
    long place(long at) const noexcept { return scaledPlace(at, scale_); }

    long at_;
    long end_;
    float scale_;
};

class SubsampleCall {
public:
    Raster src;
    Raster dst;
    unsigned bands = 0; ///< that both images have
    float scaleX = 0;
    float scaleY = 0;
    RectCursor rects; ///< of the source

    /// Reads the factors and fetches images and regions; 2 after a report.
    OrvStatus open(OrvOp* op, OrvDataType from, OrvDataType to, const char* file) noexcept;
    /// Takes the rectangles of both regions.
    OrvStatus list() noexcept;
    /// Tells a destination with an input/output device behind it what was written.
    OrvStatus close() noexcept;

    OrvStatus outOfMemory() const noexcept { return fail(dst.image, noMemory, file_); }

    /// Whether a position of the destination lies in its region.
    bool writes(long x, long y) const noexcept {
        for (unsigned i = 0; i < targetCount_; ++i) {
            if (x >= targetX_[i] && x - targetX_[i] < targetWidth_[i] && y >= targetY_[i] &&
                y - targetY_[i] < targetHeight_[i]) {
                return true;
            }
        }
        return false;
    }

    /// Calls `visit(x, y, width, height)` for what its rectangles have of a block of the destination.
    template <class Visit>
    void eachTarget(long x, long y, long width, long height, Visit visit) const noexcept {
        for (unsigned i = 0; i < targetCount_; ++i) {
            const long left = std::max(x, targetX_[i]);
            const long top = std::max(y, targetY_[i]);
            const long right = std::min(x + width, targetX_[i] + targetWidth_[i]);
            const long bottom = std::min(y + height, targetY_[i] + targetHeight_[i]);
            if (left < right && top < bottom) visit(left, top, right - left, bottom - top);
        }
    }

private:
    bool copyTargets(OrvRoiList* list) noexcept;

    const char* file_ = nullptr;
    OrvRoi* source_ = nullptr;
    OrvRoi* destination_ = nullptr;
    unsigned targetCount_ = 0;
    Array<long> targetX_;
    Array<long> targetY_;
    Array<long> targetWidth_;
    Array<long> targetHeight_;
};

/// A box and the destination position that it falls on, in image space.
struct Box {
    Span columns;
    Span rows;

    long area() const noexcept { return columns.count * rows.count; }
};

/// Visits the boxes of a source rectangle that fall on the destination's region, row by row.
template <class Visit>
void eachBox(const SubsampleCall& call, const Rect& rect, Visit visit) noexcept {
    SpanWalk down(rect.y, rect.y + static_cast<long>(rect.height), call.scaleY);
    for (Box box{}; down.next(box.rows);) {
        SpanWalk across(rect.x, rect.x + static_cast<long>(rect.width), call.scaleX);
        while (across.next(box.columns)) {
            if (call.writes(box.columns.to, box.rows.to)) visit(box);
        }
    }
}

/// The set bits of a box in one plane.
inline long setBits(const Raster& src, const Box& box, unsigned band) noexcept {
    long set = 0;
    for (long y = box.rows.first; y < box.rows.first + box.rows.count; ++y) {
        BitPosition at = src.bit(box.columns.first, y, band);
        for (long left = box.columns.count; left > 0;) {
            const unsigned now = static_cast<unsigned>(std::min(left, 8L - static_cast<long>(at.offset)));
            const unsigned bits = (unsigned{*at.byte} << at.offset & 0xffU) >> (8 - now);
            set += __builtin_popcount(bits);
            left -= now;
            ++at.byte;
            at.offset = 0;
        }
    }
    return set;
}

} // namespace orvi
