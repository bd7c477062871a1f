// Dilation and erosion: the greatest or least sample under a flat element. Positions outside the source are no part of
// the neighbourhood.

#include <algorithm>
#include <cstring>

#include "memory/filter/samples.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/walk.h"
#include "orv/device/OrvSel.h"

namespace {

using namespace orvi;

/// The members of an element as offsets from its key, row by row.
struct Offsets {
    Array<std::int32_t> rows;
    Array<std::int32_t> columns;
    std::size_t count = 0;

    /// Two allocations; false where one failed.
    bool read(OrvSel* element) noexcept {
        const unsigned width = element->getWidth();
        const unsigned height = element->getHeight();
        rows = Array<std::int32_t>(std::size_t{width} * height);
        columns = Array<std::int32_t>(std::size_t{width} * height);
        if (!rows || !columns) return false;
        const unsigned* value = element->getValue();
        for (unsigned row = 0; row < height; ++row) {
            for (unsigned column = 0; column < width; ++column) {
                if (*value++ != 0) add(row - element->getKeyY(), column - element->getKeyX());
            }
        }
        return true;
    }

private:
    void add(unsigned row, unsigned column) noexcept {
        rows[count] = static_cast<std::int32_t>(row);
        columns[count] = static_cast<std::int32_t>(column);
        ++count;
    }
};

struct Dilation {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::min();
    template <class T>
    static T of(T a, T b) noexcept {
        return lanes::larger(a, b);
    }
    /// The bit that decides a pixel.
    static constexpr bool decisive = true;
};
struct Erosion {
    template <class T>
    static constexpr T start = std::numeric_limits<T>::max();
    template <class T>
    static T of(T a, T b) noexcept {
        return lanes::smaller(a, b);
    }
    static constexpr bool decisive = false;
};

template <class T>
inline constexpr Fetch morphologyFetches[] = {{src1, dataTypeOf<T>, {"di-9", 1, 0}, src1},
                                              {dst, dataTypeOf<T>, {"di-10", 1, 0}, dst}};
template <class T>
constexpr FrameFacts morphologyFacts(const char* file) noexcept {
    return {file, morphologyFetches<T>, {"di-12", 1, 0}, src1};
}

/// The extent of the source and where the destination's rectangle lies in it.
struct Reach {
    long width;
    long height;

    explicit Reach(const Raster& from) noexcept
        : width(static_cast<long>(from.image->getWidth())), height(static_cast<long>(from.image->getHeight())) {}

    /// The part of a run of `pixels` from column `x` on whose samples `offset` columns away lie in the source.
    struct Part {
        long first;
        long end;
    };
    Part part(long x, long offset, long pixels) const noexcept {
        const long first = std::clamp(-(x + offset), 0L, pixels);
        return {first, std::clamp(width - (x + offset), first, pixels)};
    }
};

/// sums[i] becomes the greater or lesser of itself and samples[i].
template <class Operation, class T>
void combineRow(T* sums, const T* samples, long count) noexcept {
    lanes::mapRow(
        sums, static_cast<std::size_t>(count), [](auto a, auto b) { return Operation::of(a, b); }, sums, samples);
}

/// Samples of a chunk: it stays in the first cache while every member of the element is added.
constexpr long chunkSamples = 1024;

/// Rows that are combined in one go.
constexpr std::size_t rowsTogether = 128;

/// The same for several rows: the running result stays in a few vectors.
template <class Operation, class T>
void combineRows(T* sums, const T* const* rows, std::size_t rowCount, long count) noexcept {
    using Vector = lanes::Vec<T>;
    constexpr long step = lanes::count<T>;
    constexpr int vectors = 4;
    long i = 0;
    for (; i + vectors * step <= count; i += vectors * step) {
        Vector results[vectors];
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) results[v] = lanes::load<Vector>(sums + i + v * step);
        for (std::size_t row = 0; row < rowCount; ++row) {
            const T* samples = rows[row] + i;
#pragma GCC unroll 4
            for (int v = 0; v < vectors; ++v) {
                results[v] = Operation::of(results[v], lanes::load<Vector>(samples + v * step));
            }
        }
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) lanes::store(sums + i + v * step, results[v]);
    }
    if (i == count) return;
    for (std::size_t row = 0; row < rowCount; ++row) combineRow<Operation>(sums + i, rows[row] + i, count - i);
}

/// Makes a chunk of one output row, bands side by side without gaps. Each member of the element brings a whole run.
template <class T, class Operation>
void filterChunk(const Samples<const T>& source, const Reach& reach, const Offsets& offsets, long sx, long sy,
                 long bands, long pixels, T* sums) noexcept {
    T packed[chunkSamples];
    const T* whole[rowsTogether];
    std::size_t wholeCount = 0;
    std::fill_n(sums, pixels * bands, Operation::template start<T>);
    for (std::size_t i = 0; i < offsets.count; ++i) {
        const long row = sy + offsets.rows[i];
        if (row < 0 || row >= reach.height) continue;
        const auto [first, end] = reach.part(sx, offsets.columns[i], pixels);
        if (first >= end) continue;
        const T* samples = source.at(sx + offsets.columns[i] + first, row);
        const long count = (end - first) * bands;
        if (source.pixel != bands) {
            packRow(packed, samples, source.pixel, bands, end - first);
            samples = packed;
        } else if (end - first == pixels && wholeCount < rowsTogether) {
            whole[wholeCount++] = samples;
            continue;
        }
        combineRow<Operation>(sums + first * bands, samples, count);
    }
    combineRows<Operation>(sums, whole, wholeCount, pixels * bands);
}

/// The plain walk, for pixels too wide for a chunk.
template <class T, class Operation>
void filterPixels(Frame& frame, const Offsets& offsets, const Rect& rect, unsigned bands, T* accumulator) noexcept {
    const Raster& from = frame[src1];
    const Reach reach(from);
    const Samples<const T> source(from, reach.width, reach.height);
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
            std::fill_n(accumulator, bands, Operation::template start<T>);
            for (std::size_t i = 0; i < offsets.count; ++i) {
                const long sx = x + offsets.columns[i] + from.ox;
                const long sy = y + offsets.rows[i] + from.oy;
                if (sx < 0 || sx >= reach.width || sy < 0 || sy >= reach.height) continue;
                combineRow<Operation>(accumulator, source.at(sx, sy), static_cast<long>(bands));
            }
            std::copy_n(accumulator, bands, frame[dst].at<T>(x, y));
        }
    }
}

template <class T, class Operation>
void filterRectangle(Frame& frame, const Offsets& offsets, const Rect& rect, T* accumulator) noexcept {
    const Raster& from = frame[src1];
    const Raster& to = frame[dst];
    const unsigned bandCount = commonBands(to, from);
    const long bands = bandCount;
    if (bands == 0) return;
    if (bands > chunkSamples) return filterPixels<T, Operation>(frame, offsets, rect, bandCount, accumulator);
    const Reach reach(from);
    const Samples<const T> source(from, reach.width, reach.height);
    const long most = chunkSamples / bands;
    T sums[chunkSamples];
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        for (long done = 0; done < static_cast<long>(rect.width); done += most) {
            const long x = rect.x + done;
            const long pixels = std::min(most, static_cast<long>(rect.width) - done);
            filterChunk<T, Operation>(source, reach, offsets, x + from.ox, y + from.oy, bands, pixels, sums);
            unpackRow(to.at<T>(x, y), sums, to.pixelOf<T>(), bands, pixels);
        }
    }
}

template <class T, class Operation>
OrvStatus morphology(OrvOp* op, const FrameFacts& facts) noexcept {
    Frame frame(op);
    Offsets offsets;
    if (!offsets.read(static_cast<OrvSel*>(op->getPtrParam(1)))) return fail(frame.image(src1), noMemory, facts.file);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Array<T> accumulator(frame[dst].bands);
    if (!accumulator) return fail(frame.image(dst), noMemory, facts.file);
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;
    for (Rect rect{}; frame.rects().next(rect);) {
        filterRectangle<T, Operation>(frame, offsets, rect, accumulator.get());
    }
    return ORV_SUCCESS;
}

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
OrvStatus bitMorphology(OrvOp* op, const FrameFacts& facts) noexcept {
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
    return bitMorphology<Dilation>(op, morphologyFacts<Bit>("Dilate1Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Dilate8(OrvOp* op, int) noexcept {
    return morphology<std::uint8_t, Dilation>(op, morphologyFacts<std::uint8_t>("Dilate8Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Dilate16(OrvOp* op, int) noexcept {
    return morphology<std::int16_t, Dilation>(op, morphologyFacts<std::int16_t>("Dilate16Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Erode1(OrvOp* op, int) noexcept {
    return bitMorphology<Erosion>(op, morphologyFacts<Bit>("Erode1Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Erode8(OrvOp* op, int) noexcept {
    return morphology<std::uint8_t, Erosion>(op, morphologyFacts<std::uint8_t>("Erode8Memory.cc"));
}
OrvStatus OrvDeviceComputeTypeMemory::Erode16(OrvOp* op, int) noexcept {
    return morphology<std::int16_t, Erosion>(op, morphologyFacts<std::int16_t>("Erode16Memory.cc"));
}
