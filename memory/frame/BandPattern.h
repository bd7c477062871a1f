// One value a band, laid out so that a loop over a dense run need not know which band a sample belongs to.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

#include "memory/frame/lanes.h"
#include "memory/frame/sample_rows.h"

namespace orvi {

/// The values of the bands, repeated over whole pixels until a vector loop has enough of them. Patterns that live at
/// one time need slots of their own: the samples are static, since an image may have as many bands as a pixel stride
/// can count.
template <class T, int Slot = 0>
class BandPattern {
public:
    /// `value(band)` for each of the bands.
    template <class Value>
    BandPattern(unsigned bands, Value value) noexcept : bands_(bands), period_(std::size_t{bands} * pixels(bands)) {
        for (unsigned band = 0; band < bands; ++band) samples_[band] = value(band);
        // Each copy doubles what there is: sample by sample would wait for the store before.
        for (std::size_t done = bands; done < period_; done *= 2) {
            std::memcpy(samples_ + done, samples_, std::min(done, period_ - done) * sizeof(T));
        }
    }

    const T* get() const noexcept { return samples_; }
    unsigned bands() const noexcept { return bands_; }
    std::size_t period() const noexcept { return period_; }

private:
    static constexpr std::size_t capacity = 65536;

    /// Whole vectors, so that no rest is left at the end of each repetition, while the pattern stays small.
    static constexpr unsigned pixels(unsigned bands) noexcept {
        constexpr unsigned vector = 64;
        constexpr unsigned samples = 2048;
        // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): an image has a band
        if (bands <= samples / vector) return samples / (vector * bands) * vector;
        return bands <= 256 ? vector : 1;
    }

    // Room for two vectors that start at the last sample.
    alignas(64) inline static T samples_[capacity + 128 / sizeof(T)];

    unsigned bands_;
    std::size_t period_;
};

/// Calls `loop(first, count)` for each stretch of the samples over which a pattern is walked once.
template <class Loop>
void overPeriods(std::size_t samples, std::size_t period, Loop loop) noexcept {
    for (std::size_t first = 0; first < samples; first += period) loop(first, std::min(period, samples - first));
}

/// Neighbouring vectors of a pattern.
template <std::size_t Vectors, class T>
std::array<lanes::Vec<T>, Vectors> vectorsOf(const T* pattern) noexcept {
    std::array<lanes::Vec<T>, Vectors> vectors;
    for (std::size_t i = 0; i < Vectors; ++i) vectors[i] = lanes::load<lanes::Vec<T>>(pattern + i * lanes::count<T>);
    return vectors;
}

// filledInStep and mappedInStep make rows of few bands, their patterns in registers, and leave the others alone.
#if defined(__AVX512BW__)

/// Bands of which a vector holds whole pixels, or three vectors do: the band of a sample that may lie up to a vector
/// before the row, and the vectors of a step of a loop.
struct PowerOfTwo {
    std::ptrdiff_t bands;
    std::ptrdiff_t bandAt(std::ptrdiff_t i) const noexcept { return i & (bands - 1); }
    static constexpr std::size_t vectors = 2;
    static constexpr std::size_t unlike = 1;
};
struct Three {
    static std::ptrdiff_t bandAt(std::ptrdiff_t i) noexcept {
        return static_cast<std::ptrdiff_t>(static_cast<std::size_t>(i + 3 * std::ptrdiff_t{lanes::vectorBytes}) % 3);
    }
    static constexpr std::size_t vectors = 3;
    static constexpr std::size_t unlike = 3;
};

/// to[i] = make(samples, the patterns' values for their bands...) by lines, the patterns in registers; `load` gives the
/// samples of whole lines, `loadSome` those of the first and the last.
template <class Lines, class T, class Bands, class Load, class LoadSome, class Make, class... Patterns>
inline void makeLines(const Lines& row, T* to, Bands bands, Load load, LoadSome someOf, Make make,
                      const Patterns&... patterns) noexcept {
    using V = lanes::Vec<T>;
    constexpr std::ptrdiff_t n = RowLines<T>::line;
    constexpr std::ptrdiff_t step = n * Bands::vectors;
    const auto held = std::make_tuple(vectorsOf<Bands::unlike>(patterns.get() + bands.bandAt(row.first()))...);
    // The values of the line so many lines on from the first, told as a constant: held ones stay in registers.
    const auto madeOf = [&]<std::size_t Line>(const V& from, std::integral_constant<std::size_t, Line>) {
        return std::apply([&](const auto&... h) { return static_cast<V>(make(from, h[Line % Bands::unlike]...)); },
                          held);
    };
    const auto madeAt = [&](const V& from, [[maybe_unused]] std::ptrdiff_t i) {
        if constexpr (Bands::unlike == 1) return madeOf(from, std::integral_constant<std::size_t, 0>{});
        return static_cast<V>(make(from, lanes::load<V>(patterns.get() + bands.bandAt(i))...));
    };
    const std::uint64_t firstSamples = row.firstSamples();
    storeSome(to + row.first(), firstSamples,
              madeOf(someOf(row.first(), firstSamples), std::integral_constant<std::size_t, 0>{}));
    std::ptrdiff_t i = row.first() + n;
    for (; i + step <= row.end(); i += step) {
        V made[Bands::vectors];
        [&]<std::size_t... K>(std::index_sequence<K...>) {
            ((made[K] =
                  madeOf(load(i + static_cast<std::ptrdiff_t>(K) * n), std::integral_constant<std::size_t, K + 1>{})),
             ...);
        }
        (std::make_index_sequence<Bands::vectors>{});
        for (std::size_t k = 0; k < Bands::vectors; ++k) {
            row.store(to + i + static_cast<std::ptrdiff_t>(k) * n, made[k]);
        }
    }
    for (; i + n <= row.end(); i += n) row.store(to + i, madeAt(load(i), i));
    if (i < row.end()) {
        const std::uint64_t lastSamples = row.lastSamples(i);
        storeSome(to + i, lastSamples, madeAt(someOf(i, lastSamples), i));
    }
}

template <class T, class Bands, int Slot>
void fillInStep(T* to, std::size_t samples, Bands bands, const BandPattern<T, Slot>& pattern) noexcept {
    using V = lanes::Vec<T>;
    makeLines(
        RowLines<T>(to, samples), to, bands, [](std::ptrdiff_t) { return V{}; },
        [](std::ptrdiff_t, std::uint64_t) { return V{}; }, [](V, V value) { return value; }, pattern);
}

template <class T, int Slot>
bool filledInStep(T* to, std::size_t samples, const BandPattern<T, Slot>& pattern) noexcept {
    const unsigned bands = pattern.bands();
    if (bands > 4) return false;
    if (samples == 0) return true;
    bands == 3 ? fillInStep(to, samples, Three{}, pattern) : fillInStep(to, samples, PowerOfTwo{bands}, pattern);
    return true;
}

template <class Lines, class T, class Bands, class Op, class... Patterns>
void mapInStep(const Lines& row, T* to, const T* from, Bands bands, Op op, const Patterns&... patterns) noexcept {
    using V = lanes::Vec<T>;
    const auto load = [from](std::ptrdiff_t i) {
        fetchAhead<1>(from + i);
        return loadOnce<V>(from + i);
    };
    const auto some = [from](std::ptrdiff_t i, std::uint64_t which) { return loadSome(from + i, which); };
    makeLines(row, to, bands, load, some, op, patterns...);
}

template <class T, class Op, class... Patterns>
bool mappedInStep(T* to, const T* from, std::size_t samples, unsigned bands, Op op,
                  const Patterns&... patterns) noexcept {
    if (bands > 4) return false;
    if (samples == 0) return true;
    const RowLines<T> row(to, samples);
    bands == 3 ? mapInStep(row, to, from, Three{}, op, patterns...)
               : mapInStep(row, to, from, PowerOfTwo{bands}, op, patterns...);
    return true;
}

#else

/// to[i] = make(samples, the patterns' values for their bands...) where so many vectors are whole pixels, the patterns
/// in registers; the first and the last vector overlap their neighbours, and are loaded before those are stored.
template <std::size_t Vectors, class T, class Load, class Make, class... Patterns>
void makeVectors(T* to, std::size_t samples, std::size_t bands, Load load, Make make,
                 const Patterns&... patterns) noexcept {
    using V = lanes::Vec<T>;
    constexpr std::size_t n = lanes::count<T>;
    const auto vectorAt = [&](std::size_t i) {
        return static_cast<V>(make(load(i), lanes::load<V>(patterns.get() + i % bands)...));
    };
    const std::size_t end = samples - n;
    const V first = vectorAt(0);
    const V last = vectorAt(end);
    std::size_t i = firstAligned(to);
    const auto held = std::make_tuple(vectorsOf<Vectors>(patterns.get() + i % bands)...);
    for (; i + (Vectors - 1) * n < end; i += Vectors * n) {
        V made[Vectors];
        for (std::size_t k = 0; k < Vectors; ++k) {
            const V samplesHere = load(i + k * n);
            made[k] = std::apply([&](const auto&... h) { return static_cast<V>(make(samplesHere, h[k]...)); }, held);
        }
        for (std::size_t k = 0; k < Vectors; ++k) lanes::store<V>(to + i + k * n, made[k]);
    }
    for (; i < end; i += n) lanes::store<V>(to + i, vectorAt(i));
    lanes::store<V>(to, first);
    lanes::store<V>(to + end, last);
}

template <class T, int Slot>
bool filledInStep(T* to, std::size_t samples, const BandPattern<T, Slot>& pattern) noexcept {
    using V = lanes::Vec<T>;
    const unsigned bands = pattern.bands();
    if (samples < lanes::count<T> || bands > 4) return false;
    const auto nothing = [](std::size_t) { return V{}; };
    const auto value = [](V, V each) { return each; };
    bands == 3 ? makeVectors<3>(to, samples, bands, nothing, value, pattern)
               : makeVectors<4>(to, samples, bands, nothing, value, pattern);
    return true;
}

template <class T, class Op, class... Patterns>
bool mappedInStep(T* to, const T* from, std::size_t samples, unsigned bands, Op op,
                  const Patterns&... patterns) noexcept {
    if (samples < lanes::count<T> || bands > 4) return false;
    const auto load = [from](std::size_t i) { return loadOnce<lanes::Vec<T>>(from + i); };
    bands == 3 ? makeVectors<3>(to, samples, bands, load, op, patterns...)
               : makeVectors<2>(to, samples, bands, load, op, patterns...);
    return true;
}

#endif

/// to[i] = the pattern's value for its band.
template <class T, int Slot>
void fillWithBands(T* to, std::size_t samples, const BandPattern<T, Slot>& pattern) noexcept {
    if (filledInStep(to, samples, pattern)) return;
    overPeriods(samples, pattern.period(), [&](std::size_t first, std::size_t count) {
        std::memcpy(to + first, pattern.get(), count * sizeof(T));
    });
}

/// to[i] = op(from[i], the patterns' values for its band...). `to` may be `from`.
template <class T, class Op, class... Patterns>
void mapWithBands(T* to, const T* from, std::size_t samples, Op op, const Patterns&... patterns) noexcept {
    if (mappedInStep(to, from, samples, std::min({patterns.bands()...}), op, patterns...)) return;
    overPeriods(samples, std::min({patterns.period()...}), [&](std::size_t first, std::size_t count) {
        mapSamples(to + first, count, op, from + first, patterns.get()...);
    });
}

} // namespace orvi
