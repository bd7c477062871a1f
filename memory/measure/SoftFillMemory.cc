// Soft fill: recolours a region whose pixels are mixes of a foreground and some backgrounds, as at a soft edge. Each
// pixel that the flood meets is resolved into its weight of the foreground; where that is above a small limit, the
// foreground's share is replaced by the fill colour.

#include <algorithm>
#include <type_traits>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/measure/flood_frame.h"
#include "memory/measure/floods.h"
#include "memory/measure/row_samples.h"
#include "memory/measure/svd.h"

namespace {

using namespace orvi;

/// A weight must lie above this for its pixel to belong to the region.
constexpr float leastWeight = 0.01F;

constexpr Failure seedOutside{"di-258", 4, 1};

/// The colours of a call, and what resolves a pixel into weights of them.
class Mixture {
public:
    Mixture(OrvOp* op, unsigned bands) noexcept
        : foreground_(static_cast<const float*>(op->getPtrParam(3))),
          backgrounds_(static_cast<const float*>(op->getPtrParam(5))),
          fill_(static_cast<const float*>(op->getPtrParam(6))),
          bands_(bands),
          count_(static_cast<unsigned>(std::clamp(op->getLongParam(4), 0L, svdLimit + 1L))) {}

    /// Makes the tables; false where memory cannot be had, or where the solver's limit is passed.
    bool solve() noexcept {
        if (bands_ > svdLimit || count_ > svdLimit) return false;
        const std::size_t entries = std::size_t{bands_} * count_;
        delta_.reset(newArray<float>(bands_));
        if (!delta_) return false;
        Array<float> basis(entries);
        if (!basis) return false;
        inverse_.reset(newArray<float>(entries));
        if (!inverse_) return false;
        for (unsigned i = 0; i < bands_; ++i) delta_[i] = foreground_[i] - fill_[i];
        if (count_ == 0) return true;
        fillBasis(basis.get());
        // The basis is written background by background and read band by band. The weights below read the result in
        // the same sense, and this pairing is part of what soft fill does.
        svinvrt(static_cast<int>(bands_), static_cast<int>(count_), basis.get(), inverse_.get());
        return true;
    }

    bool resolves() const noexcept { return count_ != 0; }

    /// Adds a band's share to foreground weights that begin at 0. `samples` are the band's.
    void addShares(unsigned band, const float* samples, float* weights, unsigned pixels) const noexcept {
        const float background = lastBackground()[band];
        const double inverse = inverse_[band * count_];
        for (unsigned i = 0; i < pixels; ++i) {
            const float distance = samples[i] - background;
            weights[i] = static_cast<float>(inverse * distance + weights[i]);
        }
    }

    /// Samples whose foreground share has become the fill colour's, before they are rounded.
    template <class S>
    void recolour(unsigned band, const float* samples, const float* weights, float* results,
                  unsigned pixels) const noexcept {
        const double delta = delta_[band];
        const double foreground = foreground_[band];
        const double fill = fill_[band];
        for (unsigned i = 0; i < pixels; ++i) {
            const double share = weights[i];
            if constexpr (std::is_same_v<S, Bit>) {
                results[i] = static_cast<float>(samples[i] - share * foreground + share * fill);
            } else {
                results[i] = static_cast<float>(samples[i] - delta * share);
            }
        }
    }

private:
    const float* lastBackground() const noexcept { return backgrounds_ + std::size_t{count_ - 1} * bands_; }

    void fillBasis(float* basis) const noexcept {
        const float* const last = lastBackground();
        for (unsigned i = 0; i < bands_; ++i) basis[i] = foreground_[i] - last[i];
        for (unsigned k = 0; k + 1 < count_; ++k) {
            const std::size_t row = std::size_t{k} * bands_;
            for (unsigned i = 0; i < bands_; ++i) basis[row + bands_ + i] = backgrounds_[row + i] - last[i];
        }
    }

    const float* foreground_;
    const float* backgrounds_;
    const float* fill_;
    unsigned bands_;
    unsigned count_;
    Array<float> delta_;
    Array<float> inverse_;
};

/// Keeps a flood out of the pixels with too little of the foreground, and notes the weight of every pixel that it
/// judges.
template <class S>
class WeightBarrier final : public Barrier {
public:
    WeightBarrier(const Raster& source, const Raster& weights, const Mixture& mixture) noexcept
        : source_(source), weights_(weights), mixture_(mixture) {}

    void bits(long column, long row, unsigned pixels, std::uint8_t* to) noexcept override {
        float samples[chunkPixels];
        float shares[chunkPixels] = {};
        const long x = column - source_.ox;
        const long y = row - source_.oy;
        for (unsigned band = 0; band < source_.bands; ++band) {
            takeSamples<S>(source_, x, y, band, 1, pixels, samples);
            mixture_.addShares(band, samples, shares, pixels);
        }
        float* const noted = weights_.at<float>(column - weights_.ox, row - weights_.oy);
        const std::ptrdiff_t step = weights_.pixelOf<float>();
        std::uint8_t low[chunkPixels];
        const unsigned padded = (pixels + 7) & ~7U;
        std::fill(low + pixels, low + padded, std::uint8_t{0});
        for (unsigned i = 0; i < pixels; ++i) low[i] = shares[i] > leastWeight ? 0 : 1; // also what is no number
        for (unsigned i = 0; i < pixels; ++i) noted[i * step] = shares[i];
        lanes::gatherBits(to, low, padded / 8);
    }

private:
    const Raster& source_;
    const Raster& weights_;
    const Mixture& mixture_;
};

/// Recolours pixels of a row by their weights.
template <class S>
void recolour(const Raster& source, const Raster& destination, const Raster& weights, const Mixture& mixture, long x,
              long y, long pixels) noexcept {
    const unsigned bands = commonBands(source, destination);
    for (long done = 0; done < pixels; done += rowChunk) {
        const auto count = static_cast<unsigned>(std::min<long>(rowChunk, pixels - done));
        float shares[rowChunk];
        float samples[rowChunk];
        std::int32_t results[rowChunk];
        takeSamples<float>(weights, x + done + source.ox - weights.ox, y + source.oy - weights.oy, 0, 1, count, shares);
        for (unsigned band = 0; band < bands; ++band) {
            takeSamples<S>(source, x + done, y, band, 1, count, samples);
            mixture.recolour<S>(band, samples, shares, samples, count);
            toSamples<S>(samples, results, count);
            putSamples<S>(destination, x + done, y, band, count, results);
        }
    }
}

template <class S>
OrvStatus softFill(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (frame.open(fillFacts<S>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    const Raster& source = frame[src1];
    const Raster& destination = frame[dst];
    OrvImage* const image = source.image;

    Scratch mask;
    if (!mask.make(image, ORV_BIT)) return fail(image, noFillMemory, file);
    Scratch weights;
    if (!weights.make(image, ORV_FLOAT)) return fail(image, noFillMemory, file);
    Mixture mixture(op, source.bands);
    if (!mixture.solve()) return fail(image, noFillMemory, file);
    FrameStack<SpanFrame> stack;
    if (!stack) return fail(image, noFillMemory, file);

    WeightBarrier<S> barrier(source, weights.raster(), mixture);
    ClosedRows rows(mask.raster(), barrier, image->getWidth(), image->getHeight());
    const Seed seed = seedOf(op, source);
    if (!mixture.resolves() || !rows.isOpen(seed.column, seed.row)) {
        return fail(static_cast<OrvSystemState*>(nullptr), seedOutside, file);
    }
    floodSpans(rows, stack, seed);
    eachFlooded(frame.rects(), rows, source, [&](long x, long y, long pixels) {
        recolour<S>(source, destination, weights.raster(), mixture, x, y, pixels);
    });
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::SoftFill1(OrvOp* op, int) noexcept {
    return softFill<Bit>(op, "SoftFill1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::SoftFill8(OrvOp* op, int) noexcept {
    return softFill<std::uint8_t>(op, "SoftFill8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::SoftFill16(OrvOp* op, int) noexcept {
    return softFill<std::int16_t>(op, "SoftFill16Memory.cc");
}
