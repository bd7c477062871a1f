// Rows of bits one below the other, combined in one loop: what a row begins and ends with is found out once.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "memory/frame/BitRows.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"

namespace orvi {

/// Whether moveBitRows is there.
#if defined(__AVX512BW__)
inline constexpr bool hasBitBlocks = true;
#else
inline constexpr bool hasBitBlocks = false;
#endif

#if defined(__AVX512BW__)

namespace bit_blocks {

using lanes::Raw;
using lanes::U64;
inline constexpr std::ptrdiff_t vectorBytes = lanes::vectorBytes;

/// The lowest bits of a mask of bytes.
inline std::uint64_t lowest(std::ptrdiff_t count) noexcept {
    if (count <= 0) return 0;
    return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

inline U64 loadBytes(const std::uint8_t* from, std::uint64_t which) noexcept {
    return (U64)_mm512_maskz_loadu_epi8(which, from);
}

/// A source's rows in the bytes of the destination's: byte i is made of the bytes i and i + 1 from `row` on, of which
/// the first may be one before the source's own.
template <bool Shifted>
class Source {
public:
    Source(const BitRows& from, const BitRows& to, std::size_t length) noexcept
        : lead_(from.first.offset < to.first.offset ? 1 : 0),
          end_(lead_ + static_cast<std::ptrdiff_t>((from.first.offset + length + 7) / 8)),
          shift_((from.first.offset - to.first.offset) & 7),
          highBits_(lanes::everyByte<U64>(0xffU << shift_)),
          row_(from.first.byte - lead_),
          stride_(from.stride) {}

    void next() noexcept { row_ += stride_; }

    /// The vector of bytes from `at` on, all of which are the source's.
    U64 vector(std::ptrdiff_t at) const noexcept {
        if constexpr (!Shifted) return lanes::load<U64>(row_ + at);
        return joined(lanes::load<U64>(row_ + at), lanes::load<U64>(row_ + at + 1));
    }
    /// The same where the row begins or ends in it: no byte beyond is read.
    U64 part(std::ptrdiff_t at) const noexcept {
        const std::uint64_t high = lowest(end_ - at) & ~lowest(lead_ - at);
        if constexpr (!Shifted) return loadBytes(row_ + at, high);
        const std::uint64_t low = lowest(end_ - at - 1) & ~lowest(lead_ - at - 1);
        return joined(loadBytes(row_ + at, high), loadBytes(row_ + at + 1, low));
    }

private:
    U64 joined(U64 high, U64 low) const noexcept {
        constexpr int chosen = 0xca; // the second's bits where the first is set, the third's elsewhere
        return (U64)_mm512_ternarylogic_epi64((Raw)highBits_, (Raw)(high << shift_), (Raw)(low >> (8 - shift_)),
                                              chosen);
    }

    std::ptrdiff_t lead_;
    std::ptrdiff_t end_;
    unsigned shift_;
    U64 highBits_;
    const std::uint8_t* row_;
    std::ptrdiff_t stride_;
};

/// One value wherever it is asked for.
struct Constant {
    U64 value;

    static void next() noexcept {}
    U64 vector(std::ptrdiff_t) const noexcept { return value; }
    U64 part(std::ptrdiff_t) const noexcept { return value; }
};

/// A vector of the destination in which a row begins or ends.
struct Part {
    std::ptrdiff_t at;
    std::ptrdiff_t few;  ///< how many bytes, where they are stored one by one
    std::uint64_t bytes; ///< those of the row
    U64 bits;            ///< the row's own, set
    bool whole;          ///< all bits of its bytes are

    Part(const BitRows& to, std::size_t length, std::ptrdiff_t start) noexcept : at(start), few(0) {
        const auto end = static_cast<std::ptrdiff_t>(to.first.offset + length);
        const std::ptrdiff_t count = (end + 7) / 8 - at;
        bytes = lowest(count);
        if (at > 0 && count <= fewBytes) few = count;
        std::uint8_t own[lanes::vectorBytes];
        std::fill_n(own, lanes::vectorBytes, std::uint8_t{0xff});
        if (at == 0) own[0] = clr_msb_mask[to.first.offset];
        if (count <= vectorBytes) {
            own[count - 1] = static_cast<std::uint8_t>(own[count - 1] & clr_lsb_mask[(8 - end % 8) % 8]);
        }
        bits = lanes::load<U64>(own);
        whole = !lanes::any(~bits);
    }

    void put(std::uint8_t* row, U64 made) const noexcept {
        if (few > 0) return putEach(row + at, made);
        if (!whole) made = (made & bits) | (loadBytes(row + at, bytes) & ~bits);
        _mm512_mask_storeu_epi8(row + at, bytes, (Raw)made);
    }

private:
    /// A load from where a store under a mask may reach waits for it, the next row's for this one's.
    static constexpr std::ptrdiff_t fewBytes = 8;
    void putEach(std::uint8_t* to, U64 made) const noexcept {
        std::uint64_t word = made[0];
        std::uint64_t own = bits[0];
        for (std::ptrdiff_t i = 0; i < few; ++i, word >>= 8, own >>= 8) {
            to[i] = static_cast<std::uint8_t>((to[i] & ~own) | (word & own));
        }
    }
};

/// Where the last vector of each row begins, and what of it and of the first is the row's.
struct Ends {
    std::ptrdiff_t end;
    Part first;
    Part last;

    Ends(const BitRows& to, std::size_t length) noexcept
        : end((static_cast<std::ptrdiff_t>((to.first.offset + length + 7) / 8) - 1) / vectorBytes * vectorBytes),
          first(to, length, 0),
          last(to, length, end) {}
};

template <class Op, class... Sources>
void combineRows(BitRows to, std::size_t rows, std::size_t length, Op op, Sources... from) noexcept {
    const auto [end, first, last] = Ends(to, length);
    std::uint8_t* row = to.first.byte;
    const auto put = [&](const Part& part) { part.put(row, static_cast<U64>(op(from.part(part.at)...))); };
    for (std::size_t i = 0; i < rows; ++i, row += to.stride, (from.next(), ...)) {
        put(first);
        for (std::ptrdiff_t at = vectorBytes; at < end; at += vectorBytes) {
            lanes::store<U64>(row + at, static_cast<U64>(op(from.vector(at)...)));
        }
        if (end > 0) put(last);
    }
}

/// Copies rows from right to left: each vector is made before the one to its right is stored.
template <class Rows>
void copyBackwards(BitRows to, std::size_t rows, std::size_t length, Rows from) noexcept {
    const auto [end, first, last] = Ends(to, length);
    std::uint8_t* row = to.first.byte;
    for (std::size_t i = 0; i < rows; ++i, row += to.stride, from.next()) {
        U64 made = from.part(end);
        for (std::ptrdiff_t at = end; at > 0; at -= vectorBytes) {
            const std::ptrdiff_t left = at - vectorBytes;
            const U64 next = left > 0 ? from.vector(left) : from.part(0);
            if (at == end) {
                last.put(row, made);
            } else {
                lanes::store<U64>(row + at, made);
            }
            made = next;
        }
        first.put(row, made);
    }
}

} // namespace bit_blocks

#endif

/// Writes rows of `length` bits, each `op` of the sources' bits, row after row and each as combineBits does; a row may
/// be read as a whole before it is written.
template <class Op, class... Rows>
void combineBitRows(BitRows to, std::size_t rows, std::size_t length, Op op, Rows... from) noexcept {
    if (length == 0) return;
#if defined(__AVX512BW__)
    if (rows > 1) {
        const bool alike = ((from.first.offset == to.first.offset) && ...);
        if (alike) {
            bit_blocks::combineRows(to, rows, length, op, bit_blocks::Source<false>(from, to, length)...);
        } else {
            bit_blocks::combineRows(to, rows, length, op, bit_blocks::Source<true>(from, to, length)...);
        }
        return;
    }
#endif
    for (std::size_t i = 0; i < rows; ++i) combineBits(to.row(i), length, op, from.row(i)...);
}

/// Sets rows of `length` bits to one value.
void setBitRows(BitRows to, std::size_t rows, unsigned length, bool value) noexcept;
/// Copies rows of `length` bits, each as orv_bit_memcpy does.
void copyBitRows(BitRows to, BitRows from, std::size_t rows, unsigned length) noexcept;
/// Copies rows of `length` bits of which all may overlap, as if they had been copied aside before. Both
/// are of one image.
void moveBitRows(BitRows to, BitRows from, std::size_t rows, unsigned length) noexcept;

} // namespace orvi
