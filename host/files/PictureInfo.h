// What a picture file says of its picture, beside the samples.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/Image.h"

namespace orv::files {

enum class Format { png, tiff, jpeg, pnm, npy };

ORV_API std::string_view nameOf(Format format) noexcept;
ORV_API std::optional<Format> formatNamed(std::string_view name) noexcept;
std::optional<Encoding> encodingOfName(std::string_view name) noexcept;
/// The format that a file name's ending stands for.
ORV_API std::optional<Format> formatOfName(std::string_view path) noexcept;

/// Size, sample type and meaning of a picture. `bits` are those of a sample in the file.
struct PictureInfo {
    Format format = Format::png;
    unsigned width = 0;
    unsigned height = 0;
    unsigned bands = 1;
    OrvDataType type = ORV_BYTE;
    Encoding encoding = Encoding::gray;
    ColourOrder order = ColourOrder::bgr; ///< in memory; files hold R, G, B
    Sixteen sixteen = Sixteen::number;
    unsigned bits = 8;
    Resolution dpi;
    std::vector<std::uint8_t> icc;
    std::vector<PaletteEntry> palette;
    int orientation = 1; ///< as EXIF counts: 1 upright, 2 to 8 the seven flips and turns
    std::string compression;
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
