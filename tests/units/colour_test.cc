// The tables and row functions of the colour conversions.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <iostream>
#include <random>
#include <set>
#include <vector>

#include "memory/colour/CSoperation.h"
#include "memory/colour/curve_lanes.h"
#include "memory/colour/power.h"
#include "memory/colour/tables.h"
#include "models/colour_model.h"

namespace {

using orvi::colour::CSoperation;
using orvi::colour::pairKey;
using orvi::colour::PairRow;
namespace model = colourmodel;

int opcodeFrom(const PairRow& pair) { return static_cast<int>(pair.key >> 16); }
int opcodeTo(const PairRow& pair) { return static_cast<int>(pair.key & 0xffff); }

template <class Sample>
auto rowOf(const PairRow& pair) {
    if constexpr (sizeof(Sample) == 1) {
        return pair.row8;
    } else {
        return pair.row16;
    }
}

TEST(ColourTables, PairsStandInTheirOrderWithATerminator) {
    std::vector<std::uint32_t> expected;
    for (std::uint32_t from : {1U, 2U, 3U, 4U, 5U, 9U, 10U, 6U, 7U, 8U}) {
        const bool grey = from >= 6 && from <= 8;
        for (std::uint32_t to : {1U, 2U, 3U, 4U, 5U, grey ? 9U : 10U, grey ? 10U : 9U, 6U, 7U, 8U}) {
            if (to != from) expected.push_back(from << 16 | to);
        }
    }
    ASSERT_EQ(expected.size(), 90U);
    EXPECT_EQ(std::set<std::uint32_t>(expected.begin(), expected.end()).size(), 90U);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(CSoperation[i].key, expected[i]) << i;
        EXPECT_NE(CSoperation[i].row8, nullptr);
        EXPECT_NE(CSoperation[i].row16, nullptr);
    }
    EXPECT_EQ(CSoperation[90].key, 0U);
}

TEST(ColourTables, ByteTablesFollowTheTransferFunction) {
    using orvi::colour::linearBytes;
    using orvi::colour::nonlinearBytes;
    ASSERT_EQ(nonlinearBytes.size(), 256U);
    ASSERT_EQ(linearBytes.size(), 256U);
    const std::vector<int> first = {0, 5, 9, 14, 18, 23, 27, 30}, last = {254, 254, 255, 255};
    for (std::size_t i = 0; i < first.size(); ++i) EXPECT_EQ(nonlinearBytes[i], first[i]);
    for (std::size_t i = 0; i < last.size(); ++i) EXPECT_EQ(nonlinearBytes[252 + i], last[i]);
    const std::vector<int> dark = {0, 0, 0, 1, 1, 1, 1, 2}, bright = {247, 249, 251, 253, 255};
    for (std::size_t i = 0; i < dark.size(); ++i) EXPECT_EQ(linearBytes[i], dark[i]);
    for (std::size_t i = 0; i < bright.size(); ++i) EXPECT_EQ(linearBytes[251 + i], bright[i]);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(nonlinearBytes[static_cast<std::size_t>(i)], model::gammaByte(i)) << i;
        EXPECT_EQ(linearBytes[static_cast<std::size_t>(i)], model::linearByte(i)) << i;
    }
}

float floatOfBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

TEST(ColourTables, FloatTablesFollowTheTransferFunction) {
    using orvi::colour::linearByKey;
    ASSERT_EQ(linearByKey.size(), 3806U);
    EXPECT_EQ(linearByKey.front(), 5);
    EXPECT_EQ(linearByKey.back(), 255);
    for (std::uint32_t i = 0; i < linearByKey.size(); ++i) {
        const std::uint32_t key = 0xd2b + i;
        const float low = floatOfBits((0x78U | key >> 10) << 23 | (key & 1023) << 13);
        EXPECT_EQ(linearByKey[i], model::nearest(model::inverse(static_cast<model::Wide>(low)))) << key;
        EXPECT_EQ(orvi::colour::keyOf(low), static_cast<int>(key));
    }
    ASSERT_EQ(sizeof _L2NLtable, 6000U);
    EXPECT_EQ(_L2NLtable.front(), 21);
    EXPECT_EQ(_L2NLtable.back(), 255);
    for (std::uint32_t i = 0; i < 6000; ++i) {
        const std::uint32_t key = 1176 + i;
        const float high = floatOfBits((0x78U | key >> 10) << 23 | (key & 1023) << 13 | 0x1fff);
        EXPECT_EQ(_L2NLtable[i], model::nearest(model::transfer(static_cast<model::Wide>(high)))) << key;
    }
}

TEST(ColourTables, PhotoTablesAreLines) {
    using namespace orvi::colour;
    ASSERT_TRUE(orviCSlut());
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(photoTables[photoY][i], 5743 * i);
        EXPECT_EQ(photoTables[photoYCb][i], 283754 - 1819 * i);
        EXPECT_EQ(photoTables[photoYCr][i], 536971 - 3919 * i);
        EXPECT_EQ(photoTables[photoCb][i], 9376 * i - 1462647);
        EXPECT_EQ(photoTables[photoCr][i], 7700 * i - 1054953);
    }
}

TEST(ColourPower, AgreesWithAWiderFormatAndRoundsLikeIt) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> anyBase(0.018, 3.0);
    double worst = 0;
    int heldApart = 0;
    for (int i = 0; i < 200000; ++i) {
        const double x = i == 0 ? 1.0 : anyBase(random);
        for (double e : {0.45, 2.222}) {
            const double mine = orvi::colour::power(x, e);
            const long double wide = powl(x, e);
            worst = std::max(worst, static_cast<double>(std::fabs((mine - wide) / wide)));
            heldApart += static_cast<float>(mine) != static_cast<float>(wide);
        }
    }
    EXPECT_LT(worst, 2e-15);
    EXPECT_LE(heldApart, 1);
    EXPECT_EQ(orvi::colour::power(1.0, 0.45), 1.0);
}

// What lanes of shorts do in fewer roundings comes to the same.

TEST(ColourLanes, QuotientsOfShortsAreProductsInTwoParts) {
    using namespace orvi::colour;
    const auto hold = [](const Coding& coding) {
        const auto divisor = static_cast<float>(coding.factor);
        const float high = 1 / divisor;
        const auto low = static_cast<float>(1 / double{divisor} - double{high});
        for (int sample = -32768; sample <= 32767; ++sample) {
            const auto v = static_cast<float>(sample - coding.offset);
            ASSERT_EQ(std::fma(v, high, v * low), v / divisor) << divisor << ", " << sample;
        }
    };
    const auto holds = [&hold](const YccFacts& facts) {
        for (const Coding& coding : facts.shorts) hold(coding);
    };
    hold({65535, -32768});
    holds(factsOf<photoycc>);
    holds(factsOf<ycc601>);
    holds(factsOf<ycc709>);
}

TEST(ColourLanes, ShortsOfFloatsTakeOneRounding) {
    const auto check = [](float v) {
        const float start = v >= 0x1.000102p-1F ? -32767.5F : -32768.5F;
        const int once = static_cast<int>(std::clamp(std::fma(v, 65535.0F, start), -32768.0F, 32767.0F));
        ASSERT_EQ(once, orvi::colour::toSample<std::int16_t>(static_cast<double>(v))) << v;
    };
    // Where the sum in double is not exact, and every so many floats from there to 4. All there are hold as well.
    const std::uint32_t exact = std::bit_cast<std::uint32_t>(0x1p-14F);
    const std::uint32_t four = std::bit_cast<std::uint32_t>(4.0F);
    for (std::uint32_t bits = std::bit_cast<std::uint32_t>(0x1p-18F); bits < four; bits += bits < exact ? 1 : 61) {
        check(floatOfBits(bits));
        check(-floatOfBits(bits));
    }
    for (std::uint32_t bits = std::bit_cast<std::uint32_t>(0.5F); bits < std::bit_cast<std::uint32_t>(0.51F); ++bits) {
        check(floatOfBits(bits));
    }
}

/// Every so many of the floats from a curve's first octave up to `end`, and where it ends: nowhere may a curve be off
/// by more than it says. All of the floats there are hold as well.
template <class Facts>
void checkPieces(float end, double relative) {
    using namespace orvi::colour;
    using Pieces = CurvePieces<Facts>;
    const auto fused = [](float a, float b, float c) { return std::fma(a, b, c); };
    for (std::uint32_t bits = std::bit_cast<std::uint32_t>(0x1p-12F); bits < std::bit_cast<std::uint32_t>(end);
         bits += 23) {
        const float v = floatOfBits(bits);
        const double exact = v < Facts::knee ? v * Facts::slope : Facts::exact(v);
        const double slack = relative > 0 ? relative * 65535 * exact : Pieces::error;
        ASSERT_NEAR(curvePieces<Facts>.of(v, fused), 65535 * exact + Facts::zero, slack) << v;
    }
}

TEST(ColourLanes, PiecesOfTheCurvesAreNearThem) {
    using namespace orvi::colour;
    checkPieces<LinearFacts<-32768>>(std::nextafter(1.0F, 2.0F), 0);
    checkPieces<LinearFacts<0>>(4.0F, 3 * 0x1p-24);
    checkPieces<GammaFacts>(std::nextafter(1.0F, 2.0F), 0);
}

TEST(ColourLanes, KneesAreTheFirstFloatsFromThem) {
    using namespace orvi::colour;
    for (double knee : {0.018, 0.081}) {
        EXPECT_GE(double{firstFrom(knee)}, knee);
        EXPECT_LT(double{std::nextafter(firstFrom(knee), 0.0F)}, knee);
    }
}

/// Pixels that a conversion is tried on: extremes, every level of bytes, the grey axis, and random ones.
template <class Sample>
std::vector<Sample> pixels(std::size_t bands, std::mt19937& random) {
    std::vector<int> levels;
    constexpr int low = std::numeric_limits<Sample>::min(), high = std::numeric_limits<Sample>::max();
    for (int step = 0; step < 256; ++step) levels.push_back(low + static_cast<int>((high - low) * step / 255));
    std::vector<Sample> result;
    const auto add = [&](int v) { result.push_back(static_cast<Sample>(v)); };
    for (int level : levels) {
        for (std::size_t b = 0; b < bands; ++b) add(level);
        for (std::size_t varied = 0; varied < bands; ++varied) {
            for (std::size_t b = 0; b < bands; ++b) add(b == varied ? level : levels[random() % 256]);
        }
    }
    for (std::size_t corner = 0; corner < (std::size_t{1} << (2 * bands)); ++corner) {
        const int ends[] = {low, low + 1, high - 1, high};
        for (std::size_t b = 0; b < bands; ++b) add(ends[corner >> (2 * b) & 3]);
    }
    std::uniform_int_distribution<int> any(low, high);
    for (int i = 0; i < 4000; ++i) {
        for (std::size_t b = 0; b < bands; ++b) add(any(random));
    }
    return result;
}

template <class Sample>
void checkAllPairs() {
    const unsigned seed = std::random_device{}();
    std::cout << "seed " << seed << '\n';
    std::mt19937 random(seed);
    std::size_t samples = 0, apart = 0;
    for (std::size_t row = 0; row < orvi::colour::colourPairs; ++row) {
        const int from = opcodeFrom(CSoperation[row]), to = opcodeTo(CSoperation[row]);
        const auto sourceBands = static_cast<std::size_t>(model::bands(from));
        const auto bands = static_cast<std::size_t>(model::bands(to));
        const std::vector<Sample> source = pixels<Sample>(sourceBands, random);
        const std::size_t count = source.size() / sourceBands;
        std::vector<Sample> result(count * bands + 1, Sample{77});
        rowOf<Sample>(CSoperation[row])(source.data(), result.data(), count);
        EXPECT_EQ(result.back(), Sample{77});
        const model::Model expected(from, to, 8 * static_cast<int>(sizeof(Sample)));
        for (std::size_t i = 0; i < count; ++i) {
            const std::vector<int> pixel(source.begin() + static_cast<std::ptrdiff_t>(i * sourceBands),
                                         source.begin() + static_cast<std::ptrdiff_t>((i + 1) * sourceBands));
            const model::Samples want = expected.of(pixel);
            ASSERT_EQ(want.size(), bands);
            for (std::size_t b = 0; b < bands; ++b) {
                const int got = result[i * bands + b];
                ++samples;
                if (got == want[b].value) continue;
                ++apart;
                const int distance = std::abs(got - want[b].value);
                // A key that wraps round at 2 is dark where the value just below is bright.
                ASSERT_TRUE(want[b].edge && (distance == 1 || distance >= 245))
                    << from << " to " << to << ": " << ::testing::PrintToString(pixel) << " band " << b << " gave "
                    << got << ", not " << want[b].value;
            }
        }
    }
    std::cout << apart << " of " << samples << " samples lie one beside the model's, all at rounding edges\n";
    EXPECT_LT(static_cast<double>(apart), 0.005 * static_cast<double>(samples));
}

TEST(ColourRows, BytesAgreeWithTheModel) { checkAllPairs<std::uint8_t>(); }
TEST(ColourRows, ShortsAgreeWithTheModel) { checkAllPairs<std::int16_t>(); }

template <class Sample>
void checkShapes() {
    std::mt19937 random(3);
    for (std::size_t row = 0; row < orvi::colour::colourPairs; ++row) {
        const auto function = rowOf<Sample>(CSoperation[row]);
        const auto sourceBands = static_cast<std::size_t>(model::bands(opcodeFrom(CSoperation[row])));
        const auto bands = static_cast<std::size_t>(model::bands(opcodeTo(CSoperation[row])));
        const std::vector<Sample> source = pixels<Sample>(sourceBands, random);
        const std::size_t count = 1500;
        std::vector<Sample> whole(count * bands);
        function(source.data(), whole.data(), count);
        // Every length and every place gives what the whole row gives, and nothing beyond.
        for (std::size_t start = 0, length = 0; start + length <= count; start += length, length = random() % 90) {
            std::vector<Sample> part(length * bands + 1, Sample{99});
            function(source.data() + start * sourceBands, part.data(), length);
            EXPECT_EQ(part.back(), Sample{99});
            part.pop_back();
            EXPECT_TRUE(
                std::equal(part.begin(), part.end(), whole.begin() + static_cast<std::ptrdiff_t>(start * bands)))
                << row;
        }
        if (sourceBands != bands) continue;
        std::vector<Sample> same(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(count * bands));
        function(same.data(), same.data(), count);
        EXPECT_EQ(same, whole) << row;
    }
}

TEST(ColourRows, BytesOfAnyLengthAndInPlace) { checkShapes<std::uint8_t>(); }
TEST(ColourRows, ShortsOfAnyLengthAndInPlace) { checkShapes<std::int16_t>(); }

/// There and back: what a pair of conversions may lose, in samples.
TEST(ColourRows, RoundTripsOfShorts) {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> any(-32768, 32767);
    const auto find = [](std::uint32_t from, std::uint32_t to) {
        for (const PairRow& pair : CSoperation) {
            if (pair.key == pairKey(from, to)) return pair;
        }
        return PairRow{};
    };
    struct Trip {
        std::uint32_t from, to;
        int slack;
    };
    // The inverse transfer function is not quite the inverse, and the chroma bands of photoycc are coarse.
    for (const Trip trip : {Trip{1, 2, 420}, Trip{1, 9, 0}, Trip{9, 10, 0}, Trip{2, 4, 60}, Trip{2, 5, 90}}) {
        std::vector<std::int16_t> source(3000), there(4000), back(4000);
        for (auto& s : source) s = static_cast<std::int16_t>(any(random));
        find(trip.from, trip.to).row16(source.data(), there.data(), 1000);
        // cmyk back to cmy wraps by half the scale: black of 0 is -32768.
        find(trip.to, trip.from).row16(there.data(), back.data(), 1000);
        int worst = 0;
        for (std::size_t i = 0; i < source.size(); ++i) {
            const int back16 = trip.to == 10 ? static_cast<std::int16_t>(back[i] - 32768) : back[i];
            worst = std::max(worst, std::abs(back16 - source[i]));
        }
        EXPECT_LE(worst, trip.slack) << trip.from << " to " << trip.to;
    }
}

} // namespace
