// One colour of a colormap.
#pragma once

#include <cstdint>

/// Four bytes: byte 0 is 0, bytes 1 to 3 are the components in the order in which the colormap gives them.
struct ColorValue {
    std::uint8_t bytes[4] = {};

    constexpr ColorValue() noexcept = default;
    constexpr ColorValue(std::uint8_t c0, std::uint8_t c1, std::uint8_t c2) noexcept : bytes{0, c0, c1, c2} {}
    bool operator==(const ColorValue&) const noexcept = default;
};
