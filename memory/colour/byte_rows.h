// Rows of bytes, faster: what a chain of stages does is found in its types. Pixels go as vectors where all stages have
// lanes, and as sums of whole numbers where a chain comes to that; a chain that makes bytes on its way is cut there.
// All of it gives what the chain gives, sample by sample, for every pixel there is.
#pragma once

#include <cstring>

#include "memory/colour/byte_sums.h"
#include "memory/colour/rows.h"
#include "memory/frame/pixel_words.h"

namespace orvi::colour {

// Conversions as whole numbers. Single precision holds the sums without rounding; scale and offset put every one of
// them on the same side of every rounding edge as the stages do.

/// A band of the result: the bands of a pixel times `weights`, added; that times `scale`, plus `offset`, truncated.
struct BandSum {
    std::int16_t weights[3];
    float scale;
    float offset;
    float rest = 0; ///< what single precision leaves of a scale, where that matters
};

/// A chain's bands as such sums; none where the stages round too often to come to one.
template <class... Stages>
inline constexpr std::array<BandSum, 0> bandSums{};

template <>
inline constexpr std::array<BandSum, 3> bandSums<FromRgb, Normalise, ToYcc<ycc601>>{
    {{{114, 587, 299}, 73 / 85000.0F, 16.500004F},
     {{886, -587, -299}, 21 / 42500.0F, 128.5F},
     {{-114, -587, 701}, 4 / 6375.0F, 128.5F}}};
template <>
inline constexpr std::array<BandSum, 1> bandSums<FromRgb, Weigh<w601>, Footroom, Quantise, ToGrey>{
    {{{114, 587, 299}, 0.0008588F, 16.5F}}};
template <>
inline constexpr std::array<BandSum, 1> bandSums<FromRgb, Weigh<w709>, Footroom, Quantise, ToGrey>{
    {{{721, 7154, 2125}, 0.0000858799685F, 16.5F, 3.14625166e-11F}}};
template <>
inline constexpr std::array<BandSum, 1> bandSums<FromRgb, Weigh<w601>, Quantise, ToGrey>{
    {{{114, 587, 299}, 0.001F, 0.5F}}};
/// Inks stand in the opposite order.
template <class... Rest>
inline constexpr auto bandSums<FromCmy, Rest...> = [] {
    auto sums = bandSums<FromRgb, Rest...>;
    for (BandSum& sum : sums) std::swap(sum.weights[0], sum.weights[2]);
    return sums;
}();

namespace byte_rows_detail {

using Byte = std::uint8_t;

template <class Stage>
concept InLanes = Stage::inLanes;

/// Stages that make a byte of a byte, whatever its band.
template <class Stage>
concept OfBytes = Stage::ofBytes;

/// Stages behind which a pixel is three bytes.
template <class Stage>
inline constexpr bool leavesBytes = false;
template <>
inline constexpr bool leavesBytes<FromCmyk> = true;
template <>
inline constexpr bool leavesBytes<LinearByKey> = true;

template <std::size_t Bands>
lanes::U32 loadWords(const Byte* from) noexcept {
    if constexpr (Bands == 4) {
        return lanes::load<lanes::U32>(from);
    } else if constexpr (Bands == 3) {
        return lanes::loadPixels(from);
    } else {
        return (lanes::U32)lanes::integersOf(from);
    }
}

template <std::size_t Bands>
void storeWords(Byte* to, lanes::U32 pixels) noexcept {
    if constexpr (Bands == 4) {
        lanes::store(to, pixels);
    } else if constexpr (Bands == 3) {
        lanes::storePixels(to, pixels);
    } else {
        lanes::storeLowBytes(to, pixels);
    }
}

/// Runs `of`, which makes pixels of pixels in words, over a row; its last pixels go by way of a whole vector.
template <class All>
void eachWord(const Byte* from, Byte* to, std::size_t pixels, auto of) noexcept {
    constexpr std::size_t sourceBands = All::First::sourceBands;
    constexpr std::size_t bands = All::Last::bands;
    const auto vector = [&of](const Byte* source, Byte* result) {
        storeWords<bands>(result, of(loadWords<sourceBands>(source)));
    };
    std::size_t i = 0;
    for (; i + lanes::wordPixels <= pixels; i += lanes::wordPixels) vector(from + i * sourceBands, to + i * bands);
    if (i == pixels) return;
    Byte source[lanes::wordPixels * sourceBands] = {};
    Byte result[lanes::wordPixels * bands];
    std::memcpy(source, from + i * sourceBands, (pixels - i) * sourceBands);
    vector(source, result);
    std::memcpy(to + i * bands, result, (pixels - i) * bands);
}

/// The bands of pixels in words.
template <std::size_t Bands>
Pixel<Bands, lanes::I32> bandsOf(lanes::U32 words) noexcept {
    Pixel<Bands, lanes::I32> bands;
    for (lanes::I32& band : bands) {
        band = (lanes::I32)(words & 255);
        words >>= 8;
    }
    return bands;
}

/// Bands of 0 to 255 as words.
template <std::size_t Bands>
lanes::U32 asWords(const Pixel<Bands, lanes::I32>& bands) noexcept {
    lanes::U32 words = (lanes::U32)bands[0];
    for (std::size_t band = 1; band < Bands; ++band) words |= (lanes::U32)bands[band] << static_cast<int>(8 * band);
    return words;
}

template <class All>
void laneRow(const Byte* from, Byte* to, std::size_t pixels) noexcept {
    eachWord<All>(from, to, pixels, [](lanes::U32 words) {
        return asWords<All::Last::bands>(All::template of<Byte>(bandsOf<All::First::sourceBands>(words)));
    });
}

/// Sums of which few may be one beside: a vector with such a pixel goes through the chain.
template <class All, class Sums>
void nearRow(const Byte* from, Byte* to, std::size_t pixels) noexcept {
    eachWord<All>(from, to, pixels, [](lanes::U32 words) {
        constexpr std::size_t sourceBands = All::First::sourceBands;
        constexpr std::size_t bands = All::Last::bands;
        Pixel<bands, lanes::I32> made;
        const auto values = Sums::Values::template of<Byte>(bandsOf<sourceBands>(words));
        if (byte_sums::near<Sums::sums>(values, made)) [[likely]]
            return asWords<bands>(made);
        Byte source[lanes::wordPixels * sourceBands];
        Byte result[lanes::wordPixels * bands];
        storeWords<sourceBands>(source, words);
        rows_detail::blocks<Byte, All>(source, result, lanes::wordPixels);
        return loadWords<bands>(result);
    });
}

/// Where each band is made of the source's band alone, by tables.
template <class All>
void bandRow(const Byte* from, Byte* to, std::size_t pixels) noexcept {
    static constexpr auto tables = [] {
        std::array<std::array<Byte, byteLevels>, 3> made{};
        for (int level = 0; level < static_cast<int>(byteLevels); ++level) {
            const auto bands = All::template of<Byte>(Pixel<3>{level, level, level});
            for (std::size_t band = 0; band < 3; ++band) {
                made[band][static_cast<std::size_t>(level)] = static_cast<Byte>(bands[band]);
            }
        }
        return made;
    }();
    static constexpr const Byte* each[] = {tables[0].data(), tables[1].data(), tables[2].data()};
    lanes::mapThreeBands(to, from, pixels, each);
}

/// Whether stages leave luma and differences where they are.
template <class... Stages>
inline constexpr bool keepsBandsApart = false;
template <Space From, Space To>
inline constexpr bool keepsBandsApart<FromYcc<From>, ToYcc<To>> = true;

/// Two shorts in every word.
inline lanes::I16 shortPairs(int low, int high) noexcept {
    const auto pair = (static_cast<std::uint32_t>(high) << 16) | (static_cast<std::uint32_t>(low) & 0xffff);
    return (lanes::I16)(pair + lanes::U32{});
}

template <class All, const auto& Sums>
void sumRow(const Byte* from, Byte* to, std::size_t pixels) noexcept {
    eachWord<All>(from, to, pixels, [](lanes::U32 words) {
        const auto outer = (lanes::I16)(words & 0xff00ff);
        const auto middle = (lanes::I16)(words >> 8 & 0xff);
        Pixel<Sums.size(), lanes::I32> result;
        for (std::size_t band = 0; band < Sums.size(); ++band) {
            const auto& [weights, scale, offset, rest] = Sums[band];
            const auto sum = lanes::toFloat(lanes::pairSums(outer, shortPairs(weights[0], weights[2])) +
                                            lanes::pairSums(middle, shortPairs(weights[1], 0)));
            const lanes::F32 start = lanes::multiplyAdd(sum, lanes::F32{} + rest, lanes::F32{} + offset);
            result[band] = lanes::truncate(lanes::multiplyAdd(sum, lanes::F32{} + scale, start));
        }
        return asWords<Sums.size()>(result);
    });
}

template <class... Stages>
void fastRow(const Byte* from, Byte* to, std::size_t pixels) noexcept;

/// A chain cut in two: `first` fills a buffer with pixels of three bytes, the row of the rest goes on from there.
template <std::size_t SourceBands, class... Rest>
void cutRow(const Byte* from, Byte* to, std::size_t pixels, RowFunction<Byte> first) noexcept {
    constexpr std::size_t most = 1024;
    alignas(64) Byte buffer[3 * most];
    for (std::size_t done = 0; done < pixels; done += most) {
        const std::size_t count = std::min(most, pixels - done);
        first(from + done * SourceBands, buffer, count);
        fastRow<Rest...>(buffer, to + done * Chain<Rest...>::Last::bands, count);
    }
}

/// A cut behind a first stage that takes samples as they are and one that makes bytes of them: the bytes come first.
template <class... Stages>
struct MapCut {
    static constexpr bool exists = false;
};
template <class First, OfBytes Map, class... Rest>
requires(std::is_same_v<First, FromRgb> || std::is_same_v<First, FromCmy>) struct MapCut<First, Map, Rest...> {
    static constexpr bool exists = true;
    static void row(const Byte* from, Byte* to, std::size_t pixels) noexcept {
        cutRow<3, First, Rest...>(from, to, pixels, convertSamples<Byte, Map>);
    }
};

/// A cut behind stages that have lanes: `Lead` up to now, the rest to be looked at.
template <class Lead, class... Rest>
struct LaneCut {
    static constexpr bool exists = false;
};
template <class... Lead, InLanes Next, class... Rest>
struct LaneCut<Chain<Lead...>, Next, Rest...> : LaneCut<Chain<Lead..., Next>, Rest...> {};
template <class... Lead, InLanes Next, class... Rest>
requires leavesBytes<Next>
struct LaneCut<Chain<Lead...>, Next, Rest...> {
    static constexpr bool exists = true;
    static void row(const Byte* from, Byte* to, std::size_t pixels) noexcept {
        using First = Chain<Lead..., Next, ToRgb>;
        cutRow<First::First::sourceBands, FromRgb, Rest...>(from, to, pixels, laneRow<First>);
    }
};

template <class... Stages>
void fastRow(const Byte* from, Byte* to, std::size_t pixels) noexcept {
    using All = Chain<Stages...>;
    if constexpr (reversesInverted<Stages...>) {
        const std::size_t done = lanes::reverseInverted(to, from, pixels);
        laneRow<All>(from + 3 * done, to + 3 * done, pixels - done);
    } else if constexpr ((InLanes<Stages> && ...)) {
        laneRow<All>(from, to, pixels);
    } else if constexpr (!bandSums<Stages...>.empty()) {
        sumRow<All, bandSums<Stages...>>(from, to, pixels);
    } else if constexpr (keepsBandsApart<Stages...>) {
        bandRow<All>(from, to, pixels);
    } else if constexpr (byte_sums::SumsOf<Stages...>::exists) {
        nearRow<All, byte_sums::SumsOf<Stages...>>(from, to, pixels);
    } else if constexpr (MapCut<Stages...>::exists) {
        MapCut<Stages...>::row(from, to, pixels);
    } else if constexpr (LaneCut<Chain<>, Stages...>::exists) {
        LaneCut<Chain<>, Stages...>::row(from, to, pixels);
    } else {
        convertRow<Byte, Stages...>(from, to, pixels);
    }
}

} // namespace byte_rows_detail

/// A row of bytes. The source may be the destination.
template <class... Stages>
void convertBytes(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) noexcept {
    if constexpr (lanes::hasPixelWords && lanes::hasMultiplyAdd) {
        byte_rows_detail::fastRow<Stages...>(from, to, pixels);
    } else {
        convertRow<std::uint8_t, Stages...>(from, to, pixels);
    }
}

} // namespace orvi::colour
