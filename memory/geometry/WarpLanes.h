// Table warps of dense one-band bytes, many pixels at a time.
#pragma once

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

#include "memory/frame/Extent.h"
#include "memory/frame/lanes.h"
#include "memory/geometry/TableWarp.h"

namespace orvi {

/// As many narrow samples as there are lanes of 32 bits.
namespace warp_lanes {
inline constexpr std::size_t atOnce = lanes::count<std::int32_t>;
using Bytes [[gnu::vector_size(atOnce)]] = std::uint8_t;
using Shorts [[gnu::vector_size(2 * atOnce)]] = std::int16_t;
using Words [[gnu::vector_size(2 * atOnce)]] = std::uint16_t;
} // namespace warp_lanes

/// Rows of nearest or bilinear samples. Where a pixel out of range steps a warp table as far as any other, such pixels
/// are lanes like the rest; else the first of them ends the run of lanes. Lanes read many samples before they write
/// one, so images that share samples go pixel by pixel.
template <WarpForm form, Interpolation interpolation>
class WarpLanes {
public:
    explicit WarpLanes(const WarpCall& call) noexcept : call_(call) {
        const Raster& source = call.source;
        const std::ptrdiff_t last = (call.height - 1) * source.stride + call.width - 1;
        fits_ = std::endian::native == std::endian::little && source.bands == 1 && call.destination.bands == 1 &&
                source.pixel == 1 && call.destination.pixel == 1 && last >= 3 && last < INT_MAX &&
                call.table.pixel == tableBytes && call.table.bands >= tableBytes / 2 &&
                !Extent(source, 1).overlaps(Extent(call.destination, 1));
    }

    /// Writes pixels from the row's first on and answers how many; the rest is the plain loop's. Positions, samples and
    /// values are made one after another for a stretch of pixels: single loads are faster than vector gathers here, and
    /// what they store is read back as vectors only when it has left the processor's store queue.
    unsigned run(const Rect& rect, long y) const noexcept {
        if (!fits_) return 0;
        unsigned done = 0;
        while (done + lanesAtOnce <= rect.width) {
            const unsigned wanted = std::min(stretch, rect.width - done);
            Stretch pixels;
            const unsigned placed = place(pixels, rect.x + static_cast<long>(done), y, wanted);
            write(call_.destination.at<std::uint8_t>(rect.x + static_cast<long>(done), y), pixels, placed);
            done += placed;
            if (placed + lanesAtOnce <= wanted) break;
        }
        return done;
    }

private:
    using I32 = lanes::I32;
    using U32 = lanes::U32;
    static constexpr std::size_t lanesAtOnce = warp_lanes::atOnce;
    using Bytes = warp_lanes::Bytes;
    using Shorts = warp_lanes::Shorts;
    using Words = warp_lanes::Words;
    static constexpr std::ptrdiff_t tableBytes = form == WarpForm::both ? 4 : 2;

    struct Displaced {
        I32 x;
        I32 y;
        I32 fx;
        I32 fy;
    };

    static Displaced displaced(const std::byte* table, I32 x, I32 y) noexcept {
        if constexpr (form == WarpForm::both) {
            const I32 pair = lanes::load<I32>(table);
            const I32 t0 = (I32)((U32)pair << 16) >> 16;
            const I32 t1 = pair >> 16;
            return {x + (t0 >> 4), y + (t1 >> 4), t0 & 15, t1 & 15};
        } else {
            const I32 t = __builtin_convertvector(lanes::load<Shorts>(table), I32);
            if constexpr (form == WarpForm::horizontal) return {x + (t >> 4), y, t & 15, I32{}};
            return {x, y + (t >> 4), I32{}, t & 15};
        }
    }

    /// All bits of a lane where a rectangle holds its sample.
    I32 inRange(const Displaced& d) const noexcept {
        I32 in{};
        for (const SampledRect* r = call_.sampled(); r->next != nullptr; r = r->next) {
            const auto limit = [](long v) { return static_cast<std::int32_t>(v) - I32{}; };
            in |= (d.x >= limit(r->firstX)) & (d.x <= limit(r->lastX)) & (d.y >= limit(r->firstY)) &
                  (d.y <= limit(r->lastY));
        }
        return in;
    }

    static constexpr unsigned stretch = 256;

    /// Positions in the source, 0 for those out of range; of the interpolated also the fractions and the neighbours'.
    struct Stretch {
        std::int32_t at[stretch];
        std::int32_t in[stretch];
        std::int32_t fx[stretch];
        std::int32_t fy[stretch];
        bool whole = true; ///< all are in range
    };

    /// Answers how many pixels it placed: a whole number of vectors, cut at the first whose table is stepped otherwise.
    unsigned place(Stretch& to, long x, long y, unsigned wanted) const noexcept {
        const std::byte* table = call_.table.at<std::byte>(x, y);
        const auto column = static_cast<std::int32_t>(x + call_.destination.ox);
        const auto row = static_cast<std::int32_t>(y + call_.destination.oy);
        const auto stride = static_cast<std::int32_t>(call_.source.stride);
        I32 ramp;
        for (std::size_t i = 0; i < lanesAtOnce; ++i) ramp[i] = static_cast<std::int32_t>(i);
        I32 all = ~I32{};
        unsigned i = 0;
        for (; i + lanesAtOnce <= wanted; i += lanesAtOnce) {
            const Displaced d =
                displaced(table + i * tableBytes, column + static_cast<std::int32_t>(i) + ramp, row - I32{});
            const I32 in = inRange(d);
            if constexpr (form != WarpForm::both) {
                if (lanes::any(~in)) break;
            }
            all &= in;
            lanes::store(to.at + i, (d.y & in) * stride + (d.x & in));
            lanes::store(to.in + i, in);
            if constexpr (interpolation != Interpolation::nearest) {
                lanes::store(to.fx + i, d.fx);
                lanes::store(to.fy + i, d.fy);
            }
        }
        to.whole = !lanes::any(~all);
        return i;
    }

    void write(std::uint8_t* to, const Stretch& pixels, unsigned count) const noexcept {
        const auto* data = reinterpret_cast<const std::uint8_t*>(call_.source.data);
        if constexpr (interpolation == Interpolation::nearest) {
            for (unsigned i = 0; i < count; ++i) to[i] = data[pixels.at[i]];
            for (unsigned i = 0; !pixels.whole && i < count; ++i) to[i] &= static_cast<std::uint8_t>(pixels.in[i]);
        } else {
            std::uint16_t above[stretch];
            std::uint16_t below[stretch];
            const std::ptrdiff_t stride = call_.source.stride;
            for (unsigned i = 0; i < count; ++i) {
                const std::uint8_t* from = data + pixels.at[i];
                above[i] = lanes::load<std::uint16_t>(from);
                below[i] = lanes::load<std::uint16_t>(from + (stride & pixels.in[i]));
            }
            for (unsigned i = 0; i < count; i += lanesAtOnce) {
                const I32 fx = lanes::load<I32>(pixels.fx + i);
                const I32 fy = lanes::load<I32>(pixels.fy + i);
                const I32 top = between(above + i, fx);
                const I32 bottom = between(below + i, fx);
                // Sixteenths of samples are whole numbers; the half that the second step leaves is truncated toward
                // zero.
                const I32 twice = (bottom - top) * fy;
                const I32 value = (8 * top + ((twice - (twice >> 31)) >> 1)) >> 7;
                lanes::store(to + i, __builtin_convertvector(value & lanes::load<I32>(pixels.in + i), Bytes));
            }
        }
    }

    /// On the way from samples to their right neighbours, in sixteenths.
    static I32 between(const std::uint16_t* pairs, I32 fx) noexcept {
        const I32 pair = __builtin_convertvector(lanes::load<Words>(pairs), I32);
        const I32 a = pair & 255;
        return 16 * a + ((pair >> 8) - a) * fx;
    }

    const WarpCall& call_;
    bool fits_;
};

} // namespace orvi
