// Boundary fill: what a flood from the seed reaches before it meets the boundary colour takes the fill colour. The
// flood reads the source and writes a scratch image alone, over the whole image; the destination is painted afterwards,
// within the region.

#include <algorithm>
#include <type_traits>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/measure/flood_frame.h"
#include "memory/measure/floods.h"

namespace {

using namespace orvi;

/// A colour in an image's own samples; for bits one bit a band, packed.
template <class S>
class Colour {
public:
    Colour(const float* values, unsigned bands) noexcept : samples_(bands) {
        if (!samples_) return;
        std::transform(values, values + bands, samples_.get(), roundTo<S>);
    }

    explicit operator bool() const noexcept { return static_cast<bool>(samples_); }
    S operator[](unsigned band) const noexcept { return samples_[band]; }
    const S* data() const noexcept { return samples_.get(); }

private:
    Array<S> samples_;
};

template <>
class Colour<Bit> {
public:
    Colour(const float* values, unsigned bands) noexcept : bits_((bands + 7) >> 3) {
        if (!bits_) return;
        std::fill_n(bits_.get(), (bands + 7) >> 3, std::uint8_t{0});
        for (unsigned band = 0; band < bands; ++band) {
            if (toBit(values[band])) bits_[band >> 3] |= bit_mask[band & 7];
        }
    }

    explicit operator bool() const noexcept { return static_cast<bool>(bits_); }
    bool operator[](unsigned band) const noexcept { return (bits_[band >> 3] & bit_mask[band & 7]) != 0; }

private:
    Array<std::uint8_t> bits_;
};

/// Keeps a flood out of the pixels that have the boundary colour in every band.
template <class S>
class ColourBarrier final : public Barrier {
public:
    ColourBarrier(const Raster& source, const Colour<S>& colour) noexcept : source_(source), colour_(colour) {}

    void bits(long column, long row, unsigned pixels, std::uint8_t* to) noexcept override {
        const S* const from = source_.at<S>(column - source_.ox, row - source_.oy);
        const std::ptrdiff_t step = source_.pixelOf<S>();
        alignas(lanes::vectorBytes) std::uint8_t equal[chunkPixels];
        const unsigned padded = (pixels + 7) & ~7U;
        std::fill(equal + pixels, equal + padded, std::uint8_t{0});
        if (source_.bands == 1 && step == 1) {
            oneBand(from, pixels, equal);
        } else if (source_.bands == 1) {
            S dense[chunkPixels];
            closeGaps(reinterpret_cast<std::byte*>(dense), reinterpret_cast<const std::byte*>(from), source_.pixel,
                      sizeof(S), pixels);
            oneBand(dense, pixels, equal);
        } else if (std::is_same_v<S, std::uint8_t> && step == 3 && source_.bands == 3) {
            threeBands(from, pixels, equal);
        } else {
            spaced(from, step, pixels, equal);
        }
        lanes::gatherBits(to, equal, padded / 8);
    }

private:
    void oneBand(const S* from, unsigned pixels, std::uint8_t* equal) const noexcept {
        const S boundary = colour_[0];
        for (unsigned i = 0; i < pixels; ++i) equal[i] = from[i] == boundary;
    }

    void threeBands(const S* from, unsigned pixels, std::uint8_t* equal) const noexcept {
        alignas(lanes::vectorBytes) std::uint8_t planes[3][chunkPixels];
        lanes::splitBands(reinterpret_cast<const std::uint8_t*>(from), planes[0], planes[1], planes[2], pixels);
        const auto b0 = static_cast<std::uint8_t>(colour_[0]);
        const auto b1 = static_cast<std::uint8_t>(colour_[1]);
        const auto b2 = static_cast<std::uint8_t>(colour_[2]);
        for (unsigned i = 0; i < pixels; ++i) {
            equal[i] = (planes[0][i] == b0) & (planes[1][i] == b1) & (planes[2][i] == b2);
        }
    }

    void spaced(const S* from, std::ptrdiff_t step, unsigned pixels, std::uint8_t* equal) const noexcept {
        std::fill(equal, equal + pixels, std::uint8_t{1});
        for (unsigned band = 0; band < source_.bands; ++band) {
            const S boundary = colour_[band];
            const S* sample = from + band;
            for (unsigned i = 0; i < pixels; ++i, sample += step) equal[i] &= *sample == boundary;
        }
    }

    const Raster& source_;
    const Colour<S>& colour_;
};

template <>
class ColourBarrier<Bit> final : public Barrier {
public:
    ColourBarrier(const Raster& source, const Colour<Bit>& colour) noexcept : source_(source), colour_(colour) {}

    void bits(long column, long row, unsigned pixels, std::uint8_t* to) noexcept override {
        to[(pixels - 1) >> 3] = 0;
        for (unsigned band = 0; band < source_.bands; ++band) {
            const unsigned flip = colour_[band] ? 0 : 0xff;
            const BitPosition from = source_.bit(column - source_.ox, row - source_.oy, band);
            if (band == 0) {
                combineBits(
                    {to, 0}, pixels, [flip](auto v) { return equal(v, flip); }, from);
            } else {
                combineBits(
                    {to, 0}, pixels, [flip](auto d, auto v) { return d & equal(v, flip); }, BitPosition{to, 0}, from);
            }
        }
    }

private:
    template <class W>
    static W equal(W bits, unsigned flip) noexcept {
        return static_cast<W>(bits ^ lanes::everyByte<W>(flip));
    }

    const Raster& source_;
    const Colour<Bit>& colour_;
};

template <class S>
void paint(const Raster& image, const Colour<S>& colour, long x, long y, long pixels) noexcept {
    S* const to = image.at<S>(x, y);
    const std::ptrdiff_t step = image.pixelOf<S>();
    for (unsigned band = 0; band < image.bands; ++band) {
        const S sample = colour[band];
        for (long i = 0; i < pixels; ++i) to[i * step + band] = sample;
    }
}

/// Paints the flooded pixels of a row whose samples are its pixels: long runs as such, and where they are short the
/// flooded ones of a chunk together.
template <class S>
void paintSamples(S* row, ClosedRows& rows, long y, long begin, long end, S sample) noexcept {
    constexpr long shortRun = 64;
    alignas(lanes::vectorBytes) std::uint8_t flooded[Barrier::chunkPixels];
    for (long from = begin; (from = rows.firstClosed(y, from, end)) < end;) {
        S* const to = row + (from - begin);
        const long runEnd = rows.firstOpen(y, from, end);
        if (runEnd - from >= shortRun) {
            std::fill(to, to + (runEnd - from), sample);
            from = runEnd;
            continue;
        }
        const auto pixels = static_cast<std::size_t>(std::min<long>(end - from, Barrier::chunkPixels));
        const BitPosition bits = rows.bit(from, y);
        unpackBits(bits.byte, bits.offset, flooded, 1, pixels);
        for (std::size_t i = 0; i < pixels; ++i) to[i] = flooded[i] != 0 ? sample : to[i];
        from += static_cast<long>(pixels);
    }
}

/// The same where the samples lie apart: chunks of them are brought side by side for the time being.
template <class S>
void paintApart(S* row, std::ptrdiff_t step, ClosedRows& rows, long y, long begin, long end, S sample) noexcept {
    S dense[Barrier::chunkPixels];
    auto* const side = reinterpret_cast<std::byte*>(dense);
    auto* to = reinterpret_cast<std::byte*>(row);
    for (long from = begin; from < end; from += Barrier::chunkPixels, to += Barrier::chunkPixels * step) {
        const long chunkEnd = std::min<long>(end, from + Barrier::chunkPixels);
        if (rows.firstClosed(y, from, chunkEnd) == chunkEnd) continue;
        const auto pixels = static_cast<std::size_t>(chunkEnd - from);
        closeGaps(side, to, step, sizeof(S), pixels);
        paintSamples(dense, rows, y, from, chunkEnd, sample);
        openGaps(to, side, step, sizeof(S), pixels);
    }
}

/// Paints the flooded pixels of the rectangles.
template <class S>
void paintFlooded(RectCursor& rects, ClosedRows& rows, const Raster& source, const Raster& image,
                  const Colour<S>& colour) noexcept {
    if (image.bands == 1) {
        eachFloodedRow(rects, rows, source, [&](long row, long begin, long end) {
            S* const to = image.at<S>(begin - source.ox, row - source.oy);
            if (image.pixelOf<S>() == 1) return paintSamples(to, rows, row, begin, end, colour[0]);
            paintApart(to, image.pixel, rows, row, begin, end, colour[0]);
        });
        return;
    }
    eachFlooded(rects, rows, source, [&](long x, long y, long pixels) { paint(image, colour, x, y, pixels); });
}

/// Bits take the scratch's own rows as masks, runs need not be looked for.
void paintFlooded(RectCursor& rects, ClosedRows& rows, const Raster& source, const Raster& image,
                  const Colour<Bit>& colour) noexcept {
    eachFloodedRow(rects, rows, source, [&](long row, long begin, long end) {
        const BitPosition flooded = rows.bit(begin, row);
        const auto pixels = static_cast<unsigned>(end - begin);
        for (unsigned band = 0; band < image.bands; ++band) {
            const BitPosition to = image.bit(begin - source.ox, row - source.oy, band);
            if (colour[band]) {
                combineBits(
                    to, pixels, [](auto bits, auto mask) { return static_cast<decltype(bits)>(bits | mask); }, to,
                    flooded);
            } else {
                combineBits(
                    to, pixels, [](auto bits, auto mask) { return static_cast<decltype(bits)>(bits & ~mask); }, to,
                    flooded);
            }
        }
    });
}

OrvStatus flood(ClosedRows& rows, FrameStack<RunFrame>& stack, Seed seed) noexcept {
    return floodRuns(rows, stack, seed);
}

OrvStatus flood(ClosedRows& rows, FrameStack<SpanFrame>& stack, Seed seed) noexcept {
    if (!rows.hasRow(seed.row)) return ORV_FAILURE; // told as lack of memory
    floodSpans(rows, stack, seed);
    return ORV_SUCCESS;
}

template <class S, class StackFrame>
OrvStatus fill(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (frame.open(fillFacts<S>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    const Raster& source = frame[src1];
    const Raster& destination = frame[dst];
    OrvImage* const image = source.image;

    Scratch scratch;
    if (!scratch.make(image, ORV_BIT)) return fail(image, noFillMemory, file);
    const Colour<S> boundary(static_cast<const float*>(op->getPtrParam(3)), source.bands);
    if (!boundary) return fail(image, noFillMemory, file);
    const Colour<S> colour(static_cast<const float*>(op->getPtrParam(4)), destination.bands);
    if (!colour) return fail(image, noFillMemory, file);
    FrameStack<StackFrame> stack;
    if (!stack) return fail(image, noFillMemory, file);

    ColourBarrier<S> barrier(source, boundary);
    ClosedRows rows(scratch.raster(), barrier, image->getWidth(), image->getHeight());
    if (flood(rows, stack, seedOf(op, source)) != ORV_SUCCESS) return fail(image, noFillMemory, file);
    paintFlooded(frame.rects(), rows, source, destination, colour);
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Fill1(OrvOp* op, int) noexcept {
    return fill<Bit, RunFrame>(op, "Fill1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Fill8(OrvOp* op, int) noexcept {
    return fill<std::uint8_t, SpanFrame>(op, "Fill8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Fill16(OrvOp* op, int) noexcept {
    return fill<std::int16_t, SpanFrame>(op, "Fill16Memory.cc");
}
