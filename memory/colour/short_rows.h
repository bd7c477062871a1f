// Rows of shorts: most go as chains of stages say, some have a shorter way to what those give.
#pragma once

#include "memory/colour/rows.h"
#include "memory/frame/pixel_words.h"

namespace orvi::colour {

namespace short_rows_detail {

#if defined(__AVX512BW__)

/// The weights of luma in thousandths, in the order of the bands.
inline constexpr std::int16_t weights[4] = {114, 587, 299, 0};

/// The sum of each pixel's bands times their weights, in both halves of its word.
inline lanes::I32 weighedSums(const std::int16_t* from) noexcept {
    const lanes::U64 each = std::bit_cast<std::uint64_t>(weights) + lanes::U64{};
    const auto parts = (lanes::U64)lanes::pairSums((lanes::I16)lanes::loadShortPixels(from), (lanes::I16)each);
    return (lanes::I32)parts + (lanes::I32)(parts << 32 | parts >> 32);
}

/// Luma of linear shorts, whole vectors; how many pixels that were. A sum of thousandths, rounded half away from zero:
/// one less where it is negative, so that halves go down there too, its eighth and 125 are numbers that single
/// precision holds, and the product added to a large number is rounded to the nearest integer, in that number's low
/// bits.
inline std::size_t weighShorts(const std::int16_t* from, std::int16_t* to, std::size_t pixels) noexcept {
    constexpr std::size_t n = lanes::wordPixels;
    constexpr float roundsToInteger = 0x1.8p23F;
    std::size_t i = 0;
    for (; i + n <= pixels; i += n) {
        const std::int16_t* const at = from + 3 * i;
        fetchAhead<2>(at);
        constexpr __mmask16 odd = 0xaaaa;
        const auto sum = (lanes::I32)_mm512_mask_mov_epi32((lanes::Raw)weighedSums(at), odd,
                                                           (lanes::Raw)weighedSums(at + 3 * n / 2));
        const lanes::F32 eighths = lanes::toFloat((sum + (sum >> 31) + 4) >> 3);
        const auto luma =
            (lanes::U64)lanes::multiplyAdd(eighths, 1 / 125.0F + lanes::F32{}, roundsToInteger + lanes::F32{});
        lanes::store(to + i, _mm512_maskz_cvtepi64_epi16(0xff, (lanes::Raw)luma));
        lanes::store(to + i + n / 2, _mm512_maskz_cvtepi64_epi16(0xff, (lanes::Raw)(luma >> 32)));
    }
    return i;
}

#endif

/// Whether stages weigh shorts as they are.
template <class... Stages>
inline constexpr bool weighs = false;
template <>
inline constexpr bool weighs<FromRgb, Weigh<w601>, Quantise, ToGrey> = true;

} // namespace short_rows_detail

/// A row of shorts. The source may be the destination.
template <class... Stages>
void convertShorts(const std::int16_t* from, std::int16_t* to, std::size_t pixels) noexcept {
#if defined(__AVX512BW__)
    if constexpr (short_rows_detail::weighs<Stages...>) {
        const std::size_t done = short_rows_detail::weighShorts(from, to, pixels);
        from += 3 * done;
        to += done;
        pixels -= done;
    }
#endif
    convertRow<std::int16_t, Stages...>(from, to, pixels);
}

} // namespace orvi::colour
