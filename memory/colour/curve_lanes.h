// The curves between linear and nonlinear values as pieces of polynomials, near enough to tell most shorts by.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "memory/colour/transfer.h"
#include "memory/frame/short_pixels.h"

namespace orvi::colour {

/// The first float that is no less than a number.
constexpr float firstFrom(double v) noexcept {
    const auto nearest = static_cast<float>(v);
    return double{nearest} < v ? std::bit_cast<float>(std::bit_cast<std::uint32_t>(nearest) + 1) : nearest;
}

// The curves from 0 up: a line below a knee, and from there what `exact` says. Values are shorts not yet rounded;
// `Zero` stands for 0.

template <int Zero>
struct LinearFacts {
    static constexpr int zero = Zero;
    static constexpr int firstOctave = -4;
    static constexpr int octaves = 6; ///< luma with chroma comes to less than 4
    static constexpr float knee = firstFrom(0.081);
    static constexpr double slope = 0.222F;
    static constexpr double rest = 0x1p-11; ///< what the pieces leave besides roundings
    static constexpr double exact(double v) noexcept { return power((v + 0.099) / 1.099, 2.222); }
};

struct GammaFacts {
    static constexpr int zero = Scale<std::int16_t>::zero;
    static constexpr int firstOctave = -6;
    static constexpr int octaves = 7; ///< 1 is the first of a piece
    static constexpr float knee = firstFrom(0.018);
    static constexpr double slope = 4.5;
    static constexpr double rest = 0x1.4p-10;
    static constexpr double exact(double v) noexcept { return 1.099 * power(v, 0.45) - 0.099; }
};

/// A polynomial of the fourth degree for each quarter of an octave, around its middle.
template <class Facts>
class CurvePieces {
public:
    static constexpr std::size_t pieces = 32;
    static constexpr int degree = 4;
    static constexpr int pieceBits = 21; ///< of a float, that do not choose the piece
    static constexpr auto slope = static_cast<float>(Scale<std::int16_t>::full * Facts::slope);

    /// From 0 to 1: the rounding of the constant term, that of the sum, and what the rest leaves.
    static constexpr double error = 0x1p-10 + 0x1p-10 + Facts::rest;

    /// By the bits of a value from the lowest on that chooses.
    alignas(64) std::array<float, pieces> terms[degree + 1];

    constexpr CurvePieces() noexcept : terms{} {
        constexpr int bias = 127;
        constexpr std::uint32_t perOctave = 4;
        constexpr std::uint32_t first = (bias + Facts::firstOctave) * perOctave;
        for (std::uint32_t piece = first; piece < first + perOctave * Facts::octaves; ++piece) fit(piece);
    }

    /// The bits of the middle of a value's piece.
    static constexpr std::uint32_t middleOf(std::uint32_t bits) noexcept {
        constexpr std::uint32_t half = 1U << (pieceBits - 1);
        return (bits & ~(2 * half - 1)) | half;
    }

    /// What lanes compute, for one value; `fused` is a product and sum rounded once.
    template <class Fused>
    float of(float v, Fused fused) const noexcept {
        if (v < Facts::knee) return fused(v, slope, static_cast<float>(Facts::zero));
        const auto bits = std::bit_cast<std::uint32_t>(v);
        const std::uint32_t piece = (bits >> pieceBits) % pieces;
        const float distance = v - std::bit_cast<float>(middleOf(bits));
        float sum = terms[degree][piece];
        for (int i = degree - 1; i >= 0; --i) sum = fused(sum, distance, terms[i][piece]);
        return sum;
    }

private:
    static constexpr double shortOf(double v) noexcept {
        return Scale<std::int16_t>::full * Facts::exact(v) + Facts::zero;
    }

    /// Through five points of the piece, which lie as those of the least error do.
    constexpr void fit(std::uint32_t piece) noexcept {
        const std::uint32_t first = piece << pieceBits;
        const double middle = std::bit_cast<float>(middleOf(first));
        const double half = middle - std::bit_cast<float>(first);
        constexpr double places[degree + 1] = {-0.9510565162951535, -0.5877852522924731, 0, 0.5877852522924731,
                                               0.9510565162951535};
        double x[degree + 1];
        double divided[degree + 1];
        for (int i = 0; i <= degree; ++i) {
            x[i] = places[i] * half;
            divided[i] = shortOf(middle + x[i]);
        }
        for (int order = 1; order <= degree; ++order) {
            for (int i = degree; i >= order; --i) divided[i] = (divided[i] - divided[i - 1]) / (x[i] - x[i - order]);
        }
        // From differences to powers.
        double sum[degree + 1] = {divided[degree]};
        for (int i = degree - 1; i >= 0; --i) {
            for (int k = degree; k > 0; --k) sum[k] = sum[k - 1] - x[i] * sum[k];
            sum[0] = divided[i] - x[i] * sum[0];
        }
        for (int k = 0; k <= degree; ++k) terms[k][piece % pieces] = static_cast<float>(sum[k]);
    }
};
template <class Facts>
inline constexpr CurvePieces<Facts> curvePieces;

#if defined(ORV_SHORT_PIXELS)

/// A curve in lanes, for values from 0 up to the end of its pieces. Those on the line leave the pieces alone: next to 0
/// their middles are numbers that processors are slow with.
template <class Facts>
lanes::F32 curveOf(lanes::F32 v) noexcept {
    using Pieces = CurvePieces<Facts>;
    constexpr std::uint32_t half = 1U << (Pieces::pieceBits - 1);
    const auto bits = (lanes::U32)lanes::larger<lanes::F32>(v, lanes::F32{} + Facts::knee);
    const lanes::U32 piece = bits >> Pieces::pieceBits;
    const auto term = [piece](int i) {
        const float* const table = curvePieces<Facts>.terms[i].data();
        return (lanes::F32)_mm512_permutex2var_ps((__m512)lanes::load<lanes::F32>(table), (lanes::Raw)piece,
                                                  (__m512)lanes::load<lanes::F32>(table + Pieces::pieces / 2));
    };
    const lanes::F32 distance = (lanes::F32)bits - (lanes::F32)((bits & ~(2 * half - 1)) | half);
    lanes::F32 sum = term(Pieces::degree);
    for (int i = Pieces::degree - 1; i >= 0; --i) sum = lanes::multiplyAdd(sum, distance, term(i));
    const lanes::F32 line =
        lanes::multiplyAdd(v, lanes::F32{} + Pieces::slope, lanes::F32{} + static_cast<float>(Facts::zero));
    return v < Facts::knee ? line : sum;
}

#endif

} // namespace orvi::colour
