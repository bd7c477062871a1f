// Many runs at once, a run a lane: every run steps on its own, so lanes need nothing of one another. Each lane does
// what the plain loop does, operation by operation. Positions are storage columns and rows, clamped to the image before
// anything is read, so a lane whose run has ended may go on.
#pragma once

#include <algorithm>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdlib>

#include "memory/frame/lanes.h"
#include "memory/geometry/Dda.h"
#include "memory/geometry/interpolate.h"

namespace orvi {

using lanes::F32;
using lanes::I32;
using lanes::U32;

inline constexpr std::size_t laneCount = lanes::count<std::int32_t>;

inline F32 toFloats(I32 v) noexcept { return __builtin_convertvector(v, F32); }
inline I32 part(I32 value, F32 fraction) noexcept { return __builtin_convertvector(toFloats(value) * fraction, I32); }
inline I32 between(I32 a, I32 b, F32 fraction) noexcept { return a + part(b - a, fraction); }

inline I32 cubic(I32 m, I32 p0, I32 p1, I32 p2, F32 f, F32 t) noexcept {
    const I32 line = between(p0, p1, f);
    const I32 outer = (p1 + m) + part((p2 + p0) - (p1 + m), f);
    return line + part(line - (outer >> 1), t);
}

inline F32 cubicWeight(F32 f) noexcept {
    using F64 [[gnu::vector_size(2 * lanes::vectorBytes)]] = double;
    const F64 wide = __builtin_convertvector(f, F64);
    return __builtin_convertvector((1.0 - wide) * wide, F32);
}

/// One axis of the float DDA of every lane.
struct AxisLanes {
    I32 whole;
    I32 step;
    F32 fraction;
    F32 up;
    F32 down;

    void set(std::size_t lane, const FloatAxis& axis, long origin, bool steps) noexcept {
        whole[lane] = static_cast<std::int32_t>(axis.whole + origin);
        fraction[lane] = axis.fraction;
        step[lane] = steps ? static_cast<std::int32_t>(axis.step) : 0;
        up[lane] = steps ? axis.up : 0.0F;
        down[lane] = steps ? axis.down : HUGE_VALF; // no carry ever
    }

    void advance() noexcept {
        const I32 goesOn = fraction < down;
        whole += step + 1 + goesOn;
        fraction = goesOn ? fraction + up : fraction - down;
    }
};

/// A source as lanes read it: words of four bytes at byte offsets, out of which samples are shifted.
template <class T>
class LaneSource {
public:
    static constexpr unsigned samplesPerWord = 4 / sizeof(T);

    explicit LaneSource(const Picture& picture, unsigned bands) noexcept
        : base_(picture.raster.data),
          bands_(bands),
          stride_(picture.raster.stride),
          pixel_(picture.raster.pixel),
          width_(picture.width),
          height_(picture.height) {
        const std::ptrdiff_t free = 4 - static_cast<std::ptrdiff_t>(bands * sizeof(T));
        tapsPerWord_ = free > 0 && pixel_ > 0 ? static_cast<int>(1 + free / pixel_) : 1;
    }

    /// Offsets fit a lane, and there is a word to read.
    bool fits() const noexcept { return lastByte() >= 3 && lastByte() < INT_MAX; }

    I32 columnOffset(I32 column) const noexcept { return clamped(column, width_) * static_cast<std::int32_t>(pixel_); }
    I32 rowOffset(I32 row) const noexcept { return clamped(row, height_) * static_cast<std::int32_t>(stride_); }

    /// Up to samplesPerWord bands of N pixels of a row, from left to right. Pixels share a word where they fit into it.
    template <int N>
    class Taps {
    public:
        Taps(const LaneSource& source, const I32 (&columns)[N], I32 row, unsigned firstBand) noexcept {
            const I32 from = row + static_cast<std::int32_t>(firstBand * sizeof(T));
            const std::int32_t lastWord = static_cast<std::int32_t>(source.lastByte() - 3);
            I32 start{};
            U32 word{};
            for (int i = 0, left = 0; i < N; ++i, --left) {
                const I32 offset = from + columns[i];
                if (left == 0) {
                    start = lanes::smaller<I32>(offset, lastWord - I32{});
                    word = firstLowest(lanes::gatherWords(source.base_, start));
                    left = source.tapsPerWord_;
                }
                words_[i] = word;
                shifts_[i] = (offset - start) << 3;
            }
        }

        /// A sample, widened.
        I32 operator()(int tap, unsigned band) const noexcept {
            constexpr std::int32_t bits = 8 * sizeof(T);
            const U32 top = words_[tap] << (U32)(32 - bits * static_cast<std::int32_t>(band + 1) - shifts_[tap]);
            if constexpr (sizeof(T) == 1) {
                return (I32)((top >> 24) << fractionBits);
            } else {
                return ((I32)top >> 16) << fractionBits;
            }
        }

    private:
        /// The word with its first sample in the low bits, whatever the processor's byte order.
        static U32 firstLowest(U32 word) noexcept {
            if constexpr (std::endian::native == std::endian::little) return word;
            const U32 halves = (word << 16) | (word >> 16);
            return sizeof(T) == 2 ? halves : ((halves & 0x00FF00FF) << 8) | ((halves >> 8) & 0x00FF00FF);
        }

        U32 words_[N];
        I32 shifts_[N];
    };

private:
    std::ptrdiff_t lastByte() const noexcept {
        return (height_ - 1) * stride_ + (width_ - 1) * pixel_ + static_cast<std::ptrdiff_t>(bands_ * sizeof(T)) - 1;
    }
    static I32 clamped(I32 v, long size) noexcept {
        const I32 last = static_cast<std::int32_t>(size - 1) - I32{};
        return lanes::larger<I32>(lanes::smaller<I32>(v, last), I32{});
    }

    const std::byte* base_;
    unsigned bands_;
    std::ptrdiff_t stride_;
    std::ptrdiff_t pixel_;
    long width_;
    long height_;
    int tapsPerWord_;
};

/// Steps a batch of runs; what lanes make is gathered over a few steps and then written run by run. `Bands` is the
/// number of bands, 0 for any up to maxLaneBands.
inline constexpr unsigned maxLaneBands = 8;

template <class T, class Pixel, unsigned Bands>
class RunLanes {
public:
    RunLanes(const GeomCall& call, const LaneSource<T>& source) noexcept : call_(call), source_(source) {}

    /// Takes in a run; false where there is no lane left, or the run goes too far for one.
    bool add(const Run& run) noexcept {
        const long length = run.x2 - run.x1 + 1;
        const FloatDda dda(run);
        if (count_ == laneCount || !reaches(dda.x, length) || !reaches(dda.y, length)) return false;
        const Raster& from = call_.src.raster;
        x_.set(count_, dda.x, from.ox, true);
        y_.set(count_, dda.y, from.oy, dda.stepsY);
        to_[count_] = call_.dst.raster.at<T>(run.x1, run.y);
        lengths_[count_] = length;
        longest_ = std::max(longest_, length);
        ++count_;
        return true;
    }

    /// Writes all runs taken in.
    void run() noexcept {
        for (long done = 0; done < longest_; done += steps) {
            const long now = std::min(steps, longest_ - done);
            for (long k = 0; k < now; ++k) {
                Pixel::template make<T>(source_, x_, y_, bands(), made_ + k * bands());
                x_.advance();
                y_.advance();
            }
            for (std::size_t lane = 0; lane < count_; ++lane) write(lane, std::min(now, lengths_[lane] - done));
        }
        count_ = 0;
        longest_ = 0;
    }

private:
    unsigned bands() const noexcept { return Bands != 0 ? Bands : call_.bands; }

    static constexpr long steps = 16;
    /// Lanes hold positions that no step of a batch brings out of their range.
    static constexpr long reach = 1L << 29;

    static bool reaches(const FloatAxis& axis, long length) noexcept {
        return length < reach && std::abs(axis.whole) < reach && (std::abs(axis.step) + 1) * maxLength < reach &&
               length <= maxLength;
    }
    static constexpr long maxLength = 1L << 16;

    void write(std::size_t lane, long pixels) noexcept {
        if (pixels <= 0) return;
        const std::ptrdiff_t pixel = call_.dst.raster.pixelOf<T>();
        T* to = to_[lane];
        const std::int32_t* from = reinterpret_cast<const std::int32_t*>(made_) + lane;
        for (long k = 0; k < pixels; ++k) {
            for (unsigned band = 0; band < bands(); ++band, from += laneCount) {
                to[k * pixel + band] = static_cast<T>(*from);
            }
        }
        to_[lane] = to + pixels * pixel;
    }

    const GeomCall& call_;
    const LaneSource<T>& source_;
    AxisLanes x_{};
    AxisLanes y_{};
    T* to_[laneCount] = {};
    long lengths_[laneCount] = {};
    std::size_t count_ = 0;
    long longest_ = 0;
    I32 made_[steps * static_cast<long>(Bands != 0 ? Bands : maxLaneBands)];
};

} // namespace orvi
