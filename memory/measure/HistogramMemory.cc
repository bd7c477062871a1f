// Counts of pixels over a grid of bins, one dimension a band.

#include <algorithm>
#include <numeric>
#include <type_traits>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/orvi_new.h"
#include "memory/measure/SourceRegion.h"
#include "orv/device/OrvHistogram.h"

namespace {

using namespace orvi;

/// The bins of a histogram's bands. The low and the high value lie at the centres of the first and the last bin.
class Bins {
public:
    static constexpr std::uint64_t none = ~std::uint64_t{0};

    explicit Bins(OrvHistogram& histogram) noexcept
        : bands_(histogram.getNBands()), low_(bands_), high_(bands_), count_(bands_), width_(bands_), stride_(bands_) {
        if (!valid()) return;
        histogram.getLowValue(low_.get());
        histogram.getHighValue(high_.get());
        histogram.getNBins(count_.get());
        for (unsigned band = 0; band < bands_; ++band) {
            float width = high_[band] - low_[band];
            if (count_[band] != 1) width = static_cast<float>(double{width} / (count_[band] - 1));
            width_[band] = width == 0.0F ? 1.0F : width;
        }
        std::uint64_t stride = 1; // the last band varies fastest
        for (unsigned band = bands_; band-- > 0; stride *= count_[band]) stride_[band] = stride;
    }

    bool valid() const noexcept { return low_ && high_ && count_ && width_ && stride_; }
    unsigned bands() const noexcept { return bands_; }

    /// Adds the bins of a band's values to their pixels' places in the counters; a value without a bin makes it none.
    /// Truncation puts what lies up to one and a half widths below the low value in bin 0, on purpose, while the last
    /// bin ends half a width above the high one.
    void add(unsigned band, const std::int32_t* values, std::uint64_t* places, unsigned pixels) const noexcept {
        const double low = low_[band];
        const double width = width_[band];
        const double end = count_[band];
        const std::uint64_t stride = stride_[band];
        for (unsigned i = 0; i < pixels; ++i) {
            const double place = (static_cast<double>(values[i]) - low) / width + 0.5;
            const double t = static_cast<float>(place);
            const bool inside = t > -1.0 && t < end && places[i] != none;
            const auto bin = static_cast<std::uint64_t>(static_cast<std::int64_t>(inside ? t : 0.0));
            places[i] = inside ? places[i] + bin * stride : none;
        }
    }

private:
    unsigned bands_;
    Array<float> low_;
    Array<float> high_;
    Array<unsigned> count_;
    Array<float> width_;
    Array<std::uint64_t> stride_;
};

struct Skips {
    long x;
    long y;

    /// Pixels sampled of a row.
    std::size_t sampled(unsigned width) const noexcept {
        return (width + static_cast<std::size_t>(x) - 1) / static_cast<std::size_t>(x);
    }
};

/// visit(long x, long y, std::size_t samples) for each row sampled: its first pixel, and how many of it are. The
/// sampling grid starts anew at each rectangle.
template <class Visit>
void eachSampledRow(RectCursor& rects, Skips skips, Visit visit) noexcept {
    for (Rect rect{}; rects.next(rect);) {
        for (long row = 0; row < static_cast<long>(rect.height); row += skips.y) {
            visit(rect.x, rect.y + row, skips.sampled(rect.width));
        }
    }
}

/// How often each byte occurs. Neighbours count in tables of their own, so that equal ones need not wait for one
/// another, and no two tables lie a page apart: a load that looks like a store before it would wait too.
class ByteCounts {
public:
    static constexpr unsigned values = 256;

    void addRow(const std::uint8_t* from, std::size_t samples) noexcept {
        constexpr std::size_t wordBytes = sizeof(std::uint64_t);
        constexpr std::size_t words = 4;
        std::size_t i = 0;
        for (; i + words * wordBytes <= samples; i += words * wordBytes) {
            std::uint64_t word[words];
            for (std::size_t w = 0; w < words; ++w) word[w] = lanes::load<std::uint64_t>(from + i + w * wordBytes);
            for (unsigned byte = 0; byte < wordBytes; ++byte) {
                for (unsigned w = 0; w < words; ++w) {
                    ++counts_[(byte * words + w) % tables][(word[w] >> (8 * byte)) & 0xff];
                }
            }
        }
        for (; i < samples; ++i) ++counts_[0][from[i]];
    }
    void addRow(const std::uint8_t* from, std::size_t samples, std::ptrdiff_t step) noexcept {
        for (std::size_t i = 0; i < samples; ++i, from += step) ++counts_[i % tables][*from];
    }

    std::uint32_t of(unsigned value) const noexcept {
        std::uint32_t sum = 0;
        for (const auto& table : counts_) sum += table[value];
        return sum;
    }

private:
    static constexpr unsigned tables = 8;
    static constexpr unsigned lineEntries = 16;

    std::uint32_t counts_[tables][values + lineEntries] = {};
};

/// One band of bytes: counts the values first, each then goes to its bin at once.
void countBytes(SourceRegion& source, Skips skips, const Bins& bins, std::uint32_t* counters) noexcept {
    ByteCounts counts;
    const Raster& raster = source.raster();
    const std::ptrdiff_t step = skips.x * raster.pixel;
    eachSampledRow(source.rects(), skips, [&](long x, long y, std::size_t samples) {
        const auto* const from = raster.at<std::uint8_t>(x, y);
        if (step == 1) {
            counts.addRow(from, samples);
        } else {
            counts.addRow(from, samples, step);
        }
    });
    std::int32_t values[ByteCounts::values];
    std::uint64_t places[ByteCounts::values] = {};
    std::iota(values, values + ByteCounts::values, 0);
    bins.add(0, values, places, ByteCounts::values);
    for (unsigned v = 0; v < ByteCounts::values; ++v) {
        if (places[v] != Bins::none) counters[places[v]] += counts.of(v);
    }
}

/// The samples of a band at pixels of a row, `step` pixels apart.
template <class S>
void takeSamples(const Raster& raster, long x, long y, unsigned band, long step, unsigned pixels,
                 std::int32_t* values) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        const BitPosition row = raster.bit(x, y, band);
        for (unsigned i = 0; i < pixels; ++i) {
            const std::size_t bit = row.offset + i * static_cast<std::size_t>(step);
            values[i] = (row.byte[bit >> 3] & bit_mask[bit & 7]) != 0 ? 1 : 0;
        }
    } else {
        const S* from = raster.at<S>(x, y) + band;
        const std::ptrdiff_t samples = step * raster.pixelOf<S>();
        for (unsigned i = 0; i < pixels; ++i) values[i] = from[i * samples];
    }
}

template <class S>
void countPixels(SourceRegion& source, Skips skips, const Bins& bins, std::uint32_t* counters) noexcept {
    constexpr std::size_t chunk = 256;
    eachSampledRow(source.rects(), skips, [&](long x, long y, std::size_t samples) {
        for (std::size_t done = 0; done < samples; done += chunk) {
            const auto pixels = static_cast<unsigned>(std::min(chunk, samples - done));
            std::uint64_t places[chunk] = {};
            std::int32_t values[chunk];
            for (unsigned band = 0; band < bins.bands(); ++band) {
                takeSamples<S>(source.raster(), x + static_cast<long>(done) * skips.x, y, band, skips.x, pixels,
                               values);
                bins.add(band, values, places, pixels);
            }
            for (unsigned i = 0; i < pixels; ++i) {
                if (places[i] != Bins::none) ++counters[places[i]];
            }
        }
    });
}

/// A skip below 1 would never advance: it counts as 1. One beyond every image is as good as the largest size.
long skip(long parameter) noexcept { return std::clamp(parameter, 1L, 0xffffffffL); }

template <class S>
OrvStatus histogram(OrvOp* op, const char* file) noexcept {
    const RegionFacts facts{file, {"di-9", 1, 0}, {"di-6", 6, 0}, {"di-8", 6, 0}};
    SourceRegion source(op, facts);
    auto& result = *static_cast<OrvHistogram*>(op->getObjParam(1));
    const Bins bins(result);
    if (!bins.valid()) return source.report(noMemory);
    if (source.open(dataTypeOf<S>) != ORV_SUCCESS) return ORV_FAILURE;
    if (bins.bands() > source.raster().bands) return ORV_SUCCESS; // no pixel has a sample for each dimension
    const Skips skips{skip(op->getLongParam(2)), skip(op->getLongParam(3))};
    if (std::is_same_v<S, std::uint8_t> && bins.bands() == 1) {
        countBytes(source, skips, bins, result.getDataPtr());
    } else {
        countPixels<S>(source, skips, bins, result.getDataPtr());
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Histogram1(OrvOp* op, int) noexcept {
    return histogram<Bit>(op, "Histogram1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Histogram8(OrvOp* op, int) noexcept {
    return histogram<std::uint8_t>(op, "Histogram8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Histogram16(OrvOp* op, int) noexcept {
    return histogram<std::int16_t>(op, "Histogram16Memory.cc");
}
