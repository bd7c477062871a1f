// Rows of bits combined by whole words, whatever bits they start at.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "memory/frame/Raster.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"

namespace orvi {

/// The bits of a row from any place on, read in units of bytes. A unit of bytes is made from the bytes where it starts
/// and the same number one byte further, each lane shifted within its bytes: this needs no byte order, and reads no
/// byte beyond the unit's last bit.
class BitSource {
public:
    BitSource(const std::uint8_t* byte, std::size_t position) noexcept
        : byte_(byte + (position >> 3)), shift_(static_cast<unsigned>(position & 7)) {}

    bool aligned() const noexcept { return shift_ == 0; }

    /// The unit W (bytes, words, vectors of words) that starts `at` bytes on.
    template <class W>
    W unit(std::size_t at) const noexcept {
        const W high = lanes::load<W>(byte_ + at);
        const W low = lanes::load<W>(byte_ + at + (shift_ != 0 ? 1 : 0));
        return static_cast<W>((static_cast<W>(high << shift_) & lanes::everyByte<W>(0xffU << shift_)) |
                              (static_cast<W>(low >> (8 - shift_)) & lanes::everyByte<W>(0xffU >> (8 - shift_))));
    }
    template <class W>
    W alignedUnit(std::size_t at) const noexcept {
        return lanes::load<W>(byte_ + at);
    }

    /// Up to 8 bits that start `at` bytes on, at the top of a byte; what follows them in it is unset.
    unsigned bits(std::size_t at, unsigned count) const noexcept {
        unsigned value = unsigned{byte_[at]} << shift_;
        if (shift_ + count > 8) value |= unsigned{byte_[at + 1]} >> (8 - shift_);
        return value & 0xff;
    }

private:
    const std::uint8_t* byte_;
    unsigned shift_;
};

namespace bit_rows {

/// Writes the top `count` bits of a byte from bit `offset` of `*to` on.
inline void mergeBits(std::uint8_t* to, unsigned offset, unsigned count, unsigned value) noexcept {
    const unsigned mask = (0xffU >> offset) & ~(0xffU >> (offset + count));
    *to = static_cast<std::uint8_t>((*to & ~mask) | ((value >> offset) & mask));
}

template <class W, bool Aligned, class Op, class... Sources>
std::size_t combineUnits(std::uint8_t* to, std::size_t from, std::size_t bytes, Op op,
                         const Sources&... sources) noexcept {
    std::size_t at = from;
    for (; at + sizeof(W) <= bytes; at += sizeof(W)) {
        if constexpr (Aligned) {
            lanes::store<W>(to + at, static_cast<W>(op(sources.template alignedUnit<W>(at)...)));
        } else {
            lanes::store<W>(to + at, static_cast<W>(op(sources.template unit<W>(at)...)));
        }
    }
    return at;
}

template <bool Aligned, class Op, class... Sources>
void combineBytes(std::uint8_t* to, std::size_t bytes, Op op, const Sources&... sources) noexcept {
    std::size_t at = combineUnits<lanes::U64, Aligned>(to, 0, bytes, op, sources...);
    at = combineUnits<std::uint64_t, Aligned>(to, at, bytes, op, sources...);
    combineUnits<std::uint8_t, Aligned>(to, at, bytes, op, sources...);
}

} // namespace bit_rows

/// Writes `length` bits, each `op` of the sources' bits; `op` is given bytes, words and vectors of words, and combines
/// bit by bit. Works from left to right: a source may be the destination itself, or lie to its right.
template <class Op, class... Positions>
void combineBits(BitPosition to, std::size_t length, Op op, Positions... from) noexcept {
    if (length == 0) return;
    const unsigned head = static_cast<unsigned>(std::min<std::size_t>(length, (8 - to.offset) & 7));
    if (head != 0) {
        bit_rows::mergeBits(to.byte, to.offset, head,
                            static_cast<std::uint8_t>(
                                op(static_cast<std::uint8_t>(BitSource(from.byte, from.offset).bits(0, head))...)));
        ++to.byte;
    }
    const std::size_t bytes = (length - head) >> 3;
    const unsigned tail = static_cast<unsigned>((length - head) & 7);
    const auto body = [&](const auto&... sources) {
        if ((sources.aligned() && ...)) {
            bit_rows::combineBytes<true>(to.byte, bytes, op, sources...);
        } else {
            bit_rows::combineBytes<false>(to.byte, bytes, op, sources...);
        }
        if (tail == 0) return;
        bit_rows::mergeBits(to.byte + bytes, 0, tail,
                            static_cast<std::uint8_t>(op(static_cast<std::uint8_t>(sources.bits(bytes, tail))...)));
    };
    body(BitSource(from.byte, from.offset + head)...);
}

} // namespace orvi
