// Vectors of pixels as vectors of one band each.
#pragma once

#include "memory/frame/lanes.h"

#if defined(__AVX512BW__)

namespace orvi::lanes {

/// As many vectors of pixels as these have bands, and as many of one band each. Once the samples of each pixel are
/// turned by the number of the vector, those that stand at one place of the vectors are one of each band, and change
/// vectors alone. Those of three bands stand so by themselves: a vector is a third of a pixel behind the one before.
template <int Bands>
struct VectorsOfBands {
    U8 of[Bands];

    VectorsOfBands apart() const noexcept {
        VectorsOfBands pixels;
        for (int i = 0; i < Bands; ++i) pixels.of[i] = turned(of[i], i);
        return pixels.exchanged(1);
    }
    VectorsOfBands together() const noexcept {
        VectorsOfBands pixels = exchanged(Bands - 1);
        for (int i = 0; i < Bands; ++i) pixels.of[i] = turned(pixels.of[i], Bands - i);
        return pixels;
    }

    /// Each pixel's bytes so many places to the front, those in front behind the others. A pixel's samples stand at
    /// one place in the vectors of the bands but for their bands' numbers: those of band b turned by b do.
    static U8 turned(U8 v, int turn) noexcept {
        if (Bands == 3 || turn % Bands == 0) return v;
        return (U8)_mm512_shuffle_epi8((Raw)v, load<Raw>(turns.places[turn]));
    }

private:
    static constexpr std::uint64_t everyPixel() noexcept {
        std::uint64_t places = 0;
        for (std::size_t i = 0; i < vectorBytes; i += Bands) places |= std::uint64_t{1} << i;
        return places;
    }

    struct Turns {
        alignas(64) std::uint8_t places[Bands][vectorBytes] = {};

        constexpr Turns() noexcept {
            for (unsigned turn = 0; turn < Bands; ++turn) {
                for (unsigned i = 0; i < vectorBytes; ++i) {
                    places[turn][i] = static_cast<std::uint8_t>((i - i % Bands + (i + turn) % Bands) % 16);
                }
            }
        }
    };
    static constexpr Turns turns{};

    /// Vector i takes its places behind each pixel's first from those so many vectors on, times the place: a bit of the
    /// place at a time, where their number is a power of two.
    VectorsOfBands exchanged(int step) const noexcept {
        VectorsOfBands result = *this;
        if (Bands == 3) {
            result.take(*this, step, everyPixel() << 1);
            result.take(*this, 2 * step, everyPixel() << 2);
            return result;
        }
        for (int bit = 1; bit < Bands; bit *= 2) {
            std::uint64_t places = 0;
            for (int place = 0; place < Bands; ++place) places |= (place & bit) != 0 ? everyPixel() << place : 0;
            result.take(VectorsOfBands(result), bit * step, places);
        }
        return result;
    }

    void take(const VectorsOfBands& from, int distance, std::uint64_t places) noexcept {
        for (int i = 0; i < Bands; ++i) {
            const Raw other = (Raw)from.of[(i + distance * (Bands - 1)) % Bands];
            of[i] = (U8)_mm512_mask_mov_epi8((Raw)of[i], places, other);
        }
    }
};

} // namespace orvi::lanes

#endif
