// The bit rows held against a bit-by-bit model: every offset, lengths around the byte and word sizes, bits outside the
// run, rows that end at the last byte of their block.

#include "memory/frame/orv_bit_utils.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "memory/frame/bit_rows.h"

namespace {

constexpr unsigned lengths[] = {0,  1,  2,  5,  6,  7,  8,   9,   12,  15,   16,  17,
                                31, 32, 33, 63, 64, 65, 127, 130, 515, 1029, 2048};

/// Bytes in a block of exactly their size, so that a sanitizer sees any byte too far.
class Row {
public:
    Row(std::size_t bytes, std::mt19937& random) : size_(bytes), bytes_(new unsigned char[bytes]) {
        for (std::size_t i = 0; i < size_; ++i) bytes_[i] = static_cast<unsigned char>(random());
    }
    Row(const Row& other) : size_(other.size_), bytes_(new unsigned char[other.size_]) {
        std::copy_n(other.bytes_.get(), size_, bytes_.get());
    }

    unsigned char* bytes() const { return bytes_.get(); }
    bool bit(std::size_t at) const { return (bytes_[at / 8] >> (7 - at % 8)) & 1; }
    void set(std::size_t at, bool value) {
        const unsigned char mask = static_cast<unsigned char>(1 << (7 - at % 8));
        bytes_[at / 8] = static_cast<unsigned char>(value ? bytes_[at / 8] | mask : bytes_[at / 8] & ~mask);
    }
    bool operator==(const Row& other) const {
        return size_ == other.size_ && std::equal(bytes(), bytes() + size_, other.bytes());
    }

private:
    std::size_t size_;
    std::unique_ptr<unsigned char[]> bytes_;
};

std::size_t bytesOf(unsigned offset, unsigned length) { return (offset + length + 7) / 8; }

class BitRows : public testing::Test {
protected:
    Row row(unsigned offset, unsigned length) { return Row(bytesOf(offset, length), random); }
    template <class Check>
    void everyRun(Check check) {
        for (unsigned length : lengths) {
            for (unsigned from = 0; from < 8; ++from) {
                for (unsigned to = 0; to < 8; ++to) check(length, from, to);
            }
        }
    }
    std::mt19937 random{20260101};
};

TEST_F(BitRows, SetValue) {
    for (unsigned length : lengths) {
        for (unsigned offset = 0; offset < 8; ++offset) {
            for (unsigned value : {0U, 1U, 7U}) {
                Row row = this->row(offset, length);
                Row expected = row;
                for (unsigned i = 0; i < length; ++i) expected.set(offset + i, value != 0);
                orv_bit_setvalue(row.bytes(), value, length, offset);
                EXPECT_EQ(row, expected) << length << " bits from " << offset;
            }
        }
    }
}

TEST_F(BitRows, SetValueOneBitThenAByte) {
    unsigned char bytes[3] = {0, 0, 0x5a};
    orv_bit_setvalue(bytes, 1, 9, 7);
    EXPECT_EQ(bytes[0], 0x01);
    EXPECT_EQ(bytes[1], 0xff);
    EXPECT_EQ(bytes[2], 0x5a);
}

TEST_F(BitRows, Copy) {
    everyRun([&](unsigned length, unsigned from, unsigned to) {
        Row source = row(from, length);
        Row target = row(to, length);
        Row expected = target;
        for (unsigned i = 0; i < length; ++i) expected.set(to + i, source.bit(from + i));
        orv_bit_memcpy(source.bytes(), target.bytes(), length, from, to);
        EXPECT_EQ(target, expected) << length << " bits from " << from << " to " << to;
    });
}

TEST_F(BitRows, CopyOfTwelveBitsKeepsTheLastFour) {
    unsigned char from[2] = {0x12, 0x34};
    unsigned char to[2] = {0xff, 0xff};
    orv_bit_memcpy(from, to, 12, 0, 0);
    EXPECT_EQ(to[0], 0x12);
    EXPECT_EQ(to[1], 0x3f);
}

TEST_F(BitRows, CopyToTheLeftWithinARow) {
    everyRun([&](unsigned length, unsigned from, unsigned to) {
        for (unsigned bytes : {0U, 1U, 3U}) {
            if (8 * bytes + from < to) continue;
            Row row(bytesOf(8 * bytes + from, length) + 1, random);
            Row expected = row;
            for (unsigned i = 0; i < length; ++i) expected.set(to + i, row.bit(8 * bytes + from + i));
            orv_bit_memcpy(row.bytes() + bytes, row.bytes(), length, from, to);
            EXPECT_EQ(row, expected) << length << " bits from " << 8 * bytes + from << " to " << to;
        }
    });
}

TEST_F(BitRows, CopyOfWholeBytesToTheRightWithinARow) {
    for (unsigned length : lengths) {
        Row row(bytesOf(16, length), random);
        Row expected = row;
        for (unsigned i = 0; i < length; ++i) expected.set(16 + i, row.bit(i));
        orv_bit_memcpy(row.bytes(), row.bytes() + 2, length, 0, 0);
        EXPECT_EQ(row, expected) << length;
    }
}

TEST_F(BitRows, Not) {
    everyRun([&](unsigned length, unsigned from, unsigned to) {
        Row source = row(from, length);
        Row target = row(to, length);
        Row expected = target;
        for (unsigned i = 0; i < length; ++i) expected.set(to + i, !source.bit(from + i));
        orv_bit_not(source.bytes(), target.bytes(), length, from, to);
        EXPECT_EQ(target, expected) << length << " bits from " << from << " to " << to;
    });
}

TEST_F(BitRows, NotInPlace) {
    for (unsigned length : lengths) {
        for (unsigned offset = 0; offset < 8; ++offset) {
            Row row = this->row(offset, length);
            Row expected = row;
            for (unsigned i = 0; i < length; ++i) expected.set(offset + i, !row.bit(offset + i));
            orv_bit_not(row.bytes(), row.bytes(), length, offset, offset);
            EXPECT_EQ(row, expected) << length << " bits from " << offset;
        }
    }
}

TEST_F(BitRows, CombinationOfTwo) {
    everyRun([&](unsigned length, unsigned from, unsigned to) {
        for (unsigned second = 0; second < 8; ++second) {
            Row a = row(from, length);
            Row b = row(second, length);
            Row target = row(to, length);
            Row expected = target;
            for (unsigned i = 0; i < length; ++i) expected.set(to + i, a.bit(from + i) && !b.bit(second + i));
            orvi::combineBits(
                {target.bytes(), to}, length, [](auto x, auto y) { return x & ~y; }, orvi::BitPosition{a.bytes(), from},
                orvi::BitPosition{b.bytes(), second});
            EXPECT_EQ(target, expected) << length << " bits from " << from << ", " << second << " to " << to;
        }
    });
}

TEST_F(BitRows, CheckForZero) {
    for (unsigned length : lengths) {
        for (unsigned offset = 0; offset < 8; ++offset) {
            Row row = this->row(offset, length);
            for (unsigned i = 0; i < length; ++i) row.set(offset + i, true);
            EXPECT_EQ(orv_bit_check_for_zero(row.bytes(), length, offset), 0) << length << " bits from " << offset;
            for (unsigned i = 0; i < length; ++i) {
                row.set(offset + i, false);
                EXPECT_EQ(orv_bit_check_for_zero(row.bytes(), length, offset), 1)
                    << length << " bits from " << offset << ", zero at " << i;
                row.set(offset + i, true);
            }
        }
    }
}

TEST_F(BitRows, UnpackAndPack) {
    for (unsigned length : lengths) {
        for (unsigned offset = 0; offset < 8; ++offset) {
            for (std::size_t step : {1, 2, 3, 5}) {
                Row bits = row(offset, length);
                const std::size_t bytes = length == 0 ? 0 : (length - 1) * step + 1;
                Row target(bytes, random);
                Row expected = target;
                for (unsigned i = 0; i < length; ++i) expected.bytes()[i * step] = bits.bit(offset + i);
                orvi::unpackBits(bits.bytes(), offset, target.bytes(), step, length);
                EXPECT_EQ(target, expected) << length << " bits from " << offset << ", step " << step;

                for (unsigned i = 0; i < length; ++i) {
                    target.bytes()[i * step] = static_cast<unsigned char>((random() % 2) << random() % 8);
                }
                Row packed = row(offset, length);
                Row expectedBits = packed;
                for (unsigned i = 0; i < length; ++i) expectedBits.set(offset + i, target.bytes()[i * step] != 0);
                orvi::packBits(target.bytes(), step, packed.bytes(), offset, length);
                EXPECT_EQ(packed, expectedBits) << length << " bits from " << offset << ", step " << step;
            }
        }
    }
}

} // namespace
