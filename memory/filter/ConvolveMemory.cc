// Convolution of byte and short images with a kernel of any size.
//
// Small kernels have an arithmetic of their own in the interior, where the window lies inside the image: bytes take
// truncated fixed-point products, shorts round their sum once. It differs from that of the border on purpose.

#include <array>
#include <utility>

#include "memory/filter/BorderLines.h"
#include "memory/filter/samples.h"
#include "memory/filter/strip_rules.h"
#include "memory/filter/sums.h"
#include "memory/frame/Extent.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/walk.h"

namespace {

using namespace orvi;

constexpr std::size_t maxStripTaps = 16384;

template <class T>
class Convolution {
public:
    Convolution(const NineRegions& images, const Taps& taps) noexcept
        : images_(images),
          taps_(taps),
          arithmetic_(arithmeticOf(taps.window)),
          facts_({taps.values.get(), taps.count()}),
          source_(images.source(), images.width(), images.height()) {}

    void zero(const Rect& rect) const noexcept { zeroRectangle<T>(images_.destination(), images_.bands(), rect); }

    void extend(Region region, const Rect& rect) const noexcept {
        if (!isCorner(region) && images_.fits(taps_.window) && lines(region, rect)) return;
        everyPixel<RoundedSum<T>>(rect, rowOrder(region), columnOrder(region));
    }

    void interior(const Rect& rect) noexcept {
        if (images_.fits(taps_.window) && strips(rect)) return;
        switch (arithmetic_) {
        case Arithmetic::truncated:
            if constexpr (sizeof(T) == 1) return inside<TruncatedSum>(rect);
            break;
        case Arithmetic::once:
            return inside<WholeSum<T>>(rect);
        case Arithmetic::afterEach:
            return inside<RoundedSum<T>>(rect);
        }
    }

private:
    enum class Arithmetic { afterEach, once, truncated };

    /// The interior's arithmetic follows from the kernel's shape alone.
    static Arithmetic arithmeticOf(const Window& window) noexcept {
        const auto [w, h, keyX, keyY] = window;
        const bool square = w == h && (w == 3 || w == 5);
        if (sizeof(T) == 1) return square ? Arithmetic::truncated : Arithmetic::afterEach;
        const bool line = (w == 1 && (h == 3 || h == 5)) || (h == 1 && (w == 3 || w == 5));
        return square || line ? Arithmetic::once : Arithmetic::afterEach;
    }

    bool lines(Region region, const Rect& rect) const noexcept {
        if (facts_.floatServes(largest)) return BorderLines<T, FloatRule<T>>(images_, taps_, region).rectangle(rect);
        return BorderLines<T, RoundedRule<T>>(images_, taps_, region).rectangle(rect);
    }

    bool strips(const Rect& rect) noexcept {
        if (taps_.count() > maxStripTaps) return false;
        if (arithmetic_ == Arithmetic::truncated) {
            if constexpr (sizeof(T) == 1) return truncatedStrips(rect);
        }
        if (facts_.exactWithin(largest, 24)) return strips<FloatRule<T>>(rect, taps_.values.get());
        if (arithmetic_ == Arithmetic::once) return converted<WholeRule<T>>(rect, 1.0);
        if (facts_.floatServes(largest)) return strips<FloatRule<T>>(rect, taps_.values.get());
        if constexpr (sizeof(T) == 1) {
            if (doubt() < mostDoubt) return strips<NearRule<T>>(rect, taps_.values.get());
        }
        return converted<RoundedRule<T>>(rect, 1.0);
    }

    /// How far a sum in single precision may be from the one that is asked for, where that is not more than 255.
    float doubt() noexcept {
        constexpr double unit = 0x1p-16; // in the last place of such a sum
        if (doubt_ < 0) {
            const double unlike = unlikeRoundings({taps_.values.get(), taps_.count()});
            // One half is added with a rounding on either side.
            doubt_ = facts_.growing() ? static_cast<float>((unlike + 2) * unit) : mostDoubt;
        }
        return doubt_;
    }

    bool truncatedStrips(const Rect& rect) noexcept {
        if (facts_.floorServes()) return strips<FloorRule>(rect, taps_.values.get());
#if defined(__AVX512F__)
        if (facts_.magnitude < 0x1p26) {
            const double heaviest = heaviestRow();
            if (!facts_.negative && heaviest < 0x1p23) return rowStrips<RowRule<false>>(rect);
            if (facts_.negative && heaviest < 0x1p22) return rowStrips<RowRule<true>>(rect);
            if (facts_.fractions) return converted<DirectedRule<true>>(rect, 65536.0);
            return converted<DirectedRule<false>>(rect, 65536.0);
        }
#endif
        FixedTap taps[25];
        std::transform(taps_.values.get(), taps_.values.get() + taps_.count(), taps,
                       [](float tap) { return FixedTap(tap); });
        return strips<FixedRule>(rect, taps);
    }

#if defined(__AVX512F__)
    /// The greatest sum of fixed-point products, without their signs, that a row of the kernel can give.
    double heaviestRow() const noexcept {
        double heaviest = 0;
        for (long row = 0; row < taps_.window.height; ++row) {
            double magnitude = 0;
            for (long column = 0; column < taps_.window.width; ++column) {
                magnitude += std::abs(double{taps_.row(row)[column]});
            }
            heaviest = std::max(heaviest, magnitude);
        }
        return heaviest * 255 * 65536;
    }

    template <class Rule>
    bool rowStrips(const Rect& rect) noexcept {
        float taps[25];
        std::transform(taps_.values.get(), taps_.values.get() + taps_.count(), taps,
                       [](float tap) { return tap * 65536.0F; });
        return strips<Rule>(rect, taps);
    }
#endif

    /// Strips whose weights are doubles, `scale` times the kernel's.
    template <class Rule>
    bool converted(const Rect& rect, double scale) noexcept {
        static double taps[maxStripTaps];
        std::transform(taps_.values.get(), taps_.values.get() + taps_.count(), taps,
                       [scale](float tap) { return static_cast<double>(tap) * scale; });
        return strips<Rule>(rect, taps);
    }

    template <class Rule>
    bool strips(const Rect& rect, const typename Rule::Tap* taps) noexcept {
        const SampleRows<T> rows(images_);
        return StripWalk<SampleRows<T>, Rule>(images_, rows, taps_.window, taps, doubt_).rectangle(rect);
    }

    template <class Sum>
    void inside(const Rect& rect) const noexcept {
        everyPixel<Sum>(rect, TapOrder::ascending, TapOrder::ascending);
    }

    /// The plain walk: sample positions are held inside the image. A step of a sum waits for the one before it, so that
    /// a few pixels are summed side by side; not where results may be the samples of the pixels after them.
    template <class Sum>
    void everyPixel(const Rect& rect, TapOrder::Kind rowKind, TapOrder::Kind columnKind) const noexcept {
        constexpr int together = 4;
        const long end = rect.x + static_cast<long>(rect.width);
        const bool many = static_cast<long>(rect.width) >= together && apart();
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            const long top = y + images_.source().oy - taps_.window.keyY;
            const TapOrder rows(rowKind, taps_.window.height, top, images_.height());
            for (long x = rect.x; x < end; x += many ? together : 1) {
                for (unsigned band = 0; band < images_.bands(); ++band) {
                    if (many) {
                        pixels<Sum, together>({std::min(x, end - together), y}, top, band, rows, columnKind);
                    } else {
                        pixels<Sum, 1>({x, y}, top, band, rows, columnKind);
                    }
                }
            }
        }
    }

    bool apart() const noexcept {
        return !Extent(images_.source(), sizeof(T)).overlaps(Extent(images_.destination(), sizeof(T)));
    }

    /// A band of pixels side by side.
    template <class Sum, int Count>
    void pixels(const Place& place, long top, unsigned band, const TapOrder& rows,
                TapOrder::Kind columnKind) const noexcept {
        const long left = place.x + images_.source().ox - taps_.window.keyX;
        const auto columns = [&]<int... K>(std::integer_sequence<int, K...>) {
            return std::array<TapOrder, Count>{TapOrder(columnKind, taps_.window.width, left + K, images_.width())...};
        }
        (std::make_integer_sequence<int, Count>{});
        std::array<Sum, Count> sums{};
        for (long i = 0; i < taps_.window.height; ++i) {
            const long row = rows[i];
            const T* const samples = source_.nearest(0, top + row) + band;
            const float* const taps = taps_.row(row);
            for (long j = 0; j < taps_.window.width; ++j) {
#pragma GCC unroll 4
                for (std::size_t k = 0; k < Count; ++k) {
                    const long column = columns[k][j];
                    const long from = std::clamp(left + static_cast<long>(k) + column, 0L, source_.width - 1);
                    sums[k].add(samples[from * source_.pixel], taps[column]);
                }
            }
        }
        for (std::size_t k = 0; k < Count; ++k) {
            images_.destination().template at<T>(place.x + static_cast<long>(k), place.y)[band] = sums[k].result();
        }
    }

    /// Where more sums than a few of a hundred are doubtful, nothing is gained.
    static constexpr float mostDoubt = 0x1p-7F;
    static constexpr double largest = sizeof(T) == 1 ? 255 : 32768;

    const NineRegions& images_;
    const Taps& taps_;
    Arithmetic arithmetic_;
    SumFacts facts_;
    float doubt_ = -1; ///< not known yet
    Samples<const T> source_;
};

template <class T>
OrvStatus convolve(OrvOp* op, const FilterFacts& facts) noexcept {
    NineRegions images(facts, op->getSrc1(), op->getDst());
    Taps taps;
    if (!taps.read(static_cast<OrvKernel*>(op->getObjParam(1)))) return images.failMemory();
    const long edge = op->getLongParam(2);
    if (images.fetch(dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    if (images.intersect() != ORV_SUCCESS) return ORV_FAILURE;

    Convolution<T> convolution(images, taps);
    return images.visit(taps.window, [&](Region region, const Rect& rect) {
        if (region == Region::interior) {
            convolution.interior(rect);
            return true;
        }
        return visitBorder(
            edge, rect, [&](const Rect& border) { convolution.zero(border); },
            [&](const Rect& border) { convolution.extend(region, border); });
    });
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convolve8(OrvOp* op, int) noexcept {
    return convolve<std::uint8_t>(op, {"Convolve8Memory.cc", 1, true});
}
OrvStatus OrvDeviceComputeTypeMemory::Convolve16(OrvOp* op, int) noexcept {
    return convolve<std::int16_t>(op, {"Convolve16Memory.cc", 1, true});
}
