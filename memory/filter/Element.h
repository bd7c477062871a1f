// A structuring element as the loops use it.
#pragma once

#include <algorithm>
#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orvi_new.h"
#include "orv/device/OrvSel.h"

namespace orvi {

/// The members of an element as offsets from its key, row by row.
struct Offsets {
    Array<std::int32_t> rows;
    Array<std::int32_t> columns;
    std::size_t count = 0;

    /// Two allocations; false where one failed.
    bool read(OrvSel* element) noexcept {
        const unsigned width = element->getWidth();
        const unsigned height = element->getHeight();
        rows = Array<std::int32_t>(std::size_t{width} * height);
        columns = Array<std::int32_t>(std::size_t{width} * height);
        if (!rows || !columns) return false;
        const unsigned* value = element->getValue();
        for (unsigned row = 0; row < height; ++row) {
            for (unsigned column = 0; column < width; ++column) {
                if (*value++ != 0) add(row - element->getKeyY(), column - element->getKeyX());
            }
        }
        return true;
    }

private:
    void add(unsigned row, unsigned column) noexcept {
        rows[count] = static_cast<std::int32_t>(row);
        columns[count] = static_cast<std::int32_t>(column);
        ++count;
    }
};

/// The extent of the source and where the destination's rectangle lies in it.
struct Reach {
    long width;
    long height;

    explicit Reach(const Raster& from) noexcept
        : width(static_cast<long>(from.image->getWidth())), height(static_cast<long>(from.image->getHeight())) {}

    bool contains(long column, long row) const noexcept {
        return column >= 0 && column < width && row >= 0 && row < height;
    }

    /// The part of a run of `pixels` from column `x` on whose samples `offset` columns away lie in the source.
    struct Part {
        long first;
        long end;
    };
    Part part(long x, long offset, long pixels) const noexcept {
        const long first = std::clamp(-(x + offset), 0L, pixels);
        return {first, std::clamp(width - (x + offset), first, pixels)};
    }
};

template <class T>
constexpr FrameFacts morphologyFacts(const char* file) noexcept {
    return {file, oneSourceFetches<T, T>, {"di-12", 1, 0}, src1};
}

struct Dilation {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::min();
    template <class T>
    static T of(T a, T b) noexcept {
        return lanes::larger(a, b);
    }
};
struct Erosion {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::max();
    template <class T>
    static T of(T a, T b) noexcept {
        return lanes::smaller(a, b);
    }
};

} // namespace orvi
