// Ops of an image and values of its bands.
#pragma once

#include <utility>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/apart_rows.h"
#include "memory/frame/walk.h"

namespace orvi {

/// dst = op(src1, the values of its bands...), sample by sample: `values(band)` each.
template <class T, class Op, class... Values>
void mapByBands(Frame& frame, Op op, Values... values) noexcept {
    const Raster& to = frame[dst];
    const Raster& from = frame[src1];
    const unsigned bands = commonBands(to, from);
    const auto run = [&]<std::size_t... Slots>(std::index_sequence<Slots...>, unsigned step, auto walk) {
        // What lies between pixels is made too, of some value.
        const auto patternOf = [&]<std::size_t Slot>(std::integral_constant<std::size_t, Slot>, auto valueOf) {
            return BandPattern<T, Slot>(step, [&](unsigned band) { return valueOf(band < bands ? band : 0); });
        };
        walk(patternOf(std::integral_constant<std::size_t, Slots>{}, values)...);
    };
    constexpr auto slots = std::index_sequence_for<Values...>{};
#if defined(__AVX512BW__)
    if (const unsigned step = stepApart(bands, ImageOf<T>{to}, ImageOf<T>{from}); step > 0) {
        return run(slots, step, [&](const auto&... patterns) {
            const auto kernel = [&](const LinesApart<T>& row, T* d, const T* s) {
                mapInStep(row, d, s, PowerOfTwo{step}, op, patterns...);
            };
            walkApart(frame.rects(), bands, kernel, ImageOf<T>{to}, ImageOf<T>{from});
        });
    }
#endif
    run(slots, bands, [&](const auto&... patterns) {
        const auto kernel = [&](T* d, const T* s, std::size_t pixels) {
            mapWithBands(d, s, pixels * bands, op, patterns...);
        };
        walkRuns<T, T>(frame.rects(), kernel, Operand{&to, bands}, Operand{&from, bands});
    });
}

} // namespace orvi
