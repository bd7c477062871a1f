#include "memory/geometry/PixelTiles.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"

namespace orvi {

namespace {

struct Target {
    std::byte* first;
    std::ptrdiff_t pixel;
    std::ptrdiff_t stride;

    std::byte* at(std::ptrdiff_t x, std::ptrdiff_t y) const noexcept { return first + x * pixel + y * stride; }
};

/// `Size` is the bytes of a pixel where they are known beforehand, else 0.
template <std::size_t Size>
void copyTile(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
              std::ptrdiff_t height) noexcept {
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        std::byte* d = to.at(0, y);
        const std::byte* s = from.at(0, y);
        for (std::ptrdiff_t x = 0; x < width; ++x, d += to.pixel, s += from.right) {
            std::memcpy(d, s, Size != 0 ? Size : size);
        }
    }
}

// Squares of pixels of a power of two of bytes, as many on a side as a vector holds, are turned in vectors:
// interleaving the first half of the rows with the second, once for each doubling, exchanges rows and columns.

template <class E>
struct SquareOf {
    using Row [[gnu::vector_size(16)]] = E;
    static constexpr int side = 16 / sizeof(E);
};

/// Calls `body` with 0 to n - 1 as constants.
template <std::size_t n, class Body>
[[gnu::always_inline]] inline void each(Body body) noexcept {
    [&]<std::size_t... I>(std::index_sequence<I...>) { (body(std::integral_constant<std::size_t, I>{}), ...); }
    (std::make_index_sequence<n>{});
}

/// From pixel `first` on, one of `a` and one of `b` in turn.
template <int first, class Row, std::size_t... I>
Row interleave(Row a, Row b, std::index_sequence<I...>) noexcept {
    constexpr int n = sizeof...(I);
    return __builtin_shufflevector(a, b, (first + static_cast<int>(I) / 2 + static_cast<int>(I) % 2 * n)...);
}

/// Pixels of a power of two of bytes.
template <class E>
struct WholePixels {
    using Row = typename SquareOf<E>::Row;
    static constexpr int side = SquareOf<E>::side;
    static constexpr std::size_t size = sizeof(E);

    static Row load(const std::byte* from) noexcept { return lanes::load<Row>(from); }
    static void store(std::byte* to, Row row) noexcept { lanes::store(to, row); }
};

#if defined(__SSSE3__)
/// Pixels of three bytes, each in a word of four while it is turned. Four of them are read and written without a byte
/// beyond them.
struct Triples {
    using Row = SquareOf<std::uint32_t>::Row;
    using Bytes = SquareOf<std::uint8_t>::Row;
    using Halves [[gnu::vector_size(16)]] = std::uint64_t;
    static constexpr int side = 4;
    static constexpr std::size_t size = 3;

    static Row load(const std::byte* from) noexcept {
        const Bytes row = (Bytes)Halves{lanes::load<std::uint64_t>(from), lanes::load<std::uint32_t>(from + 8)};
        constexpr Bytes places = {0, 1, 2, 15, 3, 4, 5, 15, 6, 7, 8, 15, 9, 10, 11, 15};
        return (Row)_mm_shuffle_epi8((__m128i)row, (__m128i)places);
    }
    static void store(std::byte* to, Row words) noexcept {
        constexpr Bytes places = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 7, 11, 15};
        const auto packed = _mm_shuffle_epi8((__m128i)words, (__m128i)places);
        lanes::store<std::uint64_t>(to, ((Halves)packed)[0]);
        lanes::store<std::uint32_t>(to + 8, ((Row)packed)[2]);
    }
};
#endif

#if defined(__AVX512BW__) && defined(__AVX512VL__)
/// Pixels that lie a power of two of bytes apart: each with the gap behind it is turned as one element, and masks keep
/// the gaps from being read and written.
template <class E, std::size_t Bytes>
struct GappedPixels {
    using Row = typename SquareOf<E>::Row;
    static constexpr int side = SquareOf<E>::side;
    static constexpr std::size_t size = Bytes;
    static constexpr __mmask16 samples = [] {
        unsigned mask = 0;
        for (unsigned i = 0; i < 16; ++i) mask |= i % sizeof(E) < Bytes ? 1U << i : 0;
        return static_cast<__mmask16>(mask);
    }();

    static Row load(const std::byte* from) noexcept { return (Row)_mm_maskz_loadu_epi8(samples, from); }
    static void store(std::byte* to, Row row) noexcept { _mm_mask_storeu_epi8(to, samples, (__m128i)row); }
};
#endif

/// Exchanges rows and columns in as many stages as are left, and hands the result on: rows that are copied back to one
/// array between stages, or written in loops, go through memory.
template <int stages, class Row, std::size_t n, class Use>
[[gnu::always_inline]] inline void exchanged(const Row (&rows)[n], Use use) noexcept {
    if constexpr (stages == 0) {
        use(rows);
    } else {
        constexpr auto all = std::make_index_sequence<n>{};
        Row mixed[n];
        each<n / 2>([&](auto i) {
            mixed[2 * i] = interleave<0>(rows[i], rows[i + n / 2], all);
            mixed[2 * i + 1] = interleave<n / 2>(rows[i], rows[i + n / 2], all);
        });
        exchanged<stages - 1>(mixed, use);
    }
}

template <class Pixels>
[[gnu::always_inline]] inline void turnSquare(const Target& to, const PixelSteps& from) noexcept {
    constexpr std::ptrdiff_t n = Pixels::side;
    const bool backward = from.down < 0;
    const std::byte* first = from.at(0, backward ? n - 1 : 0);
    typename Pixels::Row rows[n];
    each<n>([&](auto i) { rows[i] = Pixels::load(first + std::ptrdiff_t{i} * from.right); });
    exchanged<std::countr_zero(unsigned{n})>(rows, [&](const auto& turned) {
        each<n>([&](auto i) { Pixels::store(to.at(0, backward ? n - 1 - i : i), turned[i]); });
    });
}

/// Turns whole squares, and copies the pixels beside and below them.
template <class Pixels>
void turnTile(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
              std::ptrdiff_t height) noexcept {
    constexpr std::ptrdiff_t n = Pixels::side;
    const std::ptrdiff_t columns = width - width % n;
    const std::ptrdiff_t rows = height - height % n;
    const auto corner = [&](std::ptrdiff_t x, std::ptrdiff_t y) {
        return std::pair{Target{to.at(x, y), to.pixel, to.stride}, PixelSteps{from.at(x, y), from.right, from.down}};
    };
    for (std::ptrdiff_t y = 0; y < rows; y += n) {
        for (std::ptrdiff_t x = 0; x < columns; x += n) {
            const auto [target, source] = corner(x, y);
            turnSquare<Pixels>(target, source);
        }
    }
    const auto [rightTarget, rightSource] = corner(columns, 0);
    copyTile<Pixels::size>(rightTarget, rightSource, size, width - columns, rows);
    const auto [belowTarget, belowSource] = corner(0, rows);
    copyTile<Pixels::size>(belowTarget, belowSource, size, width, height - rows);
}

// Rows that keep or reverse the order of dense pixels.

void copyRow(std::byte* to, const std::byte* from, std::size_t size, std::ptrdiff_t width) noexcept {
    std::memcpy(to, from, static_cast<std::size_t>(width) * size);
}

#if defined(__SSSE3__)
using Row16 = SquareOf<std::uint8_t>::Row;

/// Where the bytes of 16 come from when their pixels of `size` bytes change their order.
template <std::size_t size>
inline constexpr auto reversedPlaces = [] {
    std::array<std::uint8_t, 16> places{};
    for (std::size_t i = 0; i < 16; ++i)
        places[i] = static_cast<std::uint8_t>((15 / size - i / size) * size + i % size);
    return places;
}();

#endif

/// `from` is the first pixel of the result, the last in memory.
template <class E>
void reverseRow(std::byte* to, const std::byte* from, std::size_t, std::ptrdiff_t width) noexcept {
    constexpr std::ptrdiff_t size = sizeof(E);
    std::ptrdiff_t x = 0;
#if defined(__SSSE3__)
    constexpr std::ptrdiff_t n = 16 / size;
    const auto places = lanes::load<Row16>(reversedPlaces<sizeof(E)>.data());
    for (; x + n <= width; x += n) {
        const Row16 row = lanes::load<Row16>(from - (x + n - 1) * size);
        lanes::store(to + x * size, (Row16)_mm_shuffle_epi8((__m128i)row, (__m128i)places));
    }
#else
    constexpr std::ptrdiff_t n = 8 / size;
    for (; x + n <= width; x += n) {
        std::uint64_t word = __builtin_bswap64(lanes::load<std::uint64_t>(from - (x + n - 1) * size));
        if constexpr (size == 2) word = (word >> 8 & 0x00ff00ff00ff00ffU) | (word & 0x00ff00ff00ff00ffU) << 8;
        if constexpr (size == 4) {
            word = (word >> 24 & 0x000000ff000000ffU) | (word >> 8 & 0x0000ff000000ff00U) |
                   (word & 0x0000ff000000ff00U) << 8 | (word & 0x000000ff000000ffU) << 24;
        }
        lanes::store(to + x * size, word);
    }
#endif
    for (; x < width; ++x) std::memcpy(to + x * size, from - x * size, sizeof(E));
}

/// Pixels of three bytes, five at a time. A vector takes in a byte of the pixel beyond the five, and writes one of the
/// pixel after them, so there must be a sixth.
void reverseTriples(std::byte* to, const std::byte* from, std::size_t, std::ptrdiff_t width) noexcept {
    std::ptrdiff_t x = 0;
#if defined(__SSSE3__)
    constexpr Row16 places = {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0};
    for (; x + 5 < width; x += 5) {
        const Row16 row = lanes::load<Row16>(from - (x + 4) * 3 - 1);
        lanes::store(to + x * 3, (Row16)_mm_shuffle_epi8((__m128i)row, (__m128i)places));
    }
#endif
    for (; x < width; ++x) std::memcpy(to + x * 3, from - x * 3, 3);
}

using RowCopy = void (*)(std::byte* to, const std::byte* from, std::size_t size, std::ptrdiff_t width);

/// The copy of rows that lie dense in both images, or null.
RowCopy rowCopyFor(std::ptrdiff_t pixel, const PixelSteps& from, std::size_t size) noexcept {
    const auto step = static_cast<std::ptrdiff_t>(size);
    if (pixel != step) return nullptr;
    if (from.right == step) return copyRow;
    if (from.right != -step) return nullptr;
    switch (size) {
    case 1:
        return reverseRow<std::uint8_t>;
    case 2:
        return reverseRow<std::uint16_t>;
    case 3:
        return reverseTriples;
    case 4:
        return reverseRow<std::uint32_t>;
    default:
        return nullptr;
    }
}

/// Whether gaps are closed and opened many pixels at a time, so that rows of pixels apart go by way of dense ones.
#if defined(__AVX512BW__)
constexpr bool rowsByBlocks = true;
#else
constexpr bool rowsByBlocks = false;
#endif
/// Steps no longer than this are from pixel to pixel of one row.
constexpr std::ptrdiff_t longestStep = 16;

/// Rows of pixels of which some lie apart.
class GappedRows {
public:
    GappedRows(std::ptrdiff_t pixel, const PixelSteps& from, std::size_t size) noexcept
        : pixel_(pixel), right_(from.right), size_(size) {
        const auto step = static_cast<std::ptrdiff_t>(size);
        reverse_ = rowCopyFor(step, {nullptr, -step, 0}, size);
    }

    bool fits() const noexcept {
        return rowsByBlocks && std::max(right_, -right_) <= longestStep && pixel_ <= longestStep &&
               (right_ > 0 || reverse_ != nullptr);
    }

    void copy(std::byte* to, const std::byte* from, std::size_t width) const noexcept {
        if (right_ > 0) return copyAcrossGaps(to, pixel_, from, right_, size_, width);
        std::byte closed[block];
        std::byte reversed[block];
        const std::size_t most = block / size_;
        for (std::size_t done = 0; done < width; done += most) {
            const std::size_t now = std::min(most, width - done);
            const auto last = static_cast<std::ptrdiff_t>(done + now - 1);
            copyAcrossGaps(closed, static_cast<std::ptrdiff_t>(size_), from + last * right_, -right_, size_, now);
            reverse_(reversed, closed + (now - 1) * size_, size_, static_cast<std::ptrdiff_t>(now));
            copyAcrossGaps(to + static_cast<std::ptrdiff_t>(done) * pixel_, pixel_, reversed,
                           static_cast<std::ptrdiff_t>(size_), size_, now);
        }
    }

private:
    static constexpr std::size_t block = 1536;

    std::ptrdiff_t pixel_;
    std::ptrdiff_t right_;
    std::size_t size_;
    RowCopy reverse_;
};

using TileCopy = void (*)(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
                          std::ptrdiff_t height);

/// The turn of tiles of pixels that lie as far apart in both images, or null.
TileCopy turnFor(std::ptrdiff_t pixel, const PixelSteps& from, std::size_t size) noexcept {
    if (from.down != pixel && from.down != -pixel) return nullptr;
    constexpr auto pair = [](std::ptrdiff_t step, std::size_t bytes) {
        return step * 16 + static_cast<std::ptrdiff_t>(bytes);
    };
    switch (pair(pixel, size)) {
    case pair(1, 1):
        return turnTile<WholePixels<std::uint8_t>>;
    case pair(2, 2):
        return turnTile<WholePixels<std::uint16_t>>;
#if defined(__SSSE3__)
    case pair(3, 3):
        return turnTile<Triples>;
#endif
    case pair(4, 4):
        return turnTile<WholePixels<std::uint32_t>>;
#if defined(__AVX512BW__) && defined(__AVX512VL__)
    case pair(2, 1):
        return turnTile<GappedPixels<std::uint16_t, 1>>;
    case pair(4, 2):
        return turnTile<GappedPixels<std::uint32_t, 2>>;
    case pair(4, 3):
        return turnTile<GappedPixels<std::uint32_t, 3>>;
    case pair(8, 6):
        return turnTile<GappedPixels<std::uint64_t, 6>>;
#endif
    default:
        return nullptr;
    }
}

TileCopy tileCopyFor(std::size_t size) noexcept {
    switch (size) {
    case 1:
        return copyTile<1>;
    case 2:
        return copyTile<2>;
    case 3:
        return copyTile<3>;
    case 4:
        return copyTile<4>;
    case 6:
        return copyTile<6>;
    case 8:
        return copyTile<8>;
    default:
        return copyTile<0>;
    }
}

/// Tiles of this side keep the lines of both images in the first cache, however the source is stepped.
constexpr std::ptrdiff_t tileSide = 32;

} // namespace

void copyPixels(std::byte* to, std::ptrdiff_t pixel, std::ptrdiff_t stride, const PixelSteps& from, std::size_t size,
                std::size_t width, std::size_t height) noexcept {
    const Target target{to, pixel, stride};
    const auto columns = static_cast<std::ptrdiff_t>(width);
    const auto rows = static_cast<std::ptrdiff_t>(height);
    if (const RowCopy copy = rowCopyFor(pixel, from, size); copy != nullptr) {
        for (std::ptrdiff_t y = 0; y < rows; ++y) copy(target.at(0, y), from.at(0, y), size, columns);
        return;
    }
    if (const GappedRows gapped(pixel, from, size); gapped.fits()) {
        for (std::ptrdiff_t y = 0; y < rows; ++y) gapped.copy(target.at(0, y), from.at(0, y), width);
        return;
    }
    const TileCopy turn = turnFor(pixel, from, size);
    const TileCopy copy = turn != nullptr ? turn : tileCopyFor(size);
    for (std::ptrdiff_t y = 0; y < rows; y += tileSide) {
        for (std::ptrdiff_t x = 0; x < columns; x += tileSide) {
            copy({target.at(x, y), pixel, stride}, {from.at(x, y), from.right, from.down}, size,
                 std::min(tileSide, columns - x), std::min(tileSide, rows - y));
        }
    }
}

} // namespace orvi
