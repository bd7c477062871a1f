// Convolution of byte and short images with a kernel of any size.
//
// Small kernels have an arithmetic of their own in the interior, where the window lies inside the image: bytes take
// truncated fixed-point products, shorts round their sum once. It differs from that of the border on purpose.

#include "memory/filter/Taps.h"
#include "memory/filter/samples.h"
#include "memory/filter/sums.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"

namespace {

using namespace orvi;

template <class T>
class Convolution {
public:
    Convolution(const NineRegions& images, const Taps& taps) noexcept
        : images_(images), taps_(taps), source_(images.source(), images.width(), images.height()) {}

    void zero(const Rect& rect) const noexcept { zeroRectangle<T>(images_.destination(), images_.bands(), rect); }

    void extend(Region region, const Rect& rect) const noexcept {
        everyPixel<RoundedSum<T>>(rect, rowOrder(region), columnOrder(region));
    }

    void interior(const Rect& rect) const noexcept {
        const long w = taps_.window.width;
        const long h = taps_.window.height;
        if constexpr (sizeof(T) == 1) {
            if (w == h && (w == 3 || w == 5)) return inside<TruncatedSum>(rect);
        } else {
            const bool small = (w == 3 || w == 5 || w == 1) && (h == 3 || h == 5 || h == 1);
            if (small && (w == h || w == 1 || h == 1) && w * h > 1) return inside<WholeSum<T>>(rect);
        }
        inside<RoundedSum<T>>(rect);
    }

private:
    template <class Sum>
    void inside(const Rect& rect) const noexcept {
        everyPixel<Sum>(rect, TapOrder::ascending, TapOrder::ascending);
    }

    /// The plain walk: sample positions are held inside the image.
    template <class Sum>
    void everyPixel(const Rect& rect, TapOrder::Kind rowKind, TapOrder::Kind columnKind) const noexcept {
        const Raster& to = images_.destination();
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            const long top = y + images_.source().oy - taps_.window.keyY;
            const TapOrder rows(rowKind, taps_.window.height, top, images_.height());
            for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
                const long left = x + images_.source().ox - taps_.window.keyX;
                const TapOrder columns(columnKind, taps_.window.width, left, images_.width());
                T* pixel = to.at<T>(x, y);
                for (unsigned band = 0; band < images_.bands(); ++band) {
                    pixel[band] = evaluate<Sum>(top, left, band, rows, columns);
                }
            }
        }
    }

    template <class Sum>
    T evaluate(long top, long left, unsigned band, const TapOrder& rows, const TapOrder& columns) const noexcept {
        Sum sum;
        for (long i = 0; i < taps_.window.height; ++i) {
            const long row = rows[i];
            for (long j = 0; j < taps_.window.width; ++j) {
                const long column = columns[j];
                sum.add(source_.nearest(left + column, top + row)[band], taps_.row(row)[column]);
            }
        }
        return sum.result();
    }

    const NineRegions& images_;
    const Taps& taps_;
    Samples<const T> source_;
};

template <class T>
OrvStatus convolve(OrvOp* op, const FilterFacts& facts) noexcept {
    NineRegions images(facts, op->getSrc1(), op->getDst());
    Taps taps;
    if (!taps.read(static_cast<OrvKernel*>(op->getObjParam(1)))) return images.failMemory();
    const long edge = op->getLongParam(2);
    if (images.fetch(dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    if (images.intersect() != ORV_SUCCESS) return ORV_FAILURE;

    const Convolution<T> convolution(images, taps);
    return images.visit(taps.window, [&](Region region, const Rect& rect) {
        if (region == Region::interior) {
            convolution.interior(rect);
            return true;
        }
        return visitBorder(
            edge, rect, [&](const Rect& border) { convolution.zero(border); },
            [&](const Rect& border) { convolution.extend(region, border); });
    });
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convolve8(OrvOp* op, int) noexcept {
    return convolve<std::uint8_t>(op, {"Convolve8Memory.cc", 1, true});
}
OrvStatus OrvDeviceComputeTypeMemory::Convolve16(OrvOp* op, int) noexcept {
    return convolve<std::int16_t>(op, {"Convolve16Memory.cc", 1, true});
}
