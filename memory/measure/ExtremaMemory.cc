// The largest and the smallest sample of each band.

#include <algorithm>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/walk.h"
#include "memory/measure/SourceRegion.h"

namespace {

using namespace orvi;

/// The extremes of each band so far, in the image's own samples. The first pixel met seeds them.
template <class T>
class Extremes {
public:
    Extremes(T* largest, T* smallest, unsigned bands) noexcept
        : largest_(largest), smallest_(smallest), bands_(bands) {}

    bool seeded() const noexcept { return seeded_; }

    void operator()(const T* samples, std::size_t pixels) noexcept {
        if (!seeded_) {
            std::copy_n(samples, bands_, largest_);
            std::copy_n(samples, bands_, smallest_);
            seeded_ = true;
        }
        if (pixels >= lane && bands_ <= maxBands) {
            vectors(samples, pixels);
            return;
        }
        for (std::size_t i = 0; i < pixels; ++i) {
            for (unsigned band = 0; band < bands_; ++band) note(band, samples[i * bands_ + band]);
        }
    }

    /// Brings what the vectors hold to the bands.
    void finish() noexcept {
        for (std::size_t i = 0; i < noted_; ++i) {
            note(static_cast<unsigned>(i % bands_), wideLargest_[i]);
            note(static_cast<unsigned>(i % bands_), wideSmallest_[i]);
        }
    }

private:
    using V = lanes::Vec<T>;
    static constexpr std::size_t lane = lanes::count<T>;
    static constexpr unsigned maxBands = 4;

    void note(unsigned band, T value) noexcept {
        largest_[band] = std::max(largest_[band], value);
        smallest_[band] = std::min(smallest_[band], value);
    }

    void vectors(const T* samples, std::size_t pixels) noexcept {
        if (noted_ == 0) {
            noted_ = lane * bands_;
            std::copy_n(samples, noted_, wideLargest_);
            std::copy_n(samples, noted_, wideSmallest_);
        }
        switch (bands_) {
        case 1:
            return vectorsOf<1>(samples, pixels);
        case 2:
            return vectorsOf<2>(samples, pixels);
        case 3:
            return vectorsOf<3>(samples, pixels);
        default:
            return vectorsOf<4>(samples, pixels);
        }
    }

    /// Notes groups of a vector a band: sample i of a group belongs to band i % Bands. The last group may hold pixels
    /// of the one before.
    template <unsigned Bands>
    void vectorsOf(const T* samples, std::size_t pixels) noexcept {
        V largest[Bands];
        V smallest[Bands];
        for (unsigned i = 0; i < Bands; ++i) {
            largest[i] = lanes::load<V>(wideLargest_ + i * lane);
            smallest[i] = lanes::load<V>(wideSmallest_ + i * lane);
        }
        const auto group = [&](std::size_t pixel) {
            for (unsigned i = 0; i < Bands; ++i) {
                const V values = lanes::load<V>(samples + pixel * Bands + i * lane);
                largest[i] = lanes::larger<V>(largest[i], values);
                smallest[i] = lanes::smaller<V>(smallest[i], values);
            }
        };
        for (std::size_t done = 0; done + lane <= pixels; done += lane) group(done);
        group(pixels - lane);
        for (unsigned i = 0; i < Bands; ++i) {
            lanes::store(wideLargest_ + i * lane, largest[i]);
            lanes::store(wideSmallest_ + i * lane, smallest[i]);
        }
    }

    T* largest_;
    T* smallest_;
    unsigned bands_;
    bool seeded_ = false;
    std::size_t noted_ = 0; ///< samples that the vectors hold
    T wideLargest_[maxBands * lane];
    T wideSmallest_[maxBands * lane];
};

template <class T>
void store(void* parameter, const T* values, unsigned bands) noexcept {
    if (parameter == nullptr) return;
    std::transform(values, values + bands, static_cast<float*>(parameter),
                   [](T value) { return static_cast<float>(value); });
}

template <class S>
OrvStatus extrema(OrvOp* op, const char* file) noexcept {
    using T = SampleOf<S>;
    const RegionFacts facts{file, {"di-9", 1, 0}, {"di-6", 1, 0}, {"di-8", 1, 0}};
    SourceRegion source(op, facts);
    if (source.open(dataTypeOf<S>) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = source.raster().bands;
    const Array<T> largest(bands);
    if (!largest) return source.report(noMemory);
    const Array<T> smallest(bands);
    if (!smallest) return source.report(noMemory);
    Extremes<T> extremes(largest.get(), smallest.get(), bands);
    walkReadRuns<S>(source.rects(), extremes, source.raster());
    extremes.finish();
    if (!extremes.seeded()) return ORV_SUCCESS; // an empty region has no extremes
    store(op->getPtrParam(1), largest.get(), bands);
    store(op->getPtrParam(2), smallest.get(), bands);
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Extrema1(OrvOp* op, int) noexcept {
    return extrema<Bit>(op, "Extrema1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Extrema8(OrvOp* op, int) noexcept {
    return extrema<std::uint8_t>(op, "Extrema8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Extrema16(OrvOp* op, int) noexcept {
    return extrema<std::int16_t>(op, "Extrema16Memory.cc");
}
