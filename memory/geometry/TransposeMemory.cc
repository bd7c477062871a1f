// Flips and turns by one of seven symmetries. Rectangles are in the destination's storage.

#include <algorithm>

#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/geometry/PixelTiles.h"
#include "memory/geometry/Transpose.h"
#include "memory/geometry/transpose_block.h"

namespace {

using namespace orvi;

/// Sample by sample in the order of the destination, for images that share samples: later pixels take what earlier ones
/// wrote.
template <class T>
void copyInOrder(const Raster& dst, const PixelSteps& from, unsigned bands, const Rect& rect) noexcept {
    for (std::ptrdiff_t y = 0; y < static_cast<std::ptrdiff_t>(rect.height); ++y) {
        for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(rect.width); ++x) {
            T* to = reinterpret_cast<T*>(dst.data + (rect.y + y) * dst.stride + (rect.x + x) * dst.pixel);
            const T* sample = reinterpret_cast<const T*>(from.at(x, y));
            for (unsigned band = 0; band < bands; ++band) to[band] = sample[band];
        }
    }
}

template <class T>
OrvStatus transposePixels(OrvOp* op, const char* file) noexcept {
    TransposeCall call;
    if (call.open(op, dataTypeOf<T>, file) != ORV_SUCCESS) return ORV_FAILURE;
    const Raster& src = call.src;
    const Raster& dst = call.dst;
    const std::ptrdiff_t right = call.flip.columnRight * src.pixel + call.flip.rowRight * src.stride;
    const std::ptrdiff_t down = call.flip.columnDown * src.pixel + call.flip.rowDown * src.stride;
    const bool shared = Extent(src, sizeof(T)).overlaps(Extent(dst, sizeof(T)));
    for (Rect rect{}; call.rects.next(rect);) {
        const PixelSteps from{
            src.data + call.row(rect.x, rect.y) * src.stride + call.column(rect.x, rect.y) * src.pixel, right, down};
        if (shared) {
            copyInOrder<T>(dst, from, call.bands, rect);
            continue;
        }
        std::byte* to = dst.data + rect.y * dst.stride + rect.x * dst.pixel;
        copyPixels(to, dst.pixel, dst.stride, from, call.bands * sizeof(T), rect.width, rect.height);
    }
    return ORV_SUCCESS;
}

constexpr BlockFlip* blockFlips[flipCount] = {blk_flip_x,  blk_flip_y,   blk_flip_d,  blk_flip_a,
                                              blk_flip_90, blk_flip_180, blk_flip_270};
constexpr long blockSide = 16;

/// One plane of both images.
class PlaneTranspose {
public:
    PlaneTranspose(const TransposeCall& call, unsigned band) noexcept
        : call_(call),
          from_(reinterpret_cast<std::uint8_t*>(call.src.data) + band * call.src.bandStride),
          to_(reinterpret_cast<std::uint8_t*>(call.dst.data) + band * call.dst.bandStride) {}

    /// Whole blocks lie at byte boundaries of the destination. What lies beside and below them goes by way of blocks of
    /// its own, or bit by bit where the images share memory: later bits take what earlier ones wrote.
    void run(const Rect& rect, bool apart) const noexcept {
        const long width = static_cast<long>(rect.width);
        const long head = std::min(width, (8 - ((rect.x + static_cast<long>(call_.dst.offset)) & 7)) & 7);
        const long blocks = (width - head) / blockSide;
        const long bottom = rect.y + static_cast<long>(rect.height);
        const long left = rect.x + head;
        const long rest = left + blocks * blockSide;
        const long right = rect.x + width;
        if (apart) {
            for (long y = rect.y; y < bottom; y += blockSide) {
                const long rows = std::min(blockSide, bottom - y);
                part(rect.x, y, head, rows);
                for (long x = left; x < rest; x += blockSide)
                    rows == blockSide ? block(x, y) : part(x, y, blockSide, rows);
                part(rest, y, right - rest, rows);
            }
            return;
        }
        long y = rect.y;
        for (; y + blockSide <= bottom; y += blockSide) {
            for (long row = y; row < y + blockSide; ++row) {
                bits(rect.x, left, row);
                for (long i = 0; row == y && i < blocks; ++i) block(left + i * blockSide, y);
                bits(rest, right, row);
            }
        }
        for (; y < bottom; ++y) bits(rect.x, right, y);
    }

private:
    void block(long x, long y) const noexcept {
        const long opposite = blockSide - 1;
        const long column = std::min(call_.column(x, y), call_.column(x + opposite, y + opposite)) +
                            static_cast<long>(call_.src.offset);
        const long row = std::min(call_.row(x, y), call_.row(x + opposite, y + opposite));
        blockFlips[call_.fliptype](from_ + row * call_.src.stride + (column >> 3),
                                   to_ + y * call_.dst.stride + ((x + static_cast<long>(call_.dst.offset)) >> 3),
                                   static_cast<unsigned long>(column & 7), static_cast<unsigned long>(call_.src.stride),
                                   static_cast<unsigned long>(call_.dst.stride));
    }

    /// A block of which only some columns and rows are asked for.
    void part(long x, long y, long width, long height) const noexcept {
        if (width == 0) return;
        constexpr std::ptrdiff_t rowBytes = blockSide / 8;
        std::uint8_t from[blockSide * rowBytes] = {};
        std::uint8_t to[blockSide * rowBytes];
        const long opposite = blockSide - 1;
        const long firstColumn = std::min(call_.column(x, y), call_.column(x + opposite, y + opposite));
        const long firstRow = std::min(call_.row(x, y), call_.row(x + opposite, y + opposite));
        const auto [left, right] = std::minmax({call_.column(x, y), call_.column(x + width - 1, y + height - 1)});
        const auto [top, bottom] = std::minmax({call_.row(x, y), call_.row(x + width - 1, y + height - 1)});
        const auto copy = [](BitPosition d, BitPosition s, long length) {
            combineBits(
                d, static_cast<std::size_t>(length), [](auto v) { return v; }, s);
        };
        const auto place = [](std::uint8_t* row, long bit) {
            return BitPosition{row + (bit >> 3), static_cast<unsigned>(bit & 7)};
        };
        for (long row = top; row <= bottom; ++row) {
            copy(place(from + (row - firstRow) * rowBytes, left - firstColumn),
                 place(from_ + row * call_.src.stride, left + static_cast<long>(call_.src.offset)), right - left + 1);
        }
        blockFlips[call_.fliptype](from, to, 0, rowBytes, rowBytes);
        for (long row = 0; row < height; ++row) {
            copy(place(to_ + (y + row) * call_.dst.stride, x + static_cast<long>(call_.dst.offset)),
                 {to + row * rowBytes, 0}, width);
        }
    }

    void bits(long first, long end, long y) const noexcept {
        for (long x = first; x < end; ++x) {
            const long source = call_.column(x, y) + static_cast<long>(call_.src.offset);
            const bool set = (from_[call_.row(x, y) * call_.src.stride + (source >> 3)] & bit_mask[source & 7]) != 0;
            const long place = x + static_cast<long>(call_.dst.offset);
            std::uint8_t& byte = to_[y * call_.dst.stride + (place >> 3)];
            const unsigned mask = bit_mask[place & 7];
            byte = static_cast<std::uint8_t>(set ? byte | mask : byte & ~mask);
        }
    }

    const TransposeCall& call_;
    std::uint8_t* from_;
    std::uint8_t* to_;
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Transpose1(OrvOp* op, int) noexcept {
    TransposeCall call;
    if (call.open(op, ORV_BIT, "Transpose1Memory.cc") != ORV_SUCCESS) return ORV_FAILURE;
    const bool apart = !Extent::ofBits(call.src).overlaps(Extent::ofBits(call.dst));
    for (Rect rect{}; call.rects.next(rect);) {
        for (unsigned band = 0; band < call.bands; ++band) PlaneTranspose(call, band).run(rect, apart);
    }
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Transpose8(OrvOp* op, int) noexcept {
    return transposePixels<std::uint8_t>(op, "Transpose8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Transpose16(OrvOp* op, int) noexcept {
    return transposePixels<std::int16_t>(op, "Transpose16Memory.cc");
}
