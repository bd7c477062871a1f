// Rows of samples: `op` is given vectors of T, some samples twice, or single ones where there are too few for a vector.
// A source may be the destination itself.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "memory/frame/lanes.h"

namespace orvi {

/// Asks for some vectors a few lines ahead of where a loop reads. As wide as a line they mostly lie in two of them, and
/// a load would wait for the second.
template <int Vectors>
inline void fetchAhead([[maybe_unused]] const void* at) noexcept {
#if defined(__AVX512BW__)
    constexpr int ahead = 8;
    for (int i = 0; i < Vectors; ++i) {
        __builtin_prefetch(static_cast<const std::uint8_t*>(at) + (ahead + i) * lanes::vectorBytes);
    }
#endif
}

/// The first sample, counted from `to`, behind which vectors begin with their lines: two stores that share a line cost
/// as much as three that do not. At most a vector is left out.
template <class T>
inline std::size_t firstAligned(const T* to) noexcept {
    return lanes::count<T> - reinterpret_cast<std::uintptr_t>(to) % lanes::vectorBytes / sizeof(T);
}

/// A vector that is loaded once, however often it is used: compilers read it anew for each use that can read memory,
/// and each such read takes as long as two where it crosses lines.
template <class V>
inline V loadOnce(const void* from) noexcept {
    V v = lanes::load<V>(from);
#if defined(__AVX512BW__)
    asm("" : "+v"(v)); // NOLINT(hicpp-no-assembler): no instruction, and nothing else hides where a value is from
#endif
    return v;
}

#if defined(__AVX512BW__)

/// A row by the lines that its results lie in: vectors are whole lines, but for the first and the last, of which those
/// samples count that belong to the row.
template <class T>
class RowLines {
public:
    RowLines(const T* to, std::size_t samples) noexcept
        : before_(static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(to) % lanes::vectorBytes / sizeof(T))),
          end_(static_cast<std::ptrdiff_t>(samples)) {}

    /// Where the first line begins, counted from the row: not behind it.
    std::ptrdiff_t first() const noexcept { return -before_; }
    std::ptrdiff_t end() const noexcept { return end_; }
    /// The samples of the first line that belong to the row, a bit each; then of the line that begins at `at`, where
    /// the row ends in it.
    std::uint64_t firstSamples() const noexcept {
        const std::uint64_t behind = ~std::uint64_t{0} << before_;
        return end_ - first() < line ? behind & firstBits(end_ - first()) : behind;
    }
    std::uint64_t lastSamples(std::ptrdiff_t at) const noexcept { return firstBits(end_ - at); }

    /// Those of a line that lies within the row.
    static std::uint64_t lineSamples() noexcept { return ~std::uint64_t{0}; }
    void store(T* at, lanes::Vec<T> v) const noexcept { lanes::store(at, v); }

    static constexpr std::ptrdiff_t line = lanes::count<T>;

private:
    static std::uint64_t firstBits(std::ptrdiff_t count) noexcept { return (std::uint64_t{1} << count) - 1; }

    std::ptrdiff_t before_;
    std::ptrdiff_t end_;
};

/// Some samples of a vector; the others are 1, which no operation takes for a fault.
template <class T>
inline lanes::Vec<T> loadSome(const T* from, std::uint64_t samples) noexcept {
    const lanes::Vec<T> ones = lanes::Vec<T>{} + T{1};
    if constexpr (sizeof(T) == 1) return (lanes::Vec<T>)_mm512_mask_loadu_epi8((lanes::Raw)ones, samples, from);
    if constexpr (sizeof(T) == 2) {
        return (lanes::Vec<T>)_mm512_mask_loadu_epi16((lanes::Raw)ones, static_cast<__mmask32>(samples), from);
    }
}
template <class T>
inline void storeSome(T* to, std::uint64_t samples, lanes::Vec<T> v) noexcept {
    if constexpr (sizeof(T) == 1) _mm512_mask_storeu_epi8(to, samples, (lanes::Raw)v);
    if constexpr (sizeof(T) == 2) _mm512_mask_storeu_epi16(to, static_cast<__mmask32>(samples), (lanes::Raw)v);
}

/// A row of pixels that lie `step` samples apart, a power of two: the first `bands` of so many are a pixel's, and the
/// others are neither made nor written.
template <class T>
class LinesApart {
public:
    LinesApart(const T* to, std::size_t samples, unsigned step, unsigned bands) noexcept : row_(to, samples) {
        constexpr unsigned bits = 64;
        for (unsigned i = 0; i < bits; i += step) which_ |= ((std::uint64_t{1} << bands) - 1) << i;
        // A line begins within a pixel as the row does, which may lie anywhere.
        which_ = std::rotr(which_, static_cast<int>(row_.first()));
    }

    std::ptrdiff_t first() const noexcept { return row_.first(); }
    std::ptrdiff_t end() const noexcept { return row_.end(); }
    std::uint64_t firstSamples() const noexcept { return row_.firstSamples() & which_; }
    std::uint64_t lastSamples(std::ptrdiff_t at) const noexcept { return row_.lastSamples(at) & which_; }
    std::uint64_t lineSamples() const noexcept { return which_; }
    void store(T* at, lanes::Vec<T> v) const noexcept { storeSome(at, which_, v); }

private:
    RowLines<T> row_;
    std::uint64_t which_ = 0;
};

/// mapSamples by lines.
template <class Lines, class T, class Op, class... Sources>
inline Op mapLines(const Lines& row, T* to, Op op, const Sources*... from) noexcept {
    using V = lanes::Vec<T>;
    constexpr std::ptrdiff_t n = RowLines<T>::line;
    const auto some = [&](std::ptrdiff_t i, std::uint64_t which) {
        storeSome(to + i, which, static_cast<V>(op(loadSome(from + i, which)...)));
    };
    const auto vectorAt = [&](std::ptrdiff_t i) { return static_cast<V>(op(loadOnce<V>(from + i)...)); };
    some(row.first(), row.firstSamples());
    std::ptrdiff_t i = row.first() + n;
    for (; i + 2 * n <= row.end(); i += 2 * n) {
        (fetchAhead<2>(from + i), ...);
        const V even = vectorAt(i);
        const V odd = vectorAt(i + n);
        row.store(to + i, even);
        row.store(to + i + n, odd);
    }
    if (i + n <= row.end()) {
        row.store(to + i, vectorAt(i));
        i += n;
    }
    if (i < row.end()) some(i, row.lastSamples(i));
    return op;
}

/// to[i] = op(from[i]...). The answer is the operation, with what it has noted on its way.
template <class T, class Op, class... Sources>
inline Op mapSamples(T* to, std::size_t samples, Op op, const Sources*... from) noexcept {
    return samples > 0 ? mapLines(RowLines<T>(to, samples), to, op, from...) : op;
}

#else

/// to[i] = op(from[i]...). The answer is the operation, with what it has noted on its way.
template <class T, class Op, class... Sources>
inline Op mapSamples(T* to, std::size_t samples, Op op, const Sources*... from) noexcept {
    using V = lanes::Vec<T>;
    constexpr std::size_t n = lanes::count<T>;
    if (samples < n) {
        for (std::size_t i = 0; i < samples; ++i) to[i] = static_cast<T>(op(from[i]...));
        return op;
    }
    // The first and the last vector overlap their neighbours where no whole number of vectors fits between them, and
    // are made before the rest since the row may be its own source.
    const auto vectorAt = [&](std::size_t i) { return static_cast<V>(op(loadOnce<V>(from + i)...)); };
    const std::size_t end = samples - n;
    const V first = vectorAt(0);
    const V last = vectorAt(end);
    std::size_t i = firstAligned(to);
    for (; i + n < end; i += 2 * n) {
        (fetchAhead<2>(from + i), ...);
        const V even = vectorAt(i);
        const V odd = vectorAt(i + n);
        lanes::store<V>(to + i, even);
        lanes::store<V>(to + i + n, odd);
    }
    if (i < end) lanes::store<V>(to + i, vectorAt(i));
    lanes::store<V>(to, first);
    lanes::store<V>(to + end, last);
    return op;
}

#endif

/// A sample for each bit of `bytes` bytes, the most significant first: one of two.
void chooseByBits(std::uint8_t* to, const std::uint8_t* bits, std::size_t bytes, std::uint8_t zero,
                  std::uint8_t one) noexcept;
void chooseByBits(std::int16_t* to, const std::uint8_t* bits, std::size_t bytes, std::int16_t zero,
                  std::int16_t one) noexcept;

} // namespace orvi
