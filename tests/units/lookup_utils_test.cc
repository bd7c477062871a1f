// Tables applied to rows: every alignment and count, nothing written beside the row.

#include "memory/pixelwise/lookup_utils.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

class LookupUtils : public testing::Test {
protected:
    LookupUtils() {
        for (unsigned char& entry : table) entry = static_cast<unsigned char>(random());
    }
    std::vector<unsigned char> bytes(std::size_t count) {
        std::vector<unsigned char> result(count);
        for (unsigned char& byte : result) byte = static_cast<unsigned char>(random());
        return result;
    }
    std::mt19937 random{20260211};
    unsigned char table[256];
};

TEST_F(LookupUtils, EveryAlignmentAndCount) {
    alignas(64) unsigned char dest[512];
    for (unsigned count : {0U, 1U, 2U, 3U, 4U, 7U, 8U, 9U, 15U, 16U, 17U, 31U, 33U, 63U, 64U, 65U, 129U, 300U}) {
        for (unsigned at = 0; at < 9; ++at) {
            const std::vector<unsigned char> source = bytes(count);
            std::fill(std::begin(dest), std::end(dest), 0xa5);
            fast_lookup_write(source.data(), dest + 16 + at, count, table);
            for (unsigned i = 0; i < sizeof dest; ++i) {
                const bool inside = i >= 16 + at && i < 16 + at + count;
                ASSERT_EQ(dest[i], inside ? table[source[i - 16 - at]] : 0xa5) << count << " at " << at << ": " << i;
            }
        }
    }
}

TEST_F(LookupUtils, InPlace) {
    const std::vector<unsigned char> source = bytes(1000);
    std::vector<unsigned char> row = source;
    fast_lookup_write(row.data(), row.data(), 1000, table);
    for (std::size_t i = 0; i < row.size(); ++i) ASSERT_EQ(row[i], table[source[i]]);
}

TEST_F(LookupUtils, BandsThroughTablesOfTheirOwn) {
    for (unsigned bands = 1; bands <= 5; ++bands) {
        const std::vector<unsigned char> entries = bytes(256 * bands);
        std::vector<const std::uint8_t*> tables;
        for (unsigned band = 0; band < bands; ++band) tables.push_back(entries.data() + 256 * band);
        for (std::size_t pixels : {0U, 1U, 2U, 63U, 64U, 65U, 1500U}) {
            const std::vector<unsigned char> source = bytes(pixels * bands);
            std::vector<unsigned char> row = source;
            orvi::mapBands(row.data(), row.data(), pixels, tables.data(), bands);
            for (std::size_t i = 0; i < row.size(); ++i) ASSERT_EQ(row[i], tables[i % bands][source[i]]);
        }
    }
}

TEST(LookupBand, NearestEntryBeyondTheEnds) {
    const std::int16_t entries[] = {10, 0, 11, 0, 12, 0};
    const orvi::LookupBand<std::int16_t> band{.entries = entries, .count = 3, .offset = -1, .step = 2};
    EXPECT_EQ(band.of(-32768), 10);
    EXPECT_EQ(band.of(-1), 10);
    EXPECT_EQ(band.of(0), 11);
    EXPECT_EQ(band.of(1), 12);
    EXPECT_EQ(band.of(2), 12);
    EXPECT_EQ(band.of(32767), 12);
    EXPECT_EQ(orvi::LookupBand<std::int16_t>{}.of(0), 0);
}

} // namespace
