// Half size: each pixel is the mean of a block of two by two.

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "memory/frame/lanes.h"
#include "memory/geometry/by_bands.h"
#include "memory/geometry/fast_paths.h"

namespace orvi {

namespace {

constexpr ScaledRegion::Facts facts{"orv_bilinear_scale_05x.cc", 1, {"di-8", 1, 1}, false};

/// The mean of four samples, truncated; a sum below 0 goes toward minus infinity.
template <class T>
constexpr T mean(T a, T b, T c, T d) noexcept {
    return static_cast<T>((a + b + c + d) >> 2);
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

/// Three bands taken apart, since means along planes go many at a time. What is left at the end of a row is filled up,
/// so that it goes so as well. The images share no samples.
[[maybe_unused]] void halveTriples(std::uint8_t* to, const std::uint8_t* upper, const std::uint8_t* lower,
                                   long pixels) noexcept {
    constexpr long chunk = 128;
    constexpr long together = 32;
    std::uint8_t filled[2][6 * chunk];
    std::uint8_t joined[3 * chunk];
    std::uint8_t above[3][2 * chunk];
    std::uint8_t below[3][2 * chunk];
    std::uint8_t made[3][chunk];
    for (long done = 0; done < pixels; done += chunk) {
        const long now = std::min(chunk, pixels - done);
        const long all = (now + together - 1) / together * together;
        const std::uint8_t* rows[2] = {upper + 6 * done, lower + 6 * done};
        for (int row = 0; row < 2 && all != now; ++row) {
            std::memcpy(filled[row], rows[row], static_cast<std::size_t>(6 * now));
            std::memset(filled[row] + 6 * now, 0, static_cast<std::size_t>(6 * (all - now)));
            rows[row] = filled[row];
        }
        const auto sources = static_cast<std::size_t>(2 * all);
        lanes::splitBands(rows[0], above[0], above[1], above[2], sources);
        lanes::splitBands(rows[1], below[0], below[1], below[2], sources);
        for (int band = 0; band < 3; ++band) halvePixels<1>(made[band], above[band], below[band], all, 0);
        std::uint8_t* result = all == now ? to + 3 * done : joined;
        lanes::joinBands(made[0], made[1], made[2], result, static_cast<std::size_t>(all));
        if (all != now) std::memcpy(to + 3 * done, joined, static_cast<std::size_t>(3 * now));
    }
}

template <class T>
void halveDense(T* to, const T* upper, const T* lower, long pixels, unsigned bands,
                [[maybe_unused]] bool apart) noexcept {
    if constexpr (takesApart && std::is_same_v<T, std::uint8_t>) {
        if (bands == 3 && apart) return halveTriples(to, upper, lower, pixels);
    }
    byBands(bands, [&](auto count) { halvePixels<count>(to, upper, lower, pixels, bands); });
}

template <class T>
class Halving {
public:
    explicit Halving(const ScaledRegion& region) noexcept : region_(region), src_(region.src) {}

    static long column(long x) noexcept { return 2 * x; }
    static long upper(long y) noexcept { return 2 * y; }
    static long lower(long y) noexcept { return 2 * y + 1; }
    static long pixels(long columns) noexcept { return 2 * columns; }

    /// Columns whose sources lie in the image.
    Columns atOnce(const Columns& columns) const noexcept {
        const long column = 2 * columns.first + src_.raster.ox;
        if (column < 0) return {columns.first, columns.first};
        return {columns.first, columns.first + std::clamp((src_.width - column) / 2, 0L, columns.end - columns.first)};
    }

    void many(T* to, const T* upper, const T* lower, long columns) const noexcept {
        halveDense(to, upper, lower, columns, region_.bands, region_.apart);
    }

    void single(T* to, long x, long y) const noexcept {
        const auto at = [&](long right, long down) { return src_.nearest<T>(2 * x + right, 2 * y + down); };
        const T* const corners[4] = {at(0, 0), at(1, 0), at(0, 1), at(1, 1)};
        for (unsigned band = 0; band < region_.bands; ++band) {
            to[band] = mean(corners[0][band], corners[1][band], corners[2][band], corners[3][band]);
        }
    }

private:
    const ScaledRegion& region_;
    const Picture& src_;
};

template <class T>
OrvStatus halve(OrvImage* src, OrvImage* dst, float sx, float sy) noexcept {
    ScaledRegion region;
    if (region.open(src, dst, dataTypeOf<T>, sx, sy, facts) != ORV_SUCCESS) return ORV_FAILURE;
    const Halving<T> rule(region);
    for (Rect rect{}; region.rects.next(rect);) {
        const Columns columns{rect.x, rect.x + static_cast<long>(rect.width)};
        const long bottom = rect.y + static_cast<long>(rect.height);
        for (long y = rect.y; y < bottom; ++y) scaleRow<T>(region, rule, columns, y);
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
