// Pixels of shorts through a curve and through sums, in lanes of single precision: near enough to what the chain comes
// to that most samples are told by it. Errors are given in shorts not yet rounded.
#pragma once

#include "memory/colour/curve_lanes.h"
#include "memory/colour/rows.h"

namespace orvi::colour {

namespace near_values {

/// Half a unit of the last place of floats from 0.5 to 1: what holding a normalised value in single precision costs.
constexpr double held = 0x1p-25;
/// The same for the results of shorts: by the last rounding of the chain, and by that of a sum.
constexpr double last = 0x1p-10;
/// For what is computed in double, far more than it costs.
constexpr double doubles = 0x1p-20;

template <class T>
constexpr T magnitude(T v) noexcept {
    return v < 0 ? -v : v;
}

/// What a rounding of numbers up to some size to single precision costs at most.
constexpr double toSingle(double size) noexcept {
    double half = 0x1p-25;
    while (0x1p25 * half < size) half *= 2;
    return half;
}

/// How many roundings of values up to 1 reach a chain's sum: the values and luma are held; differences to luma are,
/// too.
constexpr int lumaErrors = 2;
constexpr int chromaErrors = 4;

/// A band of the result: a pixel's values times weights, added to a start, and how far that may be from what the chain
/// comes to.
struct Sum {
    float r;
    float g;
    float b;
    float start;
    float doubt;

    lanes::F32 of(Rgb<lanes::F32> v, float from) const noexcept {
        const lanes::F32 first = lanes::multiplyAdd(v.r, lanes::F32{} + r, lanes::F32{} + from);
        return lanes::multiplyAdd(v.b, lanes::F32{} + b, lanes::multiplyAdd(v.g, lanes::F32{} + g, first));
    }
};

inline Rgb<lanes::F32> eachOf(Rgb<lanes::F32> v, auto of) noexcept { return {of(v.r), of(v.g), of(v.b)}; }

} // namespace near_values

#if defined(ORV_SHORT_PIXELS)

namespace near_values {

using Short = std::int16_t;
using lanes::F32;
constexpr double full = Scale<Short>::full;

template <std::size_t Bands>
void storeBands(Short* to, const Pixel<Bands, lanes::I32>& bands) noexcept {
    if constexpr (Bands == 4) {
        lanes::storeFourShorts(to, bands[0], bands[1], bands[2], bands[3]);
    } else if constexpr (Bands == 3) {
        lanes::storePixelShorts(to, bands[0], bands[1], bands[2]);
    } else {
        lanes::storeSaturated(to, bands[0]);
    }
}

// What a first stage and those up to the curve make of a vector of pixels. `error` is how far the curve may come out
// from where the chain's values would have taken it.

template <class First>
struct Values {
    static constexpr double error = 0;
    static Rgb<F32> of(const Short* from) noexcept {
        const lanes::PixelShorts s = lanes::loadPixelShorts(from);
        return Chain<First, Normalise>::template of<Short>(Pixel<3, lanes::I32>{s.band(0), s.band(1), s.band(2)});
    }
};

/// No curve is steeper than this where a value has a rounding of its own, from 1/2 up.
constexpr double steepest = 1;

/// Inks that are complemented as values.
struct InkValues {
    static constexpr double error = held * full * steepest;
    static Rgb<F32> of(const Short* from) noexcept {
        return eachOf(Values<FromCmy>::of(from), [](F32 ink) { return 1 - ink; });
    }
};

/// Ink and black are added without a rounding: the part that the sum drops is kept. What is left of 1 is rounded twice.
template <>
struct Values<FromCmyk> {
    static constexpr double error = 2 * held * full * steepest;
    static Rgb<F32> of(const Short* from) noexcept {
        const lanes::FourShorts s = lanes::loadFourShorts(from);
        const auto value = [](lanes::I32 sample) { return Normalise::each<Short>(sample); };
        const F32 black = value(s.lastTwo >> 16);
        const auto light = [black](F32 ink) {
            const F32 larger = lanes::larger<F32>(ink, black);
            const F32 sum = ink + black;
            const F32 dropped = lanes::smaller<F32>(ink, black) - (sum - larger);
            return lanes::larger<F32>(1 - sum - dropped, F32{});
        };
        return {light(value(s.firstTwo << 16 >> 16)), light(value(s.firstTwo >> 16)),
                light(value(s.lastTwo << 16 >> 16))};
    }
};

template <Space S>
struct Values<FromYcc<S>> {
    static constexpr double error = 0;
    static Rgb<F32> of(const Short* from) noexcept {
        const lanes::PixelShorts s = lanes::loadPixelShorts(from);
        return Chain<FromYcc<S>, Matrix<S>>::template of<Short>(Pixel<3, lanes::I32>{s.band(0), s.band(1), s.band(2)});
    }
};

template <>
struct Values<FromGrey> {
    static constexpr double error = 0;
    static F32 of(const Short* from) noexcept { return Normalise::each<Short>(lanes::integersOf(from)); }
};
template <>
struct Values<FromY> {
    static constexpr double error = 0;
    static F32 of(const Short* from) noexcept { return decodeBand(lanes::integersOf(from), factsOf<ycc601>.shorts[0]); }
};

// Curves. `most` is the largest size of what they give, `relative` an error that grows with it.

struct NoCurve {
    static constexpr int zero = Scale<Short>::zero;
    static constexpr double most = -1.25 * zero; // luma goes beyond 1
    static constexpr double error = last;
    static constexpr double relative = 0;
    static F32 of(F32 v) noexcept {
        return lanes::multiplyAdd(v, F32{} + static_cast<float>(full), F32{} + static_cast<float>(zero));
    }
};

/// What is above 1 or below 0 comes to the ends of the range.
struct LinearCurve {
    using Facts = LinearFacts<Scale<Short>::zero>;
    static constexpr int zero = Facts::zero;
    static constexpr double most = -zero;
    static constexpr double error = CurvePieces<Facts>::error;
    static constexpr double relative = 0;
    static F32 of(F32 v) noexcept {
        return curveOf<Facts>(lanes::smaller<F32>(lanes::larger<F32>(v, F32{}), F32{} + 1.0F));
    }
};

/// With what is above 1 and below 0.
struct WideLinearCurve {
    using Facts = LinearFacts<0>;
    static constexpr int zero = 0;
    static constexpr double most = 0;
    static constexpr double error = 0;
    static constexpr double relative = 3 * 0x1p-24;
    static F32 of(F32 v) noexcept {
        constexpr std::uint32_t sign = 1U << 31;
        const auto bits = (lanes::U32)v;
        return (F32)((lanes::U32)curveOf<Facts>((F32)(bits & ~sign)) | (bits & sign));
    }
};

struct GammaCurve {
    static constexpr int zero = GammaFacts::zero;
    static constexpr double most = -zero;
    static constexpr double error = CurvePieces<GammaFacts>::error;
    static constexpr double relative = 0;
    static F32 of(F32 v) noexcept { return curveOf<GammaFacts>(v); }
};

/// Samples, and a bit for each of those that may be one beside.
struct Doubtful {
    lanes::I32 samples;
    std::uint16_t doubt;
};
inline Doubtful rounded(F32 values, F32 doubt) noexcept {
    const lanes::I32 samples = lanes::nearest(values);
    return {samples, lanes::furtherApart(values, lanes::toFloat(samples), 0.5F - doubt)};
}

/// The bands of a pixel, each by itself; or the inks that are their complements.
template <class Source, class Curve, class Last, bool Complements = false>
struct Bands {
    static std::uint16_t of(const Short* from, Short* to) noexcept {
        constexpr auto doubt = static_cast<float>(Source::error + Curve::error + last + doubles);
        unsigned doubts = 0;
        const auto band = [&doubts](F32 v) {
            const auto [samples, doubtful] = rounded(Curve::of(v), F32{} + doubt);
            doubts |= doubtful;
            // What is nearest to a value is so to its complement, away from the middle between two.
            return Complements ? ~samples : samples;
        };
        const Rgb<F32> v = Source::of(from);
        storeBands(to, Last::template of<Short>(Rgb{band(v.r), band(v.g), band(v.b)}));
        return static_cast<std::uint16_t>(doubts);
    }
};

/// `factor` times the weighed values, plus an offset; `errors` are the values in single precision, each up to 1, whose
/// roundings reach the chain's sum.
template <class Source, class Curve>
constexpr Sum sumOf(Weights w, double factor, double offset, int errors) noexcept {
    const double scale = factor / full;
    const double start = offset - Curve::zero * scale * (w.r + w.g + w.b);
    Sum sum{};
    sum.start = static_cast<float>(start);
    double weight = 0;
    double rounding = magnitude(start - sum.start);
    const auto single = [&](double band) {
        const auto rounded = static_cast<float>(band * scale);
        weight += magnitude(band * scale);
        rounding += magnitude(band * scale - rounded) * Curve::most;
        return rounded;
    };
    sum.r = single(w.r);
    sum.g = single(w.g);
    sum.b = single(w.b);
    const double added = 3 * toSingle(magnitude(start) + weight * Curve::most);
    sum.doubt = static_cast<float>(rounding + added + weight * (Source::error + Curve::error) + errors * held * factor +
                                   last + doubles);
    return sum;
}

template <class Source, class Curve, Space S>
constexpr auto codedSums = [] {
    constexpr Weights w = factsOf<S>.weights;
    constexpr const Coding* codings = factsOf<S>.template bands<Short>();
    const auto sum = [&](int band, Weights weights, int errors) {
        return sumOf<Source, Curve>(weights, codings[band].factor, codings[band].offset, errors);
    };
    return std::array{sum(0, w, lumaErrors), sum(1, {-w.r, -w.g, 1 - w.b}, chromaErrors),
                      sum(2, {1 - w.r, -w.g, -w.b}, chromaErrors)};
}();
template <class Source, class Curve, Weights W>
constexpr std::array lumaSum{
    sumOf<Source, Curve>(W, factsOf<ycc601>.shorts[0].factor, factsOf<ycc601>.shorts[0].offset, lumaErrors)};
/// Doubles all the way.
template <class Source, class Curve, Weights W>
constexpr std::array greySum{sumOf<Source, Curve>(W, full, Scale<Short>::zero, 0)};

/// Luma of a single value, with chroma where there is none.
template <class Source, class Curve, Space S>
struct GreyOf {
    static std::uint16_t of(const Short* from, Short* to) noexcept {
        constexpr const Coding* codings = factsOf<S>.template bands<Short>();
        constexpr Sum sum = sumOf<Source, Curve>({0, 1, 0}, codings[0].factor, codings[0].offset, lumaErrors);
        const F32 v = Curve::of(Source::of(from));
        const auto [luma, doubtful] =
            rounded(lanes::multiplyAdd(v, F32{} + sum.g, F32{} + sum.start), F32{} + sum.doubt);
        storeBands(to, Pixel<3, lanes::I32>{luma, lanes::I32{} + codings[1].offset, lanes::I32{} + codings[2].offset});
        return doubtful;
    }
};

template <class Source, class Curve, const auto& Sums>
struct SumsOf {
    static std::uint16_t of(const Short* from, Short* to) noexcept {
        const Rgb<F32> v = eachOf(Source::of(from), Curve::of);
        Pixel<Sums.size(), lanes::I32> samples;
        unsigned doubts = 0;
        for (std::size_t band = 0; band < Sums.size(); ++band) {
            const Sum& sum = Sums[band];
            F32 doubt = F32{} + sum.doubt;
            if constexpr (Curve::relative > 0) {
                // The curve's error and those of the weights, of which none is negative, and of the sums.
                constexpr auto relative = static_cast<float>(Curve::relative + 5 * 0x1p-24);
                doubt += relative * sum.of(eachOf(v, lanes::magnitude), magnitude(sum.start));
            }
            const auto [nearest, doubtful] = rounded(sum.of(v, sum.start), doubt);
            samples[band] = nearest;
            doubts |= doubtful;
        }
        storeBands(to, samples);
        return static_cast<std::uint16_t>(doubts);
    }
};

} // namespace near_values

#endif

} // namespace orvi::colour
