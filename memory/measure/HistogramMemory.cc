// Counts of pixels over a grid of bins, one dimension a band.

#include <algorithm>
#include <bit>
#include <numeric>
#include <type_traits>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_rows.h"
#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orvi_new.h"
#include "memory/measure/SourceRegion.h"
#include "memory/measure/row_samples.h"
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

    /// Whether there is a bin at all.
    bool any() const noexcept { return std::find(count_.get(), count_.get() + bands_, 0U) == count_.get() + bands_; }
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
    /// Samples that lie apart.
    void addRow(const std::uint8_t* from, std::size_t samples, std::ptrdiff_t step) noexcept {
        std::byte dense[rowChunk];
        for (std::size_t done = 0; done < samples; done += rowChunk) {
            const std::size_t count = std::min<std::size_t>(rowChunk, samples - done);
            const auto* const first =
                reinterpret_cast<const std::byte*>(from + static_cast<std::ptrdiff_t>(done) * step);
            closeGaps(dense, first, step, 1, count);
            addRow(reinterpret_cast<const std::uint8_t*>(dense), count);
        }
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

/// Bands for which tables of places are made.
constexpr unsigned mostTables = 4;

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

/// A few bands of bytes: where each value of a band leads to is told by a table, and what leads beyond all counters has
/// no bin.
void countTuples(SourceRegion& source, Skips skips, const Bins& bins, std::uint32_t* counters) noexcept {
    constexpr std::uint64_t beyond = std::uint64_t{1} << 60;
    std::int32_t values[ByteCounts::values];
    std::iota(values, values + ByteCounts::values, 0);
    std::uint64_t tables[mostTables][ByteCounts::values] = {};
    for (unsigned band = 0; band < bins.bands(); ++band) {
        bins.add(band, values, tables[band], ByteCounts::values);
        std::replace(tables[band], tables[band] + ByteCounts::values, Bins::none, beyond);
    }
    const std::ptrdiff_t step = skips.x * source.raster().pixel;
    eachSampledRow(source.rects(), skips, [&](long x, long y, std::size_t samples) {
        const auto* from = source.raster().at<std::uint8_t>(x, y);
        for (std::size_t i = 0; i < samples; ++i, from += step) {
            std::uint64_t place = tables[0][from[0]];
            for (unsigned band = 1; band < bins.bands(); ++band) place += tables[band][from[band]];
            if (place < beyond) ++counters[place];
        }
    });
}

/// How many of `count` bits are set.
std::size_t setBits(BitPosition row, std::size_t count) noexcept {
    std::size_t set = 0;
    const BitSource bits(row.byte, row.offset);
    std::size_t byte = 0;
    for (; (byte + sizeof(std::uint64_t)) * 8 <= count; byte += sizeof(std::uint64_t)) {
        set += static_cast<std::size_t>(std::popcount(bits.unit<std::uint64_t>(byte)));
    }
    for (; byte * 8 < count; ++byte) {
        const auto rest = static_cast<unsigned>(std::min<std::size_t>(8, count - byte * 8));
        set += static_cast<std::size_t>(std::popcount(bits.bits(byte, rest) >> (8 - rest)));
    }
    return set;
}

/// Every pixel of one band of bits.
void countBits(SourceRegion& source, Skips skips, const Bins& bins, std::uint32_t* counters) noexcept {
    std::size_t counts[2] = {};
    eachSampledRow(source.rects(), skips, [&](long x, long y, std::size_t samples) {
        const std::size_t set = setBits(source.raster().bit(x, y, 0), samples);
        counts[0] += samples - set;
        counts[1] += set;
    });
    const std::int32_t values[2] = {0, 1};
    std::uint64_t places[2] = {};
    bins.add(0, values, places, 2);
    for (int v = 0; v < 2; ++v) {
        if (places[v] != Bins::none) counters[places[v]] += static_cast<std::uint32_t>(counts[v]);
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
    // Not every dimension has a sample, or a bin.
    if (bins.bands() > source.raster().bands || !bins.any()) return ORV_SUCCESS;
    const Skips skips{skip(op->getLongParam(2)), skip(op->getLongParam(3))};
    const auto count = bins.bands() == 1 && std::is_same_v<S, std::uint8_t>            ? countBytes
                       : bins.bands() == 1 && std::is_same_v<S, Bit> && skips.x == 1   ? countBits
                       : bins.bands() <= mostTables && std::is_same_v<S, std::uint8_t> ? countTuples
                                                                                       : countPixels<S>;
    count(source, skips, bins, result.getDataPtr());
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
