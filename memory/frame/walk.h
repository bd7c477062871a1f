// The walk over the pixels of an op. Kernels see dense runs alone: the bands of a pixel side by side, pixels without
// gaps.
//
// Where an image's pixels lie apart, or are bits, the walk packs chunks of them into buffers of its own and unpacks the
// results, so that no family writes a strided loop. Where the rows of all images touch, a rectangle is one run.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "memory/frame/BitRows.h"
#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"

namespace orvi {

/// One image of a walk: `bands` samples of each pixel, the first ones, are read or written.
struct Operand {
    const Raster* raster;
    unsigned bands;
    bool keepsOthers = false; ///< a destination that the kernel may leave as it is: its old samples are packed first
    bool readOnly = false;    ///< in the destination's place: the image is read alone
};

/// How a walk's kernel sees the samples of a type: a bit arrives as a byte of 0 or 1, and leaves as one that is 0 or
/// not.
template <class T>
using SampleOf = std::conditional_t<std::is_same_v<T, Bit>, std::uint8_t, T>;

/// Where a run begins, in the common space.
struct Place {
    long x;
    long y;
};

inline constexpr int maxOperands = 4;

/// Runs of as many pixels each, one below the other: where those of each operand begin, and how far apart.
struct RunBlock {
    std::byte* rows[maxOperands];
    std::ptrdiff_t strides[maxOperands];
    std::size_t count;
    std::size_t pixels;
    Place place; ///< of the first
};

/// A kernel with its types erased, run over a block: what it does for each row is part of the loop over them.
using RunFunction = void (*)(void* kernel, const RunBlock& block);

/// Whether a run may go on over the rows of a rectangle.
enum class Runs { overRows, rowByRow };

/// Calls `run(std::byte* const* rows, Place place)` for each row of a block.
template <int Operands, class Run>
inline void eachRun(const RunBlock& block, Run run) noexcept {
    std::byte* rows[Operands];
    std::copy_n(block.rows, Operands, rows);
    for (std::size_t i = 0; i < block.count; ++i) {
        run(rows, Place{block.place.x, block.place.y + static_cast<long>(i)});
        for (int operand = 0; operand < Operands; ++operand) rows[operand] += block.strides[operand];
    }
}

/// Runs a kernel over all rectangles; the first operand is the destination.
void walkOperands(RectCursor& rects, const Operand* operands, int count, RunFunction run, void* kernel,
                  Runs runs = Runs::overRows) noexcept;

/// Runs `kernel(SampleOf<D>* d, const SampleOf<S>*... s, std::size_t pixels)` over all rectangles. The operands are the
/// destination and the sources in order.
template <class D, class... S, class Kernel, class... Operands>
void walkRuns(RectCursor& rects, Kernel&& kernel, Operand destination, Operands... sources) noexcept {
    static_assert(sizeof...(S) == sizeof...(Operands) && sizeof...(S) < maxOperands);
    const Operand operands[] = {destination, sources...};
    const RunFunction run = [](void* self, const RunBlock& block) {
        eachRun<1 + sizeof...(S)>(block, [&](std::byte* const* rows, Place) {
            [&]<std::size_t... I>(std::index_sequence<I...>) {
                (*static_cast<std::remove_reference_t<Kernel>*>(self))(
                    reinterpret_cast<SampleOf<D>*>(rows[0]), reinterpret_cast<const SampleOf<S>*>(rows[I + 1])...,
                    block.pixels);
            }
            (std::index_sequence_for<S...>{});
        });
    };
    walkOperands(rects, operands, 1 + static_cast<int>(sizeof...(S)), run,
                 const_cast<void*>(static_cast<const void*>(&kernel)));
}

/// Runs `kernel(const SampleOf<S>* s, std::size_t pixels)` over all rectangles of an image that is only read.
template <class S, class Kernel>
void walkReadRuns(RectCursor& rects, Kernel&& kernel, const Raster& source) noexcept {
    walkRuns<S>(rects, kernel, Operand{.raster = &source, .bands = source.bands, .readOnly = true});
}

/// walkRuns for kernels whose results depend on where a pixel lies:
/// `kernel(Place place, SampleOf<D>* d, const SampleOf<S>*... s, std::size_t pixels)`, each run within one row.
template <class D, class... S, class Kernel, class... Operands>
void walkPlacedRuns(RectCursor& rects, Kernel&& kernel, Operand destination, Operands... sources) noexcept {
    static_assert(sizeof...(S) == sizeof...(Operands) && sizeof...(S) < maxOperands);
    const Operand operands[] = {destination, sources...};
    const RunFunction run = [](void* self, const RunBlock& block) {
        eachRun<1 + sizeof...(S)>(block, [&](std::byte* const* rows, Place place) {
            [&]<std::size_t... I>(std::index_sequence<I...>) {
                (*static_cast<std::remove_reference_t<Kernel>*>(self))(
                    place, reinterpret_cast<SampleOf<D>*>(rows[0]),
                    reinterpret_cast<const SampleOf<S>*>(rows[I + 1])..., block.pixels);
            }
            (std::index_sequence_for<S...>{});
        });
    };
    walkOperands(rects, operands, 1 + static_cast<int>(sizeof...(S)), run,
                 const_cast<void*>(static_cast<const void*>(&kernel)), Runs::rowByRow);
}

/// Whether the rows of a rectangle of BIT images touch, so that those of a plane are one run whose bits can be counted.
template <class... Rasters>
bool bitRowsTouch(const Rect& rect, const Rasters&... rasters) noexcept {
    constexpr std::uint64_t limit = 1U << 31;
    if (std::uint64_t{rect.width} * rect.height >= limit) return false;
    return (
        (rasters.stride * 8 == static_cast<std::ptrdiff_t>(rect.width) && rasters.bit(rect.x, rect.y, 0).offset == 0) &&
        ...);
}

/// Runs `kernel(std::size_t rows, unsigned length, unsigned band, BitRows d, BitRows... s)` over BIT images:
/// rectangles, then bands. Rows that touch are one.
template <class Kernel, class... Sources>
void walkBitBlocks(RectCursor& rects, unsigned bands, Kernel&& kernel, const Raster& destination,
                   const Sources&... sources) noexcept {
    for (Rect rect{}; rects.next(rect);) {
        const bool touch = bitRowsTouch(rect, destination, sources...);
        const std::size_t rows = touch ? 1 : rect.height;
        const unsigned length = touch ? rect.width * rect.height : rect.width;
        const auto rowsOf = [&rect](const Raster& raster, unsigned band) {
            return BitRows{raster.bit(rect.x, rect.y, band), raster.stride};
        };
        for (unsigned band = 0; band < bands; ++band) {
            kernel(rows, length, band, rowsOf(destination, band), rowsOf(sources, band)...);
        }
    }
}

/// The bands that all of the images have: no op goes beyond a pixel's own samples.
template <class... Rasters>
unsigned commonBands(const Raster& first, const Rasters&... others) noexcept {
    unsigned bands = first.bands;
    ((bands = std::min(bands, others.bands)), ...);
    return bands;
}

} // namespace orvi
