// The vector helpers held against their plain forms.

#include "memory/frame/lanes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "memory/frame/exact_sums.h"
#include "memory/frame/orv_float_utils.h"
#include "memory/frame/pixel_words.h"
#include "memory/frame/sample_rows.h"

namespace {

using namespace orvi;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t sizes[] = {0, 1, 2, 7, 8, 15, 16, 31, 32, 33, 63, 64, 65, 100, 255, 256, 257, 1000};

class Lanes : public testing::Test {
protected:
    Bytes bytes(std::size_t count) {
        Bytes result(count);
        for (std::uint8_t& byte : result) byte = random() % 3 == 0 ? 0 : static_cast<std::uint8_t>(random());
        return result;
    }
    std::mt19937 random{31};
};

template <class T, class Op>
void holds(Op op) {
    std::vector<T> a;
    std::vector<T> b;
    const int step = sizeof(T) == 1 ? 1 : 371;
    for (int x = lowest<T>; x <= highest<T>; x += step) {
        for (int y = lowest<T>; y <= highest<T>; y += step) {
            a.push_back(static_cast<T>(x));
            b.push_back(static_cast<T>(y));
        }
    }
    for (T edge : {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T{1}}) {
        a.insert(a.end(), lanes::count<T>, edge);
        b.insert(b.end(), lanes::count<T>, std::numeric_limits<T>::max());
        a.insert(a.end(), lanes::count<T>, edge);
        b.insert(b.end(), lanes::count<T>, std::numeric_limits<T>::min());
    }
    std::vector<T> result(a.size());
    mapSamples(result.data(), result.size(), op, a.data(), b.data());
    for (std::size_t i = 0; i < a.size(); ++i) ASSERT_EQ(result[i], op(a[i], b[i])) << +a[i] << ", " << +b[i];
}

TEST_F(Lanes, SaturatingArithmetic) {
    const auto add = [](auto a, auto b) { return lanes::addSaturated(a, b); };
    const auto subtract = [](auto a, auto b) { return lanes::subtractSaturated(a, b); };
    const auto multiply = [](auto a, auto b) { return lanes::multiplySaturated(a, b); };
    holds<std::uint8_t>(add);
    holds<std::int16_t>(add);
    holds<std::uint8_t>(subtract);
    holds<std::int16_t>(subtract);
    holds<std::uint8_t>(multiply);
    holds<std::int16_t>(multiply);
}

TEST_F(Lanes, NarrowUndoesWiden) {
    const Bytes from = bytes(lanes::vectorBytes);
    const auto v = lanes::load<lanes::U8>(from.data());
    const auto wide = lanes::widen(v);
    const auto back = lanes::narrow(lanes::Pair<lanes::I16>{(lanes::I16)wide.first, (lanes::I16)wide.second});
    EXPECT_FALSE(lanes::any(back ^ v));
    const auto shorts = (lanes::I16)v;
    EXPECT_FALSE(lanes::any(lanes::narrow(lanes::widen(shorts)) ^ shorts));
}

TEST_F(Lanes, ReciprocalEstimateIsNearEnough) {
    for (float v = 1; v <= 512; ++v) {
        const lanes::F32 estimate = lanes::reciprocalEstimate(v - lanes::F32{});
        EXPECT_NEAR(static_cast<double>(estimate[0]) * v, 1.0, 1.5 / 4096) << v;
    }
}

TEST_F(Lanes, Rounded) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    for (float v : {0.0F, -0.0F, 0.49999997F, 0.5F, -0.5F, 1.5F, 254.5F, 255.5F, 1e30F, -1e30F, -32768.5F, 32767.4F,
                    nan, infinity, -infinity}) {
        EXPECT_EQ(lanes::rounded(v - lanes::F32{}, 0, 255)[0], roundTo<std::uint8_t>(v)) << v;
        EXPECT_EQ(lanes::rounded(v - lanes::F32{}, -32768, 32767)[0], roundTo<std::int16_t>(v)) << v;
    }
}

TEST_F(Lanes, MultiplyAddEqualsTheSumInDoubleWhereThatIsExact) {
    std::uniform_real_distribution<float> weight(-2, 2);
    for (int round = 0; round < 2000; ++round) {
        float weights[4];
        for (float& w : weights) w = weight(random);
        if (!lanes::hasMultiplyAdd || !exactInDouble(weights, 4, 32768)) continue;
        lanes::F32 fused{};
        lanes::F32 wide{};
        for (float w : weights) {
            const lanes::F32 sample = static_cast<float>(static_cast<std::int16_t>(random())) - lanes::F32{};
            fused = lanes::multiplyAdd(sample, w - lanes::F32{}, fused);
            wide = lanes::multiplyAddInDouble(sample, w - lanes::F32{}, wide);
        }
        ASSERT_EQ(fused[0], wide[0]);
    }
}

TEST(ExactSums, AreToldFromOthers) {
    const float plain[] = {0.114F, 0.587F, 0.299F};
    EXPECT_TRUE(exactInDouble(plain, 3, 255));
    const float apart[] = {1e10F, 1e-10F};
    EXPECT_FALSE(exactInDouble(apart, 2, 255));
    const float infinite[] = {std::numeric_limits<float>::infinity()};
    EXPECT_FALSE(exactInDouble(infinite, 1, 255));
    const float zeros[] = {0, 0};
    EXPECT_TRUE(exactInDouble(zeros, 2, 255));
}

TEST_F(Lanes, BitsAsBytes) {
    for (std::size_t size : sizes) {
        const Bytes from = bytes(size);
        Bytes fast(8 * size);
        Bytes slow(8 * size);
        lanes::spreadBits(fast.data(), from.data(), size);
        lanes::plain::spreadBits(slow.data(), from.data(), size);
        EXPECT_EQ(fast, slow) << size;
        for (std::size_t i = 0; i < slow.size(); ++i) ASSERT_EQ(slow[i], (from[i / 8] >> (7 - i % 8)) & 1) << i;

        const Bytes samples = bytes(8 * size);
        Bytes fastBits(size);
        Bytes slowBits(size);
        lanes::gatherBits(fastBits.data(), samples.data(), size);
        lanes::plain::gatherBits(slowBits.data(), samples.data(), size);
        EXPECT_EQ(fastBits, slowBits) << size;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            ASSERT_EQ((slowBits[i / 8] >> (7 - i % 8)) & 1, samples[i] != 0) << i;
        }
    }
}

TEST_F(Lanes, ThreeBands) {
    for (std::size_t size : sizes) {
        const Bytes pixels = bytes(3 * size);
        Bytes planes[3] = {Bytes(size), Bytes(size), Bytes(size)};
        lanes::splitBands(pixels.data(), planes[0].data(), planes[1].data(), planes[2].data(), size);
        for (std::size_t i = 0; i < pixels.size(); ++i) ASSERT_EQ(planes[i % 3][i / 3], pixels[i]) << size << ", " << i;
        Bytes joined(3 * size);
        lanes::joinBands(planes[0].data(), planes[1].data(), planes[2].data(), joined.data(), size);
        EXPECT_EQ(joined, pixels) << size;
    }
}

TEST_F(Lanes, TablesOfBytes) {
    const Bytes table = bytes(256);
    for (std::size_t size : sizes) {
        Bytes samples = bytes(size);
        for (std::size_t i = 0; i < std::min<std::size_t>(size, 256); ++i) samples[i] = static_cast<std::uint8_t>(i);
        Bytes slow(size);
        lanes::plain::mapBytes(slow.data(), samples.data(), size, table.data());
        lanes::mapBytes(samples.data(), samples.data(), size, table.data());
        EXPECT_EQ(samples, slow) << size;
    }
}

TEST_F(Lanes, TablesOfBytesPastTheCaches) {
    constexpr std::size_t size = (std::size_t{4} << 20) + 77;
    const Bytes table = bytes(256);
    const Bytes samples = bytes(size);
    Bytes slow(size);
    lanes::plain::mapBytes(slow.data(), samples.data(), size, table.data());
    for (std::size_t from : {std::size_t{0}, std::size_t{1}, std::size_t{17}}) {
        Bytes result(size + from);
        lanes::mapBytes(result.data() + from, samples.data(), size, table.data());
        EXPECT_TRUE(std::equal(slow.begin(), slow.end(), result.data() + from)) << from;
    }
}

TEST_F(Lanes, PixelsAsWords) {
    const std::size_t size = 3 * lanes::wordPixels;
    for (int round = 0; round < 100; ++round) {
        // Exactly the pixels' bytes, so that a sanitizer sees a read beyond.
        const Bytes samples = bytes(size);
        const lanes::U32 words = lanes::loadPixels(samples.data());
        const lanes::U32 slow = lanes::plain::loadPixels(samples.data());
        EXPECT_FALSE(lanes::any(words ^ slow));
        Bytes result(size + 1, 7), slowResult(size + 1, 7);
        lanes::storePixels(result.data(), words | 0xff000000U);
        lanes::plain::storePixels(slowResult.data(), words);
        EXPECT_EQ(result, slowResult);
        EXPECT_TRUE(std::equal(samples.begin(), samples.end(), result.begin()));
        Bytes low(lanes::wordPixels + 1, 7), slowLow(lanes::wordPixels + 1, 7);
        lanes::storeLowBytes(low.data(), words);
        lanes::plain::storeLowBytes(slowLow.data(), words);
        EXPECT_EQ(low, slowLow);
        const auto a = lanes::load<lanes::I16>(bytes(lanes::vectorBytes).data());
        const auto b = lanes::load<lanes::I16>(bytes(lanes::vectorBytes).data());
        EXPECT_FALSE(lanes::any(lanes::pairSums(a, b) - lanes::plain::pairSums(a, b)));
    }
}

TEST_F(Lanes, TablesOfThreeBands) {
    const Bytes tables[] = {bytes(256), bytes(256), bytes(256)};
    const std::uint8_t* const pointers[] = {tables[0].data(), tables[1].data(), tables[2].data()};
    for (std::size_t size : sizes) {
        Bytes samples = bytes(3 * size);
        Bytes slow(3 * size);
        lanes::plain::mapThreeBands(slow.data(), samples.data(), size, pointers);
        lanes::mapThreeBands(samples.data(), samples.data(), size, pointers);
        EXPECT_EQ(samples, slow) << size;
    }
}

TEST_F(Lanes, ZeroSamplesAndAny) {
    for (std::size_t i = 0; i < lanes::vectorBytes; ++i) {
        lanes::U8 v{};
        EXPECT_FALSE(lanes::any(v));
        v[i] = 4;
        EXPECT_TRUE(lanes::any(v));
        const std::uint64_t all = lanes::vectorBytes == 64 ? ~0ULL : (1ULL << (lanes::vectorBytes % 64)) - 1;
        EXPECT_EQ(lanes::zeroSamples(v), all & ~(1ULL << i));
    }
}

TEST(FloatTables, HoldEveryValueAndStay) {
    const float* bytes = orv_float_utils_get_b2f();
    ASSERT_NE(bytes, nullptr);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(bytes[i], static_cast<float>(i));
    EXPECT_EQ(orv_float_utils_get_b2f(), bytes);
    const float* shorts = orv_float_utils_get_s2f();
    ASSERT_NE(shorts, nullptr);
    for (int i = -32768; i <= 32767; ++i) EXPECT_EQ(shorts[i], static_cast<float>(i));
    EXPECT_EQ(orv_float_utils_get_s2f(), shorts);
}

} // namespace
