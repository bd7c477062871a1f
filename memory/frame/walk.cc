#include "memory/frame/walk.h"

#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/row_moves.h"

namespace orvi {

namespace {

// A chunk costs some 20 ns of its own.
constexpr std::size_t chunkPixels = 4096;
constexpr std::size_t chunkBytes = 8192;
// A pixel of a BIT image may have as many planes as a pixel stride can count.
constexpr std::size_t bufferBytes = 65536;
alignas(64) std::byte buffers[maxOperands][bufferBytes];
/// The bits of a chunk as bytes, where bands are put together or taken apart by vectors.
constexpr unsigned joinedBands = 3;
#if defined(__AVX2__)
constexpr bool joinsBands = true;
#else
constexpr bool joinsBands = false;
#endif
alignas(64) std::uint8_t planes[joinedBands][chunkPixels];

std::size_t sampleSize(OrvDataType type) noexcept {
    switch (type) {
    case ORV_SHORT:
        return sizeof(std::int16_t);
    case ORV_FLOAT:
        return sizeof(float);
    default:
        return 1;
    }
}

/// An operand in the terms of the walk: bytes, and whether its pixels lie side by side.
struct Lane {
    const Raster* raster = nullptr;
    unsigned bands = 0;
    std::size_t size = 0; // bytes of a dense pixel
    bool bits = false;
    bool dense = false;
    bool keeps = false;
    bool stores = false;

    explicit Lane(const Operand& operand) noexcept
        : raster(operand.raster),
          bands(std::min(operand.bands, static_cast<unsigned>(bufferBytes))),
          size(bands * sampleSize(operand.raster->type)),
          bits(operand.raster->type == ORV_BIT),
          dense(!bits && static_cast<std::size_t>(operand.raster->pixel) == size),
          keeps(operand.keepsOthers || operand.readOnly),
          stores(!operand.readOnly) {}

    Lane() noexcept = default;

    std::byte* at(long x, long y) const noexcept { return raster->at<std::byte>(x, y); }

    void load(std::byte* buffer, long x, long y, std::size_t pixels) const noexcept {
        if (!bits) return closeGaps(buffer, at(x, y), raster->pixel, size, pixels);
        auto* const bytes = reinterpret_cast<std::uint8_t*>(buffer);
        const bool joined = joinsBands && bands == joinedBands;
        for (unsigned band = 0; band < bands; ++band) {
            const BitPosition from = raster->bit(x, y, band);
            if (joined) {
                unpackBits(from.byte, from.offset, planes[band], 1, pixels);
            } else {
                unpackBits(from.byte, from.offset, bytes + band, bands, pixels);
            }
        }
        if (joined) lanes::joinBands(planes[0], planes[1], planes[2], bytes, pixels);
    }

    void store(const std::byte* buffer, long x, long y, std::size_t pixels) const noexcept {
        if (!bits) return openGaps(at(x, y), buffer, raster->pixel, size, pixels);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(buffer);
        const bool split = joinsBands && bands == joinedBands;
        if (split) lanes::splitBands(bytes, planes[0], planes[1], planes[2], pixels);
        for (unsigned band = 0; band < bands; ++band) {
            const BitPosition to = raster->bit(x, y, band);
            if (split) {
                packBits(planes[band], 1, to.byte, to.offset, pixels);
            } else {
                packBits(bytes + band, bands, to.byte, to.offset, pixels);
            }
        }
    }

    /// Whether each row of a rectangle goes on where the one above it ends.
    bool rowsTouch(const Rect& rect) const noexcept {
        const auto width = static_cast<std::ptrdiff_t>(rect.width);
        if (!bits) return raster->stride == raster->pixel * width;
        return raster->stride * 8 == width && raster->bit(rect.x, rect.y, 0).offset == 0;
    }
};

class Walk {
public:
    Walk(const Operand* operands, int count, RunFunction run, void* kernel, Runs runs) noexcept
        : count_(count), run_(run), kernel_(kernel), runs_(runs) {
        for (int i = 0; i < count; ++i) {
            lanes_[i] = Lane(operands[i]);
            dense_ = dense_ && lanes_[i].dense;
            chunk_ = std::min(chunk_, std::max<std::size_t>(1, chunkBytes / std::max<std::size_t>(1, lanes_[i].size)));
        }
    }

    void rectangle(const Rect& rect) noexcept {
        const bool one = runs_ == Runs::overRows && rowsTouch(rect);
        const std::size_t pixels = one ? std::size_t{rect.width} * rect.height : rect.width;
        const std::size_t rows = one ? 1 : rect.height;
        // Where there is nothing to read, stores keep up with memory.
        const bool past =
            dense_ && count_ > 1 && lanes_[0].stores && !lanes_[0].keeps && goesPast(pixels * rows * lanes_[0].size);
        if (dense_ && !past) return denseRuns(rect.x, rect.y, pixels, rows);
        for (std::size_t i = 0; i < rows; ++i) {
            const long y = rect.y + static_cast<long>(i);
            past ? pastRow(rect.x, y, pixels) : row(rect.x, y, pixels);
        }
        if (past) endPast();
    }

private:
    bool rowsTouch(const Rect& rect) const noexcept {
        for (int i = 0; i < count_; ++i) {
            if (!lanes_[i].rowsTouch(rect)) return false;
        }
        return true;
    }

    void row(long x, long y, std::size_t pixels) noexcept {
        for (std::size_t done = 0; done < pixels; done += chunk_) {
            chunk(x + static_cast<long>(done), y, std::min(chunk_, pixels - done));
        }
    }

    void denseRuns(long x, long y, std::size_t pixels, std::size_t rows) noexcept {
        RunBlock block{.rows = {}, .strides = {}, .count = rows, .pixels = pixels, .place = {x, y}};
        for (int i = 0; i < count_; ++i) {
            block.rows[i] = lanes_[i].at(x, y);
            block.strides[i] = lanes_[i].raster->stride;
        }
        run_(kernel_, block);
    }

    void pastRow(long x, long y, std::size_t pixels) noexcept {
        std::byte* rows[maxOperands];
        for (int i = 0; i < count_; ++i) rows[i] = lanes_[i].at(x, y);
        ownResults(rows, pixels) ? pastRun(rows, pixels, {x, y}) : denseRuns(x, y, pixels, 1);
    }

    /// Whether each source of a run lies where its result does, or where no result of the run lies: results that wait
    /// in a buffer may then come later than the kernel makes them.
    bool ownResults(std::byte* const* rows, std::size_t pixels) const noexcept {
        const auto start = [rows](int i) { return reinterpret_cast<std::uintptr_t>(rows[i]); };
        const auto end = [&](int i) { return start(i) + pixels * lanes_[i].size; };
        for (int i = 1; i < count_; ++i) {
            const bool same = start(i) == start(0) && lanes_[i].size == lanes_[0].size;
            if (!same && start(i) < end(0) && start(0) < end(i)) return false;
        }
        return true;
    }

    /// A run whose results go past the caches, in pieces that the nearest cache holds. All but the first begin with a
    /// line, where pixels can: a line in two parts takes as long as several.
    void pastRun(std::byte* const* rows, std::size_t pixels, Place place) noexcept {
        const std::size_t size = lanes_[0].size;
        const std::size_t fitting = std::max<std::size_t>(1, chunkBytes / size);
        const std::size_t most = fitting < cacheLine ? fitting : fitting / cacheLine * cacheLine;
        std::size_t count = std::min(most, cacheLine);
        while (count > 1 && (reinterpret_cast<std::uintptr_t>(rows[0]) + count * size) % cacheLine != 0) --count;
        RunBlock piece{.rows = {buffers[0]}, .strides = {}, .count = 1, .pixels = 0, .place = place};
        for (std::size_t done = 0; done < pixels; done += count, count = most) {
            count = std::min(count, pixels - done);
            for (int i = 1; i < count_; ++i) piece.rows[i] = rows[i] + done * lanes_[i].size;
            piece.pixels = count;
            piece.place.x = place.x + static_cast<long>(done);
            run_(kernel_, piece);
            copyPast(rows[0] + done * size, buffers[0], count * size);
        }
    }

    void chunk(long x, long y, std::size_t pixels) noexcept {
        RunBlock block{.rows = {}, .strides = {}, .count = 1, .pixels = pixels, .place = {x, y}};
        std::byte** const rows = block.rows;
        bool direct[maxOperands];
        for (int i = 0; i < count_; ++i) {
            const Lane& lane = lanes_[i];
            // A single pixel is dense whatever its stride.
            direct[i] = lane.dense || (!lane.bits && pixels == 1);
            rows[i] = direct[i] ? lane.at(x, y) : buffers[i];
            if (!direct[i] && (i > 0 || lane.keeps)) lane.load(rows[i], x, y, pixels);
        }
        run_(kernel_, block);
        if (!direct[0] && lanes_[0].stores) lanes_[0].store(rows[0], x, y, pixels);
    }

    Lane lanes_[maxOperands];
    int count_;
    bool dense_ = true;
    std::size_t chunk_ = chunkPixels;
    RunFunction run_;
    void* kernel_;
    Runs runs_;
};

} // namespace

void walkOperands(RectCursor& rects, const Operand* operands, int count, RunFunction run, void* kernel,
                  Runs runs) noexcept {
    Walk walk(operands, count, run, kernel, runs);
    for (Rect rect{}; rects.next(rect);) walk.rectangle(rect);
}

} // namespace orvi
