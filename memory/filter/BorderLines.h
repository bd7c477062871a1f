// Extended borders, a line of pixels along the edge at a time: the windows of such a line visit the same weights in the
// same order, so that many are summed together.
#pragma once

#include "memory/filter/Taps.h"
#include "memory/filter/strips.h"

namespace orvi {

/// For the four borders that are no corners, where the window fits into the source. `Rule` is one of strip_rules.h.
template <class T, class Rule>
class BorderLines {
public:
    BorderLines(const NineRegions& images, const Taps& taps, Region region) noexcept
        : images_(images),
          taps_(taps),
          region_(region),
          level_(isTop(region) || isBottom(region)),
          source_(images.source(), images.width(), images.height()),
          bands_(images.bands()),
          lines_(level_ ? taps.window.height : taps.window.width),
          tapsAlong_(level_ ? taps.window.width : taps.window.height),
          lineSamples_(stripSamples + (tapsAlong_ - 1) * bands_ + stripSlack) {}

    /// False where the window is too large: nothing is written then.
    bool rectangle(const Rect& rect) noexcept {
        const bool fits = taps_.count() <= mostTaps && bands_ > 0 && bands_ <= stripSamples &&
                          static_cast<std::size_t>(lines_ * lineSamples_) * sizeof(Element) <= stripBytes;
        if (!fits) return false;
        const long width = rect.width;
        const long height = rect.height;
        const long most = stripSamples / bands_;
        const long length = level_ ? width : height;
        for (long line = 0; line < (level_ ? height : width); ++line) {
            for (long done = 0; done < length; done += most) {
                const long pixels = std::min(most, length - done);
                part(rect.x + (level_ ? done : line), rect.y + (level_ ? line : done), pixels);
            }
        }
        return true;
    }

private:
    using Element = typename Rule::Element;
    static constexpr std::size_t mostTaps = 4096;

    /// Some pixels of a line, from a place in the common space on.
    void part(long x, long y, long pixels) noexcept {
        static const Element* samples[mostTaps];
        static typename Rule::Tap weights[mostTaps];
        alignas(64) static T results[stripSamples + stripSlack];
        const Window& window = taps_.window;
        const long left = x + images_.source().ox - window.keyX;
        const long top = y + images_.source().oy - window.keyY;
        load(left, top, pixels + tapsAlong_ - 1);

        const TapOrder rows(rowOrder(region_), window.height, top, images_.height());
        const TapOrder columns(columnOrder(region_), window.width, left, images_.width());
        std::size_t tap = 0;
        for (long i = 0; i < window.height; ++i) {
            for (long j = 0; j < window.width; ++j, ++tap) {
                // Along the edge the order is the natural one.
                const long row = level_ ? rows[i] : i;
                const long column = level_ ? j : columns[j];
                samples[tap] = level_ ? line(row) + column * bands_ : line(column) + row * bands_;
                weights[tap] = taps_.row(row)[column];
            }
        }
        sum(samples, weights, pixels * bands_, results);
        const Raster& to = images_.destination();
        unpackRow(to.at<T>(x, y), results, level_ ? to.pixelOf<T>() : to.strideOf<T>(), bands_, pixels);
    }

    /// Converts the lines of the windows. Those beyond the image are the one at its edge.
    void load(long left, long top, long pixels) const noexcept {
        for (long i = 0; i < lines_; ++i) {
            const T* from = level_ ? source_.nearest(left, top + i) : source_.nearest(left + i, top);
            packRow(line(i), from, level_ ? source_.pixel : source_.stride, bands_, pixels);
            std::fill_n(line(i) + pixels * bands_, stripSlack, Element{0});
        }
    }

    void sum(const Element* const* samples, const typename Rule::Tap* weights, long count, T* results) const noexcept {
        using Vector = typename Rule::Vector;
        constexpr long lanesCount = Lanes<Element>::count;
        constexpr int vectors = sizeof(Element) == sizeof(double) ? 8 : 4;
        for (long at = 0; at < count; at += vectors * lanesCount) {
            Vector sums[vectors];
            for (Vector& sum : sums) sum = Rule::start();
            for (std::size_t tap = 0; tap < taps_.count(); ++tap) {
                const Element* from = samples[tap] + at;
#pragma GCC unroll 8
                for (int i = 0; i < vectors; ++i) {
                    sums[i] = Rule::add(sums[i], lanes::load<Vector>(from + i * lanesCount), weights[tap]);
                }
            }
#pragma GCC unroll 8
            for (int i = 0; i < vectors; ++i) storeSamples(results + at + i * lanesCount, Rule::finish(sums[i]));
        }
    }

    Element* line(long index) const noexcept { return reinterpret_cast<Element*>(stripMemory) + index * lineSamples_; }

    const NineRegions& images_;
    const Taps& taps_;
    Region region_;
    bool level_; ///< the edge is the upper or the lower one
    Samples<const T> source_;
    long bands_;
    long lines_;     ///< of the window, along the edge
    long tapsAlong_; ///< of such a line
    long lineSamples_;
};

} // namespace orvi
