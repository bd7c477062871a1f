// Paint: stamps a brush at a list of positions. Each stamp blends the source with a colour by the brush's weights and
// writes the destination, so stamps build up only where the two are one image.

#include <algorithm>
#include <cmath>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/gaps.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_float_utils.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/walk.h"
#include "memory/measure/PaintStamps.h"
#include "memory/measure/row_samples.h"
#include "orv/device/OrvVersionNumber.h"

namespace {

using namespace orvi;

/// Blends a row of samples with a colour; each blend is stored once in single precision.
template <class S>
void paintRow(const Stamp& stamp, const float* colour, long x, long y, unsigned pixels) noexcept {
    const float* const weights = stamp.weights(x, y);
    const unsigned bands = commonBands(stamp.source, stamp.destination);
    for (unsigned done = 0; done < pixels; done += rowChunk) {
        const unsigned count = std::min(rowChunk, pixels - done);
        std::int32_t samples[rowChunk];
        float blended[rowChunk];
        for (unsigned band = 0; band < bands; ++band) {
            takeSamples<S>(stamp.source, x + done, y, band, 1, count, samples);
            const double c = colour[band];
            for (unsigned i = 0; i < count; ++i) {
                const double a = weights[done + i];
                blended[i] = static_cast<float>(a * c + samples[i] * (1.0 - a));
            }
            toSamples<S>(blended, samples, count);
            putSamples<S>(stamp.destination, x + done, y, band, count, samples);
        }
    }
}

template <class S>
OrvStatus paint(OrvOp* op, const char* file) noexcept {
    PaintStamps stamps(op, {file, {"di-12", 6, 0}});
    if (stamps.fetchSource(dataTypeOf<S>) != ORV_SUCCESS) return ORV_FAILURE;
    if (stamps.fetchDestination(dataTypeOf<S>) != ORV_SUCCESS) return ORV_FAILURE;
    auto* const brush = static_cast<OrvKernel*>(op->getObjParam(2));
    const auto* const colour = static_cast<const float*>(op->getPtrParam(1));
    return stamps.run(brush, [colour](const Stamp& stamp, long x, long y, unsigned pixels) {
        paintRow<S>(stamp, colour, x, y, pixels);
    });
}

constexpr unsigned threeBands = 3;

/// The premultiplied colours of one brush and one colour, rounding included. Kept from call to call, and made anew when
/// the brush's version or the colour is another.
class BrushTable {
public:
    /// Null where memory cannot be had.
    const float* get(OrvKernel* brush, const float* colour) noexcept {
        OrvVersionNumber version;
        brush->getVersion(&version);
        const bool fresh =
            table_ != nullptr && !(version != version_) && std::equal(colour_, colour_ + threeBands, colour);
        if (fresh) return table_;
        version_ = version;
        std::copy_n(colour, threeBands, colour_);
        orvi_delete(table_);
        const std::size_t entries = std::size_t{brush->getWidth()} * brush->getHeight();
        table_ = newArray<float>(entries * threeBands);
        if (table_ != nullptr) fill(brush->getValue(), entries);
        return table_;
    }

    /// Whether every sum of a byte's share and an entry is a 32-bit integer once it is truncated.
    bool tame() const noexcept { return tame_; }

private:
    void fill(const float* brush, std::size_t entries) noexcept {
        constexpr float largestWeight = 1e6F;
        constexpr float largestEntry = 1e9F;
        tame_ = true;
        for (std::size_t k = 0; k < entries; ++k) {
            tame_ = tame_ && std::fabs(brush[k]) <= largestWeight;
            for (unsigned band = 0; band < threeBands; ++band) {
                const auto entry = static_cast<float>(static_cast<double>(brush[k]) * colour_[band] + 0.5);
                table_[k * threeBands + band] = entry;
                tame_ = tame_ && std::fabs(entry) <= largestEntry;
            }
        }
    }

    float* table_ = nullptr;
    OrvVersionNumber version_;
    float colour_[threeBands] = {};
    bool tame_ = false;
};

BrushTable brushTable;

/// No clamp: a colour outside the range of bytes wraps around.
std::uint8_t lowByte(double value) noexcept {
    return static_cast<std::uint8_t>(toInt(value, lowest<std::int32_t>, highest<std::int32_t>));
}

float inverseOf(float weight) noexcept { return static_cast<float>(1.0 - static_cast<double>(weight)); }

/// Dense rows, and a table whose sums are all integers. Steps through buffers, which cannot be the images' own samples:
/// each step then runs in vectors.
void paintDense3(const std::uint8_t* from, std::uint8_t* to, const float* weights, const float* colours,
                 unsigned pixels) noexcept {
    constexpr unsigned chunk = 64;
    alignas(lanes::vectorBytes) float inverses[chunk * threeBands];
    alignas(lanes::vectorBytes) float shares[chunk * threeBands];
    alignas(lanes::vectorBytes) std::int32_t sums[chunk * threeBands];
    for (unsigned done = 0; done < pixels; done += chunk) {
        const unsigned count = std::min(chunk, pixels - done);
        for (unsigned i = 0; i < count; ++i) {
            const float inverse = inverseOf(weights[done + i]);
            for (unsigned band = 0; band < threeBands; ++band) inverses[i * threeBands + band] = inverse;
        }
        const unsigned samples = count * threeBands;
        for (unsigned i = 0; i < samples; ++i) shares[i] = static_cast<float>(int{from[i]});
        for (unsigned i = 0; i < samples; ++i) {
            sums[i] = static_cast<std::int32_t>(static_cast<double>(shares[i]) * static_cast<double>(inverses[i]) +
                                                static_cast<double>(colours[i]));
        }
        for (unsigned i = 0; i < samples; ++i) to[i] = static_cast<std::uint8_t>(sums[i]);
        from += count * threeBands;
        to += count * threeBands;
        colours += count * threeBands;
    }
}

/// The same for pixels at any stride, which are brought side by side where they lie apart.
void paintRowDense3(const Stamp& stamp, const std::uint8_t* from, std::uint8_t* to, const float* weights,
                    const float* colours, unsigned pixels) noexcept {
    const std::ptrdiff_t fromStep = stamp.source.pixel;
    const std::ptrdiff_t toStep = stamp.destination.pixel;
    if (fromStep == threeBands && toStep == threeBands) return paintDense3(from, to, weights, colours, pixels);
    std::byte samples[rowChunk * threeBands];
    auto* const dense = reinterpret_cast<std::uint8_t*>(samples);
    for (unsigned done = 0; done < pixels; done += rowChunk) {
        const unsigned count = std::min(rowChunk, pixels - done);
        closeGaps(samples, reinterpret_cast<const std::byte*>(from + done * fromStep), fromStep, threeBands, count);
        paintDense3(dense, dense, weights + done, colours + std::size_t{done} * threeBands, count);
        openGaps(reinterpret_cast<std::byte*>(to + done * toStep), samples, toStep, threeBands, count);
    }
}

void paintRow3(const Stamp& stamp, const float* byteToFloat, const float* table, bool tame, long x, long y,
               unsigned pixels) noexcept {
    const float* const weights = stamp.weights(x, y);
    const float* colours = table + (weights - stamp.brush) * std::ptrdiff_t{threeBands};
    const unsigned bands = std::min(threeBands, stamp.destination.bands);
    const std::uint8_t* from = stamp.source.at<std::uint8_t>(x, y);
    std::uint8_t* to = stamp.destination.at<std::uint8_t>(x, y);
    if (tame && bands == threeBands) return paintRowDense3(stamp, from, to, weights, colours, pixels);
    for (unsigned i = 0; i < pixels; ++i, colours += threeBands) {
        const float inverse = inverseOf(weights[i]);
        for (unsigned band = 0; band < bands; ++band) {
            to[band] = lowByte(static_cast<double>(byteToFloat[from[band]]) * inverse + colours[band]);
        }
        from += stamp.source.pixel;
        to += stamp.destination.pixel;
    }
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Paint1(OrvOp* op, int) noexcept { return paint<Bit>(op, "Paint1Memory.cc"); }

OrvStatus OrvDeviceComputeTypeMemory::Paint8(OrvOp* op, int) noexcept {
    return paint<std::uint8_t>(op, "Paint8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Paint16(OrvOp* op, int) noexcept {
    return paint<std::int16_t>(op, "Paint16Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::Paint8_3Band(OrvOp* op, int) noexcept {
    PaintStamps stamps(op, {"Paint8_3BandMemory.cc", {"di-7", 1, 0}});
    if (stamps.fetchSource(ORV_BYTE) != ORV_SUCCESS) return ORV_FAILURE;
    if (stamps.source().bands != threeBands) return ORV_FAILURE; // declines
    if (stamps.fetchDestination(ORV_BYTE) != ORV_SUCCESS) return ORV_FAILURE;
    const float* const byteToFloat = orv_float_utils_get_b2f();
    if (byteToFloat == nullptr) return ORV_FAILURE;
    auto* const brush = static_cast<OrvKernel*>(op->getPtrParam(2));
    const float* const table = brushTable.get(brush, static_cast<const float*>(op->getPtrParam(1)));
    if (table == nullptr) return ORV_FAILURE; // declines: the general form needs no table
    return stamps.run(brush, [=](const Stamp& stamp, long x, long y, unsigned pixels) {
        paintRow3(stamp, byteToFloat, table, brushTable.tame(), x, y, pixels);
    });
}
