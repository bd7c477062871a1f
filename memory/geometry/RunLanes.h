// Many runs at once, a run a lane: every run steps on its own, so lanes need nothing of one another. Each lane does
// what the plain loop does, operation by operation; one whose run has ended goes on, and what it makes is dropped.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "memory/geometry/Dda.h"
#include "memory/geometry/PixelLanes.h"

namespace orvi {

/// One axis of the float DDA of every lane.
struct AxisLanes : LanePlace {
    I32 step;
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

/// Steps a batch of runs; what lanes make is gathered over a few steps and then written run by run. `Bands` is the
/// number of bands, 0 for any up to maxLaneBands.
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
