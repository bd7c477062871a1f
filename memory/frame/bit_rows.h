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

    /// The unit W (bytes, words, vectors of words) that starts `at` bytes on.
    template <class W>
    W unit(std::size_t at) const noexcept {
        const W high = lanes::load<W>(byte_ + at);
        const W low = lanes::load<W>(byte_ + at + (shift_ != 0 ? 1 : 0));
        return static_cast<W>((static_cast<W>(high << shift_) & lanes::everyByte<W>(0xffU << shift_)) |
                              (static_cast<W>(low >> (8 - shift_)) & lanes::everyByte<W>(0xffU >> (8 - shift_))));
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

/// The same where the bits begin with a byte.
class ByteSource {
public:
    explicit ByteSource(const std::uint8_t* byte) noexcept : byte_(byte) {}

    template <class W>
    W unit(std::size_t at) const noexcept {
        return lanes::load<W>(byte_ + at);
    }
    unsigned bits(std::size_t at, unsigned) const noexcept { return byte_[at]; }

private:
    const std::uint8_t* byte_;
};

namespace bit_rows {

/// Writes the top `count` bits of a byte from bit `offset` of `*to` on.
inline void mergeBits(std::uint8_t* to, unsigned offset, unsigned count, unsigned value) noexcept {
    const unsigned mask = (0xffU >> offset) & ~(0xffU >> (offset + count));
    *to = static_cast<std::uint8_t>((*to & ~mask) | ((value >> offset) & mask));
}

template <std::size_t Bytes>
struct Unit {
    using type [[gnu::vector_size(Bytes)]] = std::uint64_t;
};
template <>
struct Unit<8> {
    using type = std::uint64_t;
};
template <>
struct Unit<4> {
    using type = std::uint32_t;
};
template <>
struct Unit<2> {
    using type = std::uint16_t;
};
template <>
struct Unit<1> {
    using type = std::uint8_t;
};

/// Whole bytes, unit after unit: widths in their order, each as often as it fits.
template <class... Widths, class Op, class... Sources>
void combineInTurn(std::uint8_t* to, std::size_t bytes, Op op, const Sources&... sources) noexcept {
    std::size_t at = 0;
    const auto units = [&]<class W>(W) {
        for (; at + sizeof(W) <= bytes; at += sizeof(W)) {
            lanes::store<W>(to + at, static_cast<W>(op(sources.template unit<W>(at)...)));
        }
    };
    (units(Widths{}), ...);
}

/// Whole bytes, in the widest units of which one fits. The last unit overlaps the one before it where no whole number
/// of them fits: it is made first, since a source may be the destination.
template <std::size_t Width, class Op, class... Sources>
void combineBytes(std::uint8_t* to, std::size_t bytes, Op op, const Sources&... sources) noexcept {
    using W = typename Unit<Width>::type;
    if (bytes >= Width) {
        const auto unit = [&](std::size_t at) { return static_cast<W>(op(sources.template unit<W>(at)...)); };
        const std::size_t end = bytes - Width;
        const W last = unit(end);
        for (std::size_t at = 0; at < end; at += Width) lanes::store<W>(to + at, unit(at));
        lanes::store<W>(to + end, last);
    } else if constexpr (Width > 1) {
        combineBytes<Width / 2>(to, bytes, op, sources...);
    }
}

/// Calls `body` with the source of each place.
template <class Body>
void withSources(const Body& body) noexcept {
    body();
}
template <class Body, class... Positions>
void withSources(const Body& body, BitPosition first, Positions... others) noexcept {
    if (first.offset % 8 == 0) {
        const ByteSource source(first.byte + first.offset / 8);
        withSources([&](const auto&... rest) { body(source, rest...); }, others...);
    } else {
        const BitSource source(first.byte, first.offset);
        withSources([&](const auto&... rest) { body(source, rest...); }, others...);
    }
}

} // namespace bit_rows

/// Writes `length` bits, each `op` of the sources' bits; `op` is given bytes, words and vectors of words, and combines
/// bit by bit. Works from left to right: a source may be the destination itself, or lie to its right. More than a few
/// sources are windows of one image, which may be the destination too: then a unit sees what those to its left have
/// become, so units go in turn, from wide to narrow, none twice.
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
    constexpr bool apart = sizeof...(Positions) <= 3;
    const auto body = [&](const auto&... sources) {
        if constexpr (apart) {
            bit_rows::combineBytes<lanes::vectorBytes>(to.byte, bytes, op, sources...);
        } else {
            bit_rows::combineInTurn<lanes::U64, std::uint64_t, std::uint8_t>(to.byte, bytes, op, sources...);
        }
        if (tail == 0) return;
        bit_rows::mergeBits(to.byte + bytes, 0, tail,
                            static_cast<std::uint8_t>(op(static_cast<std::uint8_t>(sources.bits(bytes, tail))...)));
    };
    if constexpr (apart) {
        bit_rows::withSources(body, BitPosition{from.byte, from.offset + head}...);
    } else {
        body(BitSource(from.byte, from.offset + head)...);
    }
}

} // namespace orvi
