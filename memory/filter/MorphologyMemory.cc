// Dilation and erosion: the greatest or least sample under a flat element. Positions outside the source are no part of
// the neighbourhood.

#include <algorithm>

#include "memory/filter/samples.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/walk.h"
#include "orv/device/OrvSel.h"

namespace {

using namespace orvi;

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

struct Dilation {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::min();
    template <class T>
    static T of(T a, T b) noexcept {
        return std::max(a, b);
    }
    /// The bit that decides a pixel.
    static constexpr bool decisive = true;
};
struct Erosion {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::max();
    template <class T>
    static T of(T a, T b) noexcept {
        return std::min(a, b);
    }
    static constexpr bool decisive = false;
};

template <class T>
inline constexpr Fetch morphologyFetches[] = {{src1, dataTypeOf<T>, {"di-9", 1, 0}, src1},
                                              {dst, dataTypeOf<T>, {"di-10", 1, 0}, dst}};
template <class T>
constexpr FrameFacts morphologyFacts(const char* file) noexcept {
    return {file, morphologyFetches<T>, {"di-12", 1, 0}, src1};
}

template <class T, class Operation>
void filterRectangle(Frame& frame, const Offsets& offsets, const Rect& rect, T* accumulator) noexcept {
    const Raster& from = frame[src1];
    const Samples<const T> source(from, static_cast<long>(from.image->getWidth()),
                                  static_cast<long>(from.image->getHeight()));
    const unsigned bands = commonBands(frame[dst], from);
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
            std::fill_n(accumulator, bands, Operation::template start<T>);
            for (std::size_t i = 0; i < offsets.count; ++i) {
                const long sx = x + offsets.columns[i] + from.ox;
                const long sy = y + offsets.rows[i] + from.oy;
                if (sx < 0 || sx >= source.width || sy < 0 || sy >= source.height) continue;
                const T* pixel = source.at(sx, sy);
                for (unsigned band = 0; band < bands; ++band) {
                    accumulator[band] = Operation::of(accumulator[band], pixel[band]);
                }
            }
            std::copy_n(accumulator, bands, frame[dst].at<T>(x, y));
        }
    }
}

template <class T, class Operation>
OrvStatus morphology(OrvOp* op, const FrameFacts& facts) noexcept {
    Frame frame(op);
    Offsets offsets;
    if (!offsets.read(static_cast<OrvSel*>(op->getPtrParam(1)))) return fail(frame.image(src1), noMemory, facts.file);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Array<T> accumulator(frame[dst].bands);
    if (!accumulator) return fail(frame.image(dst), noMemory, facts.file);
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; frame.rects().next(rect);) {
        filterRectangle<T, Operation>(frame, offsets, rect, accumulator.get());
    }
    return ORV_SUCCESS;
}

template <class Operation>
void filterBits(const Raster& from, const Offsets& offsets, long x, long y, unsigned band, BitPosition to,
                unsigned length) noexcept {
    const long width = static_cast<long>(from.image->getWidth());
    const long height = static_cast<long>(from.image->getHeight());
    for (long i = 0; i < static_cast<long>(length); ++i) {
        bool hit = false;
        for (std::size_t k = 0; k < offsets.count && !hit; ++k) {
            const long sx = x + i + offsets.columns[k] + from.ox;
            const long sy = y + offsets.rows[k] + from.oy;
            if (sx < 0 || sx >= width || sy < 0 || sy >= height) continue;
            const BitPosition at = from.bit(sx - from.ox, sy - from.oy, band);
            hit = ((*at.byte & bit_mask[at.offset]) != 0) == Operation::decisive;
        }
        const std::size_t position = to.offset + static_cast<std::size_t>(i);
        std::uint8_t& byte = to.byte[position >> 3];
        const std::uint8_t mask = bit_mask[position & 7];
        byte = static_cast<std::uint8_t>(hit == Operation::decisive ? byte | mask : byte & ~mask);
    }
}

template <class Operation>
OrvStatus bitMorphology(OrvOp* op, const FrameFacts& facts) noexcept {
    Frame frame(op);
    Offsets offsets;
    if (!offsets.read(static_cast<OrvSel*>(op->getPtrParam(1)))) return fail(frame.image(src1), noMemory, facts.file);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < bands; ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
                filterBits<Operation>(frame[src1], offsets, rect.x, y, band, frame[dst].bit(rect.x, y, band),
                                      rect.width);
            }
        }
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Dilate1(OrvOp* op, int) noexcept {
    return bitMorphology<Dilation>(op, morphologyFacts<Bit>("Dilate1Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Dilate8(OrvOp* op, int) noexcept {
    return morphology<std::uint8_t, Dilation>(op, morphologyFacts<std::uint8_t>("Dilate8Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Dilate16(OrvOp* op, int) noexcept {
    return morphology<std::int16_t, Dilation>(op, morphologyFacts<std::int16_t>("Dilate16Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Erode1(OrvOp* op, int) noexcept {
    return bitMorphology<Erosion>(op, morphologyFacts<Bit>("Erode1Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Erode8(OrvOp* op, int) noexcept {
    return morphology<std::uint8_t, Erosion>(op, morphologyFacts<std::uint8_t>("Erode8Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Erode16(OrvOp* op, int) noexcept {
    return morphology<std::int16_t, Erosion>(op, morphologyFacts<std::int16_t>("Erode16Memory.cc"));
}
