#include "memory/frame/bit_blocks.h"

#include <functional>

namespace orvi {

#if defined(__AVX512BW__)

namespace {

constexpr auto same = [](auto bits) noexcept { return bits; };

/// How far bits of `to` lie behind those of `from` in a row.
std::intptr_t distance(const BitRows& to, const BitRows& from) noexcept {
    return 8 * (reinterpret_cast<std::intptr_t>(to.first.byte) - reinterpret_cast<std::intptr_t>(from.first.byte)) +
           static_cast<std::intptr_t>(to.first.offset) - static_cast<std::intptr_t>(from.first.offset);
}

/// The bytes of rows, from the first to behind the last.
struct Reach {
    const std::uint8_t* first;
    const std::uint8_t* end;

    Reach(const BitRows& of, std::size_t rows, unsigned length) noexcept
        : first(std::min(of.first.byte, of.row(rows - 1).byte, std::less<>())),
          end(std::max(of.first.byte, of.row(rows - 1).byte, std::less<>()) + (of.first.offset + length + 7) / 8) {}

    bool overlaps(const Reach& other) const noexcept {
        const std::less<const std::uint8_t*> before;
        return before(first, other.end) && before(other.first, end);
    }
};

/// Whether rows can be copied from left to right by vectors: their bits do not overlap, or only those that are read
/// first.
bool copiesForwards(const BitRows& to, const BitRows& from, std::size_t rows, unsigned length) noexcept {
    if (!Reach(to, rows, length).overlaps(Reach(from, rows, length))) return true;
    if (to.stride != from.stride) return false;
    const std::intptr_t behind = distance(to, from);
    return behind <= 0 || behind >= static_cast<std::intptr_t>(length);
}

} // namespace

#endif

void setBitRows(BitRows to, std::size_t rows, unsigned length, bool value) noexcept {
#if defined(__AVX512BW__)
    if (rows > 1 && length > 0) {
        const bit_blocks::Constant fill{lanes::everyByte<lanes::U64>(value ? 0xff : 0)};
        return bit_blocks::combineRows(to, rows, length, same, fill);
    }
#endif
    for (std::size_t i = 0; i < rows; ++i) orv_bit_setvalue(to.row(i).byte, value, length, to.first.offset);
}

void copyBitRows(BitRows to, BitRows from, std::size_t rows, unsigned length) noexcept {
#if defined(__AVX512BW__)
    if (rows > 1 && length > 0 && copiesForwards(to, from, rows, length)) {
        return combineBitRows(to, rows, length, same, from);
    }
#endif
    for (std::size_t i = 0; i < rows; ++i) {
        const BitPosition d = to.row(i);
        const BitPosition s = from.row(i);
        orv_bit_memcpy(s.byte, d.byte, length, s.offset, d.offset);
    }
}

void moveBitRows([[maybe_unused]] BitRows to, [[maybe_unused]] BitRows from, [[maybe_unused]] std::size_t rows,
                 [[maybe_unused]] unsigned length) noexcept {
#if defined(__AVX512BW__)
    if (rows == 0 || length == 0) return;
    using Source = bit_blocks::Source<true>;
    if (distance(to, from) <= 0) return bit_blocks::combineRows(to, rows, length, same, Source(from, to, length));
    // From the last row up, unless each is read by itself alone.
    const std::ptrdiff_t end = to.first.byte - from.first.byte + (to.first.offset + length + 7) / 8;
    if (end > to.stride) {
        to = to.upwards(rows);
        from = from.upwards(rows);
    }
    bit_blocks::copyBackwards(to, rows, length, Source(from, to, length));
#endif
}

} // namespace orvi
