// Convolution of bit images: a pixel is set where the weights of the set samples add up to at least one half.
//
// Beyond the image's edges this form repeats what lies at the edge of the rectangle at work, which is a clamp to the
// image only where the rectangle begins or ends at the image's own edge.

#include "memory/filter/Taps.h"
#include "memory/filter/lookupgen.h"
#include "memory/filter/strip_rules.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/orv_bit_utils.h"

float lookupgen(float* taps, long bits) noexcept {
    float sum = 0;
    if ((bits & 4) != 0) sum += taps[0];
    if ((bits & 2) != 0) sum += taps[1];
    if ((bits & 1) != 0) sum += taps[2];
    return sum;
}

namespace {

using namespace orvi;

/// The bits of one band as strips see them.
class BitRows {
public:
    using Sample = std::uint8_t;

    BitRows(const NineRegions& images, unsigned band) noexcept : images_(&images), band_(band) {}

    static long bands() noexcept { return 1; }

    template <class Element>
    void load(Element* to, long column, long row, long pixels) const noexcept {
        alignas(64) std::uint8_t bytes[stripSamples];
        const Raster& source = images_->source();
        for (long done = 0; done < pixels; done += stripSamples) {
            const long count = std::min(stripSamples, pixels - done);
            const BitPosition from = source.bit(column + done - source.ox, row - source.oy, band_);
            unpackBits(from.byte, from.offset, bytes, 1, static_cast<std::size_t>(count));
            packRow(to + done, bytes, 1, 1, count);
        }
    }
    void store(long x, long y, const std::uint8_t* results, long pixels) const noexcept {
        const BitPosition to = images_->destination().bit(x, y, band_);
        packBits(results, 1, to.byte, to.offset, static_cast<std::size_t>(pixels));
    }

private:
    const NineRegions* images_;
    unsigned band_;
};

class BitConvolution {
public:
    BitConvolution(const NineRegions& images, const Taps& taps, const Array<const std::uint8_t*>& rows) noexcept
        : images_(images),
          taps_(taps),
          rows_(rows.get()),
          // Strips multiply the weights of unset samples by 0.
          stripsServe_(std::all_of(taps.values.get(), taps.values.get() + taps.count(),
                                   [](float tap) { return std::isfinite(tap); })) {}

    void zero(const Rect& rect) const noexcept {
        for (unsigned band = 0; band < images_.bands(); ++band) {
            for (long y = 0; y < static_cast<long>(rect.height); ++y) {
                const BitPosition to = images_.destination().bit(rect.x, rect.y + y, band);
                orv_bit_setvalue(to.byte, 0, rect.width, to.offset);
            }
        }
    }

    void interior(const Rect& rect) const noexcept {
        if (!stripsServe_ || !images_.fits(taps_.window)) return evaluate(Region::interior, rect);
        for (unsigned band = 0; band < images_.bands(); ++band) {
            StripWalk<BitRows, BitRule> walk(images_, BitRows(images_, band), taps_.window, taps_.values.get());
            if (!walk.rectangle(rect)) return evaluate(Region::interior, rect);
        }
    }

    void evaluate(Region region, const Rect& rect) const noexcept {
        for (unsigned band = 0; band < images_.bands(); ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) row(region, rect, y, band);
        }
    }

private:
    void row(Region region, const Rect& rect, long y, unsigned band) const noexcept {
        const Raster& source = images_.source();
        const long sy = y + source.oy;
        const long top = sy - taps_.window.keyY;
        findRows(region, sy, band);
        const TapOrder rows(rowOrder(region), taps_.window.height, top, images_.height());
        const BitPosition to = images_.destination().bit(rect.x, y, band);
        for (long i = 0; i < static_cast<long>(rect.width); ++i) {
            const long left = rect.x + i + source.ox - taps_.window.keyX;
            const TapOrder columns(columnOrder(region), taps_.window.width, left, images_.width());
            const bool set = !(sum(region, rect, left, rows, columns) < 0.5F);
            const std::size_t position = to.offset + static_cast<std::size_t>(i);
            std::uint8_t& byte = to.byte[position >> 3];
            const std::uint8_t mask = bit_mask[position & 7];
            byte = static_cast<std::uint8_t>(set ? byte | mask : byte & ~mask);
        }
    }

    float sum(Region region, const Rect& rect, long left, const TapOrder& rows,
              const TapOrder& columns) const noexcept {
        float total = 0;
        for (long i = 0; i < taps_.window.height; ++i) {
            const long row = rows[i];
            for (long j = 0; j < taps_.window.width; ++j) {
                const long column = columns[j];
                const long position = columnOf(region, rect, left + column) + images_.source().offset;
                if ((rows_[row][position >> 3] & bit_mask[position & 7]) != 0) total += taps_.row(row)[column];
            }
        }
        return total;
    }

    /// Points the rows of the window at the source rows that they read.
    void findRows(Region region, long sy, unsigned band) const noexcept {
        const Raster& source = images_.source();
        const long top = sy - taps_.window.keyY;
        // In the top regions the first row inside the image is taken to be the current one.
        const long above = isTop(region) ? std::max(0L, -top) : 0;
        for (long i = 0; i < taps_.window.height; ++i) {
            const long wanted = isTop(region) ? (above > 0 ? sy + std::max(0L, i - above) : top + i) : top + i;
            const long sourceRow = std::clamp(wanted, 0L, images_.height() - 1);
            rows_[i] = reinterpret_cast<const std::uint8_t*>(source.data) + band * source.bandStride +
                       sourceRow * source.stride;
        }
    }

    /// The storage column that is read for the one wanted.
    long columnOf(Region region, const Rect& rect, long wanted) const noexcept {
        const long first = rect.x + images_.source().ox;
        const long last = images_.width() - 1;
        if (isLeft(region)) {
            if (wanted < 0) return first;
            if (region == Region::left) wanted += first;
        }
        if (isRight(region) && wanted > last) return first + static_cast<long>(rect.width) - 1;
        return std::clamp(wanted, 0L, last);
    }

    const NineRegions& images_;
    const Taps& taps_;
    const std::uint8_t** rows_;
    bool stripsServe_;
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convolve1(OrvOp* op, int) noexcept {
    NineRegions images({"Convolve1Memory.cc", 1, true}, op->getSrc1(), op->getDst());
    Taps taps;
    if (!taps.read(static_cast<OrvKernel*>(op->getObjParam(1)))) return images.failMemory();
    const Array<const std::uint8_t*> rows(static_cast<std::size_t>(taps.window.height));
    if (!rows) return images.failMemory();
    const long edge = op->getLongParam(2);
    if (images.fetch(ORV_BIT) != ORV_SUCCESS) return ORV_FAILURE;
    if (images.intersect() != ORV_SUCCESS) return ORV_FAILURE;

    const BitConvolution convolution(images, taps, rows);
    return images.visit(taps.window, [&](Region region, const Rect& rect) {
        if (region == Region::interior) {
            convolution.interior(rect);
            return true;
        }
        return visitBorder(
            edge, rect, [&](const Rect& border) { convolution.zero(border); },
            [&](const Rect& border) { convolution.evaluate(region, border); });
    });
}
