// A five-tap row and a five-tap column in one pass, without the image between them. Each sum is rounded once, and the
// value between the two is cut to the data type as an image would.

#include "memory/filter/Taps.h"
#include "memory/filter/samples.h"
#include "memory/filter/sums.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"

namespace {

using namespace orvi;

constexpr long pairTaps = 5;

bool isRow(OrvKernel* kernel) noexcept { return kernel->getWidth() == pairTaps && kernel->getHeight() == 1; }
bool isColumn(OrvKernel* kernel) noexcept { return kernel->getWidth() == 1 && kernel->getHeight() == pairTaps; }
OrvKernel* kernelOf(OrvOp* op) noexcept { return static_cast<OrvKernel*>(op->getObjParam(1)); }

/// The edge condition must be zero-fill and the kernel a row or a column, as told.
bool accepts(OrvOp* op, bool row) noexcept {
    return op->getLongParam(2) == zeroEdge && (row ? isRow(kernelOf(op)) : isColumn(kernelOf(op)));
}

template <class T>
class Pair {
public:
    Pair(const NineRegions& images, const Window& window, const float* inner, const float* outer,
         bool outerIsRow) noexcept
        : images_(images),
          window_(window),
          inner_(inner),
          outer_(outer),
          outerIsRow_(outerIsRow),
          source_(images.source(), images.width(), images.height()) {}

    void interior(const Rect& rect) const noexcept {
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            const long top = y + images_.source().oy - window_.keyY;
            for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
                const long left = x + images_.source().ox - window_.keyX;
                T* pixel = images_.destination().at<T>(x, y);
                for (unsigned band = 0; band < images_.bands(); ++band) pixel[band] = evaluate(left, top, band);
            }
        }
    }

private:
    T evaluate(long left, long top, unsigned band) const noexcept {
        WholeSum<T> sum;
        for (long i = 0; i < pairTaps; ++i) {
            WholeSum<T> between;
            for (long j = 0; j < pairTaps; ++j) {
                const long column = outerIsRow_ ? i : j;
                const long row = outerIsRow_ ? j : i;
                between.add(source_.nearest(left + column, top + row)[band], inner_[j]);
            }
            sum.add(between.result(), outer_[i]);
        }
        return sum.result();
    }

    const NineRegions& images_;
    Window window_;
    const float* inner_;
    const float* outer_;
    bool outerIsRow_;
    Samples<const T> source_;
};

template <class T>
OrvStatus convolveTwice(OrvOp* outerOp, const char* file) noexcept {
    // What does not fit is declined without a report: the two convolutions are then run one by one.
    const bool outerIsRow = isRow(kernelOf(outerOp));
    if (!accepts(outerOp, outerIsRow)) return ORV_FAILURE;
    OrvOp* innerOp = outerOp->getOp1();
    if (!accepts(innerOp, !outerIsRow)) return ORV_FAILURE;

    NineRegions images({file, 1, true}, innerOp->getSrc1(), outerOp->getDst());
    Taps outer;
    if (!outer.read(kernelOf(outerOp))) return images.failMemory();
    Taps inner;
    if (!inner.read(kernelOf(innerOp))) return images.failMemory();
    if (images.fetch(dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    if (images.intersect() != ORV_SUCCESS) return ORV_FAILURE;

    const Window& row = outerIsRow ? outer.window : inner.window;
    const Window& column = outerIsRow ? inner.window : outer.window;
    const Window window{pairTaps, pairTaps, row.keyX, column.keyY};
    const Pair<T> pair(images, window, inner.values.get(), outer.values.get(), outerIsRow);
    return images.visit(window, [&](Region region, const Rect& rect) {
        if (region == Region::interior) {
            pair.interior(rect);
        } else {
            zeroRectangle<T>(images.destination(), images.bands(), rect);
        }
        return true;
    });
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convolve8Convolve8(OrvOp* op, int) noexcept {
    return convolveTwice<std::uint8_t>(op, "Convolve8Convolve8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Convolve16Convolve16(OrvOp* op, int) noexcept {
    return convolveTwice<std::int16_t>(op, "Convolve16Convolve16Memory.cc");
}
