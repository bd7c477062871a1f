// A convolution kernel as the loops use it, and the order in which borders visit it.
#pragma once

#include <algorithm>

#include "memory/filter/NineRegions.h"
#include "memory/frame/orvi_new.h"
#include "orv/device/OrvKernel.h"

namespace orvi {

/// The key of an axis of `size` elements in a kernel that was turned round; sixteen bits are kept of it.
constexpr long mirroredKey(unsigned size, unsigned key) noexcept { return static_cast<std::int16_t>(size - key - 1); }

/// The weights in reverse order, which makes the loops that read them a true convolution.
struct Taps {
    Array<float> values;
    Window window{};

    /// Copies a kernel, in one allocation; false where that failed.
    bool read(OrvKernel* kernel) noexcept {
        const unsigned width = kernel->getWidth();
        const unsigned height = kernel->getHeight();
        window = {width, height, mirroredKey(width, kernel->getKeyX()), mirroredKey(height, kernel->getKeyY())};
        const std::size_t count = std::size_t{width} * height;
        values = Array<float>(count);
        if (!values) return false;
        std::reverse_copy(kernel->getValue(), kernel->getValue() + count, values.get());
        return true;
    }

    std::size_t count() const noexcept { return static_cast<std::size_t>(window.width * window.height); }
    const float* row(long index) const noexcept { return values.get() + index * window.width; }
};

/// The order in which the elements of one axis of the window are visited. Sums are rounded after every step, so it is
/// part of the result.
class TapOrder {
public:
    enum Kind {
        ascending,
        insideFirst, ///< those that lie in the image or before it from the last down, then those beyond it upward
        beyondFirst  ///< those beyond the image upward, then the others from the last down
    };

    /// For a window of `count` elements whose first lies at position `first` of an axis of `extent` samples.
    TapOrder(Kind kind, long count, long first, long extent) noexcept
        : kind_(kind), count_(count), inside_(std::clamp(extent - first, 0L, count)) {}

    /// The element that is visited as the i-th.
    long operator[](long i) const noexcept {
        switch (kind_) {
        case insideFirst:
            return i < inside_ ? inside_ - 1 - i : i;
        case beyondFirst:
            return i < count_ - inside_ ? inside_ + i : count_ - 1 - i;
        default:
            return i;
        }
    }

private:
    Kind kind_;
    long count_;
    long inside_;
};

constexpr TapOrder::Kind rowOrder(Region region) noexcept {
    return isBottom(region) ? TapOrder::insideFirst : TapOrder::ascending;
}
constexpr TapOrder::Kind columnOrder(Region region) noexcept {
    return isRight(region) ? TapOrder::beyondFirst : TapOrder::ascending;
}

/// What a border does where the window leaves the image; with any other value nothing is written.
enum EdgeCondition : long { leaveEdge = 0, zeroEdge = 1, extendEdge = 2 };

/// The border regions of an op with an edge condition: the answer of a visit of NineRegions. `zero(rect)` and
/// `extend(rect)` write.
template <class Zero, class Extend>
bool visitBorder(long edge, const Rect& rect, Zero zero, Extend extend) noexcept {
    if (edge == leaveEdge) return false;
    if (edge == zeroEdge) zero(rect);
    if (edge == extendEdge) extend(rect);
    return true;
}

} // namespace orvi
