// One value a band, laid out so that a loop over a dense run need not know which band a sample belongs to.
#pragma once

#include <algorithm>
#include <cstddef>

#include "memory/frame/lanes.h"

namespace orvi {

/// The values of the bands, repeated over whole pixels until a vector loop has enough of them. Patterns that live at
/// one time need slots of their own: the samples are static, since an image may have as many bands as a pixel stride
/// can count.
template <class T, int Slot = 0>
class BandPattern {
public:
    /// `value(band)` for each of the bands.
    template <class Value>
    BandPattern(unsigned bands, Value value) noexcept : period_(std::size_t{bands} * pixels(bands)) {
        for (unsigned band = 0; band < bands; ++band) samples_[band] = value(band);
        for (std::size_t i = bands; i < period_; ++i) samples_[i] = samples_[i - bands];
    }

    const T* get() const noexcept { return samples_; }
    std::size_t period() const noexcept { return period_; }

private:
    static constexpr std::size_t capacity = 65536;

    /// Whole vectors, so that no rest is left at the end of each repetition, while the pattern stays small.
    static constexpr unsigned pixels(unsigned bands) noexcept {
        constexpr unsigned vector = 64;
        constexpr unsigned samples = 2048;
        if (bands <= samples / vector) return samples / (vector * bands) * vector;
        return bands <= 256 ? vector : 1;
    }

    // Room for two vectors that start at the last sample.
    alignas(64) inline static T samples_[capacity + 128 / sizeof(T)];

    std::size_t period_;
};

/// Calls `loop(first, count)` for each stretch of the samples over which a pattern is walked once.
template <class Loop>
void overPeriods(std::size_t samples, std::size_t period, Loop loop) noexcept {
    for (std::size_t first = 0; first < samples; first += period) loop(first, std::min(period, samples - first));
}

/// to[i] = op(from[i], the patterns' values for its band...). `to` may be `from`.
template <class T, class Op, class... Patterns>
void mapWithBands(T* to, const T* from, std::size_t samples, Op op, const Patterns&... patterns) noexcept {
    overPeriods(samples, std::min({patterns.period()...}), [&](std::size_t first, std::size_t count) {
        lanes::mapRow(to + first, count, op, from + first, patterns.get()...);
    });
}

} // namespace orvi
