// TIFF by libtiff.

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <tiffio.h>
#include <unistd.h>

#include "files/Codec.h"

namespace orv::files {

namespace {

constexpr std::string_view encodingNote = "orv encoding ";
constexpr double centimetresPerInch = 2.54;
constexpr unsigned mostBands = 64;
/// Pixels of a tile that no reader minds.
constexpr std::uint64_t usualTile = std::uint64_t{1} << 22;

/// The last complaint of libtiff, which keeps its handlers for the whole process.
thread_local std::string complaint;

void onError(const char*, const char* format, va_list arguments) {
    char text[240];
    std::vsnprintf(text, sizeof text, format, arguments);
    complaint = text;
}

struct CloseTiff {
    void operator()(TIFF* tiff) const noexcept { TIFFClose(tiff); }
};
using TiffHandle = std::unique_ptr<TIFF, CloseTiff>;

TiffHandle openTiffFile(std::FILE* file, const char* mode) {
    TIFFSetErrorHandler(onError);
    TIFFSetWarningHandler(nullptr);
    complaint.clear();
    // libtiff closes its descriptor, and the file keeps its own. What cannot be opened is left to the caller to close.
    const int descriptor = dup(fileno(file));
    TiffHandle tiff(TIFFFdOpen(descriptor, "picture", mode));
    if (!tiff && descriptor >= 0) close(descriptor);
    return tiff;
}

struct CompressionName {
    std::string_view name;
    std::uint16_t tag;
};
constexpr CompressionName compressions[] = {
    {"none", COMPRESSION_NONE},         {"lzw", COMPRESSION_LZW},      {"deflate", COMPRESSION_ADOBE_DEFLATE},
    {"packbits", COMPRESSION_PACKBITS}, {"g4", COMPRESSION_CCITTFAX4},
};

class TiffReader final : public Reader {
public:
    TiffReader(FileHandle file, std::string path, const ReadOptions& options)
        : file_(std::move(file)), path_(std::move(path)), options_(options), tiff_(openTiffFile(file_.get(), "r")) {
        if (!tiff_) refuse("it is damaged");
        readHead();
    }

    void decode(const Pixels& pixels) override {
        RowStore store(info_, pixels, path_, unsigned_);
        if (TIFFIsTiled(tiff_.get()) != 0) {
            readTiles(store);
        } else {
            readRows(store);
        }
    }

private:
    [[noreturn]] void refuse(const std::string& fallback) const {
        refuseToRead(path_, complaint.empty() ? fallback : complaint);
    }

    template <class Value>
    Value tag(ttag_t name) const {
        Value value{};
        TIFFGetFieldDefaulted(tiff_.get(), name, &value);
        return value;
    }

    void readHead() {
        info_.format = Format::tiff;
        info_.width = tag<std::uint32_t>(TIFFTAG_IMAGEWIDTH);
        info_.height = tag<std::uint32_t>(TIFFTAG_IMAGELENGTH);
        checkSize(path_, info_.width, info_.height, options_);
        info_.bits = tag<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
        info_.bands = tag<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
        if (info_.bands == 0 || info_.bands > mostBands)
            refuseToRead(path_, fmt::format("it has {} bands (1 to {} are read)", info_.bands, mostBands));
        planar_ = tag<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE && info_.bands > 1;
        setType();
        setEncoding();
        setMetadata();
        // What does not fit the file cannot be there: rows are checked before memory is taken for them.
        const auto line = static_cast<std::size_t>(TIFFScanlineSize64(tiff_.get()));
        if (TIFFIsTiled(tiff_.get()) == 0 && line < fileRowBytes()) refuse("its rows are too short");
    }

    void setType() {
        const auto format = tag<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
        if (format == SAMPLEFORMAT_IEEEFP) return setFloats();
        switch (info_.bits) {
        case 1:
            info_.type = ORV_BIT;
            return;
        case 2:
        case 4:
            if (info_.bands == 1) {
                info_.type = ORV_BYTE;
                return;
            }
            break;
        case 8:
            info_.type = ORV_BYTE;
            return;
        case 16:
            info_.type = ORV_SHORT;
            unsigned_ = format != SAMPLEFORMAT_INT;
            info_.sixteen = unsigned_ ? options_.sixteen : Sixteen::number;
            return;
        default:
            break;
        }
        refuseToRead(path_, fmt::format("it has samples of {} bits (1, 8 and 16 are read)", info_.bits));
    }

    void setFloats() {
        if (!options_.floats)
            refuseToRead(path_, "it holds floating-point samples; map them to integers first (--map LOW:HIGH)");
        if (info_.bits != 32 && info_.bits != 64)
            refuseToRead(path_,
                         fmt::format("it has floating-point samples of {} bits (32 and 64 are read)", info_.bits));
        info_.type = ORV_SHORT;
        floats_ = true;
        unsigned_ = true;
        info_.sixteen = options_.sixteen;
    }

    void setEncoding() {
        std::uint16_t meaning = PHOTOMETRIC_MINISBLACK;
        TIFFGetField(tiff_.get(), TIFFTAG_PHOTOMETRIC, &meaning);
        std::uint16_t extras = 0;
        std::uint16_t* kinds = nullptr;
        TIFFGetFieldDefaulted(tiff_.get(), TIFFTAG_EXTRASAMPLES, &extras, &kinds);
        const bool alpha = extras > 0 && kinds != nullptr && kinds[0] != EXTRASAMPLE_UNSPECIFIED;
        info_.encoding = Encoding::other;
        switch (meaning) {
        case PHOTOMETRIC_MINISWHITE:
            inverted_ = !(info_.type == ORV_BIT && options_.rawPolarity);
            [[fallthrough]];
        case PHOTOMETRIC_MINISBLACK:
            if (info_.bands == 1) info_.encoding = Encoding::gray;
            if (info_.bands == 2 && alpha) info_.encoding = Encoding::grayAlpha;
            break;
        case PHOTOMETRIC_RGB:
            if (info_.bands == 3) info_.encoding = Encoding::rgb;
            if (info_.bands == 4) info_.encoding = alpha ? Encoding::rgba : Encoding::other;
            break;
        case PHOTOMETRIC_SEPARATED:
            if (info_.bands == 4) info_.encoding = Encoding::cmyk;
            if (info_.bands == 3) info_.encoding = Encoding::cmy;
            break;
        case PHOTOMETRIC_YCBCR:
            if (tag<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_JPEG) {
                TIFFSetField(tiff_.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
                info_.encoding = Encoding::rgb;
            } else {
                info_.encoding = Encoding::ycc601;
                std::uint16_t across = 1;
                std::uint16_t down = 1;
                TIFFGetFieldDefaulted(tiff_.get(), TIFFTAG_YCBCRSUBSAMPLING, &across, &down);
                if (across != 1 || down != 1)
                    refuseToRead(path_, "its colours are stored at a lower resolution than its luma");
            }
            break;
        case PHOTOMETRIC_PALETTE:
            takePalette();
            break;
        default:
            break;
        }
        takeEncodingNote();
    }

    void takePalette() {
        std::uint16_t* red = nullptr;
        std::uint16_t* green = nullptr;
        std::uint16_t* blue = nullptr;
        if (info_.bands != 1 || info_.bits > 8 ||
            TIFFGetField(tiff_.get(), TIFFTAG_COLORMAP, &red, &green, &blue) == 0) {
            refuse("its palette is damaged");
        }
        info_.type = ORV_BYTE;
        info_.encoding = Encoding::palette;
        const unsigned count = 1U << info_.bits;
        // Old programs wrote 8-bit values where 16-bit ones belong.
        const auto wide = [count](const std::uint16_t* v) {
            return std::any_of(v, v + count, [](auto x) { return x > 255; });
        };
        const int shift = wide(red) || wide(green) || wide(blue) ? 8 : 0;
        for (unsigned i = 0; i < count; ++i) {
            info_.palette.push_back({static_cast<std::uint8_t>(red[i] >> shift),
                                     static_cast<std::uint8_t>(green[i] >> shift),
                                     static_cast<std::uint8_t>(blue[i] >> shift), 255});
        }
    }

    void takeEncodingNote() {
        char* note = nullptr;
        if (TIFFGetField(tiff_.get(), TIFFTAG_IMAGEDESCRIPTION, &note) == 0 || note == nullptr) return;
        const std::string_view text(note);
        if (!text.starts_with(encodingNote)) return;
        if (const auto encoding = encodingOfName(text.substr(encodingNote.size()))) info_.encoding = *encoding;
    }

    void setMetadata() {
        float x = 0;
        float y = 0;
        if (TIFFGetField(tiff_.get(), TIFFTAG_XRESOLUTION, &x) != 0 &&
            TIFFGetField(tiff_.get(), TIFFTAG_YRESOLUTION, &y) != 0) {
            const auto unit = tag<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT);
            const double scale = unit == RESUNIT_CENTIMETER ? centimetresPerInch : 1.0;
            if (unit != RESUNIT_NONE && x > 0 && y > 0) info_.dpi = {x * scale, y * scale};
        }
        std::uint32_t bytes = 0;
        const std::uint8_t* profile = nullptr;
        if (TIFFGetField(tiff_.get(), TIFFTAG_ICCPROFILE, &bytes, &profile) != 0)
            info_.icc.assign(profile, profile + bytes);
        std::uint16_t orientation = 1;
        TIFFGetField(tiff_.get(), TIFFTAG_ORIENTATION, &orientation);
        if (orientation >= 1 && orientation <= 8) info_.orientation = orientation;
        const auto compression = tag<std::uint16_t>(TIFFTAG_COMPRESSION);
        const auto* named = std::ranges::find(compressions, compression, &CompressionName::tag);
        info_.compression = named != std::end(compressions) ? std::string(named->name) : fmt::format("{}", compression);
        if (TIFFIsCODECConfigured(compression) == 0) {
            refuseToRead(path_, fmt::format("its compression ({}) is not supported", compression));
        }
    }

    /// Bytes of a row of the file: of one plane where the planes lie apart.
    std::size_t fileRowBytes() const noexcept {
        const std::size_t samples = std::size_t{info_.width} * (planar_ ? 1 : info_.bands);
        return (samples * info_.bits + 7) / 8;
    }

    void readRows(RowStore& store) {
        std::vector<std::byte> row(
            std::max<std::size_t>(static_cast<std::size_t>(TIFFScanlineSize64(tiff_.get())), fileRowBytes()));
        if (!planar_) {
            for (unsigned y = 0; y < info_.height; ++y) {
                if (TIFFReadScanline(tiff_.get(), row.data(), y, 0) < 0) refuse("it is cut short");
                putInterleaved(store, y, row.data());
            }
            return;
        }
        if (info_.type == ORV_BIT) {
            for (unsigned band = 0; band < info_.bands; ++band) {
                for (unsigned y = 0; y < info_.height; ++y) {
                    if (TIFFReadScanline(tiff_.get(), row.data(), y, static_cast<std::uint16_t>(band)) < 0)
                        refuse("it is cut short");
                    putPlane(store, y, row.data(), band);
                }
            }
            return;
        }
        // Planes of the other types become the bands of pixels, and scanlines must be read in order within a plane.
        const std::size_t plane = fileRowBytes() * info_.height;
        std::vector<std::byte> planes(plane * info_.bands);
        for (unsigned band = 0; band < info_.bands; ++band) {
            for (unsigned y = 0; y < info_.height; ++y) {
                if (TIFFReadScanline(tiff_.get(), row.data(), y, static_cast<std::uint16_t>(band)) < 0)
                    refuse("it is cut short");
                std::memcpy(planes.data() + band * plane + y * fileRowBytes(), row.data(), fileRowBytes());
            }
        }
        for (unsigned y = 0; y < info_.height; ++y) putJoined(store, y, planes.data() + y * fileRowBytes(), plane);
    }

    void readTiles(RowStore& store) {
        const auto tileWidth = tag<std::uint32_t>(TIFFTAG_TILEWIDTH);
        const auto tileHeight = tag<std::uint32_t>(TIFFTAG_TILELENGTH);
        if (tileWidth == 0 || tileHeight == 0) refuse("its tiles have no pixels");
        // A tile may be larger than the picture, but no small picture may ask for memory without end.
        if (tileWidth > std::max(options_.maxPixels, usualTile) / tileHeight)
            refuseToRead(path_, fmt::format("its tiles of {} x {} pixels are too large", tileWidth, tileHeight));
        const unsigned planes = planar_ ? info_.bands : 1;
        const std::size_t pixelBits = std::size_t{info_.bits} * (planar_ ? 1 : info_.bands);
        const auto tileRow = static_cast<std::size_t>(TIFFTileRowSize64(tiff_.get()));
        if (tileRow * 8 < pixelBits * std::min(tileWidth, info_.width)) refuse("its tiles are too small");
        const auto tileBytes = static_cast<std::size_t>(TIFFTileSize64(tiff_.get()));
        if (tileBytes / tileHeight < tileRow || tileBytes > (std::size_t{1} << 31)) refuse("its tiles are damaged");
        std::vector<std::byte> tile(tileBytes);
        // A band of tiles is put together before its rows are stored.
        const std::size_t rowSize = (std::size_t{info_.width} + tileWidth) * pixelBits / 8 + 8;
        const unsigned rows = std::min(tileHeight, info_.height);
        std::vector<std::byte> band(rowSize * rows * planes);
        for (unsigned top = 0; top < info_.height; top += tileHeight) {
            const unsigned count = std::min(tileHeight, info_.height - top);
            for (unsigned plane = 0; plane < planes; ++plane) {
                std::byte* start = band.data() + rowSize * rows * plane;
                for (unsigned left = 0; left < info_.width; left += tileWidth) {
                    if (TIFFReadTile(tiff_.get(), tile.data(), left, top, 0, static_cast<std::uint16_t>(plane)) < 0)
                        refuse("it is cut short");
                    const std::size_t at = left * pixelBits / 8;
                    const std::size_t wanted =
                        (std::min<std::size_t>(tileWidth, info_.width - left) * pixelBits + 7) / 8;
                    for (unsigned y = 0; y < count; ++y)
                        std::memcpy(start + y * rowSize + at, tile.data() + y * tileRow, wanted);
                }
            }
            for (unsigned y = 0; y < count; ++y) storeTiled(store, top + y, band.data() + y * rowSize, rowSize * rows);
        }
    }

    void storeTiled(RowStore& store, unsigned y, std::byte* row, std::size_t plane) {
        if (!planar_) return putInterleaved(store, y, row);
        if (info_.type != ORV_BIT) return putJoined(store, y, row, plane);
        for (unsigned band = 0; band < info_.bands; ++band) putPlane(store, y, row + band * plane, band);
    }

    void putPlane(RowStore& store, unsigned y, std::byte* bits, unsigned band) {
        if (inverted_) invertBits(bits, fileRowBytes());
        store.put(y, bits, band);
    }

    /// Stores a row whose bands lie in planes.
    void putJoined(RowStore& store, unsigned y, const std::byte* first, std::size_t plane) {
        const std::size_t size = info_.bits / 8;
        std::vector<std::byte> row(info_.width * info_.bands * size);
        for (std::size_t x = 0; x < info_.width; ++x) {
            for (unsigned band = 0; band < info_.bands; ++band) {
                std::memcpy(row.data() + (x * info_.bands + band) * size, first + band * plane + x * size, size);
            }
        }
        finish(store, y, row.data());
    }

    void putInterleaved(RowStore& store, unsigned y, std::byte* row) {
        if (info_.type == ORV_BIT) {
            if (info_.bands == 1) return putPlane(store, y, row, 0);
            return putSplitBits(store, y, row);
        }
        if (info_.bits == 8 || info_.bits == 16 || floats_) return finish(store, y, row);
        std::vector<std::byte> wide(info_.width);
        const auto* packed = reinterpret_cast<const std::uint8_t*>(row);
        const unsigned top = (1U << info_.bits) - 1;
        for (unsigned x = 0; x < info_.width; ++x) {
            const unsigned place = x * info_.bits;
            const unsigned value = (packed[place >> 3] >> (8 - info_.bits - (place & 7))) & top;
            wide[x] = static_cast<std::byte>(info_.encoding == Encoding::palette ? value : value * 255 / top);
        }
        finish(store, y, wide.data());
    }

    void putSplitBits(RowStore& store, unsigned y, const std::byte* row) {
        const auto* bits = reinterpret_cast<const std::uint8_t*>(row);
        std::vector<std::byte> plane(rowBytes(info_));
        for (unsigned band = 0; band < info_.bands; ++band) {
            std::ranges::fill(plane, std::byte{0});
            for (unsigned x = 0; x < info_.width; ++x) {
                const std::size_t place = std::size_t{x} * info_.bands + band;
                const unsigned bit = (bits[place >> 3] >> (7 - (place & 7))) & 1U;
                plane[x >> 3] |= static_cast<std::byte>(bit << (7 - (x & 7)));
            }
            if (inverted_) invertBits(plane.data(), plane.size());
            store.put(y, plane.data(), band);
        }
    }

    void finish(RowStore& store, unsigned y, std::byte* row) {
        if (floats_) mapFloats(row, std::size_t{info_.width} * info_.bands, info_.bits / 8, *options_.floats);
        if (inverted_) invertBits(row, rowBytes(info_));
        store.put(y, row);
    }

    FileHandle file_;
    std::string path_;
    ReadOptions options_;
    TiffHandle tiff_;
    bool planar_ = false;
    bool inverted_ = false;
    bool unsigned_ = false;
    bool floats_ = false;
};

std::uint16_t meaningOf(const PictureInfo& info, bool whiteIsZero) noexcept {
    if (whiteIsZero) return PHOTOMETRIC_MINISWHITE;
    switch (info.encoding) {
    case Encoding::rgb:
    case Encoding::rgba:
    case Encoding::rgbLinear:
        return info.bands >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    case Encoding::cmyk:
    case Encoding::cmy:
        return info.bands >= 3 ? PHOTOMETRIC_SEPARATED : PHOTOMETRIC_MINISBLACK;
    case Encoding::palette:
        return info.type == ORV_BYTE && info.bands == 1 ? PHOTOMETRIC_PALETTE : PHOTOMETRIC_MINISBLACK;
    default:
        return PHOTOMETRIC_MINISBLACK;
    }
}

unsigned coloursOf(std::uint16_t meaning, const PictureInfo& info) noexcept {
    switch (meaning) {
    case PHOTOMETRIC_RGB:
        return 3;
    case PHOTOMETRIC_SEPARATED:
        return std::min(info.bands, 4U);
    default:
        return 1;
    }
}

/// Encodings that TIFF's own tags tell need no note.
bool needsNote(Encoding encoding) noexcept {
    switch (encoding) {
    case Encoding::gray:
    case Encoding::grayAlpha:
    case Encoding::rgb:
    case Encoding::rgba:
    case Encoding::palette:
    case Encoding::cmyk:
    case Encoding::cmy:
    case Encoding::other:
        return false;
    default:
        return true;
    }
}

std::uint16_t compressionOf(const std::string& path, const PictureInfo& info, const std::string& name) {
    const bool line = info.type == ORV_BIT && info.bands == 1;
    if (name.empty()) return line ? COMPRESSION_CCITTFAX4 : COMPRESSION_ADOBE_DEFLATE;
    const auto* row = std::ranges::find(compressions, name, &CompressionName::name);
    if (row == std::end(compressions)) {
        refuseWish(path, fmt::format("TIFF has no compression '{}' here (none, lzw, deflate, packbits, g4)", name));
    }
    if (row->tag == COMPRESSION_CCITTFAX4 && !line) refuseToWrite(path, "g4 is for 1-bit pictures of one band");
    return row->tag;
}

void setColours(TIFF* tiff, const PictureInfo& info, std::uint16_t meaning) {
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, meaning);
    const unsigned extras = info.bands - coloursOf(meaning, info);
    if (extras > 0) {
        const bool alpha = info.encoding == Encoding::rgba || info.encoding == Encoding::grayAlpha;
        const std::vector<std::uint16_t> kinds(extras, alpha ? EXTRASAMPLE_UNASSALPHA : EXTRASAMPLE_UNSPECIFIED);
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(extras), kinds.data());
    }
    if (meaning == PHOTOMETRIC_SEPARATED) {
        TIFFSetField(tiff, TIFFTAG_INKSET, info.bands == 4 ? INKSET_CMYK : INKSET_MULTIINK);
        if (info.bands != 4) TIFFSetField(tiff, TIFFTAG_NUMBEROFINKS, static_cast<int>(info.bands));
    }
    if (meaning == PHOTOMETRIC_PALETTE) {
        std::uint16_t map[3][256] = {};
        for (std::size_t i = 0; i < std::min<std::size_t>(info.palette.size(), 256); ++i) {
            constexpr unsigned widen = 257;
            map[0][i] = static_cast<std::uint16_t>(info.palette[i].r * widen);
            map[1][i] = static_cast<std::uint16_t>(info.palette[i].g * widen);
            map[2][i] = static_cast<std::uint16_t>(info.palette[i].b * widen);
        }
        TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0], map[1], map[2]);
    }
    if (needsNote(info.encoding)) {
        const std::string note = std::string(encodingNote) + std::string(nameOf(info.encoding));
        TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, note.c_str());
    }
}

} // namespace

std::unique_ptr<Reader> openTiff(FileHandle file, const std::string& path, const ReadOptions& options) {
    return std::make_unique<TiffReader>(std::move(file), path, options);
}

void writeTiff(Target& target, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options) {
    const std::uint16_t compression = compressionOf(target.path(), info, options.compression);
    const std::uint64_t bytes = std::uint64_t{rowBytes(info)} * info.height;
    // Offsets of a plain TIFF are 32 bits; what may not fit is written as BigTIFF.
    constexpr std::uint64_t plainLimit = 0xf0000000U;
    const TiffHandle tiff = openTiffFile(target.file(), bytes > plainLimit ? "w8" : "w");
    if (!tiff) refuseToWrite(target.path(), complaint);
    const bool bits = info.type == ORV_BIT;
    const bool planes = bits && info.bands > 1;
    const bool whiteIsZero = compression == COMPRESSION_CCITTFAX4 && !options.rawPolarity;
    const bool unsignedSixteen = info.type == ORV_SHORT && info.sixteen != Sixteen::number;
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, info.width);
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, info.height);
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, bits ? 1 : info.type == ORV_SHORT ? 16 : 8);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(info.bands));
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, compression);
    if (info.type == ORV_SHORT) {
        TIFFSetField(tiff.get(), TIFFTAG_SAMPLEFORMAT, unsignedSixteen ? SAMPLEFORMAT_UINT : SAMPLEFORMAT_INT);
    }
    setColours(tiff.get(), info, meaningOf(info, whiteIsZero));
    if (info.dpi.x > 0) {
        TIFFSetField(tiff.get(), TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(tiff.get(), TIFFTAG_XRESOLUTION, info.dpi.x);
        TIFFSetField(tiff.get(), TIFFTAG_YRESOLUTION, info.dpi.y);
    }
    if (!info.icc.empty())
        TIFFSetField(tiff.get(), TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(info.icc.size()), info.icc.data());
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff.get(), 0));
    const RowLoad load(info, pixels, target.path(), unsignedSixteen);
    std::vector<std::byte> row(rowBytes(info));
    for (unsigned band = 0; band < (planes ? info.bands : 1); ++band) {
        for (unsigned y = 0; y < info.height; ++y) {
            load.get(y, row.data(), band);
            if (whiteIsZero) invertBits(row.data(), row.size());
            if (TIFFWriteScanline(tiff.get(), row.data(), y, static_cast<std::uint16_t>(band)) < 0) {
                refuseToWrite(target.path(), complaint);
            }
        }
    }
    if (TIFFFlush(tiff.get()) == 0) refuseToWrite(target.path(), complaint);
}

} // namespace orv::files
