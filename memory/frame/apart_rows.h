// Images whose pixels lie equally far apart: rows are made where they lie, gaps and all, but those are not written. To
// close them and open them again takes longer than to make twice the samples.
#pragma once

#include <bit>
#include <cstddef>
#include <type_traits>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/sample_rows.h"

#if defined(__AVX512BW__)

namespace orvi {

/// The samples from pixel to pixel where all images have as many, of which lines hold a whole number; 0 elsewhere.
template <class T, class... Sources>
unsigned stepApart(unsigned bands, const Raster& to, const Sources&... from) noexcept {
    constexpr unsigned most = 8;
    const auto step = static_cast<unsigned>(to.pixelOf<T>());
    const bool alike = ((from.pixel == to.pixel) && ...);
    return alike && step > bands && step <= most && std::has_single_bit(step) ? step : 0;
}

/// Runs `kernel(LinesApart<T> row, T* d, const T*... s)` over all rectangles of such images.
template <class T, class Kernel, class... Sources>
void walkApart(RectCursor& rects, unsigned bands, Kernel kernel, const Raster& to, const Sources&... from) noexcept {
    const auto step = static_cast<unsigned>(to.pixelOf<T>());
    for (Rect rect{}; rects.next(rect);) {
        const auto touches = [&](const Raster& raster) {
            return raster.stride == raster.pixel * static_cast<std::ptrdiff_t>(rect.width);
        };
        const bool one = touches(to) && (touches(from) && ...);
        const std::size_t samples = (std::size_t{rect.width} * (one ? rect.height : 1) - 1) * step + bands;
        for (long y = rect.y; y < rect.y + (one ? 1 : static_cast<long>(rect.height)); ++y) {
            T* const d = to.at<T>(rect.x, y);
            kernel(LinesApart<T>(d, samples, step, bands), d, from.template at<const T>(rect.x, y)...);
        }
    }
}

/// mapSamples for such images; false where they are not. An operation that notes what it meets must not meet what lies
/// between pixels.
template <class T, class Operation, class... Sources>
bool mappedApart(RectCursor& rects, unsigned bands, const Operation& operation, const Raster& to,
                 const Sources&... from) noexcept {
    if constexpr (std::is_empty_v<Operation>) {
        if (stepApart<T>(bands, to, from...) == 0) return false;
        walkApart<T>(
            rects, bands, [&](const LinesApart<T>& row, T* d, const auto*... s) { mapLines(row, d, operation, s...); },
            to, from...);
        return true;
    }
    return false;
}

} // namespace orvi

#endif
