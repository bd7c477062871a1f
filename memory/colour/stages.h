// The stages that conversions are composed of. A stage is a type with `of<Sample>(value)`: the value of the stage
// before it goes in, its own comes out. What single precision holds is a float here, everything else is a double; the
// order of each sum and product is part of the result. Stages that say `inLanes` take vectors of pixels as well, and
// give the same; for shorts those that say `inShortLanes` do.
#pragma once

#include <array>
#include <cstdint>
#include <limits>

#include "memory/colour/tables.h"
#include "memory/colour/transfer.h"

#define ORV_STAGE                                                                                                      \
    template <class Sample>                                                                                            \
    [[gnu::always_inline]] static constexpr

namespace orvi::colour {

/// The opcodes of the spaces.
enum Space : std::uint32_t { rgblinear = 1, rgb709, photoycc, ycc601, ycc709, ylinear, y601, y709, cmy, cmyk };

/// Samples of a pixel, band by band, as integers; of many pixels where they are vectors.
template <std::size_t Bands, class V = int>
using Pixel = std::array<V, Bands>;

template <class T>
struct Rgb {
    T r;
    T g;
    T b;
};

/// Luma and the chroma differences B - y and R - y, normalised.
template <class T, class C = float>
struct Luma {
    T y;
    C c1;
    C c2;
};

// Facts of the spaces.

struct Weights {
    double r;
    double g;
    double b;
};
inline constexpr Weights w601{0.299, 0.587, 0.114};
inline constexpr Weights w709{0.2125, 0.7154, 0.0721};

/// A band of luma or chroma is factor * value + offset.
struct Coding {
    double factor;
    int offset;
};

/// A space of luma and chroma: its weights, its bands, and what green loses of each difference.
struct YccFacts {
    Weights weights;
    Coding bytes[3];
    Coding shorts[3];
    float green1;
    float green2;

    template <class Sample>
    constexpr const Coding* bands() const noexcept {
        if constexpr (sizeof(Sample) == 1) {
            return bytes;
        } else {
            return shorts;
        }
    }
};

template <Space S>
inline constexpr YccFacts factsOf{};
template <>
inline constexpr YccFacts factsOf<photoycc>{w601,
                                            {{181.883, 0}, {111.4, 156}, {135.64, 137}},
                                            {{46743.937, -32768}, {28518.4, 7168}, {34723.84, 2304}},
                                            0.194F,
                                            0.509F};
template <>
inline constexpr YccFacts factsOf<ycc601>{
    w601, {{219, 16}, {126, 128}, {160, 128}}, {{56064, -28672}, {32256, 0}, {40960, 0}}, 0.194F, 0.509F};
template <>
inline constexpr YccFacts factsOf<ycc709>{
    w709, {{219, 16}, {121, 128}, {142, 128}}, {{56064, -28672}, {30976, 0}, {36352, 0}}, 0.101F, 0.297F};

template <class V>
[[gnu::always_inline]] constexpr auto decodeBand(V sample, Coding coding) noexcept {
    return divided(sample - coding.offset, static_cast<float>(coding.factor));
}
template <class Sample>
[[gnu::always_inline]] constexpr int encodeBand(double v, Coding coding) noexcept {
    return quantise<Sample>(coding.factor * v + coding.offset);
}

// First stages: what the samples of a pixel are.

struct FromRgb {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    static constexpr std::size_t sourceBands = 3;
    ORV_STAGE auto of(auto p) noexcept { return Rgb{p[2], p[1], p[0]}; }
};

/// Inks, each in the place of the band that it takes away.
struct FromCmy {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    static constexpr std::size_t sourceBands = 3;
    ORV_STAGE auto of(auto p) noexcept { return Rgb{p[0], p[1], p[2]}; }
};

/// Inks with black folded in, already complemented: bytes, or normalised for shorts.
struct FromCmyk {
    static constexpr bool inLanes = true;
    static constexpr std::size_t sourceBands = 4;
    ORV_STAGE auto of(auto p) noexcept {
        return Rgb{fold<Sample>(p[0], p[3]), fold<Sample>(p[1], p[3]), fold<Sample>(p[2], p[3])};
    }

private:
    template <class Sample, class V>
    [[gnu::always_inline]] static constexpr auto fold(V ink, V black) noexcept {
        if constexpr (sizeof(Sample) == 1) {
            const V light = Scale<Sample>::full - (ink + black);
            return light > 0 ? light : V{};
        } else {
            return 1 - std::min(static_cast<double>(normalise<Sample>(ink)) + normalise<Sample>(black), 1.0);
        }
    }
};

struct FromGrey {
    static constexpr std::size_t sourceBands = 1;
    ORV_STAGE int of(Pixel<sourceBands> p) noexcept { return p[0]; }
};

template <Space S>
struct FromYcc {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    static constexpr std::size_t sourceBands = 3;
    ORV_STAGE auto of(auto p) noexcept {
        constexpr const Coding* codings = factsOf<S>.template bands<Sample>();
        return Luma{decodeBand(p[0], codings[0]), decodeBand(p[1], codings[1]), decodeBand(p[2], codings[2])};
    }
};

/// The two spaces of luma alone are decoded alike.
struct FromY {
    static constexpr std::size_t sourceBands = 1;
    ORV_STAGE float of(Pixel<sourceBands> p) noexcept {
        return decodeBand(p[0], factsOf<ycc601>.template bands<Sample>()[0]);
    }
};

// Stages that treat each value by itself: `each` does one, `of` a single value or all of a pixel.

template <class Self>
struct EachValue {
    ORV_STAGE auto of(auto v) noexcept { return Self::template each<Sample>(v); }
    template <class Sample, class T>
    [[gnu::always_inline]] static constexpr auto of(Rgb<T> v) noexcept {
        return Rgb{Self::template each<Sample>(v.r), Self::template each<Sample>(v.g),
                   Self::template each<Sample>(v.b)};
    }

private:
    constexpr EachValue() noexcept = default;
    friend Self;
};

/// The complement of a sample, all bits inverted.
struct Not : EachValue<Not> {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    static constexpr bool ofBytes = true;
    ORV_STAGE auto each(auto sample) noexcept { return 2 * Scale<Sample>::zero + Scale<Sample>::full - sample; }
};

/// Bytes through the byte tables.
struct GammaByte : EachValue<GammaByte> {
    static constexpr bool ofBytes = true;
    ORV_STAGE int each(int sample) noexcept { return nonlinearBytes[static_cast<std::size_t>(sample)]; }
};
struct LinearByte : EachValue<LinearByte> {
    static constexpr bool ofBytes = true;
    ORV_STAGE int each(int sample) noexcept { return linearBytes[static_cast<std::size_t>(sample)]; }
};

struct Normalise : EachValue<Normalise> {
    ORV_STAGE auto each(auto sample) noexcept { return normalise<Sample>(sample); }
};

struct OneMinus : EachValue<OneMinus> {
    ORV_STAGE double each(double v) noexcept { return 1 - v; }
};

struct Gamma : EachValue<Gamma> {
    ORV_STAGE double each(double v) noexcept { return transfer(v); }
};

struct Linear : EachValue<Linear> {
    ORV_STAGE double each(double v) noexcept { return inverseTransfer(v); }
};

/// Holds a value in single precision.
struct Hold : EachValue<Hold> {
    ORV_STAGE float each(double v) noexcept { return static_cast<float>(v); }
};

/// A nonlinear value as a linear byte. The table is indexed by a key that wraps round from 2 up: such a value is below
/// the first key, and dark.
struct LinearByKey : EachValue<LinearByKey> {
    static constexpr bool inLanes = true;
    ORV_STAGE int each(float v) noexcept {
        const int bright = linearByAnyKey[static_cast<std::size_t>(keyOf(v))];
        const int dark = quantise<Sample>(v * 56.61);
        // Chosen by a mask: a branch would keep the loop from becoming lanes.
        const int mask = -static_cast<int>(v >= 0.081);
        return (bright & mask) | (dark & ~mask);
    }
    ORV_STAGE lanes::I32 each(lanes::F32 v) noexcept {
        const lanes::I32 key = (lanes::I32)(((lanes::U32)v & keyMask) >> keyShift);
        const lanes::I32 bright = lanes::gather(linearByAnyKey.data(), key);
        const lanes::F32 dark = lanes::multiplyAdd(v, lanes::F32{} + 56.61F, lanes::F32{} + 0.5F);
        return v >= 0.081F ? bright : lanes::truncate(lanes::larger<lanes::F32>(dark, lanes::F32{}));
    }
};

/// The whole range of the sample from 0 to 1.
struct Full : EachValue<Full> {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    ORV_STAGE int each(double v) noexcept { return toSample<Sample>(v); }
    /// The product is exact in double, so that one rounding does for it and for the sum. Where the sum of shorts is not
    /// exact, next to 0, it comes to the same for every float there is. Shorts are clamped where they are stored.
    ORV_STAGE lanes::I32 each(lanes::F32 v) noexcept {
        const lanes::F32 full = lanes::F32{} + static_cast<float>(Scale<Sample>::full);
        if constexpr (sizeof(Sample) == 1) {
            const lanes::F32 sum = lanes::multiplyAdd(v, full, lanes::F32{} + 0.5F);
            return lanes::truncate(lanes::smaller<lanes::F32>(lanes::larger<lanes::F32>(sum, lanes::F32{}), full));
        } else {
            const lanes::F32 start = v >= firstAtZero ? lanes::F32{} - 32767.5F : lanes::F32{} - 32768.5F;
            return lanes::truncate(lanes::multiplyAdd(v, full, start));
        }
    }

private:
    /// The first float that comes to no less than 0 as a short.
    static constexpr float firstAtZero = 0x1.000102p-1F;
};

struct Quantise : EachValue<Quantise> {
    ORV_STAGE int each(double v) noexcept { return quantise<Sample>(v); }
};

/// Samples of full range as those of luma.
struct Footroom : EachValue<Footroom> {
    ORV_STAGE double each(double v) noexcept { return v * 0.8588 + 16; }
};

// Stages between forms.

template <Weights W>
struct Weigh {
    template <class Sample, class T>
    [[gnu::always_inline]] static constexpr double of(Rgb<T> v) noexcept {
        return W.r * v.r + W.g * v.g + W.b * v.b;
    }
};

struct Repeat {
    template <class Sample, class T>
    [[gnu::always_inline]] static constexpr Rgb<T> of(T v) noexcept {
        return {v, v, v};
    }
};

/// Luma and differences to nonlinear values.
template <Space S>
struct Matrix {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    template <class Sample, class V>
    [[gnu::always_inline]] static constexpr Rgb<V> of(Luma<V, V> v) noexcept {
        constexpr const YccFacts& facts = factsOf<S>;
        return {v.y + v.c2, v.y - facts.green1 * v.c1 - facts.green2 * v.c2, v.y + v.c1};
    }
};

/// Luma without chroma.
struct Achromatic {
    template <class Sample, class T>
    [[gnu::always_inline]] static constexpr Luma<T> of(T v) noexcept {
        return {v, 0, 0};
    }
};

/// Luma alone.
struct LumaAlone {
    ORV_STAGE float of(Luma<float> v) noexcept { return v.y; }
};

// Last stages: the samples of the result.

struct ToRgb {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    static constexpr std::size_t bands = 3;
    template <class Sample, class V>
    [[gnu::always_inline]] static constexpr Pixel<bands, V> of(Rgb<V> v) noexcept {
        return {v.b, v.g, v.r};
    }
};

/// Complements already taken.
struct ToCmy {
    static constexpr bool inLanes = true;
    static constexpr bool inShortLanes = true;
    static constexpr std::size_t bands = 3;
    template <class Sample, class V>
    [[gnu::always_inline]] static constexpr Pixel<bands, V> of(Rgb<V> v) noexcept {
        return {v.r, v.g, v.b};
    }
};
struct ToCmyk {
    static constexpr bool inLanes = true;
    static constexpr std::size_t bands = 4;
    template <class Sample, class V>
    [[gnu::always_inline]] static constexpr Pixel<bands, V> of(Rgb<V> v) noexcept {
        return {v.r, v.g, v.b, V{} + Scale<Sample>::zero};
    }
};

struct ToGrey {
    static constexpr std::size_t bands = 1;
    ORV_STAGE Pixel<bands> of(int v) noexcept { return {v}; }
};

template <Space S>
struct ToYcc {
    static constexpr std::size_t bands = 3;

    template <class Sample, class T>
    [[gnu::always_inline]] static constexpr Pixel<bands> of(Luma<T> v) noexcept {
        constexpr const Coding* codings = factsOf<S>.template bands<Sample>();
        return {encodeBand<Sample>(v.y, codings[0]), encodeBand<Sample>(v.c1, codings[1]),
                encodeBand<Sample>(v.c2, codings[2])};
    }
    ORV_STAGE Pixel<bands> of(Rgb<float> v) noexcept {
        const float y = static_cast<float>(Weigh<factsOf<S>.weights>::template of<Sample>(v));
        return of<Sample>(Luma<float>{y, v.b - y, v.r - y});
    }
};

struct ToY {
    static constexpr std::size_t bands = 1;
    ORV_STAGE Pixel<bands> of(double v) noexcept {
        return {encodeBand<Sample>(v, factsOf<ycc601>.template bands<Sample>()[0])};
    }
};

/// For chains that a table stands for: a sample as the pixel of one band that it is, and the other way round.
struct AsPixel {
    ORV_STAGE Pixel<1> of(int sample) noexcept { return {sample}; }
};
struct AsSample {
    ORV_STAGE int of(Pixel<1> p) noexcept { return p[0]; }
};

// Whole conversions, or most of one, that the stages above do not tell.

/// photoycc to rgb709 in the fixed point of the photo tables: without a rounding term, so it truncates.
struct PhotoSum {
    static constexpr bool inLanes = true;
    static constexpr std::size_t sourceBands = 3;
    ORV_STAGE auto of(auto p) noexcept {
        const auto y = photoLines[photoY].at(p[0]);
        return Rgb{cut(y + photoLines[photoCr].at(p[2])),
                   cut(y + photoLines[photoYCb].at(p[1]) + photoLines[photoYCr].at(p[2])),
                   cut(y + photoLines[photoCb].at(p[1]))};
    }

private:
    template <class V>
    [[gnu::always_inline]] static constexpr V cut(V sum) noexcept {
        const V value = sum >> 12;
        const V light = value > 0 ? value : V{};
        return light < 255 ? light : V{} + 255;
    }
};

/// Black added to each ink without a cap, in the sample's own width.
struct AddBlack {
    static constexpr std::size_t sourceBands = 4;
    static constexpr std::size_t bands = 3;
    ORV_STAGE Pixel<bands> of(Pixel<sourceBands> p) noexcept {
        return {static_cast<Sample>(p[0] + p[3]), static_cast<Sample>(p[1] + p[3]), static_cast<Sample>(p[2] + p[3])};
    }
};

/// The first band as it stands.
struct FirstBand {
    static constexpr bool inLanes = true;
    static constexpr std::size_t sourceBands = 3;
    static constexpr std::size_t bands = 1;
    ORV_STAGE auto of(auto p) noexcept { return std::array{p[0]}; }
};

} // namespace orvi::colour
