// What a picture file says of its picture, beside the samples.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/device/OrvTypes.h"

namespace orv::files {

enum class Format { png, tiff, jpeg, pnm, npy };

/// What the bands of a picture mean. Colours of `rgb` and `rgba` lie B, G, R in memory; every other space keeps its
/// order.
enum class Encoding {
    gray,
    grayAlpha,
    rgb,
    rgba,
    palette,
    cmyk,
    cmy,
    rgbLinear,
    photoYcc,
    ycc601,
    ycc709,
    yLinear,
    y601,
    y709,
    other,
};

/// The name of an encoding as people write it: "gray", "rgb", "ycc601".
ORV_API std::string_view nameOf(Encoding encoding) noexcept;
ORV_API std::optional<Encoding> encodingNamed(std::string_view name) noexcept;
ORV_API std::string_view nameOf(Format format) noexcept;
ORV_API std::optional<Format> formatNamed(std::string_view name) noexcept;
/// The format that a file name's ending stands for.
ORV_API std::optional<Format> formatOfName(std::string_view path) noexcept;

/// A colour of a palette, with its opacity.
struct PaletteEntry {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 255;
    bool operator==(const PaletteEntry&) const = default;
};

/// Dots per inch, across and down; 0 where the file does not tell.
struct Resolution {
    double x = 0;
    double y = 0;
    bool operator==(const Resolution&) const = default;
};

/// How 16-bit samples of a file become SHORT samples.
enum class Sixteen {
    number,  ///< the values themselves
    shifted, ///< an unsigned picture, less 32768
    half,    ///< an unsigned picture, halved
    raw      ///< the bits of unsigned samples, taken as signed ones
};

/// Size, sample type and meaning of a picture. `bits` are those of a sample in the file.
struct PictureInfo {
    Format format = Format::png;
    unsigned width = 0;
    unsigned height = 0;
    unsigned bands = 1;
    OrvDataType type = ORV_BYTE;
    Encoding encoding = Encoding::gray;
    Sixteen sixteen = Sixteen::number;
    unsigned bits = 8;
    Resolution dpi;
    std::vector<std::uint8_t> icc;
    std::vector<PaletteEntry> palette;
    int orientation = 1; ///< as EXIF counts: 1 upright, 2 to 8 the seven flips and turns
    std::string compression;
};

/// Pixels in memory, as files fill them or take them. Strides are bytes; BIT has a bit offset of its first pixel and a
/// stride between planes, the others a stride between pixels.
struct Pixels {
    std::byte* data = nullptr;
    std::ptrdiff_t stride = 0;
    std::ptrdiff_t pixel = 0;
    std::ptrdiff_t bandStride = 0;
    unsigned offset = 0;
};

/// Every picture takes at least this much room in its row.
constexpr std::size_t rowBytes(const PictureInfo& info) noexcept {
    switch (info.type) {
    case ORV_BIT:
        return (std::size_t{info.width} + 7) / 8;
    case ORV_SHORT:
        return std::size_t{info.width} * info.bands * 2;
    case ORV_FLOAT:
        return std::size_t{info.width} * info.bands * 4;
    default:
        return std::size_t{info.width} * info.bands;
    }
}

} // namespace orv::files
