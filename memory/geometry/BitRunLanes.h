// Nearest bits of the runs of a one-bit plane, many at a time.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>

#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/geometry/Dda.h"
#include "memory/geometry/GeomWalk.h"

namespace orvi {

/// Takes the bits of a run as bytes, from positions in lanes, and packs them. Many bits are read before one is written,
/// so this is for images that share no samples, and for runs that stay inside the source: a run is a line, so its two
/// ends tell.
class BitRunLanes {
public:
    BitRunLanes(const GeomCall& call, unsigned band) noexcept
        : call_(call),
          band_(band),
          base_(reinterpret_cast<const std::uint8_t*>(call.src.raster.data) + band * call.src.raster.bandStride) {
        const Picture& src = call.src;
        const std::ptrdiff_t last = lastByte(src, 0) - src.raster.data;
        fits_ = src.width <= longest && src.height <= longest && last < INT_MAX && !shared(src, call.dst);
    }

    /// False, with nothing written, where the run is not for it.
    bool write(const Run& run, const FixedDda& dda) const noexcept {
        const Raster& raster = call_.src.raster;
        const long count = run.x2 - run.x1 + 1;
        const long x = dda.x + raster.ox * FixedDda::one;
        const long y = dda.y + raster.oy * FixedDda::one;
        if (!fits_ || !stays(x, dda.dx, count, call_.src.width) || !stays(y, dda.dy, count, call_.src.height)) {
            return false;
        }
        U32 ramp;
        for (std::uint32_t i = 0; i < atOnce; ++i) ramp[i] = i;
        std::uint8_t bits[chunk];
        for (long done = 0; done < count; done += chunk) {
            const long now = std::min(chunk, count - done);
            for (long i = 0; i < now; i += static_cast<long>(atOnce)) {
                const U32 inside = (U32)((I32)ramp < static_cast<std::int32_t>(now - i) - I32{});
                const U32 at = ramp + static_cast<std::uint32_t>(done + i);
                const auto place = [&](long from, long step) {
                    return ((static_cast<std::uint32_t>(from) + at * static_cast<std::uint32_t>(step)) & inside) >> 16;
                };
                const Bytes taken = __builtin_convertvector(bitsAt(place(x, dda.dx), place(y, dda.dy)), Bytes);
                lanes::store(bits + i, taken);
            }
            const BitPosition to = call_.dst.raster.bit(run.x1 + done, run.y, band_);
            packBits(bits, 1, to.byte, to.offset, static_cast<std::size_t>(now));
        }
        return true;
    }

private:
    using I32 = lanes::I32;
    using U32 = lanes::U32;
    static constexpr std::size_t atOnce = lanes::count<std::int32_t>;
    using Bytes [[gnu::vector_size(atOnce)]] = std::uint8_t;
    static constexpr long chunk = 512;
    static constexpr long longest = 0x7fff;

    /// Whether the first and the last position of a run lie between 0 and `size`.
    static bool stays(long from, long step, long count, long size) noexcept {
        const long to = from + step * (count - 1);
        return std::min(from, to) >= 0 && std::max(from, to) < size * FixedDda::one;
    }

    I32 bitsAt(U32 column, U32 row) const noexcept {
        const Raster& raster = call_.src.raster;
        const U32 place = column + raster.offset;
        const U32 byte = row * static_cast<std::uint32_t>(raster.stride) + (place >> 3);
        return (lanes::plain::gather(base_, (I32)byte) >> (I32)(7U - (place & 7U))) & 1;
    }

    static const std::byte* lastByte(const Picture& picture, unsigned band) noexcept {
        const Raster& raster = picture.raster;
        return raster.data + band * raster.bandStride + (picture.height - 1) * raster.stride +
               ((static_cast<long>(raster.offset) + picture.width - 1) >> 3);
    }
    static bool shared(const Picture& a, const Picture& b) noexcept {
        const std::less<const std::byte*> before;
        return !before(lastByte(a, a.raster.bands - 1), b.raster.data) &&
               !before(lastByte(b, b.raster.bands - 1), a.raster.data);
    }

    const GeomCall& call_;
    unsigned band_;
    const std::uint8_t* base_;
    bool fits_;
};

} // namespace orvi
