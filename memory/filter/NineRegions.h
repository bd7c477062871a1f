// The frame of the ops that look at a window around each pixel: convolution, the fused pair and edge detection.
//
// The region to write is cut into nine: an interior, where the window lies inside the source, and eight borders, where
// it does not. Each is worked off by code of its own, in one fixed order.
#pragma once

#include "memory/frame/Frame.h"

namespace orvi {

/// The nine regions in the order in which they are done.
enum class Region { topLeft, top, topRight, left, interior, right, bottomLeft, bottom, bottomRight };

constexpr bool isTop(Region region) noexcept { return region <= Region::topRight; }
constexpr bool isBottom(Region region) noexcept { return region >= Region::bottomLeft; }
constexpr bool isLeft(Region region) noexcept { return static_cast<int>(region) % 3 == 0; }
constexpr bool isRight(Region region) noexcept { return static_cast<int>(region) % 3 == 2; }
constexpr bool isCorner(Region region) noexcept {
    return (isTop(region) || isBottom(region)) && (isLeft(region) || isRight(region));
}

/// A window: its size, and the column and row of the element that lies on the pixel being made. The key may lie
/// outside.
struct Window {
    long width;
    long height;
    long keyX;
    long keyY;
};

/// What the members of the family differ in.
struct FilterFacts {
    const char* file;
    int primary;    ///< the flag of every report
    bool keepsRois; ///< a region whose rectangles cannot be had is not released
};

class NineRegions {
public:
    NineRegions(const FilterFacts& facts, OrvImage* source, OrvImage* destination) noexcept
        : facts_(facts), frame_(source, nullptr, nullptr, destination) {}

    /// Fetches the images as `type`; 2 after a report.
    OrvStatus fetch(OrvDataType type) noexcept;
    /// Intersects the images' regions and tells the destination; 2 after a report.
    OrvStatus intersect() noexcept;

    /// Runs `visit(Region, const Rect&)` over the rectangles of each region; a false answer ends that region.
    template <class Visit>
    OrvStatus visit(const Window& window, Visit visit) noexcept {
        for (int i = 0; i < regionCount; ++i) {
            const Region region{i};
            if (open(region, window) != ORV_SUCCESS) return ORV_FAILURE;
            for (Rect rect{}; frame_.rects().next(rect) && visit(region, rect);) {
            }
            close();
        }
        return ORV_SUCCESS;
    }

    const Raster& source() const noexcept { return frame_[src1]; }
    const Raster& destination() const noexcept { return frame_[dst]; }
    /// Size of the source.
    long width() const noexcept { return width_; }
    long height() const noexcept { return height_; }
    /// The bands that are processed: those of the source, as far as the destination has them.
    unsigned bands() const noexcept { return bands_; }
    /// Whether a window fits into the source. Where it does not, the lines between the regions cross, the regions
    /// overlap, and no region's windows lie inside the source.
    bool fits(const Window& window) const noexcept { return window.width <= width_ && window.height <= height_; }

    OrvStatus fail(const char* id, std::source_location where = std::source_location::current()) noexcept {
        return orvi::fail(frame_.image(src1), {id, 1, facts_.primary}, facts_.file, where);
    }
    OrvStatus failMemory(std::source_location where = std::source_location::current()) noexcept {
        return orvi::fail(frame_.image(src1), noMemory, facts_.file, where);
    }

private:
    static constexpr int regionCount = 9;

    OrvStatus open(Region region, const Window& window) noexcept;
    void close() noexcept;

    FilterFacts facts_;
    Frame frame_;
    long width_ = 0;
    long height_ = 0;
    unsigned bands_ = 0;
    OrvRoi* touched_ = nullptr; // the destination's own
    OrvRoi* clipped_ = nullptr; // of the region at work
};

} // namespace orvi
