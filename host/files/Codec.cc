#include "files/Codec.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include <fmt/format.h>

namespace orv::files {

namespace {

struct FormatRow {
    Format format;
    std::unique_ptr<Reader> (*open)(FileHandle, const std::string&, const ReadOptions&);
    void (*write)(Target&, const PictureInfo&, const Pixels&, const WriteOptions&);
};

constexpr FormatRow formatRows[] = {
#ifdef ORV_HAVE_PNG
    {Format::png, openPng, writePng},
#endif
#ifdef ORV_HAVE_TIFF
    {Format::tiff, openTiff, writeTiff},
#endif
#ifdef ORV_HAVE_JPEG
    {Format::jpeg, openJpeg, writeJpeg},
#endif
    {Format::pnm, openPnm, writePnm},    {Format::npy, openNpy, writeNpy},
};

const FormatRow* rowOf(Format format) noexcept {
    const auto* row = std::ranges::find(formatRows, format, &FormatRow::format);
    return row == std::end(formatRows) ? nullptr : row;
}

struct Magic {
    std::string_view bytes;
    Format format;
};

using namespace std::string_view_literals;
constexpr Magic magics[] = {
    {"\x89PNG"sv, Format::png},   {"II*\0"sv, Format::tiff}, {"MM\0*"sv, Format::tiff},
    {"II+\0"sv, Format::tiff},    {"MM\0+"sv, Format::tiff}, {"\xff\xd8\xff"sv, Format::jpeg},
    {"\x93NUMPY"sv, Format::npy},
};

std::optional<Format> formatOfBytes(std::FILE* file) {
    char head[8] = {};
    const std::size_t n = std::fread(head, 1, sizeof head, file);
    std::rewind(file);
    const std::string_view bytes(head, n);
    for (const Magic& magic : magics) {
        if (bytes.starts_with(magic.bytes)) return magic.format;
    }
    if (n > 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '7') return Format::pnm;
    return std::nullopt;
}

std::string knownFormats() {
    std::string names;
    for (const FormatRow& row : formatRows) {
        if (!names.empty()) names += ", ";
        names += nameOf(row.format);
    }
    return names;
}

bool swapsColours(const PictureInfo& info) noexcept { return liesBgr(info.encoding, info.order, info.bands); }

/// The plane of memory that holds a band of a 1-bit picture.
std::ptrdiff_t planeOf(const PictureInfo& info, unsigned band) noexcept {
    return swapsColours(info) && band < 3 ? 2 - static_cast<std::ptrdiff_t>(band) : static_cast<std::ptrdiff_t>(band);
}

template <class Sample>
void swapRedBlue(Sample* samples, std::size_t pixels, unsigned bands) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, samples += bands) std::swap(samples[0], samples[2]);
}

void swapRedBlue(const PictureInfo& info, std::byte* samples) noexcept {
    if (!swapsColours(info)) return;
    if (info.type == ORV_SHORT) return swapRedBlue(reinterpret_cast<std::int16_t*>(samples), info.width, info.bands);
    swapRedBlue(reinterpret_cast<std::uint8_t*>(samples), info.width, info.bands);
}

/// Copies a row between dense samples and pixels that may lie apart.
void copyPixels(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep, std::size_t size,
                unsigned pixels) noexcept {
    if (toStep == fromStep && static_cast<std::size_t>(toStep) == size) {
        std::memcpy(to, from, size * pixels);
        return;
    }
    for (unsigned i = 0; i < pixels; ++i, to += toStep, from += fromStep) std::memcpy(to, from, size);
}

std::size_t pixelBytes(const PictureInfo& info) noexcept {
    return std::size_t{info.bands} * (info.type == ORV_SHORT ? 2U : 1U);
}

/// Puts packed bits at a bit offset, keeping the bits beside the run.
void putBits(std::byte* to, unsigned offset, const std::byte* from, unsigned count) noexcept {
    auto* bytes = reinterpret_cast<std::uint8_t*>(to);
    const auto* source = reinterpret_cast<const std::uint8_t*>(from);
    for (unsigned done = 0; done < count;) {
        const unsigned room = 8 - ((offset + done) & 7);
        const unsigned n = std::min({room, 8 - (done & 7), count - done});
        const unsigned bits = (source[done >> 3] >> (8 - (done & 7) - n)) & ((1U << n) - 1);
        std::uint8_t& place = bytes[(offset + done) >> 3];
        const unsigned mask = ((1U << n) - 1) << (room - n);
        place = static_cast<std::uint8_t>((place & ~mask) | (bits << (room - n)));
        done += n;
    }
}

} // namespace

std::unique_ptr<Reader> Reader::open(const std::string& path, const ReadOptions& options) {
    FileHandle file = openSource(path);
    std::optional<Format> format = formatOfBytes(file.get());
    if (!format) format = options.format;
    if (!format) {
        refuseToRead(path, sizeOf(file.get()) == 0
                               ? "it is empty"
                               : fmt::format("its format is not known (known: {})", knownFormats()));
    }
    const FormatRow* row = rowOf(*format);
    if (row == nullptr) refuseToRead(path, fmt::format("this build of orv has no {} files", nameOf(*format)));
    std::unique_ptr<Reader> reader = row->open(std::move(file), path, options);
    if (options.upright) reader->turnUpright();
    return reader;
}

void write(const std::string& path, const PictureInfo& info, const Pixels& pixels, const WriteOptions& options) {
    const std::optional<Format> format = options.format ? options.format : formatOfName(path);
    if (!format) {
        refuseWish(path, fmt::format("its format is not told; use an ending or --format (known: {})", knownFormats()));
    }
    const FormatRow* row = rowOf(*format);
    if (row == nullptr) refuseToWrite(path, fmt::format("this build of orv has no {} files", nameOf(*format)));
    Target target(path);
    row->write(target, info, pixels, options);
    target.commit();
}

void checkSize(const std::string& path, std::uint64_t width, std::uint64_t height, const ReadOptions& options) {
    if (width == 0 || height == 0) refuseToRead(path, "it has no pixels");
    if (width > options.maxPixels / height) {
        refuseToRead(path, fmt::format("it has {} x {} pixels, more than the {} allowed (--max-pixels)", width, height,
                                       options.maxPixels));
    }
}

RowStore::RowStore(const PictureInfo& info, const Pixels& pixels, std::string path, bool unsignedSixteen)
    : info_(info), pixels_(pixels), path_(std::move(path)), unsignedSixteen_(unsignedSixteen) {}

void RowStore::convertSixteen(std::int16_t* samples) const {
    const std::size_t count = std::size_t{info_.width} * info_.bands;
    if (info_.sixteen == Sixteen::shifted) {
        for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<std::int16_t>(samples[i] ^ -32768);
    } else if (info_.sixteen == Sixteen::half) {
        for (std::size_t i = 0; i < count; ++i) {
            samples[i] = static_cast<std::int16_t>(static_cast<std::uint16_t>(samples[i]) >> 1);
        }
    } else if (info_.sixteen == Sixteen::number &&
               std::any_of(samples, samples + count, [](auto v) { return v < 0; })) {
        refuseToRead(path_,
                     "it has samples above 32767, which --u16 exact cannot hold; leave --u16 out, or use half or raw");
    }
}

void RowStore::put(unsigned row, std::byte* samples, unsigned band) {
    std::byte* to = pixels_.data + static_cast<std::ptrdiff_t>(row) * pixels_.stride;
    if (info_.type == ORV_BIT) {
        putBits(to + planeOf(info_, band) * pixels_.bandStride, pixels_.offset, samples, info_.width);
        return;
    }
    if (info_.type == ORV_SHORT && unsignedSixteen_) convertSixteen(reinterpret_cast<std::int16_t*>(samples));
    swapRedBlue(info_, samples);
    const std::size_t size = pixelBytes(info_);
    copyPixels(to, pixels_.pixel, samples, static_cast<std::ptrdiff_t>(size), size, info_.width);
}

RowLoad::RowLoad(const PictureInfo& info, const Pixels& pixels, std::string path, bool unsignedSixteen)
    : info_(info), pixels_(pixels), path_(std::move(path)), unsignedSixteen_(unsignedSixteen) {}

void RowLoad::convertSixteen(std::int16_t* samples) const {
    const std::size_t count = std::size_t{info_.width} * info_.bands;
    if (info_.sixteen == Sixteen::shifted) {
        for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<std::int16_t>(samples[i] ^ -32768);
        return;
    }
    if (info_.sixteen == Sixteen::raw) return;
    if (std::any_of(samples, samples + count, [](auto v) { return v < 0; })) {
        refuseToWrite(path_, "it has negative samples, which this format cannot hold; write TIFF or .npy");
    }
    if (info_.sixteen != Sixteen::half) return;
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(static_cast<std::uint16_t>(samples[i]) << 1);
    }
}

void RowLoad::get(unsigned row, std::byte* samples, unsigned band) const {
    const std::byte* from = pixels_.data + static_cast<std::ptrdiff_t>(row) * pixels_.stride;
    if (info_.type == ORV_BIT) {
        from += planeOf(info_, band) * pixels_.bandStride;
        std::fill(samples, samples + rowBytes(info_), std::byte{0});
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(from);
        for (unsigned i = 0; i < info_.width; ++i) {
            const unsigned place = pixels_.offset + i;
            const unsigned bit = (bytes[place >> 3] >> (7 - (place & 7))) & 1U;
            samples[i >> 3] |= static_cast<std::byte>(bit << (7 - (i & 7)));
        }
        return;
    }
    const std::size_t size = pixelBytes(info_);
    copyPixels(samples, static_cast<std::ptrdiff_t>(size), from, pixels_.pixel, size, info_.width);
    if (info_.type == ORV_SHORT && unsignedSixteen_) convertSixteen(reinterpret_cast<std::int16_t*>(samples));
    swapRedBlue(info_, samples);
}

void toBigEndian(std::byte* samples, std::size_t count) noexcept {
    if constexpr (std::endian::native == std::endian::big) return;
    for (std::size_t i = 0; i < count; ++i) std::swap(samples[2 * i], samples[2 * i + 1]);
}

void swapBytes(std::byte* samples, std::size_t count, std::size_t size) noexcept {
    for (std::size_t i = 0; i < count; ++i, samples += size) std::reverse(samples, samples + size);
}

namespace {

template <class Float>
void mapFloats(std::byte* samples, std::size_t count, const FloatRange& range) noexcept {
    constexpr double full = 65535;
    for (std::size_t i = 0; i < count; ++i) {
        Float value;
        std::memcpy(&value, samples + i * sizeof value, sizeof value);
        const double share = (static_cast<double>(value) - range.low) / (range.high - range.low);
        // A NaN compares with nothing.
        const double level = share >= 0 ? std::min(share, 1.0) * full + 0.5 : 0;
        const auto sample = static_cast<std::uint16_t>(level);
        std::memcpy(samples + i * sizeof sample, &sample, sizeof sample);
    }
}

} // namespace

void mapFloats(std::byte* samples, std::size_t count, std::size_t size, const FloatRange& range) noexcept {
    if (size == sizeof(double)) return mapFloats<double>(samples, count, range);
    mapFloats<float>(samples, count, range);
}

void invertBits(std::byte* bits, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) bits[i] = ~bits[i];
}

int orientationOf(const std::uint8_t* exif, std::size_t bytes) noexcept {
    if (bytes < 8) return 1;
    const bool little = exif[0] == 'I' && exif[1] == 'I';
    if (!little && !(exif[0] == 'M' && exif[1] == 'M')) return 1;
    const auto word = [&](std::size_t at) {
        return little ? exif[at] | exif[at + 1] << 8 : exif[at] << 8 | exif[at + 1];
    };
    const auto longWord = [&](std::size_t at) {
        const auto a = static_cast<std::size_t>(word(at));
        const auto b = static_cast<std::size_t>(word(at + 2));
        return little ? a | b << 16 : a << 16 | b;
    };
    constexpr std::size_t entryBytes = 12;
    constexpr int orientationTag = 0x0112;
    const std::size_t directory = longWord(4);
    if (directory > bytes || bytes - directory < 2) return 1;
    const int entries = word(directory);
    for (int i = 0; i < entries; ++i) {
        const std::size_t at = directory + 2 + static_cast<std::size_t>(i) * entryBytes;
        if (at + entryBytes > bytes) return 1;
        if (word(at) != orientationTag) continue;
        const int value = word(at + 8);
        return value >= 1 && value <= 8 ? value : 1;
    }
    return 1;
}

} // namespace orv::files
