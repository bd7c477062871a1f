// An image as the pixel loops see it: its samples, strides and origin.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orv/device/OrvImage.h"

namespace orvi {

/// Data types as template arguments: BIT has no C++ type of its own.
struct Bit {};

template <class T>
inline constexpr OrvDataType dataTypeOf = ORV_BYTE;
template <>
inline constexpr OrvDataType dataTypeOf<Bit> = ORV_BIT;
template <>
inline constexpr OrvDataType dataTypeOf<std::int16_t> = ORV_SHORT;
template <>
inline constexpr OrvDataType dataTypeOf<float> = ORV_FLOAT;

/// A place in a row of bits: `offset` 0 to 7 counts from the most significant bit of `*byte`.
struct BitPosition {
    std::uint8_t* byte;
    unsigned offset;
};

/// The storage record of an image in one form for all data types, with its integer origin. Strides are bytes.
struct Raster {
    OrvImage* image = nullptr;
    OrvDataType type = ORV_BYTE;
    std::byte* data = nullptr;
    std::ptrdiff_t stride = 0;
    std::ptrdiff_t pixel = 0;      ///< 0 for BIT
    std::ptrdiff_t bandStride = 0; ///< BIT alone
    unsigned offset = 0;           ///< BIT alone
    unsigned bands = 0;
    long ox = 0;
    long oy = 0;

    /// Reads the record of an image as one of `type`; false where the image has no storage now.
    bool read(OrvImage* from, OrvDataType as) noexcept;

    /// Samples of a pixel given in the common space, where every image's origin is (0, 0).
    template <class T>
    T* at(long x, long y) const noexcept {
        return reinterpret_cast<T*>(data + (y + oy) * stride + (x + ox) * pixel);
    }

    /// The bit of a pixel of a BIT image, in the common space.
    BitPosition bit(long x, long y, unsigned band) const noexcept {
        const std::ptrdiff_t column = x + ox + static_cast<long>(offset);
        std::byte* byte = data + static_cast<std::ptrdiff_t>(band) * bandStride + (y + oy) * stride + (column >> 3);
        return {reinterpret_cast<std::uint8_t*>(byte), static_cast<unsigned>(column & 7)};
    }

    /// Strides in samples, for the loops that count so.
    template <class T>
    std::ptrdiff_t strideOf() const noexcept {
        return stride / static_cast<std::ptrdiff_t>(sizeof(T));
    }
    template <class T>
    std::ptrdiff_t pixelOf() const noexcept {
        return pixel / static_cast<std::ptrdiff_t>(sizeof(T));
    }
};

} // namespace orvi
