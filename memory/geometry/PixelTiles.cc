#include "memory/geometry/PixelTiles.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include "memory/frame/byte_permutation.h"
#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"
#include "memory/frame/row_moves.h"

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

// Squares of pixels of a power of two of bytes, as many on a side as 16 bytes hold, are turned in vectors: interleaving
// the first half of the rows with the second, once for each doubling, exchanges rows and columns. A longer vector turns
// some squares beside one another.

constexpr std::size_t laneBytes = 16;

template <class E, std::size_t bytes>
struct SquareOf {
    using Row [[gnu::vector_size(bytes)]] = E;
    static constexpr int side = laneBytes / sizeof(E);
};

/// Calls `body` with 0 to n - 1 as constants.
template <std::size_t n, class Body>
[[gnu::always_inline]] inline void each(Body body) noexcept {
    [&]<std::size_t... I>(std::index_sequence<I...>) { (body(std::integral_constant<std::size_t, I>{}), ...); }
    (std::make_index_sequence<n>{});
}

/// In each lane, from pixel `first` on, one of `a` and one of `b` in turn.
template <int first, int side, class Row, std::size_t... I>
Row interleave(Row a, Row b, std::index_sequence<I...>) noexcept {
    constexpr auto place = [](int i) {
        return i / side * side + first + i % side / 2 + i % 2 * static_cast<int>(sizeof...(I));
    };
    return __builtin_shufflevector(a, b, place(static_cast<int>(I))...);
}

/// Pixels of a power of two of bytes.
template <class E, std::size_t bytes>
struct WholePixels {
    using Row = typename SquareOf<E, bytes>::Row;
    static constexpr int side = SquareOf<E, bytes>::side;
    static constexpr int across = static_cast<int>(bytes / sizeof(E));
    static constexpr std::size_t size = sizeof(E);

    /// As many pixels of every row of a square's height as a lane holds, the rows `step` apart.
    static Row load(const std::byte* from, std::ptrdiff_t step) noexcept {
#if defined(__AVX512BW__)
        if constexpr (bytes == 64) {
            const auto lane = [&](std::ptrdiff_t i) { return lanes::load<__m128i>(from + i * side * step); };
            __m512i row = _mm512_zextsi128_si512(lane(0));
            row = _mm512_maskz_inserti32x4(0xffff, row, lane(1), 1);
            row = _mm512_maskz_inserti32x4(0xffff, row, lane(2), 2);
            row = _mm512_maskz_inserti32x4(0xffff, row, lane(3), 3);
            return (Row)row;
        }
#elif defined(__AVX2__)
        if constexpr (bytes == 32) {
            return (Row)_mm256_inserti128_si256(_mm256_zextsi128_si256(lanes::load<__m128i>(from)),
                                                lanes::load<__m128i>(from + side * step), 1);
        }
#endif
        (void)step;
        return lanes::load<Row>(from);
    }
    static void store(std::byte* to, Row row) noexcept { lanes::store(to, row); }
};

#if defined(__SSSE3__)
/// Pixels of three bytes, each in a word of four while it is turned. Four of them are read and written without a byte
/// beyond them.
struct Triples {
    using Row = SquareOf<std::uint32_t, laneBytes>::Row;
    using Bytes = SquareOf<std::uint8_t, laneBytes>::Row;
    using Halves [[gnu::vector_size(16)]] = std::uint64_t;
    static constexpr int side = 4;
    static constexpr int across = side;
    static constexpr std::size_t size = 3;

    static Row load(const std::byte* from, std::ptrdiff_t) noexcept {
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

#if defined(__AVX512BW__)
/// The same, four squares beside one another.
struct FourTriples {
    using Row = SquareOf<std::uint32_t, 64>::Row;
    static constexpr int side = 4;
    static constexpr int across = 16;
    static constexpr std::size_t size = 3;

    static Row load(const std::byte* from, std::ptrdiff_t step) noexcept {
        constexpr __mmask8 twelveBytes = 7;
        const auto lane = [&](std::ptrdiff_t i) { return _mm_maskz_loadu_epi32(twelveBytes, from + i * side * step); };
        __m512i row = _mm512_zextsi128_si512(lane(0));
        row = _mm512_maskz_inserti32x4(0xffff, row, lane(1), 1);
        row = _mm512_maskz_inserti32x4(0xffff, row, lane(2), 2);
        row = _mm512_maskz_inserti32x4(0xffff, row, lane(3), 3);
        const __m128i places = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
        return (Row)_mm512_maskz_shuffle_epi8(~0ULL, row, _mm512_maskz_broadcast_i32x4(0xffff, places));
    }
    static void store(std::byte* to, Row words) noexcept {
        const __m128i places = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
        const __m512i apart =
            _mm512_maskz_shuffle_epi8(~0ULL, (__m512i)words, _mm512_maskz_broadcast_i32x4(0xffff, places));
        const __m512i together = _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 7, 11, 15);
        _mm512_mask_storeu_epi32(to, 0x0fff, _mm512_maskz_permutexvar_epi32(0xffff, together, apart));
    }
};
#endif

#if defined(__AVX512BW__) && defined(__AVX512VL__)
/// Pixels that lie a power of two of bytes apart: each with the gap behind it is turned as one element, and masks keep
/// the gaps from being read and written.
template <class E, std::size_t Bytes>
struct GappedPixels {
    using Row = typename SquareOf<E, laneBytes>::Row;
    static constexpr int side = SquareOf<E, laneBytes>::side;
    static constexpr int across = side;
    static constexpr std::size_t size = Bytes;
    static constexpr __mmask16 samples = [] {
        unsigned mask = 0;
        for (unsigned i = 0; i < 16; ++i) mask |= i % sizeof(E) < Bytes ? 1U << i : 0;
        return static_cast<__mmask16>(mask);
    }();

    static Row load(const std::byte* from, std::ptrdiff_t) noexcept { return (Row)_mm_maskz_loadu_epi8(samples, from); }
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
        constexpr int side = n;
        constexpr auto all = std::make_index_sequence<sizeof(Row) / sizeof(rows[0][0])>{};
        Row mixed[n];
        each<n / 2>([&](auto i) {
            mixed[2 * i] = interleave<0, side>(rows[i], rows[i + n / 2], all);
            mixed[2 * i + 1] = interleave<side / 2, side>(rows[i], rows[i + n / 2], all);
        });
        exchanged<stages - 1>(mixed, use);
    }
}

/// Turns `Pixels::across` by `Pixels::side` pixels.
template <class Pixels>
[[gnu::always_inline]] inline void turnBlock(const Target& to, const PixelSteps& from) noexcept {
    constexpr std::ptrdiff_t n = Pixels::side;
    const bool backward = from.down < 0;
    const std::byte* first = from.at(0, backward ? n - 1 : 0);
    typename Pixels::Row rows[n];
    each<n>([&](auto i) { rows[i] = Pixels::load(first + std::ptrdiff_t{i} * from.right, from.right); });
    exchanged<std::countr_zero(unsigned{n})>(rows, [&](const auto& turned) {
        each<n>([&](auto i) { Pixels::store(to.at(0, backward ? n - 1 - i : i), turned[i]); });
    });
}

/// Tiles of this side keep the lines of both images in the first cache, however the source is stepped.
constexpr std::ptrdiff_t tileSide = 32;
/// What is turned in vectors goes by tiles of the width of a cache line at least.
template <std::size_t size>
constexpr std::ptrdiff_t turnedSide = size == 1 ? 64 : 32;

/// Blocks that are a good part of a line across go column by column, which reads a line to its end before the next;
/// smaller ones row by row, which writes it so.
template <class Pixels>
void turnBlocks(const Target& to, const PixelSteps& from, std::ptrdiff_t width, std::ptrdiff_t height) noexcept {
    constexpr bool byColumns = Pixels::across * Pixels::size >= 32;
    const std::ptrdiff_t columns = width / Pixels::across;
    const std::ptrdiff_t rows = height / Pixels::side;
    const auto turn = [&](std::ptrdiff_t column, std::ptrdiff_t row) {
        const std::ptrdiff_t x = column * Pixels::across;
        const std::ptrdiff_t y = row * Pixels::side;
        turnBlock<Pixels>({to.at(x, y), to.pixel, to.stride}, {from.at(x, y), from.right, from.down});
    };
    for (std::ptrdiff_t i = 0; i < (byColumns ? columns : rows); ++i) {
        for (std::ptrdiff_t j = 0; j < (byColumns ? rows : columns); ++j) byColumns ? turn(i, j) : turn(j, i);
    }
}

/// Turns whole blocks, the `Wide` ones first, and copies the pixels beside and below them.
template <class Wide, class Narrow>
void turnPixels(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
                std::ptrdiff_t height) noexcept {
    const std::ptrdiff_t wide = width - width % Wide::across;
    const std::ptrdiff_t columns = width - width % Narrow::across;
    const std::ptrdiff_t rows = height - height % Narrow::side;
    const auto target = [&](std::ptrdiff_t x, std::ptrdiff_t y) { return Target{to.at(x, y), to.pixel, to.stride}; };
    const auto source = [&](std::ptrdiff_t x, std::ptrdiff_t y) {
        return PixelSteps{from.at(x, y), from.right, from.down};
    };
    turnBlocks<Wide>(to, from, wide, rows);
    turnBlocks<Narrow>(target(wide, 0), source(wide, 0), columns - wide, rows);
    copyTile<Narrow::size>(target(columns, 0), source(columns, 0), size, width - columns, rows);
    copyTile<Narrow::size>(target(0, rows), source(0, rows), size, width, height - rows);
}

/// Rows that lie a power of two apart drive one another out of the caches before they are read to the end of a tile:
/// they are put together before they are turned.
template <class Wide, class Narrow>
void turnTile(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
              std::ptrdiff_t height) noexcept {
    constexpr std::ptrdiff_t crowded = 1024;
    if (from.right % crowded != 0) return turnPixels<Wide, Narrow>(to, from, size, width, height);
    constexpr auto pixel = static_cast<std::ptrdiff_t>(Narrow::size);
    constexpr std::ptrdiff_t most = turnedSide<Narrow::size>;
    constexpr std::ptrdiff_t stride = most * pixel;
    alignas(64) std::byte together[most * stride];
    const std::ptrdiff_t last = from.down < 0 ? height - 1 : 0;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        if (height == most) {
            std::memcpy(together + x * stride, from.at(x, last), stride);
        } else {
            std::memcpy(together + x * stride, from.at(x, last), static_cast<std::size_t>(height * pixel));
        }
    }
    turnPixels<Wide, Narrow>(to, {together + last * pixel, stride, from.down}, size, width, height);
}

// Rows that keep or reverse the order of dense pixels.

using Row = lanes::U8;
constexpr std::ptrdiff_t rowBytes = lanes::vectorBytes;

/// Writes a row of a vector's bytes or more in whole vectors: the first and the last where the row begins and ends,
/// those between them at places of their own size, `unit` bytes beside them at most. `make` gives the vector from some
/// byte of the row on.
template <std::ptrdiff_t unit, class Make>
[[gnu::always_inline]] inline void storeRow(std::byte* to, std::ptrdiff_t bytes, Make make) noexcept {
    const Row last = make(bytes - rowBytes);
    lanes::store(to, make(0));
    const auto beside = static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(to) % lanes::vectorBytes);
    for (std::ptrdiff_t i = (rowBytes - beside + unit - 1) / unit * unit; i < bytes - rowBytes; i += rowBytes) {
        lanes::store(to + i, make(i));
    }
    lanes::store(to + bytes - rowBytes, last);
}

/// Rows that are short beside a page cost the library's copy more than they take.
[[gnu::always_inline]] inline void copyBytes(std::byte* to, const std::byte* from, std::ptrdiff_t bytes) noexcept {
    constexpr std::ptrdiff_t longRow = 4096;
    if (bytes < rowBytes || bytes >= longRow) {
        std::memcpy(to, from, static_cast<std::size_t>(bytes));
        return;
    }
    storeRow<1>(to, bytes, [from](std::ptrdiff_t i) { return lanes::load<Row>(from + i); });
}

[[gnu::always_inline]] inline void copyPixelRow(std::byte* to, const std::byte* from, std::size_t size,
                                                std::ptrdiff_t width) noexcept {
    copyBytes(to, from, width * static_cast<std::ptrdiff_t>(size));
}

#if defined(__AVX2__)
/// Where the bytes of 16 come from when their pixels of `size` bytes change their order.
template <std::size_t size>
inline constexpr auto reversedPlaces = [] {
    std::array<std::uint8_t, 16> places{};
    for (std::size_t i = 0; i < 16; ++i)
        places[i] = static_cast<std::uint8_t>((15 / size - i / size) * size + i % size);
    return places;
}();

/// A vector's pixels in reverse.
template <std::size_t size>
Row reversed(Row row) noexcept {
    const __m128i places = lanes::load<__m128i>(reversedPlaces<size>.data());
#if defined(__AVX512BW__)
    const __m512i within = _mm512_maskz_shuffle_epi8(~0ULL, (__m512i)row, _mm512_maskz_broadcast_i32x4(0xffff, places));
    return (Row)_mm512_maskz_shuffle_i64x2(0xff, within, within, 0b00011011);
#else
    const __m256i within = _mm256_shuffle_epi8((__m256i)row, _mm256_broadcastsi128_si256(places));
    return (Row)_mm256_permute4x64_epi64(within, 0b01001110);
#endif
}
#endif

/// `from` is the first pixel of the result, the last in memory.
template <class E>
[[gnu::noinline]] void reverseRow(std::byte* to, const std::byte* from, std::size_t, std::ptrdiff_t width) noexcept {
    constexpr std::ptrdiff_t size = sizeof(E);
    std::ptrdiff_t x = 0;
#if defined(__AVX2__)
    if (const std::ptrdiff_t bytes = width * size; bytes >= rowBytes) {
        const std::byte* end = from + size;
        return storeRow<size>(
            to, bytes, [end](std::ptrdiff_t i) { return reversed<sizeof(E)>(lanes::load<Row>(end - i - rowBytes)); });
    }
    constexpr std::ptrdiff_t n = 16 / size;
    const __m128i places = lanes::load<__m128i>(reversedPlaces<sizeof(E)>.data());
    for (; x + n <= width; x += n) {
        lanes::store(to + x * size, _mm_shuffle_epi8(lanes::load<__m128i>(from - (x + n - 1) * size), places));
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

#if defined(__AVX512BW__)
/// Pixels of three bytes, 21 at a time and one byte more, as long as there is a pixel beyond them; how many that were.
[[gnu::target("avx512vbmi")]] std::ptrdiff_t reverseByPermutation(std::byte* to, const std::byte* from,
                                                                  std::ptrdiff_t width) noexcept {
    constexpr std::ptrdiff_t n = 21;
    static constexpr auto places = [] {
        std::array<std::uint8_t, 64> all{};
        for (std::size_t i = 0; i < 63; ++i) all[i] = static_cast<std::uint8_t>((20 - i / 3) * 3 + i % 3 + 1);
        return all;
    }();
    const __m512i order = lanes::load<__m512i>(places.data());
    std::ptrdiff_t x = 0;
    for (; x + n < width; x += n) {
        const __m512i row = lanes::load<__m512i>(from - (x + n - 1) * 3 - 1);
        lanes::store(to + x * 3, _mm512_maskz_permutexvar_epi8(~0ULL, order, row));
    }
    return x;
}
#endif

/// Pixels of three bytes, five at a time. A vector takes in a byte of the pixel beyond the five, and writes one of the
/// pixel after them, so there must be a sixth.
[[gnu::noinline]] void reverseTriples(std::byte* to, const std::byte* from, std::size_t,
                                      std::ptrdiff_t width) noexcept {
    std::ptrdiff_t x = 0;
#if defined(__AVX512BW__)
    if (lanes::bytePermutation) x = reverseByPermutation(to, from, width);
#endif
#if defined(__SSSE3__)
    using Row16 = Triples::Bytes;
    constexpr Row16 places = {13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, 0};
    for (; x + 5 < width; x += 5) {
        const Row16 row = lanes::load<Row16>(from - (x + 4) * 3 - 1);
        lanes::store(to + x * 3, (Row16)_mm_shuffle_epi8((__m128i)row, (__m128i)places));
    }
#endif
    for (; x < width; ++x) std::memcpy(to + x * 3, from - x * 3, 3);
}

using RowCopy = void(std::byte* to, const std::byte* from, std::size_t size, std::ptrdiff_t width) noexcept;

/// Rows in one loop: a call for each would take a quarter as long again as a copy of a short one. Reversed ones are
/// called, since what their loop holds in registers is more than another around it leaves.
using RowsCopy = void(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
                      std::ptrdiff_t height) noexcept;
template <RowCopy& copy>
void copyEach(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
              std::ptrdiff_t height) noexcept {
    for (std::ptrdiff_t y = 0; y < height; ++y) copy(to.at(0, y), from.at(0, y), size, width);
}

/// The copy of rows that lie dense in both images, or null.
RowsCopy* rowsCopyFor(std::ptrdiff_t pixel, const PixelSteps& from, std::size_t size) noexcept {
    const auto step = static_cast<std::ptrdiff_t>(size);
    if (pixel != step) return nullptr;
    if (from.right == step) return copyEach<copyPixelRow>;
    if (from.right != -step) return nullptr;
    switch (size) {
    case 1:
        return copyEach<reverseRow<std::uint8_t>>;
    case 2:
        return copyEach<reverseRow<std::uint16_t>>;
    case 3:
        return copyEach<reverseTriples>;
    case 4:
        return copyEach<reverseRow<std::uint32_t>>;
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
        reverse_ = rowsCopyFor(step, {nullptr, -step, 0}, size);
    }

    bool fits() const noexcept {
        return rowsByBlocks && std::max(right_, -right_) <= longestStep && pixel_ <= longestStep &&
               (right_ > 0 || reverse_ != nullptr);
    }

    void copy(std::byte* to, const std::byte* from, std::size_t width) const noexcept {
        if (right_ > 0) return copyAcrossGaps(to, pixel_, from, right_, size_, width);
        if (right_ == -pixel_ && reverseAcrossGaps(to, from, pixel_, size_, width)) return;
        std::byte closed[block];
        std::byte reversed[block];
        const std::size_t most = block / size_;
        for (std::size_t done = 0; done < width; done += most) {
            const std::size_t now = std::min(most, width - done);
            const auto last = static_cast<std::ptrdiff_t>(done + now - 1);
            copyAcrossGaps(closed, static_cast<std::ptrdiff_t>(size_), from + last * right_, -right_, size_, now);
            const auto step = static_cast<std::ptrdiff_t>(size_);
            reverse_({reversed, step, 0}, {closed + (now - 1) * size_, -step, 0}, size_,
                     static_cast<std::ptrdiff_t>(now), 1);
            copyAcrossGaps(to + static_cast<std::ptrdiff_t>(done) * pixel_, pixel_, reversed,
                           static_cast<std::ptrdiff_t>(size_), size_, now);
        }
    }

private:
    static constexpr std::size_t block = 1536;

    std::ptrdiff_t pixel_;
    std::ptrdiff_t right_;
    std::size_t size_;
    RowsCopy* reverse_;
};

using TileCopy = void (*)(const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t width,
                          std::ptrdiff_t height);

/// How a rectangle is copied tile by tile.
struct Tiles {
    TileCopy copy = nullptr;
    std::ptrdiff_t side = tileSide;
};

template <class Wide, class Narrow>
constexpr Tiles turns{turnTile<Wide, Narrow>, turnedSide<Narrow::size>};
template <class E>
constexpr Tiles turnsOf = turns<WholePixels<E, lanes::vectorBytes>, WholePixels<E, laneBytes>>;
#if defined(__AVX512BW__) && defined(__AVX512VL__)
template <class E, std::size_t Bytes>
constexpr Tiles gappedTurns{turnPixels<GappedPixels<E, Bytes>, GappedPixels<E, Bytes>>};
#endif

/// The turn of tiles of pixels that lie as far apart in both images, or none.
Tiles turnFor(std::ptrdiff_t pixel, const PixelSteps& from, std::size_t size) noexcept {
    if (from.down != pixel && from.down != -pixel) return {};
    constexpr auto pair = [](std::ptrdiff_t step, std::size_t bytes) {
        return step * 16 + static_cast<std::ptrdiff_t>(bytes);
    };
    switch (pair(pixel, size)) {
    case pair(1, 1):
        return turnsOf<std::uint8_t>;
    case pair(2, 2):
        return turnsOf<std::uint16_t>;
#if defined(__AVX512BW__)
    case pair(3, 3):
        return turns<FourTriples, Triples>;
#elif defined(__SSSE3__)
    case pair(3, 3):
        return turns<Triples, Triples>;
#endif
    case pair(4, 4):
        return turnsOf<std::uint32_t>;
#if defined(__AVX512BW__) && defined(__AVX512VL__)
    case pair(2, 1):
        return gappedTurns<std::uint16_t, 1>;
    case pair(4, 2):
        return gappedTurns<std::uint32_t, 2>;
    case pair(4, 3):
        return gappedTurns<std::uint32_t, 3>;
    case pair(8, 6):
        return gappedTurns<std::uint64_t, 6>;
#endif
    default:
        return {};
    }
}

/// Tiles of a part of an image whose pages the processor keeps the addresses of.
constexpr std::ptrdiff_t partSide = 256;

/// use(begin, end) for parts of a length.
template <class Use>
void parts(std::ptrdiff_t length, std::ptrdiff_t side, Use use) noexcept {
    for (std::ptrdiff_t at = 0; at < length; at += side) use(at, std::min(at + side, length));
}

/// Tiles in turn, within parts.
void copyTiles(const Tiles& tiles, const Target& to, const PixelSteps& from, std::size_t size, std::ptrdiff_t columns,
               std::ptrdiff_t rows) noexcept {
    parts(rows, partSide, [&](std::ptrdiff_t top, std::ptrdiff_t bottom) {
        parts(columns, partSide, [&](std::ptrdiff_t left, std::ptrdiff_t right) {
            for (std::ptrdiff_t y = top; y < bottom; y += tiles.side) {
                for (std::ptrdiff_t x = left; x < right; x += tiles.side) {
                    tiles.copy({to.at(x, y), to.pixel, to.stride}, {from.at(x, y), from.right, from.down}, size,
                               std::min(tiles.side, right - x), std::min(tiles.side, bottom - y));
                }
            }
        });
    });
}

/// Large results of dense pixels, which are turned in a buffer and go past the caches by whole lines.
class PastTiles {
public:
    PastTiles(const Tiles& tiles, const Target& to, const PixelSteps& from, std::size_t size) noexcept
        : tiles_(tiles), to_(to), from_(from), size_(size), step_(static_cast<std::ptrdiff_t>(size)) {
        while (across_ * step_ % line != 0) across_ += tiles.side;
        while (head_ < line && beforeLine(to.at(head_, 0)) != 0) ++head_;
    }

    /// Whether each row has lines that begin with a pixel.
    bool fits() const noexcept {
        return to_.pixel == step_ && step_ <= widest && to_.stride % line == 0 && head_ < line;
    }

    void copy(std::ptrdiff_t columns, std::ptrdiff_t rows) const noexcept {
        const std::ptrdiff_t end = head_ + (columns - head_) / across_ * across_;
        beside(0, std::min(head_, columns), rows);
        if (end < columns) beside(std::max(head_, end), columns, rows);
        // Tiles below one another read on in the same lines of the source.
        parts(rows, pastRows, [&](std::ptrdiff_t top, std::ptrdiff_t bottom) {
            for (std::ptrdiff_t x = head_; x < end; x += across_) {
                for (std::ptrdiff_t y = top; y < bottom; y += tiles_.side) {
                    lines(x, y, std::min(tiles_.side, bottom - y));
                }
            }
        });
        endPast();
    }

private:
    static constexpr std::ptrdiff_t line = cacheLine;
    static constexpr std::ptrdiff_t widest = 4;
    static constexpr std::ptrdiff_t pastRows = 1024;

    void beside(std::ptrdiff_t begin, std::ptrdiff_t end, std::ptrdiff_t rows) const noexcept {
        copyTiles(tiles_, {to_.at(begin, 0), to_.pixel, to_.stride}, {from_.at(begin, 0), from_.right, from_.down},
                  size_, end - begin, rows);
    }

    void lines(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t rows) const noexcept {
        alignas(line) std::byte made[128 * line];
        const std::ptrdiff_t stride = across_ * step_;
        for (std::ptrdiff_t i = 0; i < across_; i += tiles_.side) {
            tiles_.copy({made + i * step_, step_, stride}, {from_.at(x + i, y), from_.right, from_.down}, size_,
                        tiles_.side, rows);
        }
        copyLinesPast(to_.at(x, y), to_.stride, made, static_cast<std::size_t>(stride), static_cast<std::size_t>(rows));
    }

    const Tiles& tiles_;
    const Target& to_;
    const PixelSteps& from_;
    std::size_t size_;
    std::ptrdiff_t step_;
    std::ptrdiff_t across_ = tiles_.side; ///< pixels of a tile, whole lines
    std::ptrdiff_t head_ = 0;             ///< pixels before the first line
};

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

} // namespace

void copyRows(std::byte* to, std::ptrdiff_t stride, const std::byte* from, std::ptrdiff_t fromStride,
              std::ptrdiff_t bytes, std::ptrdiff_t rows) noexcept {
    copyEach<copyPixelRow>({to, 1, stride}, {from, 1, fromStride}, 1, bytes, rows);
}

void copyPixels(std::byte* to, std::ptrdiff_t pixel, std::ptrdiff_t stride, const PixelSteps& from, std::size_t size,
                std::size_t width, std::size_t height) noexcept {
    const Target target{to, pixel, stride};
    const auto columns = static_cast<std::ptrdiff_t>(width);
    const auto rows = static_cast<std::ptrdiff_t>(height);
    if (RowsCopy* const copy = rowsCopyFor(pixel, from, size); copy != nullptr) {
        return copy(target, from, size, columns, rows);
    }
    if (const GappedRows gapped(pixel, from, size); gapped.fits()) {
        for (std::ptrdiff_t y = 0; y < rows; ++y) gapped.copy(target.at(0, y), from.at(0, y), width);
        return;
    }
    Tiles tiles = turnFor(pixel, from, size);
    if (tiles.copy == nullptr) tiles.copy = tileCopyFor(size);
    if (goesPast(width * height * size)) {
        if (const PastTiles past(tiles, target, from, size); past.fits()) return past.copy(columns, rows);
    }
    copyTiles(tiles, target, from, size, columns, rows);
}

} // namespace orvi
