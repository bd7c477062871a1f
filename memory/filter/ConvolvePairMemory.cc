// A five-tap row and a five-tap column in one pass, without the image between them. Each sum is rounded once, and the
// value between the two is cut to the data type as an image would.

#include "memory/filter/Taps.h"
#include "memory/filter/samples.h"
#include "memory/filter/stripRules.h"
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

/// The weights of one kernel, and whether their sums are exact in single precision.
struct Stage {
    const float* taps;
    bool exact;
    float doubt; ///< how far a sum of bytes in single precision may be from the true one, generously

    Stage(const Taps& from, double largest) noexcept : taps(from.values.get()) {
        const SumFacts facts({from.values.get(), from.count()});
        exact = facts.exactWithin(largest, 24);
        const double reach = 255 * facts.magnitude;
        doubt = reach < mostNear ? static_cast<float>((reach + 1) * 0x1p-20) : 0;
    }
    /// Whether few sums of bytes are in doubt.
    bool near() const noexcept { return doubt > 0; }

private:
    static constexpr double mostNear = 4096;
};

/// Whether some lane is below a limit, or not a number.
template <class Floats>
bool anyBelow(Floats values, float limit) noexcept {
#if defined(__AVX512F__)
    return _mm512_cmp_ps_mask((__m512)values, _mm512_set1_ps(limit), _CMP_NGE_UQ) != 0;
#elif defined(__AVX2__)
    return _mm256_movemask_ps((__m256)(values < limit)) != 0;
#elif defined(__SSE2__)
    return _mm_movemask_ps((__m128)(values < limit)) != 0;
#else
    bool any = false;
    for (std::size_t i = 0; i < sizeof(Floats) / sizeof(float); ++i) any = any || values[i] < limit;
    return any;
#endif
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
        const long most = chunkSamples / bands;
        for (long x = 0; x < static_cast<long>(rect.width); x += most) {
            const long pixels = std::min(most, static_cast<long>(rect.width) - x);
            for (long y = 0; y < static_cast<long>(rect.height); ++y) row(rect.x + x, rect.y + y, pixels, y == 0);
        }
    }

private:
    static constexpr double largest = sizeof(T) == 1 ? 255 : 32768;
    static constexpr long chunkSamples = 1024;
    static constexpr long mostBands = 64;
    static constexpr long chunkRoom = chunkSamples + (pairTaps - 1) * mostBands;

    /// A chunk of one output row. Where the outer kernel is a column, the rows between the stages are kept from one
    /// output row to the next.
    void row(long x, long y, long pixels, bool first) const noexcept {
        static T packed[pairTaps][chunkRoom];
        static T between[pairTaps][chunkRoom];
        static T results[chunkSamples];
        const long bands = images_.bands();
        const long left = x + images_.source().ox - window_.keyX;
        const long top = y + images_.source().oy - window_.keyY;
        const long wide = pixels + pairTaps - 1;
        const T* from[pairTaps];
        const auto sourceRow = [&](long i) -> const T* {
            const T* samples = source_.at(left, top + i);
            if (source_.pixel == bands) return samples;
            packRow(packed[i], samples, source_.pixel, bands, wide);
            return packed[i];
        };
        const auto columns = [&](const T* samples) {
            for (long i = 0; i < pairTaps; ++i) from[i] = samples + i * bands;
        };
        if (outerIsRow_) {
            for (long i = 0; i < pairTaps; ++i) from[i] = sourceRow(i);
            fiveTaps(between[0], from, inner_, wide * bands);
            columns(between[0]);
        } else {
            for (long i = first ? 0 : pairTaps - 1; i < pairTaps; ++i) {
                columns(sourceRow(i));
                fiveTaps(between[(top + i) % pairTaps], from, inner_, pixels * bands);
            }
            for (long i = 0; i < pairTaps; ++i) from[i] = between[(top + i) % pairTaps];
        }
        fiveTaps(results, from, outer_, pixels * bands);
        const Raster& to = images_.destination();
        unpackRow(to.at<T>(x, y), results, to.pixelOf<T>(), bands, pixels);
    }

    static void fiveTaps(T* to, const T* const* from, const Stage& stage, long samples) noexcept {
        if (stage.exact) return sumRows<FloatRule<T>>(to, from, stage.taps, samples);
        if constexpr (sizeof(T) == 1) {
            if (stage.near()) return nearRows(to, from, stage, samples);
        }
        sumRows<WholeRule<T>>(to, from, stage.taps, samples);
    }

    /// Sums of five rows of bytes in single precision. Where one is so near to the middle between two levels that it
    /// may round the other way, its vector is made anew.
    static void nearRows(T* to, const T* const* from, const Stage& stage, long samples) noexcept {
        using Vector = Lanes<float>::Vector;
        constexpr long lanesCount = Lanes<float>::count;
        constexpr float whole = 0x1.8p23F; // floats of this size have no fraction
        const float doubt = stage.doubt;
        float weights[pairTaps];
        const T* rows[pairTaps];
        std::copy_n(stage.taps, pairTaps, weights);
        std::copy_n(from, pairTaps, rows);
        const auto doubled = [&](long i, long count) {
            const T* shifted[pairTaps];
            for (long k = 0; k < pairTaps; ++k) shifted[k] = rows[k] + i;
            sumRows<WholeRule<T>>(to + i, shifted, weights, count);
        };
        long i = 0;
        for (; i + lanesCount <= samples; i += lanesCount) {
            Vector sum{};
#pragma GCC unroll 5
            for (long k = 0; k < pairTaps; ++k) {
                const auto bytes = loadSamples<Lanes<float>::Ints>(rows[k] + i);
                sum = multiplyAdd(__builtin_convertvector(bytes, Vector), Vector{} + weights[k], sum);
            }
            const Vector zero{};
            const Vector raised = sum + 0.5F;
            const Vector off = raised - ((raised + whole) - whole);
            if (anyBelow(off < zero ? -off : off, doubt)) [[unlikely]] {
                doubled(i, lanesCount);
                continue;
            }
            const Vector low = raised > zero ? raised : zero;
            storeSamples(to + i, __builtin_convertvector(low < 255.0F ? low : zero + 255.0F, Lanes<float>::Ints));
        }
        doubled(i, samples - i);
    }

    /// Sums of five rows of samples, each rounded once.
    template <class Rule>
    static void sumRows(T* to, const T* const* from, const float* taps, long samples) noexcept {
        using Vector = typename Rule::Vector;
        constexpr long lanesCount = Lanes<typename Rule::Element>::count;
        // Copies of their own: stores of bytes might change anything else.
        typename Rule::Tap weights[pairTaps];
        const T* rows[pairTaps];
        std::copy_n(taps, pairTaps, weights);
        std::copy_n(from, pairTaps, rows);
        long i = 0;
        for (; i + lanesCount <= samples; i += lanesCount) {
            Vector sum = Rule::start();
#pragma GCC unroll 5
            for (long k = 0; k < pairTaps; ++k) {
                using Ints = typename Lanes<typename Rule::Element>::Ints;
                const auto values = convertLanes<Vector>(loadSamples<Ints>(rows[k] + i));
                sum = Rule::add(sum, values, weights[k]);
            }
            storeSamples(to + i, Rule::finish(sum));
        }
        for (; i < samples; ++i) {
            WholeSum<T> sum;
            for (long k = 0; k < pairTaps; ++k) sum.add(from[k][i], taps[k]);
            to[i] = sum.result();
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
