// Double size: pixels between two are their mean.

#include <algorithm>
#include <cstring>

#include "memory/frame/lanes.h"
#include "memory/frame/orvi_new.h"
#include "memory/geometry/by_bands.h"
#include "memory/geometry/fast_paths.h"

namespace orvi {

namespace {

constexpr ScaledRegion::Facts facts{"orv_bilinear_scale_2x.cc", 1, {"di-8", 1, 1}, false};

template <class T>
constexpr T mean(T a, T b) noexcept {
    return static_cast<T>((a + b) >> 1);
}

/// The columns that are written. The last one is left out where it has no right neighbour, and more go with it where
/// the width is no multiple of four: the tail behind the whole groups of four is then three columns.
long writtenColumns(const Picture& src, const Rect& rect) noexcept {
    const long width = static_cast<long>(rect.width);
    const double last = static_cast<double>(src.raster.ox) + static_cast<double>(rect.x + width - 1) * 0.5;
    if (!(static_cast<double>(src.width - 1) < last)) return width;
    if (width < 4) return width - 1;
    return (width & ~3L) - 1 + (rect.x & 1);
}

/// The rows that are written: without the last one where it has no row below.
long writtenRows(const Picture& src, const Rect& rect) noexcept {
    const long height = static_cast<long>(rect.height);
    const double last = static_cast<double>(src.raster.oy) + static_cast<double>(rect.y + height - 1) * 0.5;
    return static_cast<double>(src.height - 1) < last ? height - 1 : height;
}

#if defined(__SSE2__)
lanes::U8 mean(lanes::U8 a, lanes::U8 b) noexcept {
    return (lanes::U8)ORV_LANES(avg_epu8)((lanes::Raw)a, (lanes::Raw)b) - ((a ^ b) & 1);
}
#endif

/// The samples that pairs begin with, and those behind them, `step` samples from one pixel to the next.
template <class T>
void meansOf(T* whole, T* between, const T* upper, const T* lower, long samples, long step) noexcept {
    long i = 0;
#if defined(__SSE2__)
    if constexpr (sizeof(T) == 1) {
        using lanes::U8;
        for (; i + static_cast<long>(lanes::vectorBytes) <= samples; i += lanes::vectorBytes) {
            const U8 above = lanes::load<U8>(upper + i);
            const U8 below = lanes::load<U8>(lower + i);
            lanes::store(whole + i, mean(above, below));
            lanes::store(between + i, mean(mean(above, lanes::load<U8>(upper + i + step)),
                                           mean(below, lanes::load<U8>(lower + i + step))));
        }
    }
#endif
    for (; i < samples; ++i) {
        whole[i] = mean(upper[i], lower[i]);
        between[i] = mean(mean(upper[i], upper[i + step]), mean(lower[i], lower[i + step]));
    }
}

/// Writes pixels of two rows in turn. Both can be read a vector beyond their last sample.
template <class T>
void inTurn(T* to, const T* first, const T* second, long pixels, long bands) noexcept {
    const std::size_t size = static_cast<std::size_t>(bands) * sizeof(T);
    long i = 0;
#if defined(__SSSE3__)
    if (size == 3) {
        // Five pixels of each: thirty bytes in two vectors, of which the second writes one of the pixel behind them.
        const __m128i placesA = _mm_setr_epi8(0, 1, 2, -1, -1, -1, 3, 4, 5, -1, -1, -1, 6, 7, 8, -1);
        const __m128i placesB = _mm_setr_epi8(-1, -1, -1, 0, 1, 2, -1, -1, -1, 3, 4, 5, -1, -1, -1, 6);
        const __m128i placesC = _mm_setr_epi8(-1, -1, -1, 9, 10, 11, -1, -1, -1, 12, 13, 14, -1, -1, -1, -1);
        const __m128i placesD = _mm_setr_epi8(6, 7, 8, -1, -1, -1, 9, 10, 11, -1, -1, -1, 12, 13, 14, -1);
        for (; i + 5 < pixels; i += 5) {
            const __m128i a = lanes::load<__m128i>(first + i * 3);
            const __m128i b = lanes::load<__m128i>(second + i * 3);
            lanes::store(to + i * 6, _mm_or_si128(_mm_shuffle_epi8(a, placesA), _mm_shuffle_epi8(b, placesB)));
            lanes::store(to + i * 6 + 15, _mm_or_si128(_mm_shuffle_epi8(a, placesC), _mm_shuffle_epi8(b, placesD)));
        }
    }
#endif
    for (; i < pixels; ++i) {
        std::memcpy(to + 2 * i * bands, first + i * bands, size);
        std::memcpy(to + (2 * i + 1) * bands, second + i * bands, size);
    }
}

/// Pairs of columns of a row between two source rows (which may be one): each source sample, then its mean with the
/// right neighbour's. Along x first, then along y; the mean of a value and itself is that value.
/// `Bands` is the number of bands, 0 for any.
template <unsigned Bands, class T>
void enlargePairs(T* to, const T* upper, const T* lower, long pairs, unsigned anyBands) noexcept {
    if constexpr (Bands == 1) {
        for (long i = 0; i < pairs; ++i) {
            to[2 * i] = mean(upper[i], lower[i]);
            to[2 * i + 1] = mean(mean(upper[i], upper[i + 1]), mean(lower[i], lower[i + 1]));
        }
        return;
    }
    constexpr long chunk = 512;
    constexpr long beyond = 16;
    T whole[chunk + beyond];
    T between[chunk + beyond];
    const long bands = static_cast<long>(Bands != 0 ? Bands : anyBands);
    const long atOnce = chunk / bands;
    for (long done = 0; done < pairs; done += atOnce) {
        const long pixels = std::min(atOnce, pairs - done);
        meansOf(whole, between, upper, lower, pixels * bands, bands);
        inTurn(to, whole, between, pixels, bands);
        to += 2 * pixels * bands;
        upper += pixels * bands;
        lower += pixels * bands;
    }
}

template <class T>
class Doubling {
public:
    explicit Doubling(const ScaledRegion& region) noexcept : region_(region), src_(region.src) {}

    /// Pairs of columns that have a right neighbour.
    Columns atOnce(const Columns& columns) const noexcept {
        const long even = std::min(columns.end, columns.first + (columns.first & 1));
        const long column = (even >> 1) + src_.raster.ox;
        if (column < 0 || region_.bands > ScaledRegion::mostBlockBands) return {even, even};
        return {even, even + 2 * std::clamp(src_.width - 1 - column, 0L, (columns.end - even) / 2)};
    }

    static long column(long x) noexcept { return x >> 1; }
    static long upper(long y) noexcept { return y >> 1; }
    static long lower(long y) noexcept { return (y >> 1) + (y & 1); }
    static long pixels(long columns) noexcept { return columns / 2 + 1; }

    void many(T* to, const T* upper, const T* lower, long columns) const noexcept {
        byBands(region_.bands, [&](auto bands) { enlargePairs<bands>(to, upper, lower, columns / 2, region_.bands); });
    }

    void single(T* to, long x, long y) const noexcept {
        const long right = (x >> 1) + (x & 1);
        const T* const above[2] = {src_.nearest<T>(x >> 1, upper(y)), src_.nearest<T>(right, upper(y))};
        const T* const below[2] = {src_.nearest<T>(x >> 1, lower(y)), src_.nearest<T>(right, lower(y))};
        for (unsigned band = 0; band < region_.bands; ++band) {
            to[band] = mean(mean(above[0][band], above[1][band]), mean(below[0][band], below[1][band]));
        }
    }

private:
    const ScaledRegion& region_;
    const Picture& src_;
};

template <class T>
OrvStatus enlarge(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    ScaledRegion region;
    if (region.open(src, dst, dataTypeOf<T>, sx, sy, facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Doubling<T> rule(region);
    for (Rect rect{}; region.rects.next(rect);) {
        const Columns columns{rect.x, rect.x + writtenColumns(region.src, rect)};
        const long rows = writtenRows(region.src, rect);
        // A rectangle that begins with a row between two source rows is given a row of its own.
        Array<T> temporary;
        if ((rect.y & 1) != 0) {
            temporary.reset(newArray<T>(std::size_t{rect.width} * region.bands));
            if (!temporary) return fail(dst, noMemory, facts.file);
        }
        for (long y = rect.y; y < rect.y + rows; ++y) scaleRow<T>(region, rule, columns, y);
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus orv_bilinear_scale_2x_BYTE(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    return enlarge<std::uint8_t>(src, dst, sx, sy);
}

OrvStatus orv_bilinear_scale_2x_SHORT(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    return enlarge<std::int16_t>(src, dst, sx, sy);
}

} // namespace orvi
