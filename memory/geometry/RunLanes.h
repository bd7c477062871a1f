// Many runs at once, a run a lane: every run steps on its own, so lanes need nothing of one another. Each lane does
// what the plain loop does, operation by operation; one whose run has ended goes on, and what it makes is dropped.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <utility>

#include "memory/geometry/Dda.h"
#include "memory/geometry/PixelLanes.h"
#include "memory/geometry/SourceBlock.h"

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

    /// About where the lanes are after some steps.
    I32 after(long steps) const noexcept {
        return whole + lanes::truncate((toFloats(step) + up) * static_cast<float>(steps));
    }

    void advance() noexcept {
        const I32 goesOn = fraction < down;
        whole += step + 1 + goesOn;
        fraction = goesOn ? fraction + up : fraction - down;
    }
};

/// Lanes' positions from the least to the greatest, lane by lane.
struct LaneReach {
    I32 least = INT_MAX - I32{};
    I32 greatest = INT_MIN - I32{};

    void add(I32 positions, I32 which) noexcept {
        least = lanes::smaller<I32>(least, which != 0 ? positions : least);
        greatest = lanes::larger<I32>(greatest, which != 0 ? positions : greatest);
    }
    /// Over all lanes, with `margin` more to both sides, inside an axis of `size` pixels.
    void range(long size, long* first, long* last) const noexcept {
        long low = least[0];
        long high = greatest[0];
        for (std::size_t i = 1; i < laneCount; ++i) {
            low = std::min<long>(low, least[i]);
            high = std::max<long>(high, greatest[i]);
        }
        *first = std::clamp(low - margin, 0L, size - 1);
        *last = std::clamp(high + margin, 0L, size - 1);
    }

private:
    /// What pixels take in beside their positions, and what these are off where they are reckoned beforehand.
    static constexpr long margin = 4;
};

/// Steps a batch of runs; what lanes make is gathered over a few steps and then written run by run. `Bands` is the
/// number of bands, 0 for any up to maxLaneBands.
template <class T, class Pixel, unsigned Bands>
class RunLanes {
public:
    explicit RunLanes(const GeomCall& call) noexcept : call_(call) {}

    /// Whether a run goes no farther than lanes do.
    static bool serves(const Run& run) noexcept {
        const long length = run.x2 - run.x1 + 1;
        const FloatDda dda(run);
        return reaches(dda.x, length) && reaches(dda.y, length);
    }

    bool full() const noexcept { return count_ == laneCount; }

    /// Takes in a run while there is a lane left.
    void add(const Run& run) noexcept {
        const long length = run.x2 - run.x1 + 1;
        const FloatDda dda(run);
        const Raster& from = call_.src.raster;
        x_.set(count_, dda.x, from.ox, true);
        y_.set(count_, dda.y, from.oy, dda.stepsY);
        to_[count_] = call_.dst.raster.at<T>(run.x1, run.y);
        lengths_[count_] = static_cast<std::int32_t>(length);
        longest_ = std::max(longest_, length);
        ++count_;
    }

    long longest() const noexcept { return longest_; }

    /// Adds what the next steps of the lanes reach, those that have not come to their end.
    void addReach(LaneReach& x, LaneReach& y, long ahead) const noexcept {
        const I32 goOn = lengths_ > static_cast<std::int32_t>(done_);
        for (const auto& [range, axis] : {std::pair{&x, &x_}, std::pair{&y, &y_}}) {
            range->add(axis->whole, goOn);
            range->add(axis->after(ahead), goOn);
        }
    }

    /// Writes the next pixels of all runs, of a source that begins at a pixel of the image.
    void run(const LaneSource<T>& source, long left, long top, long ahead) noexcept {
        x_.whole -= static_cast<std::int32_t>(left);
        y_.whole -= static_cast<std::int32_t>(top);
        const long end = std::min(longest_, done_ + ahead);
        for (; done_ < end; done_ += steps) {
            I32 made[steps * static_cast<long>(Bands != 0 ? Bands : maxLaneBands)];
            const long now = std::min(steps, end - done_);
            for (long k = 0; k < now; ++k) {
                Pixel::template make<T>(source, x_, y_, bands(), made + k * bands());
                x_.advance();
                y_.advance();
            }
            for (std::size_t lane = 0; lane < count_; ++lane) write(made, lane, std::min(now, lengths_[lane] - done_));
        }
        x_.whole += static_cast<std::int32_t>(left);
        y_.whole += static_cast<std::int32_t>(top);
    }

    /// Lets go of all runs.
    void clear() noexcept {
        count_ = 0;
        longest_ = done_ = 0;
        lengths_ = I32{};
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

    void write(const I32* made, std::size_t lane, long pixels) noexcept {
        if (pixels <= 0) return;
        const std::ptrdiff_t pixel = call_.dst.raster.pixelOf<T>();
        T* to = to_[lane];
        const std::int32_t* from = reinterpret_cast<const std::int32_t*>(made) + lane;
        for (long k = 0; k < pixels; ++k) {
            for (unsigned band = 0; band < bands(); ++band, from += laneCount) {
                to[k * pixel + band] = static_cast<T>(*from);
            }
        }
        to_[lane] = to + pixels * pixel;
    }

    const GeomCall& call_;
    AxisLanes x_{};
    AxisLanes y_{};
    T* to_[laneCount] = {};
    I32 lengths_{};
    std::size_t count_ = 0;
    long longest_ = 0;
    long done_ = 0;
};

/// Runs in tiles of as many rows and columns as read a part of the source that fits the first cache, rotated or not.
template <class T, class Pixel, unsigned Bands>
class RunTiles {
public:
    RunTiles(const GeomCall& call, const LaneSource<T>& source) noexcept
        : call_(call),
          source_(source),
          block_(call.src.raster, call.src.height, call.bands * sizeof(T)),
          batches_(batchesOf(call, std::make_index_sequence<most>{})) {}

    /// Takes in a run; false where it goes too far for lanes.
    bool add(const Run& run) noexcept {
        if (!Batch::serves(run)) return false;
        if (batches_[batch_].full()) ++batch_;
        if (batch_ == most) finish();
        batches_[batch_].add(run);
        return true;
    }

    /// Writes all runs taken in.
    void finish() noexcept {
        long longest = 0;
        for (const Batch& batch : batches_) longest = std::max(longest, batch.longest());
        for (long done = 0; done < longest; done += tileColumns) tile();
        for (Batch& batch : batches_) batch.clear();
        batch_ = 0;
    }

private:
    using Batch = RunLanes<T, Pixel, Bands>;
    static constexpr std::size_t tileRows = 64;
    static constexpr long tileColumns = 64;
    static constexpr std::size_t most = tileRows / laneCount;

    template <std::size_t... I>
    static std::array<Batch, most> batchesOf(const GeomCall& call, std::index_sequence<I...>) noexcept {
        return {(static_cast<void>(I), Batch(call))...};
    }

    void tile() noexcept {
        LaneReach x;
        LaneReach y;
        for (const Batch& batch : batches_) batch.addReach(x, y, tileColumns);
        Reach part{};
        x.range(call_.src.width, &part.left, &part.right);
        y.range(call_.src.height, &part.top, &part.bottom);
        if (block_.copy(part, static_cast<long>(tileRows) * tileColumns)) {
            const LaneSource<T> copied(block_.raster(), part.right - part.left + 1, part.bottom - part.top + 1,
                                       call_.bands);
            if (copied.fits()) return run(copied, part.left, part.top);
        }
        run(source_, 0, 0);
    }

    void run(const LaneSource<T>& source, long left, long top) noexcept {
        for (Batch& batch : batches_) batch.run(source, left, top, tileColumns);
    }

    const GeomCall& call_;
    const LaneSource<T>& source_;
    SourceBlock block_;
    std::array<Batch, most> batches_;
    std::size_t batch_ = 0;
};

} // namespace orvi
