// Rows of shorts, faster, where pixels go as vectors: by lanes where all stages have them, and by sums of whole numbers
// where a chain comes near enough to one. All of it gives what the chain gives, sample by sample.
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>

#include "memory/colour/near_values.h"
#include "memory/colour/rows.h"
#include "memory/frame/pixel_words.h"
#include "memory/frame/row_moves.h"
#include "memory/frame/short_pixels.h"

namespace orvi::colour {

// Conversions as whole numbers. A chain of roundings comes out within a bound of the exact result: where that is no
// nearer than this to the middle between two samples, rounding it gives what the chain gives. The few pixels that are
// nearer go through the chain.

/// A band of the result: the bands of a pixel times `weights`, added; that times `scale`, plus `offset`, to the nearest
/// unless there is one of two within `doubt`.
struct ShortSum {
    std::int16_t weights[3];
    float scale;
    float offset;
    float doubt;
};

namespace short_sums {

using namespace near_values;

/// Whether all weights are whole numbers of a part, but for what double leaves of them.
constexpr bool whole(Weights w, int part) noexcept {
    constexpr double nothing = 1e-6;
    for (double weight : {w.r, w.g, w.b}) {
        const double parts = magnitude(weight) * part;
        const double beyond = parts - static_cast<int>(parts);
        if (beyond > nothing && beyond < 1 - nothing) return false;
    }
    return true;
}

/// Bands blue first, as `factor` times their weighed sum, plus an offset. The bands are samples as they stand; `errors`
/// are the values in single precision, each up to 1, whose roundings reach the chain's sum.
constexpr ShortSum sumOf(Weights w, double factor, double offset, int errors) noexcept {
    constexpr int parts[] = {1000, 10000};
    const int part = whole(w, parts[0]) ? parts[0] : parts[1];
    const double bands[] = {w.b, w.g, w.r};
    ShortSum sum{};
    double largest = 0;
    for (int band = 0; band < 3; ++band) {
        const double weight = bands[band] * part;
        sum.weights[band] = static_cast<std::int16_t>(weight < 0 ? weight - 0.5 : weight + 0.5);
        largest -= magnitude<double>(sum.weights[band]) * Scale<std::int16_t>::zero;
    }
    const double scale = factor / part;
    sum.scale = static_cast<float>(scale);
    sum.offset = static_cast<float>(offset);
    // The whole sum in single precision, its scale, what is added, and the result.
    const double computed =
        toSingle(largest) * scale + largest * magnitude(scale - sum.scale) + 2 * toSingle(magnitude(offset) + 1) + last;
    const double chain = errors * held * factor * Scale<std::int16_t>::full + last;
    sum.doubt = static_cast<float>(computed + chain + doubles);
    return sum;
}

/// Normalised samples as a band of a coding.
constexpr ShortSum coded(Weights w, Coding coding, int errors) noexcept {
    constexpr double all = Scale<std::int16_t>::full;
    const double zero = (w.r + w.g + w.b) * Scale<std::int16_t>::zero;
    return sumOf(w, coding.factor / all, coding.offset - zero * coding.factor / all, errors);
}

} // namespace short_sums

/// A chain's bands as such sums; none where it has others stages than sums.
template <class... Stages>
inline constexpr std::array<ShortSum, 0> shortSums{};

template <Space S>
inline constexpr auto shortSums<FromRgb, Normalise, ToYcc<S>> = [] {
    constexpr Weights w = factsOf<S>.weights;
    constexpr const Coding* codings = factsOf<S>.template bands<std::int16_t>();
    return std::array{short_sums::coded(w, codings[0], short_sums::lumaErrors),
                      short_sums::coded({-w.r, -w.g, 1 - w.b}, codings[1], short_sums::chromaErrors),
                      short_sums::coded({1 - w.r, -w.g, -w.b}, codings[2], short_sums::chromaErrors)};
}();
template <Weights W>
inline constexpr std::array<ShortSum, 1> shortSums<FromRgb, Normalise, Weigh<W>, Hold, ToY>{
    {short_sums::coded(W, factsOf<ycc601>.shorts[0], short_sums::lumaErrors)}};
/// Inks stand in the opposite order; one less the weighed inks is -1 less the weighed samples.
template <Weights W>
inline constexpr std::array<ShortSum, 1> shortSums<FromCmy, Normalise, OneMinus, Weigh<W>, Full, ToGrey>{
    {short_sums::sumOf({-W.b, -W.g, -W.r}, 1, -1, 1)}};

#if defined(ORV_SHORT_PIXELS)

namespace short_rows_detail {

using Short = std::int16_t;
using rows_detail::blocks;

using near_values::storeBands;

/// The weights of luma in thousandths, in the order of the bands.
inline constexpr std::int16_t lumaWeights[4] = {114, 587, 299, 0};

/// The sum of each pixel's bands times their weights, in both halves of its word.
inline lanes::I32 weighedSums(const std::int16_t* from) noexcept {
    const lanes::U64 each = std::bit_cast<std::uint64_t>(lumaWeights) + lanes::U64{};
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

/// Whether stages weigh shorts as they are.
template <class... Stages>
inline constexpr bool weighs = false;
template <>
inline constexpr bool weighs<FromRgb, Weigh<w601>, Quantise, ToGrey> = true;

/// Runs `of(from, to)`, which makes a vector of pixels, over a row; its last pixels go by way of a whole vector.
template <class All>
void eachVector(const Short* from, Short* to, std::size_t pixels, auto of) noexcept {
    constexpr std::size_t sourceBands = All::First::sourceBands;
    constexpr std::size_t bands = All::Last::bands;
    std::size_t i = 0;
    for (; i + lanes::shortPixels <= pixels; i += lanes::shortPixels) {
        fetchAhead<2>(from + i * sourceBands);
        of(from + i * sourceBands, to + i * bands);
    }
    if (i == pixels) return;
    Short source[lanes::shortPixels * sourceBands] = {};
    Short result[lanes::shortPixels * bands];
    std::memcpy(source, from + i * sourceBands, (pixels - i) * sourceBands * sizeof(Short));
    of(source, result);
    std::memcpy(to + i * bands, result, (pixels - i) * bands * sizeof(Short));
}

template <class All>
void laneRow(const Short* from, Short* to, std::size_t pixels) noexcept {
    eachVector<All>(from, to, pixels, [](const Short* source, Short* result) {
        const lanes::PixelShorts s = lanes::loadPixelShorts(source);
        storeBands(result, All::template of<Short>(Pixel<3, lanes::I32>{s.band(0), s.band(1), s.band(2)}));
    });
}

/// A row in blocks, by vectors of pixels that tell which of them are doubtful: `Vector::of(from, to)` makes a vector
/// and answers with a bit for each of those. Results stay in a buffer until they have been through the chain, since the
/// row may be its own source.
template <class All, class Vector>
class DoubtRow {
public:
    static void row(const Short* from, Short* to, std::size_t pixels) noexcept {
        All::template prepare<Short>();
        DoubtRow results;
        for (std::size_t done = 0; done < pixels; done += most) {
            const std::size_t count = std::min(most, pixels - done);
            results.block(from + done * sourceBands, count);
            std::memcpy(to + done * bands, results.results_, count * bands * sizeof(Short));
        }
    }

private:
    static constexpr std::size_t sourceBands = All::First::sourceBands;
    static constexpr std::size_t bands = All::Last::bands;
    static constexpr std::size_t most = 2048;
    /// Pixels go through the chain by so many, for its loops to be whole vectors.
    static constexpr std::size_t chained = 32;

    void block(const Short* from, std::size_t pixels) noexcept {
        std::size_t doubtful = 0;
        lanes::I32 places = firstPlaces();
        eachVector<All>(from, results_, pixels, [&, this](const Short* source, Short* result) {
            doubtful += lanes::storeChosen(doubtful_ + doubtful, Vector::of(source, result), places);
            places += static_cast<int>(lanes::shortPixels);
        });
        for (std::size_t i = 0; i < doubtful; i += chained) {
            chain(from, doubtful_ + i, std::min(chained, doubtful - i), pixels);
        }
    }

    static lanes::I32 firstPlaces() noexcept {
        lanes::I32 places;
        for (int i = 0; i < static_cast<int>(lanes::shortPixels); ++i) places[i] = i;
        return places;
    }

    /// Some pixels of a block through the chain. Those beyond its end filled a vector.
    void chain(const Short* from, const std::int32_t* places, std::size_t count, std::size_t pixels) noexcept {
        Short sources[chained * sourceBands] = {};
        Short results[chained * bands];
        while (count > 0 && static_cast<std::size_t>(places[count - 1]) >= pixels) --count;
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(sources + i * sourceBands, from + static_cast<std::size_t>(places[i]) * sourceBands,
                        sourceBands * sizeof(Short));
        }
        blocks<Short, All>(sources, results, chained);
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(results_ + static_cast<std::size_t>(places[i]) * bands, results + i * bands,
                        bands * sizeof(Short));
        }
    }

    alignas(64) Short results_[most * bands];
    std::int32_t doubtful_[most + lanes::shortPixels];
};

/// Vectors of sums.
template <const auto& Sums>
struct SumVector {
    static std::uint16_t of(const Short* from, Short* to) noexcept {
        const lanes::PixelShorts s = lanes::loadPixelShorts(from);
        Pixel<Sums.size(), lanes::I32> values;
        unsigned doubt = 0;
        for (std::size_t band = 0; band < Sums.size(); ++band) {
            const auto& [weights, scale, offset, within] = Sums[band];
            const lanes::F32 sum = lanes::toFloat(s.sum(weights));
            const auto rounded = [sum, scale](float start) {
                return lanes::nearest(lanes::multiplyAdd(sum, lanes::F32{} + scale, lanes::F32{} + start));
            };
            values[band] = rounded(offset - within);
            doubt |= lanes::unlikeWords(values[band], rounded(offset + within));
        }
        storeBands(to, values);
        return static_cast<std::uint16_t>(doubt);
    }
};

/// The vectors of a chain with doubts, if it has such.
template <class... Stages>
struct VectorOf {
    static constexpr bool exists = !shortSums<Stages...>.empty();
    using type = SumVector<shortSums<Stages...>>;
};
template <class Vector>
struct NearVector {
    static constexpr bool exists = true;
    using type = Vector;
};

// From nonlinear values to linear ones.
template <Space S>
struct VectorOf<FromYcc<S>, Matrix<S>, Linear, Full, ToRgb>
    : NearVector<near_values::Bands<near_values::Values<FromYcc<S>>, near_values::LinearCurve, ToRgb>> {};
template <Space S, class Last>
struct VectorOf<FromYcc<S>, Matrix<S>, Linear, OneMinus, Full, Last>
    : NearVector<near_values::Bands<near_values::Values<FromYcc<S>>, near_values::LinearCurve, Last, true>> {};
template <class Last>
struct VectorOf<FromRgb, Table<Normalise, Linear, OneMinus, Full>, Last>
    : NearVector<near_values::Bands<near_values::Values<FromRgb>, near_values::LinearCurve, Last, true>> {};
template <Space S, Weights W>
struct VectorOf<FromYcc<S>, Matrix<S>, Linear, Weigh<W>, Full, ToGrey> {
    static constexpr bool exists = true;
    using Source = near_values::Values<FromYcc<S>>;
    using Curve = near_values::WideLinearCurve;
    using type = near_values::SumsOf<Source, Curve, near_values::greySum<Source, Curve, W>>;
};
template <Weights W>
struct VectorOf<FromRgb, Table<Normalise, Linear>, Weigh<W>, Full, ToGrey> {
    static constexpr bool exists = true;
    using Source = near_values::Values<FromRgb>;
    using Curve = near_values::LinearCurve;
    using type = near_values::SumsOf<Source, Curve, near_values::greySum<Source, Curve, W>>;
};

// Inks with black.
template <>
struct VectorOf<FromCmyk, Full, ToRgb>
    : NearVector<near_values::Bands<near_values::Values<FromCmyk>, near_values::NoCurve, ToRgb>> {};
template <Weights W>
struct VectorOf<FromCmyk, Weigh<W>, Full, ToGrey> {
    static constexpr bool exists = true;
    using Source = near_values::Values<FromCmyk>;
    using Curve = near_values::NoCurve;
    using type = near_values::SumsOf<Source, Curve, near_values::greySum<Source, Curve, W>>;
};

// From linear values to nonlinear ones.
template <>
struct VectorOf<FromCmy, Table<Normalise, OneMinus, Gamma, Full>, ToRgb>
    : NearVector<near_values::Bands<near_values::InkValues, near_values::GammaCurve, ToRgb>> {};
template <>
struct VectorOf<FromCmyk, Gamma, Full, ToRgb>
    : NearVector<near_values::Bands<near_values::Values<FromCmyk>, near_values::GammaCurve, ToRgb>> {};

/// Where stages come to held nonlinear values, what the values of their source are.
template <class... Stages>
struct HeldGamma {};
template <>
struct HeldGamma<FromRgb, Table<Normalise, Gamma, Hold>> {
    using Source = near_values::Values<FromRgb>;
};
template <>
struct HeldGamma<FromCmy, Table<Normalise, OneMinus, Gamma, Hold>> {
    using Source = near_values::InkValues;
};
template <>
struct HeldGamma<FromCmyk, Gamma, Hold> {
    using Source = near_values::Values<FromCmyk>;
};

template <class Gammas, class... Last>
struct GammaSums;
template <class Gammas, Space S>
struct GammaSums<Gammas, ToYcc<S>> {
    using Source = typename Gammas::Source;
    using Curve = near_values::GammaCurve;
    using type = near_values::SumsOf<Source, Curve, near_values::codedSums<Source, Curve, S>>;
};
template <class Gammas, Weights W>
struct GammaSums<Gammas, Weigh<W>, Hold, ToY> {
    using Source = typename Gammas::Source;
    using Curve = near_values::GammaCurve;
    using type = near_values::SumsOf<Source, Curve, near_values::lumaSum<Source, Curve, W>>;
};
template <Space S>
struct VectorOf<FromGrey, Table<Normalise, Gamma, Hold>, Repeat, ToYcc<S>>
    : NearVector<near_values::GreyOf<near_values::Values<FromGrey>, near_values::GammaCurve, S>> {};
template <Space S>
struct VectorOf<FromGrey, Normalise, Gamma, Achromatic, ToYcc<S>>
    : NearVector<near_values::GreyOf<near_values::Values<FromGrey>, near_values::GammaCurve, S>> {};
/// The weights of luma make 1, so that no difference to it is left.
template <Space S>
struct VectorOf<FromY, Repeat, ToYcc<S>>
    : NearVector<near_values::GreyOf<near_values::Values<FromY>, near_values::NoCurve, S>> {};

template <class First, class Curve, class... Last>
requires requires { typename HeldGamma<First, Curve>::Source; }
struct VectorOf<First, Curve, Last...> {
    static constexpr bool exists = true;
    using type = typename GammaSums<HeldGamma<First, Curve>, Last...>::type;
};
template <class... Last>
struct VectorOf<FromCmyk, Gamma, Hold, Last...> {
    static constexpr bool exists = true;
    using type = typename GammaSums<HeldGamma<FromCmyk, Gamma, Hold>, Last...>::type;
};

/// Whether a chain makes three equal bands of one.
template <class... Stages>
inline constexpr bool makesGrey = [] {
    using All = Chain<Stages...>;
    constexpr std::size_t beforeLast = sizeof...(Stages) - (sizeof...(Stages) > 1 ? 2 : 1);
    using Before = std::tuple_element_t<beforeLast, std::tuple<Stages...>>;
    using Last = typename All::Last;
    return All::First::sourceBands == 1 && std::is_same_v<Before, Repeat> &&
           (std::is_same_v<Last, ToRgb> || std::is_same_v<Last, ToCmy>);
}();

template <class All>
void greyRow(const Short* from, Short* to, std::size_t pixels) noexcept {
    All::template prepare<Short>();
    constexpr std::size_t most = 2048;
    constexpr std::size_t bands = 3;
    constexpr bool same = std::is_same_v<All, Chain<FromGrey, Repeat, ToRgb>>;
    Short values[most];
    for (std::size_t done = 0; done < pixels; done += most) {
        const std::size_t count = std::min(most, pixels - done);
        for (std::size_t i = 0; i < count && !same; ++i) {
            values[i] = static_cast<Short>(All::template of<Short>(Pixel<1>{from[done + i]})[0]);
        }
        repeatThrice(to + done * bands, same ? from + done : values, count);
    }
}

/// Stages that lanes of shorts go through.
template <class Stage>
concept InLanes = Stage::inShortLanes;

} // namespace short_rows_detail

#endif

/// A row of shorts. The source may be the destination.
template <class... Stages>
void convertShorts(const std::int16_t* from, std::int16_t* to, std::size_t pixels) noexcept {
#if defined(ORV_SHORT_PIXELS)
    using All = Chain<Stages...>;
    if constexpr (reversesInverted<Stages...>) {
        const std::size_t done = lanes::reverseInverted(to, from, pixels);
        return short_rows_detail::laneRow<All>(from + 3 * done, to + 3 * done, pixels - done);
    } else if constexpr ((short_rows_detail::InLanes<Stages> && ...)) {
        return short_rows_detail::laneRow<All>(from, to, pixels);
    } else if constexpr (short_rows_detail::VectorOf<Stages...>::exists) {
        return short_rows_detail::DoubtRow<All, typename short_rows_detail::VectorOf<Stages...>::type>::row(from, to,
                                                                                                            pixels);
    } else if constexpr (short_rows_detail::weighs<Stages...>) {
        const std::size_t done = short_rows_detail::weighShorts(from, to, pixels);
        return convertRow<std::int16_t, Stages...>(from + 3 * done, to + done, pixels - done);
    } else if constexpr (short_rows_detail::makesGrey<Stages...>) {
        return short_rows_detail::greyRow<All>(from, to, pixels);
    }
#endif
    convertRow<std::int16_t, Stages...>(from, to, pixels);
}

} // namespace orvi::colour
