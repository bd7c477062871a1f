// The fast walk of the interiors, where every window lies inside the source.
//
// A rectangle is cut into strips of columns that stay in the first cache. The source rows of a strip are converted once
// each to floats or doubles, bands side by side without gaps, and kept in a ring as long as a window needs them. A few
// output rows are made together, so that a loaded vector serves all of them. How a product joins a sum is a rule:
//
//     struct Rule {
//         using Element = float, double or an integer;  // of the converted rows
//         using Tap = what a weight is turned into;
//         static Vector start();                        // a vector of Element
//         static Vector add(Vector sum, Vector samples, Tap tap);
//         static Ints finish(Vector sum);               // results in the range of a sample, as 32-bit lanes
//     };
//
// A rule may instead sum each row of the window apart, from its start on, and add the rows up as integers:
//
//         using RowSums = a vector of integers;
//         static RowSums addRow(RowSums sums, Vector row);
//         static Ints finish(RowSums sums);
//
// Or its sums may be near ones, whose vectors are made anew by a rule of doubles where they are in doubt:
//
//         using Exact = another rule;
//         static bool doubtful(Vector sum, float doubt);
#pragma once

#include <cstring>
#include <utility>

#include "memory/filter/NineRegions.h"
#include "memory/filter/samples.h"
#include "memory/frame/lanes.h"

namespace orvi {

/// Memory of the strips of one call; there is one call at a time.
inline constexpr std::size_t stripBytes = std::size_t{1} << 19;
inline constexpr long maxStripRows = 160;
extern std::byte stripMemory[stripBytes];

/// Samples of a strip: long enough for the vectors, short enough for the rows to stay in the cache.
inline constexpr long stripSamples = 512;
inline constexpr long leastStripSamples = 64;
/// Vectors read whole beyond the last sample of a row.
inline constexpr long stripSlack = 64;

/// The samples of a window's rows and weights as one block of output sees them.
template <class Rule>
struct StripBlock {
    const typename Rule::Element* const* rows; ///< converted, from the first of the first output row's window on
    const typename Rule::Tap* taps;
    long width; ///< of the window
    long height;
    long step;   ///< from a column to the next, in samples
    float doubt; ///< of a rule whose sums are near ones
};

template <class Rule>
concept SumsRowsApart = requires {
    typename Rule::RowSums;
};

template <class Rule>
concept ComesNear = requires {
    typename Rule::Exact;
};

/// What a rule gathers for a vector of results.
template <class Rule>
struct SumsOf {
    using Type = typename Rule::Vector;
    static Type start() noexcept { return Rule::start(); }
};
template <SumsRowsApart Rule>
struct SumsOf<Rule> {
    using Type = typename Rule::RowSums;
    static Type start() noexcept { return Type{}; }
};

/// A vector of results of an output row by the exact rule, from sample `at` on.
template <ComesNear Rule, class T>
[[gnu::noinline]] void makeExactly(const StripBlock<Rule>& block, long row, long at, T* results) noexcept {
    using Exact = typename Rule::Exact;
    using Vector = typename Exact::Vector;
    constexpr long count = Lanes<double>::count;
    constexpr long parts = static_cast<long>(Lanes<float>::count) / count;
    Vector sums[parts];
    for (Vector& sum : sums) sum = Exact::start();
    const typename Rule::Tap* tap = block.taps;
    for (long i = 0; i < block.height; ++i) {
        const float* from = block.rows[row + i] + at;
        for (long column = 0; column < block.width; ++column, from += block.step, ++tap) {
            for (long part = 0; part < parts; ++part) {
                const auto samples = lanes::load<typename Lanes<double>::Floats>(from + part * count);
                sums[part] = Exact::add(sums[part], convertLanes<Vector>(samples), *tap);
            }
        }
    }
    for (long part = 0; part < parts; ++part) storeSamples(results + part * count, Exact::finish(sums[part]));
}

/// `Rows` output rows of `Vectors` vectors from sample `at` on. `Height` is that of the window, 0 where it is not known
/// to the compiler (one row is then made at a time).
template <class Rule, int Rows, int Vectors, int Height, class T>
inline void makeBlock(const StripBlock<Rule>& block, long at, T (*results)[stripSamples]) noexcept {
    using Element = typename Rule::Element;
    using Vector = typename Lanes<Element>::Vector;
    constexpr long lanesCount = Lanes<Element>::count;
    typename SumsOf<Rule>::Type sums[Rows][Vectors];
    for (auto& row : sums) {
        for (auto& sum : row) sum = SumsOf<Rule>::start();
    }
    const auto sourceRow = [&]<int S>(std::integral_constant<int, S>, const Element* from, long tapRow) {
        constexpr int firstRow = Height == 0 || S < Height ? 0 : S - Height + 1;
        constexpr int lastRow = Height == 0 || S >= Rows ? Rows - 1 : S;
        const typename Rule::Tap* tap = block.taps + tapRow * block.width;
        Vector apart[Rows][Vectors];
        if constexpr (SumsRowsApart<Rule>) {
            for (auto& row : apart) {
                for (Vector& sum : row) sum = Rule::start();
            }
        }
        const auto sumOf = [&](int row, int i) -> Vector& {
            if constexpr (SumsRowsApart<Rule>) {
                return apart[row][i];
            } else {
                return sums[row][i];
            }
        };
        for (long column = 0; column < block.width; ++column, from += block.step, ++tap) {
            Vector samples[Vectors];
#pragma GCC unroll 8
            for (int i = 0; i < Vectors; ++i) samples[i] = lanes::load<Vector>(from + i * lanesCount);
#pragma GCC unroll 8
            for (int row = firstRow; row <= lastRow; ++row) {
                const typename Rule::Tap weight = *(tap - row * block.width);
#pragma GCC unroll 8
                for (int i = 0; i < Vectors; ++i) sumOf(row, i) = Rule::add(sumOf(row, i), samples[i], weight);
            }
        }
        if constexpr (SumsRowsApart<Rule>) {
#pragma GCC unroll 8
            for (int row = firstRow; row <= lastRow; ++row) {
#pragma GCC unroll 8
                for (int i = 0; i < Vectors; ++i) sums[row][i] = Rule::addRow(sums[row][i], apart[row][i]);
            }
        }
    };
    if constexpr (Height == 0) {
        for (long row = 0; row < block.height; ++row) {
            sourceRow(std::integral_constant<int, 0>{}, block.rows[row] + at, row);
        }
    } else {
        [&]<int... S>(std::integer_sequence<int, S...>) {
            (sourceRow(std::integral_constant<int, S>{}, block.rows[S] + at, long{S}), ...);
        }
        (std::make_integer_sequence<int, Height + Rows - 1>{});
    }
#pragma GCC unroll 8
    for (int row = 0; row < Rows; ++row) {
#pragma GCC unroll 8
        for (int i = 0; i < Vectors; ++i) {
            const long place = at + i * lanesCount;
            if constexpr (ComesNear<Rule>) {
                if (Rule::doubtful(sums[row][i], block.doubt)) [[unlikely]] {
                    makeExactly(block, row, place, results[row] + place);
                    continue;
                }
            }
            storeSamples(results[row] + place, Rule::finish(sums[row][i]));
        }
    }
}

/// The samples of byte and short images as strips see them, bands side by side.
template <class T>
class SampleRows {
public:
    using Sample = T;

    explicit SampleRows(const NineRegions& images) noexcept
        : source_(images.source(), images.width(), images.height()),
          destination_(images.destination()),
          bands_(images.bands()) {}

    long bands() const noexcept { return bands_; }

    /// Converts `pixels` pixels of a source row, from a storage column on.
    template <class Element>
    void load(Element* to, long column, long row, long pixels) const noexcept {
        packRow(to, source_.at(column, row), source_.pixel, bands_, pixels);
    }
    /// Writes results from a place in the common space on.
    void store(long x, long y, const T* results, long pixels) const noexcept {
        unpackRow(destination_.at<T>(x, y), results, destination_.pixelOf<T>(), bands_, pixels);
    }

private:
    Samples<const T> source_;
    const Raster& destination_;
    long bands_;
};

/// Works off a rectangle of an interior by strips.
template <class Rows, class Rule>
class StripWalk {
public:
    using T = typename Rows::Sample;
    using Element = typename Rule::Element;

    StripWalk(const NineRegions& images, const Rows& storage, const Window& window, const typename Rule::Tap* taps,
              float doubt = 0) noexcept
        : images_(images), storage_(storage), window_(window), taps_(taps), doubt_(doubt), bands_(storage.bands()) {}

    /// False where the window is too large for the strips: nothing is written then.
    bool rectangle(const Rect& rect) noexcept {
        // As many samples of either size: sums of doubles that are rounded each time wait for one another longest.
        constexpr int vectorsAlone = sizeof(Element) == sizeof(double) ? 8 : 4;
        switch (window_.height) {
        case 3:
            return strips<4, 2, 3>(rect);
        case 5:
            return strips<4, 2, 5>(rect);
        case 7:
            return strips<4, 2, 7>(rect);
        default:
            return strips<1, vectorsAlone, 0>(rect);
        }
    }

private:
    template <int Together, int Vectors, int Height>
    bool strips(const Rect& rect) noexcept {
        ringRows_ = window_.height + Together - 1;
        if (ringRows_ < 1 || ringRows_ > maxStripRows) return false; // a kernel may have no rows
        rowSamples_ = static_cast<long>(stripBytes / sizeof(Element)) / ringRows_ & ~15L;
        const long room = rowSamples_ - (window_.width - 1) * bands_ - stripSlack;
        const long pixels = std::min(room, stripSamples) / bands_;
        if (room < leastStripSamples || pixels < 1) return false;
        for (long x = 0; x < static_cast<long>(rect.width); x += pixels) {
            strip<Together, Vectors, Height>(rect, x, std::min(pixels, static_cast<long>(rect.width) - x));
        }
        return true;
    }

    template <int Together, int Vectors, int Height>
    void strip(const Rect& rect, long x, long pixels) noexcept {
        constexpr long vectorSamples = static_cast<long>(Lanes<Element>::count) * Vectors;
        alignas(64) static T results[Together][stripSamples];
        const long firstRow = rect.y + images_.source().oy - window_.keyY;
        const long firstColumn = rect.x + x + images_.source().ox - window_.keyX;
        const long height = static_cast<long>(rect.height);
        const long sourceRows = height + window_.height - 1;
        long converted = 0;
        for (long y = 0; y < height; y += Together) {
            const Element* rows[maxStripRows];
            for (long i = 0; i < ringRows_; ++i) {
                // Rows below the last one serve output rows that are not stored.
                const long row = std::min(y + i, sourceRows - 1);
                rows[i] = ring(row);
                if (row < converted) continue;
                convert(ring(row), firstColumn, firstRow + row, pixels + window_.width - 1);
                ++converted;
            }
            const StripBlock<Rule> block{rows, taps_, window_.width, window_.height, bands_, doubt_};
            for (long at = 0; at < pixels * bands_; at += vectorSamples) {
                makeBlock<Rule, Together, Vectors, Height>(block, at, results);
            }
            for (long i = 0; i < Together && y + i < height; ++i) {
                storage_.store(rect.x + x, rect.y + y + i, results[i], pixels);
            }
        }
    }

    Element* ring(long row) const noexcept {
        return reinterpret_cast<Element*>(stripMemory) + row % ringRows_ * rowSamples_;
    }

    /// What vectors read beyond the samples is set, so that it is a number.
    void convert(Element* to, long column, long row, long pixels) const noexcept {
        storage_.load(to, column, row, pixels);
        std::fill_n(to + pixels * bands_, stripSlack, Element{0});
    }

    const NineRegions& images_;
    Rows storage_;
    Window window_;
    const typename Rule::Tap* taps_;
    float doubt_;
    long bands_;
    long ringRows_ = 0;
    long rowSamples_ = 0;
};

} // namespace orvi
