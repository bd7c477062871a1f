// Half size: each pixel is the mean of a block of two by two.

#include <algorithm>
#include <type_traits>

#include "memory/frame/Extent.h"
#include "memory/frame/lanes.h"
#include "memory/geometry/fastPaths.h"

namespace orvi {

namespace {

constexpr ScaledRegion::Facts facts{"orv_bilinear_scale_05x.cc", 1, {"di-8", 1, 1}, false};

/// The mean of four samples, truncated; a sum below 0 goes toward minus infinity.
template <class T>
constexpr T mean(T a, T b, T c, T d) noexcept {
    return static_cast<T>((a + b + c + d) >> 2);
}

/// A row of a source, in storage. A column or row beside the image is the nearest one of it.
template <class T>
const T* rowAt(const Picture& src, long row) noexcept {
    return reinterpret_cast<const T*>(src.raster.data + std::clamp(row, 0L, src.height - 1) * src.raster.stride);
}

/// Dense pixels whose four sources lie in the image. `Bands` is the number of bands, 0 for any.
template <unsigned Bands, class T>
void halvePixels(T* to, const T* upper, const T* lower, long pixels, unsigned anyBands) noexcept {
    const unsigned bands = Bands != 0 ? Bands : anyBands;
    for (long i = 0; i < pixels; ++i) {
        for (unsigned band = 0; band < bands; ++band) {
            const long left = 2 * i * bands + band;
            const long right = left + bands;
            to[i * bands + band] = mean(upper[left], upper[right], lower[left], lower[right]);
        }
    }
}

/// Without byte shuffles taking bands apart costs more than it saves.
#if defined(__SSSE3__)
constexpr bool takesApart = true;
#else
constexpr bool takesApart = false;
#endif

/// Three bands taken apart, since means along planes go many at a time. The images share no samples.
[[maybe_unused]] void halveTriples(std::uint8_t* to, const std::uint8_t* upper, const std::uint8_t* lower,
                                   long pixels) noexcept {
    constexpr long chunk = 128;
    std::uint8_t above[3][2 * chunk];
    std::uint8_t below[3][2 * chunk];
    std::uint8_t made[3][chunk];
    for (long done = 0; done < pixels; done += chunk) {
        const long now = std::min(chunk, pixels - done);
        const auto sources = static_cast<std::size_t>(2 * now);
        lanes::splitBands(upper + 6 * done, above[0], above[1], above[2], sources);
        lanes::splitBands(lower + 6 * done, below[0], below[1], below[2], sources);
        for (int band = 0; band < 3; ++band) halvePixels<1>(made[band], above[band], below[band], now, 0);
        lanes::joinBands(made[0], made[1], made[2], to + 3 * done, static_cast<std::size_t>(now));
    }
}

template <class T>
void halveDense(T* to, const T* upper, const T* lower, long pixels, unsigned bands,
                [[maybe_unused]] bool apart) noexcept {
    if constexpr (takesApart && std::is_same_v<T, std::uint8_t>) {
        if (bands == 3 && apart) return halveTriples(to, upper, lower, pixels);
    }
    switch (bands) {
    case 1:
        return halvePixels<1>(to, upper, lower, pixels, 0);
    case 3:
        return halvePixels<3>(to, upper, lower, pixels, 0);
    default:
        return halvePixels<0>(to, upper, lower, pixels, bands);
    }
}

/// `apart`: the images share no samples.
template <class T>
void halveRow(const ScaledRegion& region, const Rect& rect, long y, bool apart) noexcept {
    const Picture& src = region.src;
    const long row = 2 * y + src.raster.oy;
    const T* upper = rowAt<T>(src, row);
    const T* lower = rowAt<T>(src, row + 1);
    const std::ptrdiff_t pixel = src.raster.pixelOf<T>();
    const unsigned bands = region.bands;
    const long end = rect.x + static_cast<long>(rect.width);
    long x = rect.x;
    const long column0 = 2 * x + src.raster.ox;
    if (pixel == static_cast<std::ptrdiff_t>(bands) && region.dst.raster.pixelOf<T>() == pixel && column0 >= 0) {
        const long pixels = std::clamp((src.width - column0) / 2, 0L, end - x);
        const long first = column0 * pixel;
        halveDense(region.dst.raster.at<T>(x, y), upper + first, lower + first, pixels, bands, apart);
        x += pixels;
    }
    for (; x < end; ++x) {
        const long column = 2 * x + src.raster.ox;
        const long left = std::clamp(column, 0L, src.width - 1) * pixel;
        const long right = std::clamp(column + 1, 0L, src.width - 1) * pixel;
        T* to = region.dst.raster.at<T>(x, y);
        for (unsigned band = 0; band < bands; ++band) {
            to[band] = mean(upper[left + band], upper[right + band], lower[left + band], lower[right + band]);
        }
    }
}

template <class T>
OrvStatus halve(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    ScaledRegion region;
    if (region.open(src, dst, dataTypeOf<T>, sx, sy, facts) != ORV_SUCCESS) return ORV_FAILURE;
    const bool apart = !Extent(region.src.raster, sizeof(T)).overlaps(Extent(region.dst.raster, sizeof(T)));
    for (Rect rect{}; region.rects.next(rect);) {
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) halveRow<T>(region, rect, y, apart);
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus orv_bilinear_scale_05x_BYTE(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    return halve<std::uint8_t>(src, dst, sx, sy);
}

OrvStatus orv_bilinear_scale_05x_SHORT(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    return halve<std::int16_t>(src, dst, sx, sy);
}

} // namespace orvi
