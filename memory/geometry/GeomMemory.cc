// Affine, rotate, scale and translate of bytes and shorts: nearest, bilinear, bicubic and general interpolation.

#include <cstring>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/geometry/Dda.h"
#include "memory/geometry/GeomOps.h"
#include "memory/geometry/fastPaths.h"
#include "memory/geometry/interpolate.h"
#include "memory/geometry/taps.h"

namespace {

using namespace orvi;

/// The samples of a source in image coordinates. A position beside the image reads the nearest pixel of it.
template <class T>
struct Samples {
    explicit Samples(const Picture& picture) noexcept : image(picture) {}

    const T* at(long x, long y) const noexcept {
        const Raster& raster = image.raster;
        const long column = std::clamp(x + raster.ox, 0L, image.width - 1);
        const long row = std::clamp(y + raster.oy, 0L, image.height - 1);
        return reinterpret_cast<const T*>(raster.data + row * raster.stride + column * raster.pixel);
    }

    const Picture& image;
};

template <class T>
struct NearestPixel {
    using Dda = FixedDda;

    static void write(T* to, const Samples<T>& from, const Dda& dda, unsigned bands) noexcept {
        const T* sample = from.at(dda.column(), dda.row());
        for (unsigned band = 0; band < bands; ++band) to[band] = sample[band];
    }
};

template <class T>
struct BilinearPixel {
    using Dda = FloatDda;

    static void write(T* to, const Samples<T>& from, const Dda& dda, unsigned bands) noexcept {
        const long x = dda.x.whole;
        const long y = dda.y.whole;
        const T* const corners[4] = {from.at(x, y), from.at(x + 1, y), from.at(x, y + 1), from.at(x + 1, y + 1)};
        for (unsigned band = 0; band < bands; ++band) {
            to[band] =
                static_cast<T>(bilinear(widen(corners[0][band]), widen(corners[1][band]), widen(corners[2][band]),
                                        widen(corners[3][band]), dda.x.fraction, dda.y.fraction));
        }
    }
};

template <class T>
struct BicubicPixel {
    using Dda = FloatDda;

    static void write(T* to, const Samples<T>& from, const Dda& dda, unsigned bands) noexcept {
        const float fx = dda.x.fraction;
        const float fy = dda.y.fraction;
        const float tx = cubicWeight(fx);
        const float ty = cubicWeight(fy);
        const T* taps[4][4];
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                taps[row][column] = from.at(dda.x.whole + column - 1, dda.y.whole + row - 1);
            }
        }
        for (unsigned band = 0; band < bands; ++band) {
            int rows[4];
            for (int row = 0; row < 4; ++row) {
                const auto tap = [&](int column) { return widen(taps[row][column][band]); };
                rows[row] = cubic(tap(0), tap(1), tap(2), tap(3), fx, tx);
            }
            to[band] = narrow<T>(cubic(rows[0], rows[1], rows[2], rows[3], fy, ty));
        }
    }
};

/// Steps every run of a call, pixel by pixel.
template <class T, class Pixel>
struct PixelRuns {
    const GeomCall& call;

    void operator()(const geom::scan* scan, const Rect&) const noexcept {
        const Samples<T> source(call.src);
        for (; scan != nullptr; scan = scan->next) {
            const Run run = call.start(*scan);
            typename Pixel::Dda dda(run);
            T* to = call.dst.raster.template at<T>(run.x1, run.y);
            const std::ptrdiff_t pixel = call.dst.raster.template pixelOf<T>();
            for (long x = run.x1; x <= run.x2; ++x, dda.step(), to += pixel) {
                Pixel::write(to, source, dda, call.bands);
            }
        }
    }
};

template <class T, template <class> class Pixel, Interpolation interpolation>
OrvStatus pixelEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable*,
                      OrvInterpolationTable*) noexcept {
    if (GeomCall::singular(m)) return ORV_SUCCESS;
    GeomCall call;
    if (call.open(src, dst, m, interpolation, dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    PixelRuns<T, Pixel<T>> runs{call};
    return call.walk(true, runs);
}

/// Steps every run of a call with two kernels of weights.
template <class T>
struct KernelRuns {
    const GeomCall& call;
    const Taps& h;
    const Taps& v;
    int* rowSums;

    void operator()(const geom::scan* scan, const Rect& rect) const noexcept {
        const Picture& image = call.src;
        const Samples<T> source(image);
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
                write(to, source, rows, columns, h.row(dda.x.fraction), v.row(dda.y.fraction));
            }
        }
    }

    void write(T* to, const Samples<T>& source, const Window& rows, const Window& columns, const float* hrow,
               const float* vrow) const noexcept {
        for (unsigned band = 0; band < call.bands; ++band) {
            for (long i = 0; i < rows.count; ++i) {
                long sum = 0;
                for (long j = 0; j < columns.count; ++j) {
                    sum += product(widen(source.at(columns.first + j, rows.first + i)[band]), hrow[j]);
                }
                rowSums[i] = confinedSum(sum);
            }
            long sum = 0;
            for (long i = 0; i < rows.count; ++i) sum += product(rowSums[i], vrow[i]);
            to[band] = narrow<T>(sum);
        }
    }
};

template <class T>
OrvStatus kernelEngine(OrvImage* src, OrvImage* dst, const Matrix& m, OrvInterpolationTable* horizontal,
                       OrvInterpolationTable* vertical) noexcept {
    Taps h;
    Taps v;
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
constexpr Engine nearestEngine = pixelEngine<T, NearestPixel, Interpolation::nearest>;
template <class T>
constexpr Engine bilinearEngine = pixelEngine<T, BilinearPixel, Interpolation::bilinear>;
template <class T>
constexpr Engine bicubicEngine = pixelEngine<T, BicubicPixel, Interpolation::bicubic>;

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
