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
        std::size_t done = 0;
        switch (bands_) {
        case 1:
            done = vectors<1>(samples, pixels);
            break;
        case 2:
            done = vectors<2>(samples, pixels);
            break;
        case 3:
            done = vectors<3>(samples, pixels);
            break;
        case 4:
            done = vectors<4>(samples, pixels);
            break;
        default:
            break;
        }
        for (; done < pixels; ++done) {
            for (unsigned band = 0; band < bands_; ++band) note(band, samples[done * bands_ + band]);
        }
    }

private:
    void note(unsigned band, T value) noexcept {
        largest_[band] = std::max(largest_[band], value);
        smallest_[band] = std::min(smallest_[band], value);
    }

    /// Notes groups of a vector a band: sample i of a group belongs to band i % Bands. Answers the pixels done.
    template <unsigned Bands>
    std::size_t vectors(const T* samples, std::size_t pixels) noexcept {
        using V = lanes::Vec<T>;
        constexpr std::size_t lane = lanes::count<T>;
        if (pixels < lane) return 0;
        V largest[Bands];
        V smallest[Bands];
        for (unsigned i = 0; i < Bands; ++i) largest[i] = smallest[i] = lanes::load<V>(samples + i * lane);
        std::size_t done = lane;
        for (; done + lane <= pixels; done += lane) {
            for (unsigned i = 0; i < Bands; ++i) {
                const V values = lanes::load<V>(samples + done * Bands + i * lane);
                largest[i] = lanes::larger<V>(largest[i], values);
                smallest[i] = lanes::smaller<V>(smallest[i], values);
            }
        }
        for (std::size_t i = 0; i < lane * Bands; ++i) {
            note(static_cast<unsigned>(i % Bands), largest[i / lane][i % lane]);
            note(static_cast<unsigned>(i % Bands), smallest[i / lane][i % lane]);
        }
        return done;
    }

    T* largest_;
    T* smallest_;
    unsigned bands_;
    bool seeded_ = false;
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
