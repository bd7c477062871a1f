// Table warps of bytes and shorts, many pixels at a time.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "memory/frame/Extent.h"
#include "memory/frame/gaps.h"
#include "memory/geometry/PixelLanes.h"
#include "memory/geometry/TableWarp.h"
#include "memory/geometry/by_bands.h"

namespace orvi {

/// As many shorts as there are lanes of 32 bits.
using LaneShorts [[gnu::vector_size(2 * lanes::count<std::int32_t>)]] = std::int16_t;

/// Pixels of a row in lanes. Lanes read many samples before they write one, so images that share samples go pixel by
/// pixel. A pixel out of range that steps the warp table otherwise than the rest ends a run of lanes: what lies in the
/// lanes behind it has its values elsewhere.
template <class T, WarpForm form, class Pixel>
class WarpLanes {
public:
    /// So many lanes there are.
    static constexpr unsigned atOnce = lanes::count<std::int32_t>;

    explicit WarpLanes(const WarpCall& call) noexcept
        : call_(call), source_(call.source, call.width, call.height, call.bands) {
        const Extent written(call.destination, sizeof(T));
        fits_ = source_.fits() && call.bands <= maxLaneBands && !written.overlaps(Extent(call.source, sizeof(T))) &&
                !written.overlaps(Extent(call.table, sizeof(std::int16_t)));
    }

    /// Writes some of the next `most` pixels of a row, from `to` on, and steps the row past them; answers how many.
    unsigned run(WarpRow<form>& row, T* to, unsigned most) const noexcept {
        if (!fits_) return 0;
        return byBands(call_.bands, [&](auto bands) { return runBands<bands>(row, to, most); });
    }

private:
    static constexpr unsigned stretch = 256;
    static constexpr std::ptrdiff_t furthestGathered = 1024;

    /// What lanes have made of a stretch of pixels, each band on its own.
    template <unsigned Bands>
    struct Made {
        T bands[Bands != 0 ? Bands : maxLaneBands][stretch];
        std::int32_t in[stretch];
        bool whole; ///< all are in range
    };

    /// `Bands` is the number of bands, 0 for any.
    template <unsigned Bands>
    unsigned runBands(WarpRow<form>& row, T* to, unsigned most) const noexcept {
        const std::ptrdiff_t pixel = call_.destination.pixelOf<T>();
        unsigned done = 0;
        while (done < most) {
            const unsigned wanted = std::min(stretch, most - done);
            Made<Bands> made;
            const unsigned pixels = make(row, wanted, made);
            write(to + done * pixel, made, pixels);
            done += pixels;
            if (pixels < wanted) break;
        }
        return done;
    }

    /// Answers how many pixels it made. Lanes of the last vector may lie beyond them.
    template <unsigned Bands>
    unsigned make(WarpRow<form>& row, unsigned wanted, Made<Bands>& made) const noexcept {
        const unsigned bands = Bands != 0 ? Bands : call_.bands;
        I32 all = ~I32{};
        const SampledRect* recent = call_.sampled();
        unsigned done = 0;
        while (done < wanted && row.reaches(atOnce)) {
            LanePlace x;
            LanePlace y;
            place(row, x, y);
            const unsigned now = std::min(atOnce, wanted - done);
            I32 in = inRange(recent, call_.sampled(), x.whole, y.whole);
            if (now < atOnce) in |= ramp() >= static_cast<std::int32_t>(now);
            if (!row.stepsEvenly() && !every(in)) break;
            all &= in;
            lanes::store(made.in + done, in);
            I32 values[Bands != 0 ? Bands : maxLaneBands];
            Pixel::template make<T>(source_, x, y, bands, values);
            values[0] &= in; // out of range: 0 in the first band
            for (unsigned band = 0; band < bands; ++band) {
                storeSamples(made.bands[band] + done, values[band]);
            }
            row.stepOver(now);
            done += now;
        }
        made.whole = every(all);
        return done;
    }

    static void place(const WarpRow<form>& row, LanePlace& x, LanePlace& y) noexcept {
        x = {static_cast<std::int32_t>(row.column()) + ramp(), F32{}};
        y = {static_cast<std::int32_t>(row.row()) - I32{}, F32{}};
        if constexpr (form != WarpForm::vertical) displace(x, displacements(row, 0));
        if constexpr (form == WarpForm::vertical) displace(y, displacements(row, 0));
        if constexpr (form == WarpForm::both) {
            if (row.hasSecond()) displace(y, displacements(row, 1));
        }
    }

    static void displace(LanePlace& place, I32 displacement) noexcept {
        place.whole += displacement >> 4;
        place.fraction = toFloats(displacement & 15) * 0.0625F;
    }

    static I32 displacements(const WarpRow<form>& row, int band) noexcept {
        const std::int16_t* values = row.values();
        const std::ptrdiff_t step = row.pixelStep();
        if (step == 1) return __builtin_convertvector(lanes::load<LaneShorts>(values), I32);
        if (step <= furthestGathered && std::endian::native == std::endian::little) {
            const auto* bytes = reinterpret_cast<const std::byte*>(values);
            const U32 pairs = step == 2 ? lanes::load<U32>(bytes)
                                        : lanes::gatherWords(bytes, ramp() * static_cast<std::int32_t>(2 * step));
            return (I32)(band == 0 ? pairs << 16 : pairs) >> 16;
        }
        I32 result;
        for (unsigned i = 0; i < atOnce; ++i) result[i] = values[i * step + band];
        return result;
    }

    static I32 ramp() noexcept {
        I32 result;
        for (unsigned i = 0; i < atOnce; ++i) result[i] = static_cast<std::int32_t>(i);
        return result;
    }

    /// Whether all bits of every lane are set; lanes have all of theirs set or none.
    static bool every(I32 v) noexcept {
#if defined(__AVX512BW__)
        return _mm512_movepi32_mask((lanes::Raw)v) == 0xffff;
#elif defined(__AVX2__)
        return _mm256_movemask_epi8((lanes::Raw)v) == -1;
#else
        return !lanes::any(~v);
#endif
    }

    static I32 inRect(const SampledRect& r, I32 x, I32 y) noexcept {
        const auto limit = [](long v) { return static_cast<std::int32_t>(v) - I32{}; };
        return (x >= limit(r.firstX)) & (x <= limit(r.lastX)) & (y >= limit(r.firstY)) & (y <= limit(r.lastY));
    }

    /// All bits of a lane where a rectangle holds its sample. Most often it is the one that held all samples before.
    static I32 inRange(const SampledRect*& recent, const SampledRect* first, I32 x, I32 y) noexcept {
        const I32 all = ~I32{};
        if (recent->next != nullptr && every(inRect(*recent, x, y))) return all;
        I32 in{};
        for (const SampledRect* r = first; r->next != nullptr; r = r->next) {
            const I32 held = inRect(*r, x, y);
            if (every(held)) {
                recent = r;
                return all;
            }
            in |= held;
        }
        return in;
    }

    template <unsigned Bands>
    void write(T* to, const Made<Bands>& made, unsigned pixels) const noexcept {
        const std::ptrdiff_t pixel = call_.destination.pixelOf<T>();
        const auto apart = [&](const T* together) {
            copyAcrossGaps(reinterpret_cast<std::byte*>(to), pixel * static_cast<std::ptrdiff_t>(sizeof(T)),
                           reinterpret_cast<const std::byte*>(together), Bands * sizeof(T), Bands * sizeof(T), pixels);
        };
        if constexpr (Bands == 1) return apart(made.bands[0]);
        if constexpr (Bands == 3 && sizeof(T) == 1) {
            if (made.whole) {
                T together[3 * stretch];
                T* joined = pixel == 3 ? to : together;
                lanes::joinBands(made.bands[0], made.bands[1], made.bands[2], joined, pixels);
                if (pixel != 3) apart(together);
                return;
            }
        }
        const unsigned bands = Bands != 0 ? Bands : call_.bands;
        for (unsigned i = 0; i < pixels; ++i, to += pixel) {
            to[0] = made.bands[0][i];
            if (made.in[i] == 0) continue;
            for (unsigned band = 1; band < bands; ++band) to[band] = made.bands[band][i];
        }
    }

    const WarpCall& call_;
    LaneSource<T> source_;
    bool fits_;
};

} // namespace orvi
