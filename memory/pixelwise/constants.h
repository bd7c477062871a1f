// Float parameters, one a band, as the arithmetic takes them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "memory/frame/BandPattern.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"

namespace orvi {

/// NaN counts as 0.
constexpr float constantOf(float value) noexcept { return value == value ? value : 0.0F; }

/// As many samples of a type as a vector of floats has: what ops that compute in floats work on.
template <class T>
struct FloatLanes {
    static constexpr std::size_t count = lanes::count<float>;
    typedef T Samples __attribute__((vector_size(count * sizeof(T))));
    using Floats = lanes::F32;

    static Floats load(const T* from) noexcept { return __builtin_convertvector(lanes::load<Samples>(from), Floats); }

    /// roundTo: half added by sign in single precision (equal to the wider sum rounded once, since that is exact
    /// wherever it could matter), clamped, truncated; NaN gives 0.
    static Samples round(Floats x) noexcept {
        const Floats zero = {};
        Floats half = x + (x >= zero ? zero + 0.5F : zero - 0.5F);
        half = half == half ? half : zero;
        half = half < lowest<T> + zero ? lowest<T> + zero : half;
        half = half > highest<T> + zero ? highest<T> + zero : half;
        const lanes::I32 whole = __builtin_convertvector(half, lanes::I32);
        return __builtin_convertvector(whole, Samples);
    }
};

/// to[i] = op(samples from from + i as floats, those of the patterns for their bands...) of FloatLanes<T>. `to` may be
/// `from`.
template <class T, class Op, class... Patterns>
void mapFloatsWithBands(T* to, const T* from, std::size_t samples, Op op, const Patterns&... patterns) noexcept {
    using Lanes = FloatLanes<T>;
    overPeriods(samples, std::min({patterns.period()...}), [&](std::size_t first, std::size_t count) {
        T* const d = to + first;
        const T* const s = from + first;
        std::size_t i = 0;
        for (; i + Lanes::count <= count; i += Lanes::count) {
            lanes::store(d + i, op(Lanes::load(s + i), lanes::load<typename Lanes::Floats>(patterns.get() + i)...));
        }
        if (i == count) return;
        T rest[Lanes::count] = {};
        std::memcpy(rest, s + i, (count - i) * sizeof(T));
        // A pattern's storage holds whole vectors.
        lanes::store(rest, op(Lanes::load(rest), lanes::load<typename Lanes::Floats>(patterns.get() + i)...));
        std::memcpy(d + i, rest, (count - i) * sizeof(T));
    });
}

} // namespace orvi
