// Affine, rotate, scale and translate of bits: nearest, bilinear by areas, bicubic by tables, general by sums of
// weights. Bands are planes, walked one after another.

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/geometry/BitRun.h"
#include "memory/geometry/BitRunLanes.h"
#include "memory/geometry/Dda.h"
#include "memory/geometry/GeomOps.h"
#include "memory/geometry/bit_interp.h"

namespace {

using namespace orvi;

/// One plane of a source, in storage. A position beside the image reads the nearest bit of it.
class BitPlane {
public:
    BitPlane(const Picture& picture, unsigned band) noexcept : picture_(picture), band_(band) {}

    const Picture& picture() const noexcept { return picture_; }

    unsigned at(long column, long row) const noexcept {
        const Raster& raster = picture_.raster;
        const long c = std::clamp(column, 0L, picture_.width - 1);
        const long r = std::clamp(row, 0L, picture_.height - 1);
        const BitPosition bit = raster.bit(c - raster.ox, r - raster.oy, band_);
        return (*bit.byte >> (7 - bit.offset)) & 1U;
    }

private:
    const Picture& picture_;
    unsigned band_;
};

struct NearestBit {
    static constexpr Interpolation interpolation = Interpolation::nearest;
    using Dda = FixedDda;

    void write(BitRun& to, const BitPlane& plane, const Dda& dda) const noexcept {
        const Raster& raster = plane.picture().raster;
        to.put(plane.at(dda.column() + raster.ox, dda.row() + raster.oy) != 0);
    }
};

struct BilinearBit {
    static constexpr Interpolation interpolation = Interpolation::bilinear;
    using Dda = FixedDda;

    void write(BitRun& to, const BitPlane& plane, const Dda& dda) const noexcept {
        const long column = dda.column() + plane.picture().raster.ox;
        const long row = dda.row() + plane.picture().raster.oy;
        const unsigned corners = plane.at(column, row) << 3 | plane.at(column + 1, row) << 2 |
                                 plane.at(column, row + 1) << 1 | plane.at(column + 1, row + 1);
        to.put(quadrantBit(corners, dda.fractionX(), dda.fractionY()));
    }
};

struct BicubicBit {
    static constexpr Interpolation interpolation = Interpolation::bicubic;
    using Dda = FloatDda;

    const int* BLtable;
    const int* BCtable;

    void write(BitRun& to, const BitPlane& plane, const Dda& dda) const noexcept {
        const long column = dda.x.whole + plane.picture().raster.ox;
        const long row = dda.y.whole + plane.picture().raster.oy;
        BitPatterns patterns;
        for (int i = 0; i < 4; ++i) {
            patterns[i] = 0;
            for (int j = 0; j < 4; ++j) patterns[i] = patterns[i] << 1 | plane.at(column + j - 1, row + i - 1);
        }
        to.put(bicubicBit(BLtable, BCtable, sixteenths(dda.x.fraction), sixteenths(dda.y.fraction), patterns));
    }

    static unsigned sixteenths(float fraction) noexcept {
        return static_cast<unsigned>(toInt(fraction * 16.0F, 0, 15));
    }
};

/// The window is that of the whole image, and taps beside it are left out.
struct WeightedBit {
    static constexpr Interpolation interpolation = Interpolation::general;
    using Dda = FloatDda;

    const AxisTaps& h;
    const AxisTaps& v;
    float* rowSums;

    void write(BitRun& to, const BitPlane& plane, const Dda& dda) const noexcept {
        const Picture& image = plane.picture();
        const Window rows = rowWindow(dda.y.whole + image.raster.oy, 0, image.height, 0, v);
        if (rows.count < 0) return to.skip();
        const Window columns = columnWindow(dda.x.whole + image.raster.ox, 0, image.width, 0, h);
        to.put(weightedBit(rows, columns, h.row(dda.x.fraction), v.row(dda.y.fraction), rowSums,
                           [&](long column, long row) {
                               return column >= 0 && column < image.width && row >= 0 && row < image.height &&
                                      plane.at(column, row) != 0;
                           }));
    }
};

/// The runs that are done many bits at a time: none, but for the nearest.
template <class Pixel>
struct WholeRuns {
    WholeRuns(const GeomCall&, unsigned) noexcept {}
    static bool write(const Run&, const typename Pixel::Dda&) noexcept { return false; }
};
template <>
struct WholeRuns<NearestBit> : BitRunLanes {
    using BitRunLanes::BitRunLanes;
};

/// Steps the runs of one plane, bit by bit where they are not done as a whole.
template <class Pixel>
struct BitRuns {
    const GeomCall& call;
    const Pixel& pixel;
    unsigned band;

    void operator()(const geom::scan* scan, const Rect&) const noexcept {
        const BitPlane plane(call.src, band);
        const WholeRuns<Pixel> whole(call, band);
        for (; scan != nullptr; scan = scan->next) {
            const Run run = call.start(*scan);
            typename Pixel::Dda dda(run);
            if (whole.write(run, dda)) continue;
            BitRun to(call.dst.raster.bit(run.x1, run.y, band));
            for (long x = run.x1; x <= run.x2; ++x, dda.step()) pixel.write(to, plane, dda);
        }
    }
};

template <class Pixel>
OrvStatus walkPlanes(OrvImage* src, OrvImage* dst, const Matrix& m, const Pixel& pixel) noexcept {
    if (GeomCall::singular(m)) return ORV_SUCCESS;
    GeomCall call;
    if (call.open(src, dst, m, Pixel::interpolation, ORV_BIT) != ORV_SUCCESS) return ORV_FAILURE;
    for (unsigned band = 0; band < call.bands; ++band) {
        BitRuns<Pixel> runs{call, pixel, band};
        if (call.walk(false, runs) != ORV_SUCCESS) return ORV_FAILURE;
    }
    return ORV_SUCCESS;
}

OrvStatus noMemoryFor(OrvImage* dst, Interpolation interpolation) noexcept {
    return fail(dst, noMemory, geomConfig(interpolation).files[ORV_BIT]);
}

OrvStatus nearestEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable*,
                        OrvInterpolationTable*) noexcept {
    return walkPlanes(src, dst, m, NearestBit{});
}

OrvStatus bilinearEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable*,
                         OrvInterpolationTable*) noexcept {
    return walkPlanes(src, dst, m, BilinearBit{});
}

OrvStatus bicubicEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable*,
                        OrvInterpolationTable*) noexcept {
    Array<int> BLtable;
    Array<int> BCtable;
    BLtable.reset(mk_BLtable());
    if (BLtable) BCtable.reset(mk_BCtable());
    if (!BCtable) return noMemoryFor(dst, Interpolation::bicubic);
    return walkPlanes(src, dst, m, BicubicBit{BLtable.get(), BCtable.get()});
}

OrvStatus weightedEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable* horizontal,
                         OrvInterpolationTable* vertical) noexcept {
    AxisTaps h;
    AxisTaps v;
    const bool read = h.read(horizontal) && v.read(vertical);
    const Array<float> rowSums(static_cast<std::size_t>(v.size()));
    if (!read || !rowSums) return noMemoryFor(dst, Interpolation::general);
    return walkPlanes(src, dst, m, WeightedBit{h, v, rowSums.get()});
}

} // namespace

using Device = OrvDeviceComputeTypeMemory;
using enum Tables;

OrvStatus Device::Affine1nearest(OrvOp* op, int) noexcept { return affineOp(op, nearestEngine, none); }
OrvStatus Device::Affine1bilinear(OrvOp* op, int) noexcept { return affineOp(op, bilinearEngine, none); }
OrvStatus Device::Affine1bicubic(OrvOp* op, int) noexcept { return affineOp(op, bicubicEngine, none); }
OrvStatus Device::Affine1general(OrvOp* op, int) noexcept { return affineOp(op, weightedEngine, separable); }
OrvStatus Device::Translate1nearest(OrvOp* op, int) noexcept { return translateOp(op, nearestEngine, none); }
OrvStatus Device::Translate1bilinear(OrvOp* op, int) noexcept { return translateOp(op, bilinearEngine, none); }
OrvStatus Device::Translate1bicubic(OrvOp* op, int) noexcept { return translateOp(op, bicubicEngine, none); }
OrvStatus Device::Translate1general(OrvOp* op, int) noexcept { return translateOp(op, weightedEngine, separable); }
OrvStatus Device::Scale1nearest(OrvOp* op, int) noexcept { return scaleOp(op, nearestEngine, none); }
OrvStatus Device::Scale1bilinear(OrvOp* op, int) noexcept { return scaleOp(op, bilinearEngine, none); }
OrvStatus Device::Scale1bicubic(OrvOp* op, int) noexcept { return scaleOp(op, bicubicEngine, none); }
OrvStatus Device::Scale1general(OrvOp* op, int) noexcept { return scaleOp(op, weightedEngine, separable); }
OrvStatus Device::Rotate1nearest(OrvOp* op, int) noexcept { return rotateOp(op, nearestEngine, none); }
OrvStatus Device::Rotate1bilinear(OrvOp* op, int) noexcept { return rotateOp(op, bilinearEngine, none); }
OrvStatus Device::Rotate1bicubic(OrvOp* op, int) noexcept { return rotateOp(op, bicubicEngine, none); }
OrvStatus Device::Rotate1general(OrvOp* op, int) noexcept { return rotateOp(op, weightedEngine, separable); }
