// The bands of one pixel by each interpolation: plain, where `at(x, y)` answers the pixel of the source at a position,
// and many at a time, where `make` leaves a vector for each band.
#pragma once

#include <algorithm>
#include <limits>

#include "memory/geometry/GeomConfig.h"
#include "memory/geometry/PixelLanes.h"
#include "memory/geometry/taps.h"

namespace orvi {

template <class T>
void copyBands(T* to, const T* from, unsigned bands) noexcept {
    for (unsigned band = 0; band < bands; ++band) to[band] = from[band];
}

struct NearestPixel {
    static constexpr Interpolation interpolation = Interpolation::nearest;

    template <class T, class At>
    static void write(T* to, unsigned bands, long x, long y, float, float, At at) noexcept {
        copyBands(to, at(x, y), bands);
    }

    template <class T>
    [[gnu::always_inline]] static void make(const LaneSource<T>& from, const LanePlace& x, const LanePlace& y,
                                            unsigned bands, I32* to) noexcept {
        const I32 columns[1] = {from.columnOffset(x.whole)};
        const I32 row = from.rowOffset(y.whole);
        for (unsigned first = 0; first < bands; first += LaneSource<T>::samplesPerWord) {
            const typename LaneSource<T>::template Taps<1> tap(from, columns, row, first);
            for (unsigned band = 0; band < std::min(LaneSource<T>::samplesPerWord, bands - first); ++band) {
                *to++ = tap.sample(0, band);
            }
        }
    }
};

struct BilinearPixel {
    static constexpr Interpolation interpolation = Interpolation::bilinear;

    template <class T, class At>
    static void write(T* to, unsigned bands, long x, long y, float fx, float fy, At at) noexcept {
        const T* const corners[4] = {at(x, y), at(x + 1, y), at(x, y + 1), at(x + 1, y + 1)};
        for (unsigned band = 0; band < bands; ++band) {
            to[band] = static_cast<T>(bilinear(widen(corners[0][band]), widen(corners[1][band]),
                                               widen(corners[2][band]), widen(corners[3][band]), fx, fy));
        }
    }

    template <class T>
    [[gnu::always_inline]] static void make(const LaneSource<T>& from, const LanePlace& x, const LanePlace& y,
                                            unsigned bands, I32* to) noexcept {
        const I32 columns[2] = {from.columnOffset(x.whole), from.columnOffset(x.whole + 1)};
        const I32 rows[2] = {from.rowOffset(y.whole), from.rowOffset(y.whole + 1)};
        for (unsigned first = 0; first < bands; first += LaneSource<T>::samplesPerWord) {
            const typename LaneSource<T>::template Taps<2> above(from, columns, rows[0], first);
            const typename LaneSource<T>::template Taps<2> below(from, columns, rows[1], first);
            for (unsigned band = 0; band < std::min(LaneSource<T>::samplesPerWord, bands - first); ++band) {
                *to++ = between(between(above.widened(0, band), above.widened(1, band), x.fraction),
                                between(below.widened(0, band), below.widened(1, band), x.fraction), y.fraction) >>
                        fractionBits;
            }
        }
    }
};

struct BicubicPixel {
    static constexpr Interpolation interpolation = Interpolation::bicubic;

    template <class T, class At>
    static void write(T* to, unsigned bands, long x, long y, float fx, float fy, At at) noexcept {
        const float tx = cubicWeight(fx);
        const float ty = cubicWeight(fy);
        const T* taps[4][4];
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) taps[row][column] = at(x + column - 1, y + row - 1);
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

    template <class T>
    [[gnu::always_inline]] static void make(const LaneSource<T>& from, const LanePlace& x, const LanePlace& y,
                                            unsigned bands, I32* to) noexcept {
        const I32 columns[4] = {from.columnOffset(x.whole - 1), from.columnOffset(x.whole),
                                from.columnOffset(x.whole + 1), from.columnOffset(x.whole + 2)};
        const I32 rows[4] = {from.rowOffset(y.whole - 1), from.rowOffset(y.whole), from.rowOffset(y.whole + 1),
                             from.rowOffset(y.whole + 2)};
        const F32 tx = cubicWeight(x.fraction);
        const F32 ty = cubicWeight(y.fraction);
        const I32 low = widen(std::numeric_limits<T>::min()) - I32{};
        const I32 high = widen(std::numeric_limits<T>::max()) - I32{};
        for (unsigned first = 0; first < bands; first += LaneSource<T>::samplesPerWord) {
            const unsigned group = std::min(LaneSource<T>::samplesPerWord, bands - first);
            I32 lines[4][LaneSource<T>::samplesPerWord];
            for (int row = 0; row < 4; ++row) {
                const typename LaneSource<T>::template Taps<4> tap(from, columns, rows[row], first);
                for (unsigned band = 0; band < group; ++band) {
                    lines[row][band] = cubic(tap.widened(0, band), tap.widened(1, band), tap.widened(2, band),
                                             tap.widened(3, band), x.fraction, tx);
                }
            }
            for (unsigned band = 0; band < group; ++band) {
                const I32 value = cubic(lines[0][band], lines[1][band], lines[2][band], lines[3][band], y.fraction, ty);
                *to++ = lanes::smaller<I32>(lanes::larger<I32>(value, low), high) >> fractionBits;
            }
        }
    }
};

/// By two rows of weights over the window; `at` may be asked for positions of the windows alone, and answers null for
/// those that do not count. Every product is truncated; the sums of rows go through `rowSums`.
template <class T, class At>
void weightedPixel(T* to, unsigned bands, const Window& rows, const Window& columns, const float* hrow,
                   const float* vrow, int* rowSums, At at) noexcept {
    for (unsigned band = 0; band < bands; ++band) {
        for (long i = 0; i < rows.count; ++i) {
            long sum = 0;
            for (long j = 0; j < columns.count; ++j) {
                const T* sample = at(columns.first + j, rows.first + i);
                if (sample != nullptr) sum += product(widen(sample[band]), hrow[j]);
            }
            rowSums[i] = confinedSum(sum);
        }
        long sum = 0;
        for (long i = 0; i < rows.count; ++i) sum += product(rowSums[i], vrow[i]);
        to[band] = narrow<T>(sum);
    }
}

} // namespace orvi
