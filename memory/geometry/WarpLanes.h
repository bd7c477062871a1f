// Table warps of dense one-band bytes, many pixels at a time.
#pragma once

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
typedef std::uint8_t Bytes __attribute__((vector_size(atOnce)));
typedef std::int16_t Shorts __attribute__((vector_size(2 * atOnce)));
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
        last_ = static_cast<std::int32_t>(last);
    }

    /// Writes pixels from the row's first on and answers how many; the rest is the plain loop's.
    unsigned run(const Rect& rect, long y) const noexcept {
        if (!fits_) return 0;
        const std::byte* table = call_.table.at<std::byte>(rect.x, y);
        std::uint8_t* to = call_.destination.at<std::uint8_t>(rect.x, y);
        const auto column = static_cast<std::int32_t>(rect.x + call_.destination.ox);
        const auto row = static_cast<std::int32_t>(y + call_.destination.oy);
        I32 ramp;
        for (std::size_t i = 0; i < lanesAtOnce; ++i) ramp[i] = static_cast<std::int32_t>(i);
        unsigned done = 0;
        for (; done + lanesAtOnce <= rect.width; done += lanesAtOnce) {
            const Displaced d =
                displaced(table + done * tableBytes, column + static_cast<std::int32_t>(done) + ramp, row - I32{});
            const I32 in = inRange(d);
            if constexpr (form != WarpForm::both) {
                if (lanes::any(~in)) break;
            }
            const Bytes bytes = __builtin_convertvector(sample(d, in) & in, Bytes);
            std::memcpy(to + done, &bytes, sizeof bytes);
        }
        return done;
    }

private:
    using I32 = lanes::I32;
    using U32 = lanes::U32;
    static constexpr std::size_t lanesAtOnce = warp_lanes::atOnce;
    using Bytes = warp_lanes::Bytes;
    using Shorts = warp_lanes::Shorts;
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

    I32 sample(const Displaced& d, I32 in) const noexcept {
        const auto* data = reinterpret_cast<const std::uint8_t*>(call_.source.data);
        const auto stride = static_cast<std::int32_t>(call_.source.stride);
        const I32 at = (d.y & in) * stride + (d.x & in);
        if constexpr (interpolation == Interpolation::nearest) {
            return lanes::gather(data, at, last_);
        } else {
            const I32 above = between(at, d.fx);
            const I32 below = between((at + stride) & in, d.fx);
            // Sixteenths of samples are whole numbers; the half that the second step leaves is truncated toward zero.
            const I32 twice = (below - above) * d.fy;
            return (8 * above + ((twice - (twice >> 31)) >> 1)) >> 7;
        }
    }

    /// On the way from a sample to its right neighbour, in sixteenths.
    I32 between(I32 at, I32 fx) const noexcept {
        const I32 start = lanes::smaller<I32>(at, last_ - 3 - I32{});
        const U32 word = lanes::gatherWords(call_.source.data, start) >> (U32)((at - start) << 3);
        const I32 a = (I32)(word & 255U);
        const I32 b = (I32)((word >> 8) & 255U);
        return 16 * a + (b - a) * fx;
    }

    const WarpCall& call_;
    bool fits_;
    std::int32_t last_;
};

} // namespace orvi
