// Rows of samples by vectors held against one sample after another, wherever they begin and end.

#include "memory/frame/sample_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "memory/frame/BandPattern.h"

namespace {

using namespace orvi;

constexpr std::size_t most = 330;
constexpr std::size_t room = 600;

template <class T>
class SampleRows : public testing::Test {
protected:
    std::vector<T> samples(std::size_t count) {
        std::vector<T> made(count);
        for (T& sample : made) sample = static_cast<T>(random());
        return made;
    }
    std::mt19937 random{17};
};

using Types = testing::Types<std::uint8_t, std::int16_t>;
TYPED_TEST_SUITE(SampleRows, Types);

constexpr auto mixed = [](auto a, auto b) { return lanes::addSaturated(a, static_cast<decltype(a)>(b ^ a)); };

TYPED_TEST(SampleRows, OfTwoSources) {
    const std::vector<TypeParam> a = this->samples(room);
    const std::vector<TypeParam> b = this->samples(room);
    for (std::size_t count = 0; count < most; ++count) {
        const std::size_t begin = this->random() % 70;
        const std::size_t from = this->random() % 70;
        std::vector<TypeParam> result = this->samples(room);
        std::vector<TypeParam> expected = result;
        const bool inPlace = count % 3 == 0;
        const TypeParam* const first = inPlace ? result.data() + begin : a.data() + from;
        std::vector<TypeParam> source(first, first + count);
        for (std::size_t i = 0; i < count; ++i) expected[begin + i] = mixed(source[i], b[i]);
        mapSamples(result.data() + begin, count, mixed, first, b.data());
        ASSERT_EQ(result, expected) << count << " from " << begin;
    }
}

TYPED_TEST(SampleRows, WithAValueForEachBand) {
    const std::vector<TypeParam> a = this->samples(room);
    for (unsigned bands = 1; bands <= 9; ++bands) {
        const std::vector<TypeParam> values = this->samples(bands);
        const BandPattern<TypeParam, 7> pattern(bands, [&](unsigned band) { return values[band]; });
        for (std::size_t pixels = 0; pixels * bands < most; ++pixels) {
            const std::size_t begin = this->random() % 70;
            const std::size_t count = pixels * bands;
            std::vector<TypeParam> result = this->samples(room);
            std::vector<TypeParam> expected = result;
            const bool inPlace = pixels % 3 == 0;
            const TypeParam* const first = inPlace ? result.data() + begin : a.data();
            for (std::size_t i = 0; i < count; ++i) expected[begin + i] = mixed(first[i], values[i % bands]);
            mapWithBands(result.data() + begin, first, count, mixed, pattern);
            ASSERT_EQ(result, expected) << pixels << " of " << bands << " bands from " << begin;

            for (std::size_t i = 0; i < count; ++i) expected[begin + i] = values[i % bands];
            fillWithBands(result.data() + begin, count, pattern);
            ASSERT_EQ(result, expected) << pixels << " of " << bands << " bands from " << begin;
        }
    }
}

TYPED_TEST(SampleRows, ChosenByBits) {
    for (std::size_t bytes = 0; bytes < 150; ++bytes) {
        std::vector<std::uint8_t> bits(bytes);
        for (std::uint8_t& byte : bits) byte = static_cast<std::uint8_t>(this->random());
        const std::vector<TypeParam> values = this->samples(2);
        std::vector<TypeParam> result(8 * bytes);
        chooseByBits(result.data(), bits.data(), bytes, values[0], values[1]);
        for (std::size_t i = 0; i < result.size(); ++i) {
            ASSERT_EQ(result[i], values[bits[i / 8] >> (7 - i % 8) & 1]) << i << " of " << bytes << " bytes";
        }
    }
}

TYPED_TEST(SampleRows, WithLongPatterns) {
    const std::size_t many = 9000;
    const std::vector<TypeParam> a = this->samples(many);
    for (const unsigned bands : {1U, 2U, 3U, 4U, 5U, 32U, 33U, 300U}) {
        const std::vector<TypeParam> values = this->samples(bands);
        const BandPattern<TypeParam, 8> pattern(bands, [&](unsigned band) { return values[band]; });
        const std::size_t count = many / bands * bands;
        std::vector<TypeParam> result(many);
        mapWithBands(result.data(), a.data(), count, mixed, pattern);
        for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(result[i], mixed(a[i], values[i % bands])) << i;
        fillWithBands(result.data(), count, pattern);
        for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(result[i], values[i % bands]) << i;
    }
}

} // namespace
