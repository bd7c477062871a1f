// An image filled with copies of a tile.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/orv_bit_utils.h"

namespace {

using namespace orvi;

constexpr Failure noRegion{"di-6", 6, 0};
constexpr Failure noIntersection{"di-7", 6, 0};
constexpr Failure noList{"di-8", 6, 0};
constexpr Failure noClone{"di-14", 6, 0};
constexpr Failure noTranslation{"di-16", 6, 0};

/// The tiles along one axis.
struct Tiling {
    long tile;       ///< size of a tile
    long shift;      ///< how far the first tile stands before the source, a multiple of the tile
    unsigned long n; ///< tiles

    Tiling(unsigned tileSize, unsigned extent, long sourceOrigin, long origin) noexcept
        : tile(tileSize), shift(origin > 0 ? (origin + tile - 1) / tile * tile : 0) {
        const long span = std::clamp(long{extent} - origin + sourceOrigin, 0L, 0xffffffffL);
        const float tiles = static_cast<float>(span) / static_cast<float>(tileSize);
        // A ceiling that misses a fraction below 0.000001, as intended.
        n = static_cast<unsigned long>(double{tiles} + 0.999999) + static_cast<unsigned long>(shift / tile);
    }
};

/// Copies rows of samples between images, by pixels where they lie apart.
template <class T>
class Copier {
public:
    Copier(const Raster& to, const Raster& from) noexcept
        : to_(to),
          from_(from),
          bytes_(commonBands() * sizeof(T)),
          dense_(to.pixel == pixelBytes() && from.pixel == pixelBytes()) {}

    /// Whether whole rows of both images are runs of samples.
    bool dense() const noexcept { return dense_ && to_.bands == from_.bands; }

    /// Copies a rectangle of the destination from the source, which is displaced by (dx, dy).
    void rectangle(const Rect& rect, long dx, long dy) const noexcept {
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            row(to_.at<std::byte>(rect.x, y), from_.at<std::byte>(rect.x + dx, y + dy), rect.width);
        }
    }

    /// Fills a destination whose first rows are there with copies of them.
    void replicate(unsigned width, unsigned height, unsigned rows) const noexcept {
        const std::size_t rowBytes = width * bytes_;
        const bool touching = static_cast<std::size_t>(to_.stride) == rowBytes;
        const unsigned step = touching ? rows : 1;
        for (unsigned row = rows; row < height; row += step) {
            std::byte* const d = to_.data + static_cast<std::ptrdiff_t>(row) * to_.stride;
            const std::byte* const s = d - static_cast<std::ptrdiff_t>(rows) * to_.stride;
            std::memcpy(d, s, std::min(step, height - row) * rowBytes);
        }
    }

private:
    std::size_t commonBands() const noexcept { return std::min(to_.bands, from_.bands); }
    std::ptrdiff_t pixelBytes() const noexcept { return static_cast<std::ptrdiff_t>(bytes_); }

    void row(std::byte* to, const std::byte* from, unsigned width) const noexcept {
        if (dense_) {
            std::memmove(to, from, width * bytes_);
            return;
        }
        for (unsigned i = 0; i < width; ++i, to += to_.pixel, from += from_.pixel) std::memmove(to, from, bytes_);
    }

    const Raster& to_;
    const Raster& from_;
    std::size_t bytes_;
    bool dense_;
};

template <>
class Copier<Bit> {
public:
    Copier(const Raster& to, const Raster& from) noexcept
        : to_(to), from_(from), bands_(std::min(to.bands, from.bands)) {}

    bool dense() const noexcept { return to_.bands == from_.bands; }

    void rectangle(const Rect& rect, long dx, long dy) const noexcept {
        for (unsigned band = 0; band < bands_; ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
                row(to_.bit(rect.x, y, band), from_.bit(rect.x + dx, y + dy, band), rect.width);
            }
        }
    }

    void replicate(unsigned width, unsigned height, unsigned rows) const noexcept {
        for (unsigned band = 0; band < bands_; ++band) {
            for (long y = rows; y < static_cast<long>(height); ++y) {
                row(to_.bit(0, y, band), to_.bit(0, y - static_cast<long>(rows), band), width);
            }
        }
    }

private:
    static void row(BitPosition to, BitPosition from, unsigned width) noexcept {
        orv_bit_memcpy(from.byte, to.byte, width, from.offset, to.offset);
    }

    const Raster& to_;
    const Raster& from_;
    unsigned bands_;
};

/// A region that moves from tile to tile. The first one may be the image's own, which is not released; the ones that
/// moves make are. Where a step fails, all that was made before stays, as intended.
class MovingRegion {
public:
    explicit MovingRegion(OrvRoi* imagesOwn) noexcept : region_(imagesOwn) {}

    static MovingRegion owning(OrvRoi* region) noexcept {
        MovingRegion result(region);
        result.owned_ = true;
        return result;
    }

    OrvRoi* get() const noexcept { return region_; }

    bool move(long dx, long dy) noexcept {
        OrvRoi* moved = region_->translate(dx, dy);
        if (moved == nullptr) return false;
        release();
        region_ = moved;
        owned_ = true;
        return true;
    }

    void release() noexcept {
        if (owned_) orv_destroy(region_);
        owned_ = false;
    }

private:
    OrvRoi* region_;
    bool owned_ = false;
};

template <class T>
class Tiler {
public:
    Tiler(OrvOp* op, const FrameFacts& facts) noexcept : frame_(op), facts_(facts) {}

    OrvStatus run() noexcept {
        if (frame_.fetch(facts_) != ORV_SUCCESS) return ORV_FAILURE;
        OrvImage* const source = frame_.image(src1);
        OrvImage* const destination = frame_.image(dst);
        OrvRoi* const tile = source->getImageSpaceRoi();
        if (tile == nullptr) return failed(noRegion);
        target_ = destination->getImageSpaceRoi();
        if (target_ == nullptr) return failed(noRegion);

        const Raster& to = frame_[dst];
        const Raster& from = frame_[src1];
        const Tiling across(source->getWidth(), destination->getWidth(), from.ox, to.ox);
        const Tiling down(source->getHeight(), destination->getHeight(), from.oy, to.oy);
        MovingRegion region(tile);
        if (across.shift != 0 && !region.move(-across.shift, 0)) return failed(noTranslation);
        if (down.shift != 0 && !region.move(0, -down.shift)) return failed(noTranslation);
        const OrvStatus status = tileRows(region, across, down);
        if (status == ORV_SUCCESS) region.release();
        return status;
    }

private:
    OrvStatus failed(const Failure& failure, std::source_location where = std::source_location::current()) noexcept {
        return fail(frame_.image(dst), failure, facts_.file, where);
    }

    OrvStatus tileRows(MovingRegion& region, const Tiling& across, const Tiling& down) noexcept {
        const Copier<T> copier(frame_[dst], frame_[src1]);
        long dy = down.shift;
        for (unsigned long row = 0; row < down.n; ++row, dy -= down.tile) {
            OrvRoi* const clone = region.get()->clone();
            if (clone == nullptr) return failed(noClone);
            OrvRoi* const sourceRoi = frame_.image(src1)->getRoi();
            OrvRoi* const destinationRoi = frame_.image(dst)->getRoi();
            MovingRegion tile = MovingRegion::owning(clone);
            const bool whole = sourceRoi == nullptr && destinationRoi == nullptr;
            const bool replicates = row > 0 && whole && copier.dense() && atOrigin();
            if (!replicates) {
                if (tileRow(tile, across, dy, copier) != ORV_SUCCESS) return ORV_FAILURE;
            }
            tile.release();
            if (!replicates && !region.move(0, down.tile)) return failed(noTranslation);
            orv_destroy(sourceRoi);
            orv_destroy(destinationRoi);
            if (replicates) {
                OrvImage* const image = frame_.image(dst);
                copier.replicate(image->getWidth(), image->getHeight(), static_cast<unsigned>(down.tile));
                return ORV_SUCCESS;
            }
        }
        return ORV_SUCCESS;
    }

    OrvStatus tileRow(MovingRegion& tile, const Tiling& across, long dy, const Copier<T>& copier) noexcept {
        long dx = across.shift;
        for (unsigned long column = 0; column < across.n; ++column, dx -= across.tile) {
            OrvRoi* const common = tile.get()->intersect(target_);
            if (common == nullptr) return failed(noIntersection);
            OrvRoiList* const list = common->getRectList();
            if (list == nullptr) return failed(noList);
            RectCursor rects(list);
            for (Rect rect{}; rects.next(rect);) copier.rectangle(rect, dx, dy);
            rects.reset(nullptr);
            orv_destroy(common);
            if (!tile.move(across.tile, 0)) return failed(noTranslation);
        }
        return ORV_SUCCESS;
    }

    bool atOrigin() const noexcept {
        const Raster& to = frame_[dst];
        const Raster& from = frame_[src1];
        return to.ox == 0 && to.oy == 0 && from.ox == 0 && from.oy == 0;
    }

    Frame frame_;
    const FrameFacts& facts_;
    OrvRoi* target_ = nullptr;
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::CopyPattern1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("CopyPattern1Memory.cc");
    return Tiler<Bit>(op, facts).run();
}

OrvStatus OrvDeviceComputeTypeMemory::CopyPattern8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("CopyPattern8Memory.cc");
    return Tiler<std::uint8_t>(op, facts).run();
}

OrvStatus OrvDeviceComputeTypeMemory::CopyPattern16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("CopyPattern16Memory.cc");
    return Tiler<std::int16_t>(op, facts).run();
}
