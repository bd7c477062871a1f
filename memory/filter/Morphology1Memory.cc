// Dilation and erosion of bit images, by words and vectors of bits. Positions outside the source are no part of the
// neighbourhood.

#include <cstring>

#include "memory/filter/Element.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

/// Rows that are combined in one go.
constexpr std::size_t rowsTogether = 128;

/// 64 bits from a position of a row, the first the most significant. Reads no byte that holds none of the `count` bits
/// asked for; what lies behind them is unset.
std::uint64_t loadBits(const std::uint8_t* row, long position, long count) noexcept {
    const std::uint8_t* from = row + (position >> 3);
    const int shift = static_cast<int>(position & 7);
    const long bytes = (shift + count + 7) >> 3;
    if (bytes >= 8) {
        std::uint64_t word;
        std::memcpy(&word, from, sizeof word);
        word = __builtin_bswap64(word) << shift;
        return bytes == 8 ? word : word | from[8] >> (8 - shift);
    }
    std::uint64_t word = 0;
    for (long i = 0; i < bytes; ++i) word |= static_cast<std::uint64_t>(from[i]) << (56 - 8 * i);
    return word << shift;
}

/// Writes the first `count` bits of a word and leaves the others of their bytes alone.
void storeBits(std::uint8_t* row, std::size_t position, std::uint64_t word, long count) noexcept {
    std::uint8_t* to = row + (position >> 3);
    for (long done = 0, shift = static_cast<long>(position & 7); done < count; ++to, shift = 0) {
        const long bits = std::min(8 - shift, count - done);
        const unsigned mask = (0xffU << (8 - bits) & 0xffU) >> shift;
        const unsigned value = static_cast<unsigned>(word << done >> 56) >> shift;
        *to = static_cast<std::uint8_t>((*to & ~mask) | (value & mask));
        done += bits;
    }
}

constexpr long wordBits = 64;

/// Makes a run of bits, a word at a time: each member of the element brings 64 shifted bits. In a dilation positions
/// outside the source count as 0; an erosion is the dilation of the zeros.
template <class Operation>
void filterBits(const Raster& from, const Reach& reach, const Offsets& offsets, long x, long y, unsigned band,
                BitPosition to, unsigned length) noexcept {
    const auto* plane = reinterpret_cast<const std::uint8_t*>(from.data) + band * from.bandStride;
    constexpr std::uint64_t flip = Operation::decisive ? 0 : ~std::uint64_t{0};
    for (long done = 0; done < static_cast<long>(length); done += wordBits) {
        const long count = std::min(wordBits, static_cast<long>(length) - done);
        std::uint64_t hits = 0;
        for (std::size_t i = 0; i < offsets.count; ++i) {
            const long row = y + offsets.rows[i] + from.oy;
            if (row < 0 || row >= reach.height) continue;
            const long column = x + done + from.ox;
            const auto [first, end] = reach.part(column, offsets.columns[i], count);
            if (first >= end) continue;
            const long position = column + offsets.columns[i] + first + static_cast<long>(from.offset);
            const std::uint64_t bits = loadBits(plane + row * from.stride, position, end - first) ^ flip;
            hits |= (bits & ~std::uint64_t{0} << (wordBits - (end - first))) >> first;
        }
        storeBits(to.byte, to.offset + static_cast<std::size_t>(done), hits ^ flip, count);
    }
}

/// A member of an element as one output row sees it: the bit that it brings to the row's first byte, by byte and shift.
struct ShiftedRow {
    const std::uint8_t* from;
    std::uint16_t shift;
};

/// Makes whole vectors of output bytes. Of every row the byte behind the last one is read as well.
template <class Operation>
void filterBytes(std::uint8_t* to, const ShiftedRow* rows, std::size_t rowCount, long vectors) noexcept {
    using lanes::U16;
    using lanes::U8;
    const U8 flip = Operation::decisive ? U8{} : ~U8{};
    for (long i = 0; i < vectors; ++i) {
        const long at = i * static_cast<long>(lanes::vectorBytes);
        U8 hits{};
        for (std::size_t row = 0; row < rowCount; ++row) {
            const auto [from, shift] = rows[row];
            const auto lowBits = static_cast<std::uint8_t>((1U << shift) - 1);
            const U8 low = U8{} + lowBits;
            const auto rest = static_cast<std::uint16_t>(8 - shift);
            const auto first = (U8)(lanes::load<U16>(from + at) << shift);
            const auto second = (U8)(lanes::load<U16>(from + at + 1) >> rest);
            hits |= ((first & ~low) | (second & low)) ^ flip;
        }
        lanes::store(to + at, hits ^ flip);
    }
}

/// Makes a run of bits: by bytes where all of the element's members lie inside the source, by words beside that.
template <class Operation>
void filterBitRow(const Raster& from, const Reach& reach, const Offsets& offsets, long x, long y, unsigned band,
                  BitPosition to, unsigned length) noexcept {
    constexpr long vectorBits = 8 * static_cast<long>(lanes::vectorBytes);
    const auto* plane = reinterpret_cast<const std::uint8_t*>(from.data) + band * from.bandStride;
    const auto words = [&](long first, long end) {
        const std::size_t position = to.offset + static_cast<std::size_t>(first);
        const BitPosition part{to.byte + (position >> 3), static_cast<unsigned>(position & 7)};
        filterBits<Operation>(from, reach, offsets, x + first, y, band, part, static_cast<unsigned>(end - first));
    };
    if (offsets.count > rowsTogether || length < vectorBits) return words(0, length);

    ShiftedRow rows[rowsTogether];
    long first = 0;
    long end = length;
    for (std::size_t i = 0; i < offsets.count; ++i) {
        const Reach::Part part = reach.part(x + from.ox, offsets.columns[i], length);
        first = std::max(first, part.first);
        end = std::min(end, part.end);
    }
    first += -(static_cast<long>(to.offset) + first) & 7;
    // The byte behind the last one must hold samples too.
    const long vectors = (end - 8 - first) / vectorBits;
    if (vectors <= 0) return words(0, length);

    std::size_t rowCount = 0;
    for (std::size_t i = 0; i < offsets.count; ++i) {
        const long row = y + offsets.rows[i] + from.oy;
        if (row < 0 || row >= reach.height) continue;
        const long position = x + from.ox + offsets.columns[i] + first + static_cast<long>(from.offset);
        rows[rowCount++] = {plane + row * from.stride + (position >> 3), static_cast<std::uint16_t>(position & 7)};
    }
    words(0, first);
    filterBytes<Operation>(to.byte + ((static_cast<long>(to.offset) + first) >> 3), rows, rowCount, vectors);
    words(first + vectors * vectorBits, length);
}

template <class Operation>
OrvStatus bitMorphology(OrvOp* op, const char* file) noexcept {
    const FrameFacts facts = morphologyFacts<Bit>(file);
    Frame frame(op);
    Offsets offsets;
    if (!offsets.read(static_cast<OrvSel*>(op->getPtrParam(1)))) return fail(frame.image(src1), noMemory, facts.file);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    const Reach reach(frame[src1]);
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < bands; ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
                filterBitRow<Operation>(frame[src1], reach, offsets, rect.x, y, band, frame[dst].bit(rect.x, y, band),
                                        rect.width);
            }
        }
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Dilate1(OrvOp* op, int) noexcept {
    return bitMorphology<Dilation>(op, "Dilate1Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Erode1(OrvOp* op, int) noexcept {
    return bitMorphology<Erosion>(op, "Erode1Memory.cc");
}
