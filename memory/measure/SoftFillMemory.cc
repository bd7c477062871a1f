// Soft fill: recolours a region whose pixels are mixes of a foreground and some backgrounds, as at a soft edge. Each
// pixel that the flood meets is resolved into its weight of the foreground; where that is above a small limit, the
// foreground's share is replaced by the fill colour.

#include <algorithm>
#include <type_traits>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/walk.h"
#include "memory/measure/floodFrame.h"
#include "memory/measure/floods.h"
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

    /// Adds a band's share to a foreground weight; the first band begins it.
    float weight(unsigned band, int sample, float weight) const noexcept {
        const float distance = static_cast<float>(sample) - lastBackground()[band];
        return static_cast<float>(static_cast<double>(inverse_[band * count_]) * distance + weight);
    }

    /// A sample whose foreground share has become the fill colour's.
    template <class T>
    T recoloured(T sample, unsigned band, float weight) const noexcept {
        return roundTo<T>(static_cast<float>(sample - static_cast<double>(delta_[band]) * weight));
    }
    bool recolouredBit(int bit, unsigned band, float weight) const noexcept {
        const double share = weight;
        return toBit(static_cast<float>(bit - share * foreground_[band] + share * fill_[band]));
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

template <class S>
int sampleOf(const Raster& image, long x, long y, unsigned band) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        const BitPosition place = image.bit(x, y, band);
        return (*place.byte & bit_mask[place.offset]) != 0 ? 1 : 0;
    } else {
        return image.at<S>(x, y)[band];
    }
}

/// Keeps a flood out of the pixels with too little of the foreground, and notes the weight of every pixel that it
/// judges.
template <class S>
class WeightBarrier final : public Barrier {
public:
    WeightBarrier(const Raster& source, const Raster& weights, const Mixture& mixture) noexcept
        : source_(source), weights_(weights), mixture_(mixture) {}

    float& weight(long column, long row) const noexcept {
        return *weights_.at<float>(column - weights_.ox, row - weights_.oy);
    }

    void bits(long column, long row, unsigned pixels, std::uint8_t* to) noexcept override {
        std::uint8_t low[chunkPixels];
        const unsigned padded = (pixels + 7) & ~7U;
        std::fill(low + pixels, low + padded, std::uint8_t{0});
        for (unsigned i = 0; i < pixels; ++i) {
            const float share = resolve(column + i - source_.ox, row - source_.oy);
            weight(column + i, row) = share;
            low[i] = share > leastWeight ? 0 : 1; // what is no number is not above the limit
        }
        lanes::gatherBits(to, low, padded / 8);
    }

private:
    float resolve(long x, long y) const noexcept {
        float share = 0.0F;
        for (unsigned band = 0; band < source_.bands; ++band) {
            share = mixture_.weight(band, sampleOf<S>(source_, x, y, band), share);
        }
        return share;
    }

    const Raster& source_;
    const Raster& weights_;
    const Mixture& mixture_;
};

template <class S>
void recolour(const Raster& source, const Raster& destination, const Mixture& mixture, long x, long y,
              float weight) noexcept {
    const unsigned bands = commonBands(source, destination);
    for (unsigned band = 0; band < bands; ++band) {
        if constexpr (std::is_same_v<S, Bit>) {
            const BitPosition to = destination.bit(x, y, band);
            const bool set = mixture.recolouredBit(sampleOf<Bit>(source, x, y, band), band, weight);
            orv_bit_setvalue(to.byte, set, 1, to.offset);
        } else {
            destination.at<S>(x, y)[band] = mixture.recoloured(source.at<S>(x, y)[band], band, weight);
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
    rows.keepFlooded();
    eachFlooded(frame.rects(), rows, source, [&](long x, long y, long pixels) {
        for (long i = 0; i < pixels; ++i) {
            recolour<S>(source, destination, mixture, x + i, y, barrier.weight(x + i + source.ox, y + source.oy));
        }
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
