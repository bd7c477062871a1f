// The bands of one interpolated pixel. `at(x, y)` answers the pixel of the source at a position.
#pragma once

#include "memory/geometry/interpolate.h"
#include "memory/geometry/taps.h"

namespace orvi {

template <class T, class At>
void bilinearPixel(T* to, unsigned bands, long x, long y, float fx, float fy, At at) noexcept {
    const T* const corners[4] = {at(x, y), at(x + 1, y), at(x, y + 1), at(x + 1, y + 1)};
    for (unsigned band = 0; band < bands; ++band) {
        to[band] = static_cast<T>(bilinear(widen(corners[0][band]), widen(corners[1][band]), widen(corners[2][band]),
                                           widen(corners[3][band]), fx, fy));
    }
}

template <class T, class At>
void bicubicPixel(T* to, unsigned bands, long x, long y, float fx, float fy, At at) noexcept {
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
