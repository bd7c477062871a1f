// Counts of pixels over a grid of bins, one dimension a band.

#include <algorithm>
#include <type_traits>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/orvi_new.h"
#include "memory/measure/SourceRegion.h"
#include "orv/device/OrvHistogram.h"

namespace {

using namespace orvi;

constexpr long noBin = -1;

/// The bins of a histogram's bands. The low and the high value lie at the centres of the first and the last bin.
class Bins {
public:
    explicit Bins(OrvHistogram& histogram) noexcept
        : bands_(histogram.getNBands()), low_(bands_), high_(bands_), count_(bands_), width_(bands_), index_(bands_) {
        if (!valid()) return;
        histogram.getLowValue(low_.get());
        histogram.getHighValue(high_.get());
        histogram.getNBins(count_.get());
        for (unsigned band = 0; band < bands_; ++band) {
            float width = high_[band] - low_[band];
            if (count_[band] != 1) width /= static_cast<float>(count_[band] - 1);
            width_[band] = width == 0.0F ? 1.0F : width;
        }
    }

    bool valid() const noexcept { return low_ && high_ && count_ && width_ && index_; }
    unsigned bands() const noexcept { return bands_; }

    /// The bin of a value. Truncation puts what lies up to one and a half widths below the low value in bin 0, on
    /// purpose, while the last bin ends half a width above the high one.
    long bin(unsigned band, int value) const noexcept {
        const double place = (static_cast<double>(static_cast<float>(value)) - low_[band]) / width_[band] + 0.5;
        const auto t = static_cast<float>(place);
        if (!(t > -1.0F && t < 0x1p62F)) return noBin;
        const long index = static_cast<long>(t);
        return index < static_cast<long>(count_[band]) ? index : noBin;
    }

    /// Where the counter of a pixel with these samples lies, or noBin.
    template <class Sample>
    long place(Sample sample) const noexcept {
        bool inside = true;
        for (unsigned band = 0; band < bands_; ++band) {
            index_[band] = bin(band, sample(band));
            inside = inside && index_[band] != noBin;
        }
        if (!inside) return noBin;
        long place = 0;
        for (unsigned band = 0; band < bands_; ++band) place = place * static_cast<long>(count_[band]) + index_[band];
        return place;
    }

private:
    unsigned bands_;
    Array<float> low_;
    Array<float> high_;
    Array<unsigned> count_;
    Array<float> width_;
    Array<long> index_;
};

/// Reads a band of a pixel given in the common space.
template <class S>
int sampleAt(const Raster& raster, long x, long y, unsigned band) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        const BitPosition place = raster.bit(x, y, band);
        return (*place.byte & bit_mask[place.offset]) != 0 ? 1 : 0;
    } else {
        return raster.at<S>(x, y)[band];
    }
}

struct Skips {
    long x;
    long y;
};

/// visit(x, y) for each pixel of the sampling grid, which starts anew at each rectangle.
template <class Visit>
void eachSampled(RectCursor& rects, Skips skips, Visit visit) noexcept {
    for (Rect rect{}; rects.next(rect);) {
        for (long row = 0; row < static_cast<long>(rect.height); row += skips.y) {
            for (long column = 0; column < static_cast<long>(rect.width); column += skips.x) {
                visit(rect.x + column, rect.y + row);
            }
        }
    }
}

/// One band of bytes: counts the values first, each then goes to its bin at once. Four tables keep equal neighbours
/// from waiting for one another.
void countBytes(SourceRegion& source, Skips skips, const Bins& bins, std::uint32_t* counters) noexcept {
    constexpr unsigned values = 256;
    std::uint32_t counts[4][values] = {};
    const Raster& raster = source.raster();
    const std::ptrdiff_t step = skips.x * raster.pixel;
    for (Rect rect{}; source.rects().next(rect);) {
        const std::size_t samples =
            (rect.width + static_cast<std::size_t>(skips.x) - 1) / static_cast<std::size_t>(skips.x);
        for (long row = 0; row < static_cast<long>(rect.height); row += skips.y) {
            const std::uint8_t* const from = raster.at<std::uint8_t>(rect.x, rect.y + row);
            std::size_t i = 0;
            const auto value = [&](std::size_t at) { return from[static_cast<std::ptrdiff_t>(at) * step]; };
            for (; i + 4 <= samples; i += 4) {
                ++counts[0][value(i)];
                ++counts[1][value(i + 1)];
                ++counts[2][value(i + 2)];
                ++counts[3][value(i + 3)];
            }
            for (; i < samples; ++i) ++counts[0][value(i)];
        }
    }
    for (unsigned v = 0; v < values; ++v) {
        const long place = bins.bin(0, static_cast<int>(v));
        if (place != noBin) counters[place] += counts[0][v] + counts[1][v] + counts[2][v] + counts[3][v];
    }
}

template <class S>
void countPixels(SourceRegion& source, Skips skips, const Bins& bins, std::uint32_t* counters) noexcept {
    const Raster& raster = source.raster();
    eachSampled(source.rects(), skips, [&](long x, long y) {
        const long place = bins.place([&](unsigned band) { return sampleAt<S>(raster, x, y, band); });
        if (place != noBin) ++counters[place];
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
