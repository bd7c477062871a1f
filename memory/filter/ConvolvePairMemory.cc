// A five-tap row and a five-tap column in one pass, without the image between them. Each sum is rounded once, and the
// value between the two is cut to the data type as an image would.

#include "memory/filter/Taps.h"
#include "memory/filter/samples.h"
#include "memory/filter/short_sums.h"
#include "memory/filter/strip_rules.h"
#include "memory/filter/sums.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"

namespace {

using namespace orvi;

constexpr long pairTaps = 5;

bool isRow(OrvKernel* kernel) noexcept { return kernel->getWidth() == pairTaps && kernel->getHeight() == 1; }
bool isColumn(OrvKernel* kernel) noexcept { return kernel->getWidth() == 1 && kernel->getHeight() == pairTaps; }
OrvKernel* kernelOf(OrvOp* op) noexcept { return static_cast<OrvKernel*>(op->getObjParam(1)); }

/// The edge condition must be zero-fill and the kernel a row or a column, as told.
bool accepts(OrvOp* op, bool row) noexcept {
    return op->getLongParam(2) == zeroEdge && (row ? isRow(kernelOf(op)) : isColumn(kernelOf(op)));
}

/// The weights of one kernel, and how its sums may be had.
struct Stage {
    const float* taps;
    ShortSums shorts; ///< of shorts in fixed point
    bool exact;       ///< in single precision
    bool bounded;     ///< sums of bytes round to bytes
    int bits = 0;     ///< of the fraction that sums of bytes are good to in single precision; 0: too few to be of use
    float half;       ///< one half, and the doubt on top, in units of the fraction
    float scaled[pairTaps] = {}; ///< the weights in the same units

    Stage(const Taps& from, double largest) noexcept : taps(from.values.get()), shorts(taps) {
        const SumFacts facts({from.values.get(), from.count()});
        exact = facts.exactWithin(largest, 24);
        bounded = !facts.negative && facts.magnitude < 1.001;
        // Each of five sums below 2^22, one half and the doubt among them, is rounded by an eighth of a unit at most,
        // and the whole is truncated.
        int exponent = 0;
        std::frexp(255 * facts.magnitude + 0.75, &exponent);
        if (std::isfinite(facts.magnitude) && exponent <= 22 - leastBits) bits = 22 - exponent;
        half = std::ldexp(0.5F, bits) + doubt;
        for (long i = 0; i < pairTaps; ++i) scaled[i] = std::ldexp(taps[i], bits);
    }

    /// Whether fixed point comes near to sums of shorts; those that are exact in single precision may often lie in the
    /// middle between two.
    bool inShorts() const noexcept { return !exact && shorts.serves(); }

    /// The bits of a fraction of which none is set where a sum, the doubt added to it, may round either way.
    std::int32_t certain() const noexcept { return (1 << bits) - 2 * doubt; }

private:
    static constexpr int leastBits = 10;
    static constexpr int doubt = 2;
};

/// Whether some lane of either vector has none of the bits of a mask.
template <class Ints>
bool someWithout(Ints first, Ints second, std::int32_t mask) noexcept {
#if defined(__AVX512F__)
    const __m512i bits = _mm512_set1_epi32(mask);
    return _mm512_kortestz(_mm512_testn_epi32_mask((__m512i)first, bits),
                           _mm512_testn_epi32_mask((__m512i)second, bits)) == 0;
#elif defined(__AVX2__)
    return _mm256_movemask_ps((__m256)(((first & mask) == 0) | ((second & mask) == 0))) != 0;
#elif defined(__SSE2__)
    return _mm_movemask_ps((__m128)(((first & mask) == 0) | ((second & mask) == 0))) != 0;
#else
    return lanes::any(((first & mask) == 0) | ((second & mask) == 0));
#endif
}

/// Stores results of sums of `Element` as samples, or as the floats that the second stage reads.
template <class Element, class To>
void put(To* to, typename Lanes<Element>::Ints values) noexcept {
    if constexpr (std::is_same_v<To, float>) {
        using Floats = typename Lanes<Element>::Floats;
        lanes::store<Floats>(to, __builtin_convertvector(values, Floats));
    } else {
        storeSamples(to, values);
    }
}

template <class T>
class Pair {
public:
    Pair(const NineRegions& images, const Window& window, const Taps& inner, const Taps& outer,
         bool outerIsRow) noexcept
        : images_(images),
          window_(window),
          inner_(inner, largest),
          outer_(outer, largest),
          outerIsRow_(outerIsRow),
          source_(images.source(), images.width(), images.height()) {}

    void interior(const Rect& rect) const noexcept {
        const long bands = images_.bands();
        if (!images_.fits(window_) || bands > mostBands) return everyPixel(rect);
        if constexpr (sizeof(T) == 2) {
            if (inner_.inShorts() && outer_.inShorts()) return strips<T>(rect);
        }
        strips<float>(rect);
    }

private:
    static constexpr double largest = sizeof(T) == 1 ? 255 : 32768;
    static constexpr long mostBands = 64;
    /// Samples of a strip whose rows stay in the first cache.
    template <class Between>
    static constexpr long chunkSamples = 4096 / static_cast<long>(sizeof(Between));
    /// Vectors are made whole beyond the last sample of a row.
    template <class Between>
    static constexpr long chunkRoom = chunkSamples<Between> + (pairTaps - 1) * mostBands +
                                      4 * static_cast<long>(Lanes<float>::count);

    template <class Between>
    void strips(const Rect& rect) const noexcept {
        const long most = chunkSamples<Between> / static_cast<long>(images_.bands());
        for (long x = 0; x < static_cast<long>(rect.width); x += most) {
            const long pixels = std::min(most, static_cast<long>(rect.width) - x);
            strip<Between>({rect.x + x, rect.y, static_cast<unsigned>(pixels), rect.height});
        }
    }

    /// Five rows are kept: of the source where the inner kernel is a column, else of what lies between the stages.
    template <class Between>
    void strip(const Rect& rect) const noexcept {
        alignas(64) static Between kept[pairTaps][chunkRoom<Between>];
        alignas(64) static Between line[chunkRoom<Between>];
        alignas(64) static T results[chunkRoom<Between>];
        const long bands = images_.bands();
        const long left = rect.x + images_.source().ox - window_.keyX;
        const long top = rect.y + images_.source().oy - window_.keyY;
        const long samples = static_cast<long>(rect.width) * bands;
        const long wide = static_cast<long>(rect.width) + pairTaps - 1;
        const Between* columns[pairTaps];
        for (long i = 0; i < pairTaps; ++i) columns[i] = line + i * bands;
        const long sourceRows = static_cast<long>(rect.height) + pairTaps - 1;
        const Raster& to = images_.destination();
        const auto sourceRow = [&](long row) { return source_.at(left, top + std::min(row, sourceRows - 1)); };
        const auto resultRow = [&](long row) {
            return to.at<T>(rect.x, rect.y + std::clamp(row - pairTaps + 1, 0L, static_cast<long>(rect.height) - 1));
        };
        const auto pack = [&](long row) {
            if (row >= sourceRows) return;
            packRow(outerIsRow_ ? kept[row % pairTaps] : line, sourceRow(row), source_.pixel, bands, wide);
        };
        pack(0);
        for (long i = 0; i < sourceRows; ++i) {
            if (!outerIsRow_) fiveTaps<read>(kept[i % pairTaps], columns, inner_, samples, sourceRow(i + 1));
            if (i < pairTaps - 1) {
                pack(i + 1);
                continue;
            }
            const Between* rows[pairTaps];
            for (long k = 0; k < pairTaps; ++k) rows[k] = kept[(i + 1 + k) % pairTaps];
            if (outerIsRow_) fiveTaps<read>(line, rows, inner_, wide * bands, sourceRow(i + 1));
            fiveTaps<written>(results, outerIsRow_ ? columns : rows, outer_, samples, resultRow(i));
            // Before this row is written: where rows lie 4096 bytes apart, what is read would wait for what is written.
            pack(i + 1);
            unpackRow(resultRow(i), results, to.pixelOf<T>(), bands, static_cast<long>(rect.width));
        }
    }

    static constexpr int read = 0;
    static constexpr int written = 1;

    /// Sums of five rows, in whole vectors. Meanwhile as many samples of the images are brought near as are read or
    /// written next.
    template <int Next>
    static void fiveTaps(std::int16_t* to, const std::int16_t* const* from, const Stage& stage, long samples,
                         const T* next) noexcept {
        stage.shorts.sum<Next>(to, from, samples, next);
    }
    /// The same, to floats or samples, from floats.
    template <int Next, class To>
    static void fiveTaps(To* to, const float* const* from, const Stage& stage, long samples, const T* next) noexcept {
        constexpr long line = 64 / static_cast<long>(sizeof(T));
        for (long i = 0; i < samples; i += line) __builtin_prefetch(next + i, Next);
        if (stage.exact) return sumRows<FloatRule<T>>(to, from, stage.taps, samples);
        if constexpr (sizeof(T) == 1) {
            if (stage.bits > 0 && stage.bounded) return nearRows<true>(to, from, stage, samples);
            if (stage.bits > 0) return nearRows<false>(to, from, stage, samples);
        }
        sumRows<WholeRule<T>>(to, from, stage.taps, samples);
    }

    /// Sums of bytes in single precision. Where one is so near to the middle between two levels that it may round the
    /// other way, it is made anew with its neighbours.
    template <bool Bounded, class To>
    static void nearRows(To* to, const float* const* from, const Stage& stage, long samples) noexcept {
        using Vector = Lanes<float>::Vector;
        using Ints = Lanes<float>::Ints;
        constexpr long lanesCount = Lanes<float>::count;
        constexpr int together = 2;
        const Stage own = stage; // stores of bytes might change anything else
        const float* rows[pairTaps];
        std::copy_n(from, pairTaps, rows);
        for (long i = 0; i < samples; i += together * lanesCount) {
            Ints sums[together];
#pragma GCC unroll 2
            for (int v = 0; v < together; ++v) {
                Vector sum = Vector{} + own.half;
#pragma GCC unroll 5
                for (long k = 0; k < pairTaps; ++k) {
                    const Vector values = lanes::load<Vector>(rows[k] + i + v * lanesCount);
                    sum = multiplyAdd(values, Vector{} + own.scaled[k], sum);
                }
                sums[v] = __builtin_convertvector(sum, Ints);
            }
            if (someWithout(sums[0], sums[1], own.certain())) [[unlikely]] {
                const float* shifted[pairTaps];
                for (long k = 0; k < pairTaps; ++k) shifted[k] = rows[k] + i;
                sumRows<WholeRule<T>>(to + i, shifted, own.taps, together * lanesCount);
                continue;
            }
#pragma GCC unroll 2
            for (int v = 0; v < together; ++v) {
                Ints level = sums[v] >> own.bits;
                if constexpr (!Bounded) {
                    level = level > 0 ? level : Ints{};
                    level = level < 255 ? level : Ints{} + 255;
                }
                put<float>(to + i + v * lanesCount, level);
            }
        }
    }

    /// Sums of five rows of samples, each rounded once.
    template <class Rule, class To>
    static void sumRows(To* to, const float* const* from, const float* taps, long samples) noexcept {
        using Vector = typename Rule::Vector;
        using Floats = typename Lanes<typename Rule::Element>::Floats;
        constexpr long lanesCount = Lanes<typename Rule::Element>::count;
        typename Rule::Tap weights[pairTaps];
        const float* rows[pairTaps];
        std::copy_n(taps, pairTaps, weights);
        std::copy_n(from, pairTaps, rows);
        for (long i = 0; i < samples; i += lanesCount) {
            Vector sum = Rule::start();
#pragma GCC unroll 5
            for (long k = 0; k < pairTaps; ++k) {
                sum = Rule::add(sum, convertLanes<Vector>(lanes::load<Floats>(rows[k] + i)), weights[k]);
            }
            put<typename Rule::Element>(to + i, Rule::finish(sum));
        }
    }

    /// The plain walk: sample positions are held inside the image.
    void everyPixel(const Rect& rect) const noexcept {
        for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
            const long top = y + images_.source().oy - window_.keyY;
            for (long x = rect.x; x < rect.x + static_cast<long>(rect.width); ++x) {
                const long left = x + images_.source().ox - window_.keyX;
                T* pixel = images_.destination().at<T>(x, y);
                for (unsigned band = 0; band < images_.bands(); ++band) pixel[band] = evaluate(left, top, band);
            }
        }
    }

    T evaluate(long left, long top, unsigned band) const noexcept {
        WholeSum<T> sum;
        for (long i = 0; i < pairTaps; ++i) {
            WholeSum<T> between;
            for (long j = 0; j < pairTaps; ++j) {
                const long column = outerIsRow_ ? i : j;
                const long row = outerIsRow_ ? j : i;
                between.add(source_.nearest(left + column, top + row)[band], inner_.taps[j]);
            }
            sum.add(between.result(), outer_.taps[i]);
        }
        return sum.result();
    }

    const NineRegions& images_;
    Window window_;
    Stage inner_;
    Stage outer_;
    bool outerIsRow_;
    Samples<const T> source_;
};

template <class T>
OrvStatus convolveTwice(OrvOp* outerOp, const char* file) noexcept {
    // What does not fit is declined without a report: the two convolutions are then run one by one.
    const bool outerIsRow = isRow(kernelOf(outerOp));
    if (!accepts(outerOp, outerIsRow)) return ORV_FAILURE;
    OrvOp* innerOp = outerOp->getOp1();
    if (!accepts(innerOp, !outerIsRow)) return ORV_FAILURE;

    NineRegions images({file, 1, true}, innerOp->getSrc1(), outerOp->getDst());
    Taps outer;
    if (!outer.read(kernelOf(outerOp))) return images.failMemory();
    Taps inner;
    if (!inner.read(kernelOf(innerOp))) return images.failMemory();
    if (images.fetch(dataTypeOf<T>) != ORV_SUCCESS) return ORV_FAILURE;
    if (images.intersect() != ORV_SUCCESS) return ORV_FAILURE;

    const Window& row = outerIsRow ? outer.window : inner.window;
    const Window& column = outerIsRow ? inner.window : outer.window;
    const Window window{pairTaps, pairTaps, row.keyX, column.keyY};
    const Pair<T> pair(images, window, inner, outer, outerIsRow);
    return images.visit(window, [&](Region region, const Rect& rect) {
        if (region == Region::interior) {
            pair.interior(rect);
        } else {
            zeroRectangle<T>(images.destination(), images.bands(), rect);
        }
        return true;
    });
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convolve8Convolve8(OrvOp* op, int) noexcept {
    return convolveTwice<std::uint8_t>(op, "Convolve8Convolve8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::Convolve16Convolve16(OrvOp* op, int) noexcept {
    return convolveTwice<std::int16_t>(op, "Convolve16Convolve16Memory.cc");
}
