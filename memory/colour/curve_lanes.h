// The curve from nonlinear to linear values as pieces of polynomials, near enough to tell most shorts by.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "memory/colour/transfer.h"
#include "memory/frame/short_pixels.h"

namespace orvi::colour {

/// Nonlinear values from 1/16 to 1 as shorts of linear ones: a cubic for each sixteenth of an octave, around its
/// middle.
class LinearPieces {
public:
    static constexpr std::size_t pieces = 64;
    static constexpr int pieceBits = 19; ///< of a float, that do not choose the piece
    static constexpr std::uint32_t firstPiece = 123U << 4;
    static constexpr float knee = 0.081F;
    static constexpr float least = 0x1p-4F;
    static constexpr float most = 0x1.fffffep-1F;

    /// Below the knee the curve is a line.
    static constexpr float slope = static_cast<float>(Scale<std::int16_t>::full * double{0.222F});
    static constexpr float zero = Scale<std::int16_t>::zero;

    /// A short's rounding in the chain, that of the constant term, that of the sum; and what the rest leaves.
    static constexpr float doubt = 3 * 0x1p-10F + 0x1p-11F;

    std::array<float, pieces> terms[4];

    constexpr LinearPieces() noexcept : terms{} {
        for (std::size_t piece = 0; piece < pieces; ++piece) fit(piece);
    }

    /// The bits of the middle of a value's piece.
    static constexpr std::uint32_t middleOf(std::uint32_t bits) noexcept {
        constexpr std::uint32_t half = 1U << (pieceBits - 1);
        return (bits & ~(2 * half - 1)) | half;
    }

    /// What lanes compute, for one value from 0 to `most`; `fused` is a product and sum rounded once.
    template <class Fused>
    float of(float v, Fused fused) const noexcept {
        if (v < knee) return fused(v, slope, zero);
        const auto bits = std::bit_cast<std::uint32_t>(v);
        const std::uint32_t piece = (bits >> pieceBits) - firstPiece;
        const float distance = v - std::bit_cast<float>(middleOf(bits));
        float sum = terms[3][piece];
        for (int i = 2; i >= 0; --i) sum = fused(sum, distance, terms[i][piece]);
        return sum;
    }

private:
    static constexpr double exact(double v) noexcept {
        return Scale<std::int16_t>::full * power((v + 0.099) / 1.099, 2.222) + Scale<std::int16_t>::zero;
    }

    /// Through four points of the piece, which lie as those of the least error do.
    constexpr void fit(std::size_t piece) noexcept {
        const std::uint32_t first = static_cast<std::uint32_t>(firstPiece + piece) << pieceBits;
        const double middle = std::bit_cast<float>(middleOf(first));
        const double half = middle - std::bit_cast<float>(first);
        constexpr double places[] = {-0.9238795325112867, -0.3826834323650898, 0.3826834323650898, 0.9238795325112867};
        double x[4];
        double divided[4];
        for (int i = 0; i < 4; ++i) {
            x[i] = places[i] * half;
            divided[i] = exact(middle + x[i]);
        }
        for (int order = 1; order < 4; ++order) {
            for (int i = 3; i >= order; --i) divided[i] = (divided[i] - divided[i - 1]) / (x[i] - x[i - order]);
        }
        // From differences to powers.
        double sum[4] = {divided[3], 0, 0, 0};
        for (int i = 2; i >= 0; --i) {
            for (int k = 3; k > 0; --k) sum[k] = sum[k - 1] - x[i] * sum[k];
            sum[0] = divided[i] - x[i] * sum[0];
        }
        for (int k = 0; k < 4; ++k) terms[k][piece] = static_cast<float>(sum[k]);
    }
};
inline constexpr LinearPieces linearPieces;

#if defined(ORV_SHORT_PIXELS)

/// Shorts, and a bit for each of those that the chain may have come to otherwise.
struct Doubtful {
    lanes::I32 values;
    std::uint16_t doubt;
};

/// An entry of 64 for each lane.
inline lanes::F32 entryOf(const std::array<float, LinearPieces::pieces>& table, lanes::I32 index,
                          __mmask16 upper) noexcept {
    const auto quarter = [&](int i) { return (__m512)lanes::load<lanes::F32>(table.data() + 16 * i); };
    const __m512 low = _mm512_permutex2var_ps(quarter(0), (lanes::Raw)index, quarter(1));
    const __m512 high = _mm512_permutex2var_ps(quarter(2), (lanes::Raw)index, quarter(3));
    return (lanes::F32)_mm512_mask_mov_ps(low, upper, high);
}

/// Nonlinear values as shorts of linear ones.
inline Doubtful linearShorts(lanes::F32 v) noexcept {
    using lanes::F32;
    using lanes::I32;
    using lanes::U32;
    using Pieces = LinearPieces;
    const F32 inside = lanes::smaller<F32>(lanes::larger<F32>(v, F32{} + Pieces::least), F32{} + Pieces::most);
    const I32 index = (I32)((U32)inside >> Pieces::pieceBits) - static_cast<int>(Pieces::firstPiece);
    const __mmask16 upper = _mm512_test_epi32_mask((lanes::Raw)index, _mm512_set1_epi32(32));
    constexpr std::uint32_t half = 1U << (Pieces::pieceBits - 1);
    const F32 distance = inside - (F32)(((U32)inside & ~(2 * half - 1)) | half);
    F32 sum = entryOf(linearPieces.terms[3], index, upper);
    for (int i = 2; i >= 0; --i) sum = lanes::multiplyAdd(sum, distance, entryOf(linearPieces.terms[i], index, upper));
    const F32 line = lanes::multiplyAdd(lanes::larger<F32>(v, F32{}), F32{} + Pieces::slope, F32{} + Pieces::zero);
    const F32 value = v < Pieces::knee ? line : sum;
    const I32 low = lanes::nearest(value - Pieces::doubt);
    return {low, lanes::unlikeWords(low, lanes::nearest(value + Pieces::doubt))};
}

#endif

} // namespace orvi::colour
