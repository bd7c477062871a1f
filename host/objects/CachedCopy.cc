#include "objects/CachedCopy.h"

#include <algorithm>
#include <cstring>

#include "orv/host/Image.h"

namespace orv::host {
namespace {

struct Extent {
    unsigned width;
    unsigned height;
    unsigned bands;
};

template <class Record>
void copyInterleaved(const Record& dst, const Record& src, const Extent& extent) {
    const bool dense = dst.pixel_stride == extent.bands && src.pixel_stride == extent.bands;
    // One run of samples for a dense row, else one for each pixel.
    const std::size_t runs = dense ? 1 : extent.width;
    const std::size_t bytes = sizeof(*dst.data) * extent.bands * (dense ? extent.width : 1);
    for (std::size_t row = 0; row < extent.height; ++row) {
        auto* to = dst.data + row * dst.scanline_stride;
        const auto* from = src.data + row * src.scanline_stride;
        for (std::size_t run = 0; run < runs; ++run, to += dst.pixel_stride, from += src.pixel_stride) {
            std::memmove(to, from, bytes);
        }
    }
}

/// Takes the bits of `value` under `mask` into the byte.
void merge(std::uint8_t& byte, unsigned value, unsigned mask) {
    byte = static_cast<std::uint8_t>((byte & ~mask) | (value & mask));
}

/// Eight bits from bit `position` of a row, as many of them as lie before `end`; the others are 0.
unsigned bitsAt(const std::uint8_t* row, std::size_t position, std::size_t end) {
    const std::size_t byte = position / 8;
    const unsigned shift = position % 8;
    const bool second = shift != 0 && (byte + 1) * 8 < end;
    const unsigned pair = (unsigned{row[byte]} << 8) | (second ? row[byte + 1] : 0U);
    return (pair >> (8 - shift)) & 0xffU;
}

/// Whole bytes from bit `shift` of the first one on, eight at a time: each of their own bits moved within it.
void copyBytes(std::uint8_t* dst, const std::uint8_t* src, unsigned shift, std::size_t count) {
    if (shift == 0) {
        std::memmove(dst, src, count);
        return;
    }
    constexpr std::uint64_t everyByte = 0x0101010101010101U;
    const std::uint64_t highMask = everyByte * (0xffU << shift & 0xffU);
    const std::uint64_t lowMask = everyByte * (0xffU >> (8 - shift));
    std::size_t i = 0;
    for (; i + sizeof(std::uint64_t) <= count; i += sizeof(std::uint64_t)) {
        std::uint64_t high = 0;
        std::uint64_t low = 0;
        std::memcpy(&high, src + i, sizeof high);
        std::memcpy(&low, src + i + 1, sizeof low);
        const std::uint64_t word = (high << shift & highMask) | (low >> (8 - shift) & lowMask);
        std::memcpy(dst + i, &word, sizeof word);
    }
    for (; i < count; ++i) dst[i] = static_cast<std::uint8_t>(src[i] << shift | src[i + 1] >> (8 - shift));
}

void copyBitRow(std::uint8_t* dst, unsigned dstOffset, const std::uint8_t* src, unsigned srcOffset, unsigned width) {
    const std::size_t end = std::size_t{srcOffset} + width;
    // Some bits of a byte of the destination.
    const auto copyBits = [&](unsigned done, unsigned count) {
        const unsigned into = (dstOffset + done) % 8;
        const unsigned mask = (0xff00U >> count & 0xffU) >> into;
        const unsigned bits = bitsAt(src, std::size_t{srcOffset} + done, end);
        merge(dst[(std::size_t{dstOffset} + done) / 8], bits >> into, mask);
    };
    const unsigned head = std::min((8 - dstOffset % 8) % 8, width);
    if (head != 0) copyBits(0, head);
    const std::size_t bytes = (width - head) / 8;
    const std::size_t from = std::size_t{srcOffset} + head;
    copyBytes(dst + (std::size_t{dstOffset} + head) / 8, src + from / 8, from % 8, bytes);
    const unsigned tail = (width - head) % 8;
    if (tail != 0) copyBits(width - tail, tail);
}

void copyPlanes(const OrvMemoryStorage::Bit& dst, const OrvMemoryStorage::Bit& src, const Extent& extent) {
    for (std::size_t band = 0; band < extent.bands; ++band) {
        for (std::size_t row = 0; row < extent.height; ++row) {
            copyBitRow(dst.data + band * dst.band_stride + row * dst.scanline_stride, dst.offset,
                       src.data + band * src.band_stride + row * src.scanline_stride, src.offset, extent.width);
        }
    }
}

} // namespace

void copySamples(Image& dst, const Image& src) noexcept {
    const OrvMemoryStorage* const to = dst.storage();
    const OrvMemoryStorage* const from = src.storage();
    const Shape& a = dst.shape();
    const Shape& b = src.shape();
    if (!to || !from || a.type != b.type) return;
    const Extent extent{std::min(a.width, b.width), std::min(a.height, b.height), std::min(a.bands, b.bands)};
    switch (a.type) {
    case ORV_BIT:
        copyPlanes(to->bit, from->bit, extent);
        break;
    case ORV_BYTE:
        copyInterleaved(to->byte, from->byte, extent);
        break;
    case ORV_SHORT:
        copyInterleaved(to->shorts, from->shorts, extent);
        break;
    case ORV_FLOAT:
        copyInterleaved(to->floats, from->floats, extent);
        break;
    }
    dst.samplesChanged();
}

} // namespace orv::host
