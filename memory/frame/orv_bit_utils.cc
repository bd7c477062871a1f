#include "memory/frame/orv_bit_utils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "memory/frame/RectCursor.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/gaps.h"
#include "memory/frame/report.h"

namespace {

using namespace orvi;

bool bitAt(const std::uint8_t* row, std::size_t position) noexcept {
    return (row[position >> 3] & bit_mask[position & 7]) != 0;
}

void putBit(std::uint8_t* row, std::size_t position, bool value) noexcept {
    const std::uint8_t mask = bit_mask[position & 7];
    std::uint8_t& byte = row[position >> 3];
    byte = static_cast<std::uint8_t>(value ? byte | mask : byte & ~mask);
}

/// Bytes of bits whose samples lie apart, by way of a block of samples side by side.
constexpr std::size_t blockBytes = 64;

/// A run of bits by its bytes: some bits at its start, whole bytes, some bits at its end.
struct Parts {
    std::size_t head;
    std::size_t bytes;
    std::size_t tail;

    Parts(std::size_t length, unsigned offset) noexcept
        : head(std::min<std::size_t>(length, (8 - offset) & 7)),
          bytes((length - head) >> 3),
          tail((length - head) & 7) {}
};

/// Whether bits that are copied one by one overwrite some that are still to be read.
bool runsIntoItself(BitPosition from, BitPosition to, unsigned length) noexcept {
    const auto distance = 8 * (reinterpret_cast<std::intptr_t>(to.byte) - reinterpret_cast<std::intptr_t>(from.byte)) +
                          static_cast<std::intptr_t>(to.offset) - static_cast<std::intptr_t>(from.offset);
    return distance > 0 && distance < static_cast<std::intptr_t>(length);
}

bool allOnes(const std::uint8_t* bytes, std::size_t count) noexcept {
    std::size_t at = 0;
    for (; at + 8 <= count; at += 8) {
        if (~lanes::load<std::uint64_t>(bytes + at) != 0) return false;
    }
    return std::all_of(bytes + at, bytes + count, [](std::uint8_t byte) { return byte == 0xff; });
}

constexpr Failure noStorage{"di-10", 1, 0};
constexpr Failure noRegion{"di-6", 6, 0};
constexpr Failure noList{"di-8", 6, 0};

int reported(OrvImage* image, const Failure& failure,
             std::source_location where = std::source_location::current()) noexcept {
    fail(image, failure, "orv_bit_utils.cc", where);
    return 0;
}

} // namespace

void orv_bit_setvalue(unsigned char* dst, unsigned value, unsigned length, unsigned offset) noexcept {
    const std::uint8_t fill = value != 0 ? 0xff : 0;
    const Parts parts(length, offset);
    if (parts.head != 0) bit_rows::mergeBits(dst++, offset, static_cast<unsigned>(parts.head), fill);
    if (parts.bytes != 0) std::memset(dst, fill, parts.bytes);
    if (parts.tail != 0) bit_rows::mergeBits(dst + parts.bytes, 0, static_cast<unsigned>(parts.tail), fill);
}

void orv_bit_not(unsigned char* src, unsigned char* dst, unsigned length, unsigned src_offset,
                 unsigned dst_offset) noexcept {
    combineBits(
        {dst, dst_offset}, length, [](auto bits) { return ~bits; }, BitPosition{src, src_offset});
}

void orv_bit_memcpy(unsigned char* src, unsigned char* dst, unsigned length, unsigned src_offset,
                    unsigned dst_offset) noexcept {
    if (src_offset != 0 || dst_offset != 0) {
        if (runsIntoItself({src, src_offset}, {dst, dst_offset}, length)) {
            for (std::size_t i = 0; i < length; ++i) putBit(dst, dst_offset + i, bitAt(src, src_offset + i));
            return;
        }
        combineBits(
            {dst, dst_offset}, length, [](auto bits) { return bits; }, BitPosition{src, src_offset});
        return;
    }
    // Rows may overlap here.
    const unsigned bytes = length >> 3;
    const unsigned tail = length & 7;
    const std::uint8_t last = tail != 0 ? src[bytes] : 0;
    if (bytes != 0) std::memmove(dst, src, bytes);
    if (tail != 0) bit_rows::mergeBits(dst + bytes, 0, tail, last);
}

int orv_bit_check_for_zero(const unsigned char* row, unsigned length, unsigned offset) noexcept {
    const Parts parts(length, offset);
    for (std::size_t i = 0; i < parts.head; ++i) {
        if (!bitAt(row, offset + i)) return 1;
    }
    if (parts.head != 0) ++row;
    if (!allOnes(row, parts.bytes)) return 1;
    for (std::size_t i = 0; i < parts.tail; ++i) {
        if (!bitAt(row + parts.bytes, i)) return 1;
    }
    return 0;
}

int OrviCheckForZeros(OrvImage* image) noexcept {
    Raster raster;
    if (!raster.read(image, ORV_BIT)) return reported(image, noStorage);
    OrvRoi* region = image->getImageSpaceRoi();
    if (region == nullptr) return reported(image, noRegion);
    OrvRoiList* list = region->getRectList();
    if (list == nullptr) return reported(image, noList);
    RectCursor rects(list);
    for (Rect rect{}; rects.next(rect);) {
        for (unsigned band = 0; band < raster.bands; ++band) {
            for (unsigned row = 0; row < rect.height; ++row) {
                const BitPosition bits = raster.bit(rect.x, rect.y + static_cast<long>(row), band);
                if (orv_bit_check_for_zero(bits.byte, rect.width, bits.offset) == 0) continue;
                // A hit tells where it was and keeps the list, as intended.
                std::fprintf(stderr, "%d %d RETURNING TRUE\n", static_cast<int>(band), static_cast<int>(row));
                rects.leak();
                return 1;
            }
        }
    }
    return 0;
}

namespace orvi {

void unpackBits(const std::uint8_t* from, unsigned offset, std::uint8_t* to, std::size_t step,
                std::size_t count) noexcept {
    const Parts parts(count, offset);
    for (std::size_t i = 0; i < parts.head; ++i, to += step) *to = bitAt(from, offset + i);
    if (parts.head != 0) ++from;
    if (step == 1) {
        lanes::spreadBits(to, from, parts.bytes);
        to += 8 * parts.bytes;
    } else {
        std::uint8_t block[8 * blockBytes];
        for (std::size_t done = 0; done < parts.bytes; done += blockBytes) {
            const std::size_t now = std::min(blockBytes, parts.bytes - done);
            lanes::spreadBits(block, from + done, now);
            openGaps(reinterpret_cast<std::byte*>(to), reinterpret_cast<const std::byte*>(block),
                     static_cast<std::ptrdiff_t>(step), 1, 8 * now);
            to += 8 * now * step;
        }
    }
    for (std::size_t i = 0; i < parts.tail; ++i, to += step) *to = bitAt(from + parts.bytes, i);
}

void packBits(const std::uint8_t* from, std::size_t step, std::uint8_t* to, unsigned offset,
              std::size_t count) noexcept {
    const Parts parts(count, offset);
    for (std::size_t i = 0; i < parts.head; ++i, from += step) putBit(to, offset + i, *from != 0);
    if (parts.head != 0) ++to;
    if (step == 1) {
        lanes::gatherBits(to, from, parts.bytes);
        from += 8 * parts.bytes;
    } else {
        std::uint8_t block[8 * blockBytes];
        for (std::size_t done = 0; done < parts.bytes; done += blockBytes) {
            const std::size_t now = std::min(blockBytes, parts.bytes - done);
            closeGaps(reinterpret_cast<std::byte*>(block), reinterpret_cast<const std::byte*>(from),
                      static_cast<std::ptrdiff_t>(step), 1, 8 * now);
            lanes::gatherBits(to + done, block, now);
            from += 8 * now * step;
        }
    }
    for (std::size_t i = 0; i < parts.tail; ++i, from += step) putBit(to + parts.bytes, i, *from != 0);
}

} // namespace orvi
