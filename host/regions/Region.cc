#include "regions/Region.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

namespace orv::host {
namespace {

// pixman's functions take regions that they do not change as plain pointers.
pixman_region32_t* plain(const pixman_region32_t* region) { return const_cast<pixman_region32_t*>(region); }

// The upper end of a run that begins at `start`; both arguments may be anything that their types hold.
std::int64_t endOf(long start, unsigned length) {
    std::int64_t end = 0;
    return __builtin_add_overflow(std::int64_t{start}, std::int64_t{length}, &end) ? INT64_MAX : end;
}

std::int32_t saturatedSum(std::int32_t a, std::int64_t b) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(std::int64_t{a}, b, &sum)) return b < 0 ? INT32_MIN : INT32_MAX;
    return saturated(sum);
}

std::int32_t toCoordinate(double value) {
    if (std::isnan(value)) return 0;
    return static_cast<std::int32_t>(std::clamp(value, double{INT32_MIN}, double{INT32_MAX}));
}

struct Interval {
    std::int32_t low;
    std::int32_t high;
};

// An interval scaled about a point, grown to whole pixels. A negative scale turns it round.
Interval scaled(std::int32_t low, std::int32_t high, double scale, double origin) {
    const double a = origin + (low - origin) * scale;
    const double b = origin + (high - origin) * scale;
    return {toCoordinate(std::floor(std::min(a, b))), toCoordinate(std::ceil(std::max(a, b)))};
}

// What a flip about a centre does to columns or rows: they run on, or back, from another start.
struct Axis {
    bool back;
    double start; ///< where position 0 goes
};

Interval flipped(std::int32_t low, std::int32_t high, const Axis& axis) {
    const double start = std::floor(axis.start + 0.5);
    // The box's upper end is not one of its pixels, so it is the pixel before it that becomes the first one.
    if (axis.back) return {toCoordinate(start - (static_cast<double>(high) - 1)), toCoordinate(start - low + 1)};
    return {toCoordinate(start + low), toCoordinate(start + high)};
}

} // namespace

Box boxOf(long x, long y, unsigned width, unsigned height) noexcept {
    return {saturated(x), saturated(y), saturated(endOf(x, width)), saturated(endOf(y, height))};
}

Region::Region(const Box& box) noexcept {
    if (isEmpty(box)) {
        pixman_region32_init(&region_);
    } else {
        region_ = {box, nullptr};
    }
}

Region& Region::operator=(Region&& other) noexcept {
    std::swap(region_, other.region_);
    return *this;
}

bool Region::assign(const Region& other) noexcept {
    if (other.isBox()) {
        *this = Region(other.region_.extents);
        return true;
    }
    Region copy;
    if (!pixman_region32_copy(&copy.region_, plain(&other.region_))) return false;
    *this = std::move(copy);
    return true;
}

bool Region::assign(std::span<const Box> boxes) noexcept {
    pixman_region32_t made;
    if (!pixman_region32_init_rects(&made, boxes.data(), static_cast<int>(boxes.size()))) {
        pixman_region32_fini(&made);
        return false;
    }
    std::swap(region_, made);
    pixman_region32_fini(&made);
    return true;
}

bool Region::add(std::span<const Box> boxes) noexcept {
    Region added;
    if (!added.assign(boxes)) return false;
    if (empty()) {
        *this = std::move(added);
        return true;
    }
    Region sum;
    if (!pixman_region32_union(&sum.region_, &region_, &added.region_)) return false;
    *this = std::move(sum);
    return true;
}

bool Region::intersect(const Region& other) noexcept {
    if (isBox() && other.isBox()) {
        const Box& a = region_.extents;
        const Box& b = other.region_.extents;
        *this = Region(Box{std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)});
        return true;
    }
    Region common;
    if (!pixman_region32_intersect(&common.region_, &region_, plain(&other.region_))) return false;
    *this = std::move(common);
    return true;
}

template <class Map>
bool Region::mapBoxes(Map map) noexcept {
    const std::span<const Box> old = boxes();
    if (old.size() == 1) {
        *this = Region(map(old[0]));
        return true;
    }
    const std::unique_ptr<Box[]> mapped(new (std::nothrow) Box[old.size()]);
    if (!mapped) return false;
    Box* const end = std::remove_if(mapped.get(), std::ranges::transform(old, mapped.get(), map).out, isEmpty);
    return assign({mapped.get(), end});
}

bool Region::translate(std::int64_t dx, std::int64_t dy) noexcept {
    return mapBoxes([dx, dy](const Box& box) {
        return Box{saturatedSum(box.x1, dx), saturatedSum(box.y1, dy), saturatedSum(box.x2, dx),
                   saturatedSum(box.y2, dy)};
    });
}

bool Region::scale(double xscale, double yscale, double xorigin, double yorigin) noexcept {
    return mapBoxes([=](const Box& box) {
        const Interval columns = scaled(box.x1, box.x2, xscale, xorigin);
        const Interval rows = scaled(box.y1, box.y2, yscale, yorigin);
        return Box{columns.low, rows.low, columns.high, rows.high};
    });
}

bool Region::transpose(int flip, double x, double y) noexcept {
    // The new columns come from the old columns or from the old rows; each runs on or back. Indexed by the flip.
    static constexpr struct {
        bool swapped;
        bool columnsBack;
        bool rowsBack;
    } rules[] = {{false, false, true}, {false, true, false}, {true, false, false}, {true, true, true},
                 {true, false, true},  {false, true, true},  {true, true, false}};
    const auto& rule = rules[flip];
    // A run of columns is made about the centre of its new axis from positions about the centre of its old one.
    const auto axis = [](bool back, double to, double from) { return Axis{back, back ? to + from : to - from}; };
    const Axis columnAxis = axis(rule.columnsBack, x, rule.swapped ? y : x);
    const Axis rowAxis = axis(rule.rowsBack, y, rule.swapped ? x : y);
    return mapBoxes([&](const Box& box) {
        const Interval columns =
            rule.swapped ? flipped(box.y1, box.y2, columnAxis) : flipped(box.x1, box.x2, columnAxis);
        const Interval rows = rule.swapped ? flipped(box.x1, box.x2, rowAxis) : flipped(box.y1, box.y2, rowAxis);
        return Box{columns.low, rows.low, columns.high, rows.high};
    });
}

std::span<const Box> Region::boxes() const noexcept {
    int count = 0;
    const Box* const first = pixman_region32_rectangles(plain(&region_), &count);
    return {first, static_cast<std::size_t>(count)};
}

Box Region::bounds() const noexcept { return empty() ? Box{} : *pixman_region32_extents(plain(&region_)); }

} // namespace orv::host
