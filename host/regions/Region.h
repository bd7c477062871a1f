// A set of pixels as a value.
#pragma once

#include <pixman.h>

#include <cstdint>
#include <span>

namespace orv::host {

/// Columns x1 to x2 of rows y1 to y2, the upper ends not included.
using Box = pixman_box32_t;

/// Brings a coordinate into the range that boxes hold.
constexpr std::int32_t saturated(std::int64_t value) noexcept {
    if (value < INT32_MIN) return INT32_MIN;
    return value > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(value);
}

/// The box of a rectangle, cut to the integer range; it may be empty.
Box boxOf(long x, long y, unsigned width, unsigned height) noexcept;

constexpr bool isEmpty(const Box& box) noexcept { return box.x1 >= box.x2 || box.y1 >= box.y2; }

/// A region over pixman's algebra, which keeps its boxes in the canonical order that devices are promised: bands from
/// top to bottom, as few as there can be, and the intervals of a band from left to right. Functions that answer bool
/// answer false, and leave the region usable, where no memory could be had.
class Region {
public:
    Region() noexcept { pixman_region32_init(&region_); }
    explicit Region(const Box& box) noexcept;
    Region(Region&& other) noexcept : region_(other.region_) { pixman_region32_init(&other.region_); }
    Region& operator=(Region&& other) noexcept;
    ~Region() {
        if (!isBox()) pixman_region32_fini(&region_);
    }

    bool assign(const Region& other) noexcept;
    /// The union of the boxes, none of which may be empty.
    bool assign(std::span<const Box> boxes) noexcept;
    bool add(std::span<const Box> boxes) noexcept;
    bool intersect(const Region& other) noexcept;

    /// Moves the region; what leaves the integer range is cut off.
    bool translate(std::int64_t dx, std::int64_t dy) noexcept;
    bool scale(double xscale, double yscale, double xorigin, double yorigin) noexcept;
    bool transpose(int flip, double x, double y) noexcept;

    bool empty() const noexcept { return boxes().empty(); }
    std::span<const Box> boxes() const noexcept;
    /// 0, 0, 0, 0 for an empty region.
    Box bounds() const noexcept;

private:
    /// Whether it is one box, as most regions are: pixman keeps no list for that.
    bool isBox() const noexcept { return region_.data == nullptr; }

    template <class Map>
    bool mapBoxes(Map map) noexcept;

    pixman_region32_t region_;
};

} // namespace orv::host
