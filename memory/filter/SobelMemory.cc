// Edge detection: half the magnitude of the gradient, samples beyond the image repeated from its edge.

#include <cmath>
#include <cstdlib>

#include "memory/filter/NineRegions.h"
#include "memory/filter/samples.h"
#include "memory/frame/Extent.h"
#include "memory/frame/LazyTable.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/numbers.h"

namespace {

using namespace orvi;

constexpr Window sobelWindow{3, 3, 1, 1};

struct Gradient {
    int x;
    int y;
};

/// The gradient from `at(column, row)`, each -1 to 1 about the pixel.
template <class At>
Gradient gradient(At at) noexcept {
    const int falling = at(-1, -1) - at(1, 1);
    const int rising = at(-1, 1) - at(1, -1);
    return {falling + rising + 2 * (at(-1, 0) - at(1, 0)), falling - rising + 2 * (at(0, -1) - at(0, 1))};
}

constexpr std::size_t squareEntries = 1024;
LazyTable<double> sobel_sqr_table;

void fillSquares(double* table) noexcept {
    for (std::size_t i = 0; i < squareEntries; ++i) table[i] = static_cast<double>(i * i) * 0.25;
}

template <class T>
T cut(double magnitude) noexcept {
    return static_cast<T>(toInt(static_cast<float>(magnitude + 0.5), 0, highest<T>));
}

struct Bytes {
    using Sample = std::uint8_t;
    const double* squares;
    std::uint8_t operator()(Gradient g) const noexcept {
        return cut<std::uint8_t>(static_cast<float>(std::sqrt(squares[std::abs(g.x)] + squares[std::abs(g.y)])));
    }
    /// The same without the table: the sum of squares is exact in single precision, and its root rounds alike.
    static std::uint8_t inRow(Gradient g) noexcept {
        const float magnitude = std::sqrt(static_cast<float>(g.x * g.x + g.y * g.y) * 0.25F);
        return static_cast<std::uint8_t>(static_cast<int>(std::min(magnitude + 0.5F, 255.0F)));
    }
};

struct Shorts {
    using Sample = std::int16_t;
    std::int16_t operator()(Gradient g) const noexcept { return inRow(g); }
    static std::int16_t inRow(Gradient g) noexcept {
        const double x = g.x;
        const double y = g.y;
        const float root = static_cast<float>(std::sqrt(x * x + y * y));
        const float rounded = static_cast<float>(static_cast<double>(root) * 0.5 + 0.5);
        return static_cast<std::int16_t>(static_cast<int>(std::min(rounded, 32767.0F)));
    }
};

/// Samples of a chunk of an interior row.
constexpr long chunkSamples = 1024;

/// A chunk of results from the samples of three rows, `step` samples from a column to the next.
template <class Magnitude, class T>
void sobelRow(T* to, const T* above, const T* middle, const T* below, long step, long samples) noexcept {
    const T* rows[] = {above + step, middle + step, below + step};
    for (long i = 0; i < samples; ++i) {
        to[i] = Magnitude::inRow(gradient([&](int column, int row) { return int{rows[row + 1][i + column * step]}; }));
    }
}

/// The interior, where every window lies inside the source.
template <class Magnitude>
void sobelInterior(const NineRegions& images, const Rect& rect) noexcept {
    using T = typename Magnitude::Sample;
    const Samples<const T> source(images.source(), images.width(), images.height());
    const Raster& to = images.destination();
    const long bands = images.bands();
    const long most = chunkSamples / bands;
    T packed[3][3 * chunkSamples];
    T results[chunkSamples];
    for (long done = 0; done < static_cast<long>(rect.width); done += most) {
        const long x = rect.x + done;
        const long pixels = std::min(most, static_cast<long>(rect.width) - done);
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            const T* rows[3];
            for (long i = 0; i < 3; ++i) {
                const long row = y + images.source().oy + i - 1;
                rows[i] = source.at(x + images.source().ox - 1, row);
                if (source.pixel == bands) continue;
                // Two of the rows were packed for the pixels above.
                T* const dense = packed[row % 3];
                if (i == 2 || y == rect.y) packRow(dense, rows[i], source.pixel, bands, pixels + 2);
                rows[i] = dense;
            }
            sobelRow<Magnitude>(results, rows[0], rows[1], rows[2], bands, pixels * bands);
            unpackRow(to.at<T>(x, y), results, to.pixelOf<T>(), bands, pixels);
        }
    }
}

/// The source position of a pixel. A corner region reads about the image's own corner for whatever pixels it has.
struct Position {
    long x;
    long y;

    Position(const NineRegions& images, Region region, long column, long row) noexcept
        : x(column + images.source().ox), y(row + images.source().oy) {
        if (!isCorner(region)) return;
        x = isLeft(region) ? 0 : images.width() - 1;
        y = isTop(region) ? 0 : images.height() - 1;
    }
};

template <class Magnitude>
void sobelRectangle(const NineRegions& images, Region region, const Rect& rect, Magnitude magnitude) noexcept {
    using T = typename Magnitude::Sample;
    const Samples<const T> source(images.source(), images.width(), images.height());
    for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
        for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
            const Position at(images, region, x, y);
            T* pixel = images.destination().at<T>(x, y);
            for (unsigned band = 0; band < images.bands(); ++band) {
                // The first band decides a corner pixel in all bands.
                const unsigned from = isCorner(region) ? 0 : band;
                pixel[band] = magnitude(gradient(
                    [&](int column, int row) { return int{source.nearest(at.x + column, at.y + row)[from]}; }));
            }
        }
    }
}

template <class Magnitude>
OrvStatus sobel(NineRegions& images, Magnitude magnitude) noexcept {
    constexpr auto size = static_cast<std::ptrdiff_t>(sizeof(typename Magnitude::Sample));
    const bool apart = !Extent(images.source(), size).overlaps(Extent(images.destination(), size));
    const bool byRows = apart && images.fits(sobelWindow) && images.bands() <= chunkSamples;
    return images.visit(sobelWindow, [&](Region region, const Rect& rect) {
        if (region == Region::interior && byRows) {
            sobelInterior<Magnitude>(images, rect);
        } else {
            sobelRectangle(images, region, rect, magnitude);
        }
        return true;
    });
}

OrvStatus openSobel(NineRegions& images, OrvDataType type) noexcept {
    if (images.fetch(type) != ORV_SUCCESS) return ORV_FAILURE;
    return images.intersect();
}

constexpr FilterFacts sobelFacts(const char* file) noexcept { return {file, 0, false}; }

/// The sum a + 2 b + c of bits, many pixels at a time, as its three bits.
template <class W>
struct Side {
    W low;
    W middle;
    W high;

    Side(W a, W b, W c) noexcept
        : low(static_cast<W>(a ^ c)), middle(static_cast<W>((a & c) ^ b)), high(static_cast<W>(a & b & c)) {}

    W unlike(const Side& other) const noexcept {
        return static_cast<W>((low ^ other.low) | (middle ^ other.middle) | (high ^ other.high));
    }
};

/// Edge detection of bits. A bit is set where the magnitude reaches one half, which every gradient but a zero one does.
class BitSobel {
public:
    BitSobel(const NineRegions& images, std::uint8_t** rows) noexcept
        : images_(images),
          rows_(rows),
          byWords_(images.fits(sobelWindow) &&
                   !Extent::ofBits(images.source()).overlaps(Extent::ofBits(images.destination()))) {}

    void rectangle(Region region, const Rect& rect) const noexcept {
        const bool byWords = byWords_ && !isLeft(region) && !isRight(region);
        for (unsigned band = 0; band < images_.bands(); ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
                findRows(y, band);
                const BitPosition to = images_.destination().bit(rect.x, y, band);
                const long column = rect.x + images_.source().ox;
                if (byWords) {
                    words(to, column, rect.width);
                } else {
                    pixels(to, column, rect.width);
                }
            }
        }
    }

private:
    /// Points at the rows above, at and below the current one, those beyond the image at its edge.
    void findRows(long y, unsigned band) const noexcept {
        const Raster& source = images_.source();
        for (long i = 0; i < 3; ++i) {
            const long row = std::clamp(y + source.oy + i - 1, 0L, images_.height() - 1);
            rows_[i] = source.bit(-source.ox, row - source.oy, band).byte;
        }
    }

    /// A run whose neighbours on either side lie inside the source.
    void words(BitPosition to, long column, unsigned length) const noexcept {
        const auto at = [&](int row, int side) -> BitPosition {
            const long position = column + side + static_cast<long>(images_.source().offset);
            return {rows_[row] + (position >> 3), static_cast<unsigned>(position & 7)};
        };
        combineBits(
            to, length,
            []<class W>(W aboveLeft, W above, W aboveRight, W left, W right, W belowLeft, W below, W belowRight) {
                const W across = Side<W>(aboveLeft, left, belowLeft).unlike({aboveRight, right, belowRight});
                const W down = Side<W>(aboveLeft, above, aboveRight).unlike({belowLeft, below, belowRight});
                return static_cast<W>(across | down);
            },
            at(0, -1), at(0, 0), at(0, 1), at(1, -1), at(1, 1), at(2, -1), at(2, 0), at(2, 1));
    }

    /// A run one pixel at a time: columns beyond the image repeat its edge.
    void pixels(BitPosition to, long column, unsigned length) const noexcept {
        for (long x = 0; x < static_cast<long>(length); ++x) {
            const Gradient g = gradient([&](int side, int row) {
                const long wanted = std::clamp(column + x + side, 0L, images_.width() - 1);
                const long position = wanted + static_cast<long>(images_.source().offset);
                return rows_[row + 1][position >> 3] >> (7 - (position & 7)) & 1;
            });
            const std::size_t position = to.offset + static_cast<std::size_t>(x);
            bit_rows::mergeBits(to.byte + (position >> 3), position & 7, 1, g.x != 0 || g.y != 0 ? 0xff : 0);
        }
    }

    const NineRegions& images_;
    std::uint8_t** rows_;
    bool byWords_; ///< in place, each pixel sees what those before it have become
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Sobel8(OrvOp* op, int) noexcept {
    NineRegions images(sobelFacts("Sobel8Memory.cc"), op->getSrc1(), op->getDst());
    if (openSobel(images, ORV_BYTE) != ORV_SUCCESS) return ORV_FAILURE;
    const double* squares = sobel_sqr_table.get(squareEntries, fillSquares);
    if (squares == nullptr) return images.failMemory();
    return sobel(images, Bytes{squares});
}

OrvStatus OrvDeviceComputeTypeMemory::Sobel16(OrvOp* op, int) noexcept {
    NineRegions images(sobelFacts("Sobel16Memory.cc"), op->getSrc1(), op->getDst());
    if (openSobel(images, ORV_SHORT) != ORV_SUCCESS) return ORV_FAILURE;
    return sobel(images, Shorts{});
}

OrvStatus OrvDeviceComputeTypeMemory::Sobel1(OrvOp* op, int) noexcept {
    NineRegions images(sobelFacts("Sobel1Memory.cc"), op->getSrc1(), op->getDst());
    if (openSobel(images, ORV_BIT) != ORV_SUCCESS) return ORV_FAILURE;
    const Array<std::uint8_t*> rows(3);
    if (!rows) return images.failMemory();
    const BitSobel sobelBits(images, rows.get());
    return images.visit(sobelWindow, [&](Region region, const Rect& rect) {
        sobelBits.rectangle(region, rect);
        return true;
    });
}
