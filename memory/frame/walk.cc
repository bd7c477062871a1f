#include "memory/frame/walk.h"

#include "memory/frame/gaps.h"
#include "memory/frame/orv_bit_utils.h"

namespace orvi {

namespace {

constexpr std::size_t chunkPixels = 512;
constexpr std::size_t chunkBytes = 8192;
// A pixel of a BIT image may have as many planes as a pixel stride can count.
constexpr std::size_t bufferBytes = 65536;
alignas(64) std::byte buffers[maxOperands][bufferBytes];

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
        for (unsigned band = 0; band < bands; ++band) {
            const BitPosition from = raster->bit(x, y, band);
            unpackBits(from.byte, from.offset, reinterpret_cast<std::uint8_t*>(buffer) + band, bands, pixels);
        }
    }

    void store(const std::byte* buffer, long x, long y, std::size_t pixels) const noexcept {
        if (!bits) return openGaps(at(x, y), buffer, raster->pixel, size, pixels);
        for (unsigned band = 0; band < bands; ++band) {
            const BitPosition to = raster->bit(x, y, band);
            packBits(reinterpret_cast<const std::uint8_t*>(buffer) + band, bands, to.byte, to.offset, pixels);
        }
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
        if (!dense_) return chunks(rect);
        if (runs_ == Runs::overRows && rowsTouch(rect.width))
            return denseRun(rect.x, rect.y, std::size_t{rect.width} * rect.height);
        for (long row = 0; row < static_cast<long>(rect.height); ++row) denseRun(rect.x, rect.y + row, rect.width);
    }

private:
    bool rowsTouch(unsigned width) const noexcept {
        return std::all_of(lanes_, lanes_ + count_, [width](const Lane& lane) {
            return static_cast<std::size_t>(lane.raster->stride) == lane.size * width;
        });
    }

    void denseRun(long x, long y, std::size_t pixels) noexcept {
        std::byte* rows[maxOperands];
        for (int i = 0; i < count_; ++i) rows[i] = lanes_[i].at(x, y);
        run_(kernel_, rows, pixels, {x, y});
    }

    void chunks(const Rect& rect) noexcept {
        for (long row = 0; row < static_cast<long>(rect.height); ++row) {
            for (std::size_t done = 0; done < rect.width; done += chunk_) {
                chunk(rect.x + static_cast<long>(done), rect.y + row, std::min(chunk_, rect.width - done));
            }
        }
    }

    void chunk(long x, long y, std::size_t pixels) noexcept {
        std::byte* rows[maxOperands];
        bool direct[maxOperands];
        for (int i = 0; i < count_; ++i) {
            const Lane& lane = lanes_[i];
            // A single pixel is dense whatever its stride.
            direct[i] = lane.dense || (!lane.bits && pixels == 1);
            rows[i] = direct[i] ? lane.at(x, y) : buffers[i];
            if (!direct[i] && (i > 0 || lane.keeps)) lane.load(rows[i], x, y, pixels);
        }
        run_(kernel_, rows, pixels, {x, y});
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
