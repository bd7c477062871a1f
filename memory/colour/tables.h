// The constant tables of the transfer function, computed by the compiler, and the fixed-point tables of photoycc.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "memory/colour/transfer.h"
#include "orv/device/OrvTypes.h"

inline constexpr std::size_t orvNonlinearKeys = 6000;

/// Linear to nonlinear, indexed by the key of a float less 1176. No conversion reads it: it is there for hosts.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that hosts know it by
extern const ORV_API std::array<unsigned char, orvNonlinearKeys> _L2NLtable;

namespace orvi::colour {

/// A normalised value as a byte, to the nearest.
constexpr std::uint8_t nearestByte(double v) noexcept {
    constexpr double half = 0.5;
    return static_cast<std::uint8_t>(std::clamp(v, 0.0, 1.0) * Scale<std::uint8_t>::full + half);
}

/// A table whose entry i is `of(i)`, as a byte.
template <std::size_t Size, class Of>
constexpr std::array<std::uint8_t, Size> byteTable(Of of) noexcept {
    std::array<std::uint8_t, Size> table{};
    for (std::size_t i = 0; i < Size; ++i) table[i] = nearestByte(of(static_cast<int>(i)));
    return table;
}

inline constexpr std::size_t byteLevels = 256;

constexpr double levelOf(int i) noexcept { return static_cast<double>(i) / Scale<std::uint8_t>::full; }

/// Linear to nonlinear and back, byte to byte.
inline constexpr auto nonlinearBytes = byteTable<byteLevels>([](int i) { return transfer(levelOf(i)); });
inline constexpr auto linearBytes = byteTable<byteLevels>([](int i) { return inverseTransfer(levelOf(i)); });

// A float's key: ten mantissa bits and the three low exponent bits, enough to tell the values from 0.081 to about 1.008
// apart.

inline constexpr std::uint32_t keyMask = 0x3ffe000;
inline constexpr int keyShift = 13;

/// A value from 2 up has the key of a small one, as intended.
[[gnu::always_inline]] constexpr int keyOf(float v) noexcept {
    return static_cast<int>((std::bit_cast<std::uint32_t>(v) & keyMask) >> keyShift);
}

/// The smallest float of a key; `rest` are the mantissa bits that the key drops.
constexpr float floatOfKey(int key, std::uint32_t rest) noexcept {
    constexpr std::uint32_t highExponentBits = 0x78U << 23;
    return std::bit_cast<float>(highExponentBits | (static_cast<std::uint32_t>(key) << keyShift) | rest);
}

inline constexpr int firstLinearKey = 0xd2b;
inline constexpr int lastLinearKey = 0x1c08;

/// Nonlinear to linear, indexed by the key less the first.
inline constexpr auto linearByKey = byteTable<lastLinearKey - firstLinearKey + 1>(
    [](int i) { return inverseTransfer(floatOfKey(firstLinearKey + i, 0)); });

inline constexpr std::size_t floatKeys = (keyMask >> keyShift) + 1;

/// The same for every key there is: those below the first and above the last have theirs. Without a clamp, and as
/// integers, lanes can gather from it.
inline constexpr auto linearByAnyKey = [] {
    std::array<int, floatKeys> table{};
    for (std::size_t key = 0; key < floatKeys; ++key) {
        const int clamped = std::clamp(static_cast<int>(key), firstLinearKey, lastLinearKey);
        table[key] = linearByKey[static_cast<std::size_t>(clamped - firstLinearKey)];
    }
    return table;
}();

// photoycc to rgb709 in 12-bit fixed point, a table for each part that a band adds.

enum PhotoPart : int { photoY, photoYCb, photoYCr, photoCb, photoCr, photoParts };

/// The entries of a part are a line, so that rows can compute them: lanes multiply faster than they gather.
struct PhotoLine {
    std::int32_t offset;
    std::int32_t slope;
    template <class V>
    [[gnu::always_inline]] constexpr V at(V i) const noexcept {
        return offset + slope * i;
    }
};
inline constexpr PhotoLine photoLines[photoParts] = {
    {0, 5743}, {283754, -1819}, {536971, -3919}, {-1462647, 9376}, {-1054953, 7700}};

/// Null until the first conversion; 256 entries each.
extern std::int32_t* photoTables[photoParts];

/// Makes the five photo tables, each in a block of its own; false where memory could not be had.
bool orviCSlut() noexcept;

} // namespace orvi::colour
