// Affine, rotate, scale and translate of bytes and shorts: nearest, bilinear, bicubic and general interpolation.

#include <climits>
#include <cstring>

#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/geometry/Dda.h"
#include "memory/geometry/GeomOps.h"
#include "memory/geometry/RunLanes.h"
#include "memory/geometry/by_bands.h"
#include "memory/geometry/fast_paths.h"
#include "memory/geometry/pixel_forms.h"

namespace {

using namespace orvi;

/// Steps every run of a call to the nearest pixel. Positions are known beforehand: a run that stays in the image needs
/// no look at its single positions, and where they fit 32 bits their offsets are made many at a time.
template <class T>
struct NearestRuns {
    const GeomCall& call;

    void operator()(const geom::scan* scan, const Rect&) const noexcept {
        const bool shared = Extent(call.src.raster, sizeof(T)).overlaps(Extent(call.dst.raster, sizeof(T)));
        const std::size_t most = shared || call.src.height * call.src.raster.stride < crowded ? 1 : tileRows;
        Row rows[tileRows];
        std::size_t count = 0;
        for (; scan != nullptr; scan = scan->next) {
            const Run run = call.start(*scan);
            const FixedDda dda(run);
            const long length = run.x2 - run.x1 + 1;
            if (!inside(dda, length)) {
                plain(call.dst.raster.at<T>(run.x1, run.y), dda, length);
                continue;
            }
            rows[count++] = {dda, run.y, run.x1, run.x2};
            if (dda.dy != 0 && count < most) continue; // a run along a row crosses no lines
            byTiles(rows, count);
            count = 0;
        }
        byTiles(rows, count);
    }

private:
    /// Runs go by tiles of so many rows and columns: the lines of the source that one row reads across are there for
    /// the rows below.
    static constexpr std::size_t tileRows = 128;
    static constexpr long tileColumns = 256;
    /// The bytes of sources whose lines stay in the caches from row to row without tiles.
    static constexpr std::ptrdiff_t crowded = 6 << 20;

    /// A run that stays in the image.
    struct Row {
        FixedDda dda;
        long y;
        long x1;
        long x2;
    };

    /// Some columns of a run.
    static Row columnsOf(const Row& row, long left) noexcept {
        const long x = std::max(left, row.x1);
        return {row.dda.after(x - row.x1), row.y, x, std::min(left + tileColumns - 1, row.x2)};
    }

    void byTiles(const Row* rows, std::size_t count) const noexcept {
        const Raster& to = call.dst.raster;
        long first = LONG_MAX;
        long last = LONG_MIN;
        for (std::size_t i = 0; i < count; ++i) {
            first = std::min(first, rows[i].x1);
            last = std::max(last, rows[i].x2);
        }
        byBands(to.pixelOf<T>() == static_cast<std::ptrdiff_t>(call.bands) ? call.bands : 0, [&](auto bands) {
            for (long left = first; left <= last; left += tileColumns) {
                for (std::size_t i = 0; i < count; ++i) {
                    const Row part = columnsOf(rows[i], left);
                    if (part.x1 <= part.x2) offsets<bands>(part);
                }
            }
        });
    }

    void plain(T* to, FixedDda dda, long length) const noexcept {
        const std::ptrdiff_t pixel = call.dst.raster.pixelOf<T>();
        for (long k = 0; k < length; ++k, dda.step(), to += pixel) {
            copyBands(to, call.src.nearest<T>(dda.column(), dda.row()), call.bands);
        }
    }

    /// Both ends of the run lie in an image whose positions and offsets fit 32 bits.
    bool inside(const FixedDda& dda, long length) const noexcept {
        const Picture& src = call.src;
        const auto within = [length](long first, long step, long origin, long size) {
            const long last = first + step * (length - 1);
            return std::min(first, last) + origin * FixedDda::one >= 0 &&
                   std::max(first, last) + origin * FixedDda::one < size * FixedDda::one;
        };
        return within(dda.x, dda.dx, src.raster.ox, src.width) && within(dda.y, dda.dy, src.raster.oy, src.height) &&
               src.width < 0x8000 && src.height < 0x8000 && src.height * src.raster.stride < INT_MAX;
    }

    /// At most the columns of a tile. `Bands` is the destination's pixel stride and the number of bands, 0 for any.
    template <unsigned Bands>
    void offsets(const Row& row) const noexcept {
        const Raster& from = call.src.raster;
        T* to = call.dst.raster.at<T>(row.x1, row.y);
        const FixedDda& dda = row.dda;
        const T* base = reinterpret_cast<const T*>(from.data);
        const auto stride = static_cast<std::int32_t>(from.strideOf<T>());
        const auto sourcePixel = static_cast<std::int32_t>(from.pixelOf<T>());
        const std::ptrdiff_t pixel = Bands != 0 ? static_cast<std::ptrdiff_t>(Bands) : call.dst.raster.pixelOf<T>();
        const unsigned bands = Bands != 0 ? Bands : call.bands;
        const auto dx = static_cast<std::uint32_t>(dda.dx);
        const auto dy = static_cast<std::uint32_t>(dda.dy);
        const auto x = static_cast<std::uint32_t>(dda.x + from.ox * FixedDda::one);
        const auto y = static_cast<std::uint32_t>(dda.y + from.oy * FixedDda::one);
        const auto pixels = static_cast<std::uint32_t>(std::min(tileColumns, row.x2 - row.x1 + 1));
        std::int32_t offset[tileColumns];
        for (std::uint32_t k = 0; k < pixels; ++k) {
            offset[k] = static_cast<std::int32_t>((y + k * dy) >> 16) * stride +
                        static_cast<std::int32_t>((x + k * dx) >> 16) * sourcePixel;
        }
        for (std::uint32_t k = 0; k < pixels; ++k, to += pixel) copyBands(to, base + offset[k], bands);
    }
};

/// Steps every run of a call with the float DDA: in lanes where they reach, else pixel by pixel. Lanes read many runs
/// before they write one, so images that share samples go run by run.
template <class T, class Pixel>
struct FloatRuns {
    const GeomCall& call;

    void operator()(const geom::scan* scan, const Rect&) const noexcept {
        const LaneSource<T> source(call.src.raster, call.src.width, call.src.height, call.bands);
        const bool shared = Extent(call.src.raster, sizeof(T)).overlaps(Extent(call.dst.raster, sizeof(T)));
        if (shared || !source.fits() || call.bands > maxLaneBands) {
            for (; scan != nullptr; scan = scan->next) plain(call.start(*scan));
            return;
        }
        byBands(call.bands, [&](auto bands) { inLanes<bands>(scan, source); });
    }

private:
    template <unsigned Bands>
    void inLanes(const geom::scan* scan, const LaneSource<T>& source) const noexcept {
        RunTiles<T, Pixel, Bands> tiles(call, source);
        for (; scan != nullptr; scan = scan->next) {
            const Run run = call.start(*scan);
            if (!tiles.add(run)) plain(run);
        }
        tiles.finish();
    }

    void plain(const Run& run) const noexcept {
        T* to = call.dst.raster.template at<T>(run.x1, run.y);
        const std::ptrdiff_t pixel = call.dst.raster.template pixelOf<T>();
        FloatDda dda(run);
        for (long x = run.x1; x <= run.x2; ++x, dda.step(), to += pixel) {
            Pixel::write(to, call.bands, dda.x.whole, dda.y.whole, dda.x.fraction, dda.y.fraction,
                         [&](long column, long row) { return call.src.nearest<T>(column, row); });
        }
    }
};

template <class T, class Runs, Interpolation interpolation>
OrvStatus pixelEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable*,
                      OrvInterpolationTable*) noexcept {
    if (GeomCall::singular(m)) return ORV_SUCCESS;
    GeomCall call;
    if (call.open(src, dst, m, interpolation, dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    Runs runs{call};
    return call.walk(true, runs);
}

/// Steps every run of a call with two kernels of weights.
template <class T>
struct KernelRuns {
    const GeomCall& call;
    const AxisTaps& h;
    const AxisTaps& v;
    int* rowSums;

    void operator()(const geom::scan* scan, const Rect& rect) const noexcept {
        const Picture& image = call.src;
        const long left = static_cast<long>(-image.ox);
        const long top = static_cast<long>(-image.oy);
        const long right = static_cast<long>(static_cast<float>(image.width) - image.ox);
        const long bottom = static_cast<long>(static_cast<float>(image.height) - image.oy);
        for (; scan != nullptr; scan = scan->next) {
            const Run run = call.start(*scan);
            FloatDda dda(run);
            T* to = call.dst.raster.template at<T>(run.x1, run.y);
            const std::ptrdiff_t pixel = call.dst.raster.template pixelOf<T>();
            for (long x = run.x1; x <= run.x2; ++x, dda.step(), to += pixel) {
                const Window rows = rowWindow(dda.y.whole, top, bottom, rect.y, v);
                if (rows.count < 0) continue;
                const Window columns = columnWindow(dda.x.whole, left, right, rect.x, h);
                weightedPixel(to, call.bands, rows, columns, h.row(dda.x.fraction), v.row(dda.y.fraction), rowSums,
                              [&](long column, long row) { return image.nearest<T>(column, row); });
            }
        }
    }
};

template <class T>
OrvStatus kernelEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable* horizontal,
                       OrvInterpolationTable* vertical) noexcept {
    AxisTaps h;
    AxisTaps v;
    const bool read = h.read(horizontal) && v.read(vertical);
    const Array<int> rowSums(static_cast<std::size_t>(v.size()));
    if (!read || !rowSums) return fail(dst, noMemory, geomConfig(Interpolation::general).files[dataTypeOf<T>]);
    if (GeomCall::singular(m)) return ORV_SUCCESS;
    GeomCall call;
    if (call.open(src, dst, m, Interpolation::general, dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    KernelRuns<T> runs{call, h, v, rowSums.get()};
    return call.walk(true, runs);
}

template <class T>
constexpr Engine nearestEngine = pixelEngine<T, NearestRuns<T>, Interpolation::nearest>;
template <class T>
constexpr Engine bilinearEngine = pixelEngine<T, FloatRuns<T, BilinearPixel>, Interpolation::bilinear>;
template <class T>
constexpr Engine bicubicEngine = pixelEngine<T, FloatRuns<T, BicubicPixel>, Interpolation::bicubic>;

using Byte = std::uint8_t;
using Short = std::int16_t;

bool about(float factor, double value) noexcept { return std::fabs(factor - value) < 0.00001; }
bool doubles(float sx, float sy) noexcept { return sx > 1.999 && sx < 2.001 && sy > 1.999 && sy < 2.001; }
bool twice(float sx, float sy) noexcept { return about(sx, 2) && about(sy, 2); }
bool half(float sx, float sy) noexcept { return about(sx, 0.5) && about(sy, 0.5); }

constexpr ScalePath byteNearestPaths[2] = {{doubles, scale2_NN}};
constexpr ScalePath byteBilinearPaths[2] = {{twice, orv_bilinear_scale_2x_BYTE}, {half, orv_bilinear_scale_05x_BYTE}};
constexpr ScalePath shortBilinearPaths[2] = {{twice, orv_bilinear_scale_2x_SHORT},
                                             {half, orv_bilinear_scale_05x_SHORT}};

/// A translation by whole pixels in the place of an engine.
template <class T>
OrvStatus translateEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable*,
                          OrvInterpolationTable*) noexcept {
    return trans_NN<T>(src, dst, m);
}

} // namespace

using Device = OrvDeviceComputeTypeMemory;
using enum Tables;

OrvStatus Device::Affine8nearest(OrvOp* op, int) noexcept { return affineOp(op, nearestEngine<Byte>, none); }
OrvStatus Device::Affine8bilinear(OrvOp* op, int) noexcept { return affineOp(op, bilinearEngine<Byte>, none); }
OrvStatus Device::Affine8bicubic(OrvOp* op, int) noexcept { return affineOp(op, bicubicEngine<Byte>, none); }
OrvStatus Device::Affine8general(OrvOp* op, int) noexcept { return affineOp(op, kernelEngine<Byte>, separable); }
OrvStatus Device::Affine16nearest(OrvOp* op, int) noexcept { return affineOp(op, nearestEngine<Short>, none); }
OrvStatus Device::Affine16bilinear(OrvOp* op, int) noexcept { return affineOp(op, bilinearEngine<Short>, none); }
OrvStatus Device::Affine16bicubic(OrvOp* op, int) noexcept { return affineOp(op, bicubicEngine<Short>, none); }
OrvStatus Device::Affine16general(OrvOp* op, int) noexcept { return affineOp(op, kernelEngine<Short>, separable); }

OrvStatus Device::Translate8nearest(OrvOp* op, int) noexcept { return translateOp(op, translateEngine<Byte>, none); }
OrvStatus Device::Translate8bilinear(OrvOp* op, int) noexcept { return translateOp(op, bilinearEngine<Byte>, none); }
OrvStatus Device::Translate8bicubic(OrvOp* op, int) noexcept { return translateOp(op, bicubicEngine<Byte>, none); }
OrvStatus Device::Translate8general(OrvOp* op, int) noexcept { return translateOp(op, kernelEngine<Byte>, separable); }
OrvStatus Device::Translate16nearest(OrvOp* op, int) noexcept { return translateOp(op, translateEngine<Short>, none); }
OrvStatus Device::Translate16bilinear(OrvOp* op, int) noexcept { return translateOp(op, bilinearEngine<Short>, none); }
OrvStatus Device::Translate16bicubic(OrvOp* op, int) noexcept { return translateOp(op, bicubicEngine<Short>, none); }
OrvStatus Device::Translate16general(OrvOp* op, int) noexcept {
    return translateOp(op, kernelEngine<Short>, separable);
}

OrvStatus Device::Scale8nearest(OrvOp* op, int) noexcept {
    return scaleOp(op, nearestEngine<Byte>, none, byteNearestPaths);
}
OrvStatus Device::Scale8bilinear(OrvOp* op, int) noexcept {
    return scaleOp(op, bilinearEngine<Byte>, none, byteBilinearPaths);
}
OrvStatus Device::Scale8bicubic(OrvOp* op, int) noexcept { return scaleOp(op, bicubicEngine<Byte>, none); }
OrvStatus Device::Scale8general(OrvOp* op, int) noexcept { return scaleOp(op, kernelEngine<Byte>, separable); }
OrvStatus Device::Scale16nearest(OrvOp* op, int) noexcept { return scaleOp(op, nearestEngine<Short>, none); }
OrvStatus Device::Scale16bilinear(OrvOp* op, int) noexcept {
    return scaleOp(op, bilinearEngine<Short>, none, shortBilinearPaths);
}
OrvStatus Device::Scale16bicubic(OrvOp* op, int) noexcept { return scaleOp(op, bicubicEngine<Short>, none); }
OrvStatus Device::Scale16general(OrvOp* op, int) noexcept { return scaleOp(op, kernelEngine<Short>, separable); }

OrvStatus Device::Rotate8nearest(OrvOp* op, int) noexcept { return rotateOp(op, nearestEngine<Byte>, none); }
OrvStatus Device::Rotate8bilinear(OrvOp* op, int) noexcept { return rotateOp(op, bilinearEngine<Byte>, none); }
OrvStatus Device::Rotate8bicubic(OrvOp* op, int) noexcept { return rotateOp(op, bicubicEngine<Byte>, none); }
OrvStatus Device::Rotate8general(OrvOp* op, int) noexcept { return rotateOp(op, kernelEngine<Byte>, separable); }
OrvStatus Device::Rotate16nearest(OrvOp* op, int) noexcept { return rotateOp(op, nearestEngine<Short>, none); }
OrvStatus Device::Rotate16bilinear(OrvOp* op, int) noexcept { return rotateOp(op, bilinearEngine<Short>, none); }
OrvStatus Device::Rotate16bicubic(OrvOp* op, int) noexcept { return rotateOp(op, bicubicEngine<Short>, none); }
OrvStatus Device::Rotate16general(OrvOp* op, int) noexcept { return rotateOp(op, kernelEngine<Short>, separable); }
