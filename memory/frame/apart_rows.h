// Images whose pixels lie equally far apart: rows are made where they lie, gaps and all, but those are not written. To
// close them and open them again takes longer than to make twice the samples.
#pragma once

#include <bit>
#include <cstddef>
#include <type_traits>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/row_moves.h"
#include "memory/frame/sample_rows.h"

#if defined(__AVX512BW__)

namespace orvi {

/// An image of a walk, as samples of a type.
template <class T>
struct ImageOf {
    const Raster& raster;
    T* at(long x, long y) const noexcept { return raster.at<T>(x, y); }
    std::ptrdiff_t step() const noexcept { return raster.pixelOf<T>(); }
};

/// The samples from pixel to pixel where all images have as many, of which lines hold a whole number; 0 elsewhere.
template <class D, class... S>
unsigned stepApart(unsigned bands, ImageOf<D> to, ImageOf<S>... from) noexcept {
    constexpr unsigned most = 8;
    const auto step = static_cast<unsigned>(to.step());
    const bool alike = ((from.step() == to.step()) && ...);
    return alike && step > bands && step <= most && std::has_single_bit(step) ? step : 0;
}

/// Runs `kernel(std::size_t pixels, D* d, const S*... s)` over all rectangles.
template <class D, class Kernel, class... S>
void walkPixelRows(RectCursor& rects, Kernel kernel, ImageOf<D> to, ImageOf<S>... from) noexcept {
    for (Rect rect{}; rects.next(rect);) {
        const auto touches = [&](const Raster& raster) {
            return raster.stride == raster.pixel * static_cast<std::ptrdiff_t>(rect.width);
        };
        const bool one = touches(to.raster) && (touches(from.raster) && ...);
        const std::size_t pixels = std::size_t{rect.width} * (one ? rect.height : 1);
        for (long y = rect.y; y < rect.y + (one ? 1 : static_cast<long>(rect.height)); ++y) {
            kernel(pixels, to.at(rect.x, y), static_cast<const S*>(from.at(rect.x, y))...);
        }
    }
}

/// Runs `kernel(LinesApart<D> row, D* d, const S*... s)` over all rectangles of images that lie apart.
template <class D, class Kernel, class... S>
void walkApart(RectCursor& rects, unsigned bands, Kernel kernel, ImageOf<D> to, ImageOf<S>... from) noexcept {
    const auto step = static_cast<unsigned>(to.step());
    const auto row = [&](std::size_t pixels, D* d, const S*... s) {
        kernel(LinesApart<D>(d, (pixels - 1) * step + bands, step, bands), d, s...);
    };
    walkPixelRows(rects, row, to, from...);
}

/// mapSamples for images that lie apart; false where they do not. An operation that notes what it meets must not meet
/// what lies between pixels.
template <class T, class Operation, class... S>
bool mappedApart(RectCursor& rects, unsigned bands, const Operation& operation, ImageOf<T> to,
                 ImageOf<S>... from) noexcept {
    if constexpr (std::is_empty_v<Operation>) {
        if (stepApart(bands, to, from...) == 0) return false;
        const auto row = [&](const LinesApart<T>& lines, T* d, const S*... s) { mapLines(lines, d, operation, s...); };
        walkApart(rects, bands, row, to, from...);
        return true;
    }
    return false;
}

/// d = make(words...) for pixels of one sample with a gap of one, each with its gap in a word twice as wide: what the
/// upper half is, of words that come or go, does not matter.
template <class Word, class T, class Make, class... S>
void mapWords(std::size_t pixels, T* d, Make make, const S*... s) noexcept {
    constexpr std::size_t n = lanes::vectorBytes / sizeof(Word{}[0]);
    constexpr std::uint64_t every = 0x5555555555555555;
    const auto store = [&](std::uint64_t which, Word words) { storeSome(d, which, (lanes::Vec<T>)words); };
    const auto some = [&](std::size_t count) {
        const std::uint64_t which = every & ((std::uint64_t{1} << (2 * count - 1)) - 1);
        store(which, make((Word)loadSome(s, which)...));
        d += 2 * count;
        ((s += 2 * count), ...);
        pixels -= count;
    };
    const std::size_t before = beforeLine(d) / sizeof(Word{}[0]);
    if (before > 0 && pixels > 0) some(std::min(before, pixels));
    // The last pixel has no gap. Lines that are written under a mask must be there: they are asked for ahead.
    for (; pixels > n; pixels -= n, d += 2 * n, ((s += 2 * n), ...)) {
        (fetchAhead<1>(s), ...);
        __builtin_prefetch(d + 16 * n, 1);
        store(every, make(loadOnce<Word>(s)...));
    }
    if (pixels > 0) some(pixels);
}

/// mapWords for images of one band; false where their pixels do not lie so.
template <class Word, class T, class Make, class... S>
bool mappedWords(RectCursor& rects, Make&& make, ImageOf<T> to, ImageOf<S>... from) noexcept {
    if (stepApart(1, to, from...) != 2) return false;
    const auto row = [&](std::size_t pixels, T* d, const S*... s) {
        mapWords<Word>(
            pixels, d, [&](auto... words) { return make(words...); }, s...);
    };
    walkPixelRows(rects, row, to, from...);
    return true;
}

} // namespace orvi

#endif
