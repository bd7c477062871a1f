// Where the samples of an image lie in memory.
#pragma once

#include <cstdint>

/// The storage record of an image, a union by the image's data type. Strides lead from a pixel to its neighbour; they
/// are counted in samples but for BIT, whose strides are bytes. A child image's record points into its parent's
/// samples.
union OrvMemoryStorage {
    /// BYTE: sample (column c, row r, band b) is data[r * scanline_stride + c * pixel_stride + b].
    struct Byte {
        std::uint8_t* data;
        std::uint32_t scanline_stride;
        std::uint16_t pixel_stride;
    } byte;

    /// SHORT: addressed as BYTE, in units of 16 bits.
    struct Short {
        std::int16_t* data;
        std::uint32_t scanline_stride;
        std::uint16_t pixel_stride;
    } shorts;

    /// FLOAT: addressed as BYTE, in units of floats.
    struct Float {
        float* data;
        std::uint32_t scanline_stride;
        std::uint16_t pixel_stride;
    } floats;

    /// BIT: sample (c, r, b) is bit (c + offset) & 7, counted from the most significant, of the byte
    /// data[b * band_stride + r * scanline_stride + ((c + offset) >> 3)].
    struct Bit {
        std::uint8_t* data;
        std::uint16_t scanline_stride;
        std::uint32_t band_stride;
        std::uint8_t offset;
    } bit;
};
