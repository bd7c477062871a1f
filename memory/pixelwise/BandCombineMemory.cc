// Each band of the result is a weighted sum of the source's bands plus a constant.

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/exact_sums.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "orv/device/OrvKernel.h"

namespace {

using namespace orvi;
using lanes::F32;
using lanes::I32;
using Byte = std::uint8_t;
using Short = std::int16_t;

template <class T>
constexpr FrameFacts combineFacts(const char* file) noexcept {
    return {file, oneSourceFetches<T, T>, {"di-12", 6, 0}, src1};
}

/// The kernel as a matrix: a row for each output band, a weight for each input band and the constant last. What the
/// images lack is left out.
struct Matrix {
    const float* values;
    std::size_t width;
    unsigned inputs;
    unsigned outputs;

    Matrix(OrvKernel* kernel, unsigned sourceBands, unsigned destinationBands) noexcept
        : values(kernel->getValue()),
          width(kernel->getWidth()),
          inputs(std::min(kernel->getWidth() - 1, sourceBands)),
          outputs(std::min(kernel->getHeight(), destinationBands)) {}

    const float* row(unsigned output) const noexcept { return values + output * width; }
    float constant(unsigned output) const noexcept { return row(output)[width - 1]; }

    bool exactInDouble(double largest) const noexcept {
        for (unsigned output = 0; output < outputs; ++output) {
            if (!orvi::exactInDouble(row(output), inputs, largest)) return false;
        }
        return true;
    }
};

// How a term joins the sum, which is held in single precision.

struct AddFused {
    F32 operator()(F32 sum, F32 sample, float weight) const noexcept { return (*this)(sum, sample, weight - F32{}); }
    F32 operator()(F32 sum, F32 sample, F32 weight) const noexcept { return lanes::multiplyAdd(sample, weight, sum); }
};
struct AddWide {
    F32 operator()(F32 sum, F32 sample, float weight) const noexcept {
        return lanes::multiplyAddInDouble(sample, weight - F32{}, sum);
    }
};
/// A set bit adds the weight, a clear one nothing, whatever the weight is.
struct AddGated {
    F32 operator()(F32 sum, F32 sample, float weight) const noexcept { return sample != 0 ? sum + weight : sum; }
};

// What becomes of a sum.

template <class T>
struct Rounded {
    I32 operator()(F32 sum) const noexcept {
        if constexpr (lowest<T> == 0) {
            // What is negative or NaN gives 0 in any case.
            const F32 positive = lanes::larger<F32>(sum, F32{});
            return lanes::truncate(lanes::smaller<F32>(positive + 0.5F, static_cast<float>(highest<T>) - F32{}));
        }
        return lanes::rounded(sum, static_cast<float>(lowest<T>), static_cast<float>(highest<T>));
    }
};
/// A sum of exactly one half gives 0, as intended.
struct AboveHalf {
    I32 operator()(F32 sum) const noexcept { return (sum > 0.5F) & 1; }
};

// A chunk of pixels is taken apart into planes, combined, and put together. It is read whole before any of it is
// written: the images may be one.

constexpr std::size_t chunkPixels = 256;
constexpr std::size_t planeSamples = 65536;
// The last vector of the last plane may reach beyond it.
alignas(64) float inputs[planeSamples + lanes::count<float>];
template <class T>
alignas(64) T planes[planeSamples];

/// Pixels of a chunk, which is the distance of its planes.
std::size_t chunkOf(const Matrix& matrix) noexcept {
    return std::min(chunkPixels, planeSamples / std::max({1U, matrix.inputs, matrix.outputs}));
}

template <class T>
void takeApart(const T* from, unsigned bands, std::size_t pixels, std::size_t chunk) noexcept {
    T* const to = planes<T>;
    if constexpr (sizeof(T) == 1) {
        if (bands == 3) return lanes::splitBands(from, to, to + chunk, to + 2 * chunk, pixels);
    }
    for (unsigned band = 0; band < bands; ++band) {
        for (std::size_t i = 0; i < pixels; ++i) to[band * chunk + i] = from[i * bands + band];
    }
}

template <class T>
void putTogether(T* to, unsigned bands, std::size_t pixels, std::size_t chunk) noexcept {
    const T* const from = planes<T>;
    if constexpr (sizeof(T) == 1) {
        if (bands == 3) return lanes::joinBands(from, from + chunk, from + 2 * chunk, to, pixels);
    }
    for (unsigned band = 0; band < bands; ++band) {
        for (std::size_t i = 0; i < pixels; ++i) to[i * bands + band] = from[band * chunk + i];
    }
}

/// One output band of a chunk; `Fixed` inputs, or where it is 0 as many as the matrix has.
template <unsigned Fixed, class T, class Add, class Finish>
void combineBand(const Matrix& matrix, unsigned output, std::size_t pixels, std::size_t chunk) noexcept {
    const unsigned count = Fixed != 0 ? Fixed : matrix.inputs;
    const float* const weights = matrix.row(output);
    const float constant = matrix.constant(output);
    alignas(64) std::int32_t results[chunkPixels + lanes::count<float>];
    for (std::size_t i = 0; i < pixels; i += lanes::count<float>) {
        F32 sum{};
        for (unsigned band = 0; band < count; ++band) {
            sum = Add{}(sum, lanes::load<F32>(inputs + band * chunk + i), weights[band]);
        }
        lanes::store(results + i, Finish{}(sum + constant));
    }
    T* const to = planes<T> + output * chunk;
    for (std::size_t i = 0; i < pixels; ++i) to[i] = static_cast<T>(results[i]);
}

#if defined(__AVX512BW__)
/// Three bands of bytes made of three, the most frequent form: all stays in registers. A vector of each plane is read
/// before the results take its place.
template <class Add, class Finish>
void combineThree(const Matrix& matrix, std::size_t pixels, std::size_t chunk) noexcept {
    constexpr unsigned bands = 3;
    F32 weights[bands][bands + 1];
    for (unsigned output = 0; output < bands; ++output) {
        for (unsigned band = 0; band < bands; ++band) weights[output][band] = matrix.row(output)[band] - F32{};
        weights[output][bands] = matrix.constant(output) - F32{};
    }
    const auto samplesAt = [](const Byte* from) {
        const lanes::Raw wide = _mm512_maskz_cvtepu8_epi32(0xffff, lanes::load<__m128i>(from));
        return lanes::toFloat((I32)wide);
    };
    for (std::size_t i = 0; i < pixels; i += lanes::count<float>) {
        Byte* const at = planes<Byte> + i;
        const F32 samples[bands] = {samplesAt(at), samplesAt(at + chunk), samplesAt(at + 2 * chunk)};
        for (unsigned output = 0; output < bands; ++output) {
            F32 sum{};
            for (unsigned band = 0; band < bands; ++band) sum = Add{}(sum, samples[band], weights[output][band]);
            const I32 result = Finish{}(sum + weights[output][bands]);
            lanes::store(at + output * chunk, _mm512_maskz_cvtepi32_epi8(0xffff, (lanes::Raw)result));
        }
    }
}
#endif

template <class T, class Add, class Finish>
void combineChunk(const Matrix& matrix, T* d, const T* s, std::size_t pixels, std::size_t chunk) noexcept {
    takeApart(s, matrix.inputs, pixels, chunk);
#if defined(__AVX512BW__)
    if constexpr (std::is_same_v<Add, AddFused> && std::is_same_v<T, Byte>) {
        if (matrix.inputs == 3 && matrix.outputs == 3) {
            combineThree<Add, Finish>(matrix, pixels, chunk);
            return putTogether(d, 3, pixels, chunk);
        }
    }
#endif
    const std::size_t samples = matrix.inputs * chunk;
    for (std::size_t i = 0; i < samples; ++i) inputs[i] = static_cast<float>(planes<T>[i]);
    for (unsigned output = 0; output < matrix.outputs; ++output) {
        switch (matrix.inputs) {
        case 1:
            combineBand<1, T, Add, Finish>(matrix, output, pixels, chunk);
            break;
        case 3:
            combineBand<3, T, Add, Finish>(matrix, output, pixels, chunk);
            break;
        default:
            combineBand<0, T, Add, Finish>(matrix, output, pixels, chunk);
        }
    }
    putTogether(d, matrix.outputs, pixels, chunk);
}

template <class T, class Add, class Finish>
void combine(Frame& frame, const Matrix& matrix) noexcept {
    using Sample = SampleOf<T>;
    const std::size_t chunk = chunkOf(matrix);
    walkRuns<T, T>(
        frame.rects(),
        [&matrix, chunk](Sample* d, const Sample* s, std::size_t pixels) {
            for (std::size_t done = 0; done < pixels; done += chunk) {
                combineChunk<Sample, Add, Finish>(matrix, d + done * matrix.outputs, s + done * matrix.inputs,
                                                  std::min(chunk, pixels - done), chunk);
            }
        },
        Operand{&frame[dst], matrix.outputs}, Operand{&frame[src1], matrix.inputs});
}

Matrix matrixOf(OrvOp* op, const Frame& frame) noexcept {
    return Matrix(static_cast<OrvKernel*>(op->getObjParam(1)), frame[src1].bands, frame[dst].bands);
}

template <class T>
OrvStatus bandCombine(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (frame.open(combineFacts<T>(file)) != ORV_SUCCESS) return ORV_FAILURE;
    const Matrix matrix = matrixOf(op, frame);
    constexpr double largest = std::max<int>(highest<T>, -lowest<T>);
    if (lanes::hasMultiplyAdd && matrix.exactInDouble(largest)) {
        combine<T, AddFused, Rounded<T>>(frame, matrix);
    } else {
        combine<T, AddWide, Rounded<T>>(frame, matrix);
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::BandCombine1(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (frame.open(combineFacts<Bit>("BandCombine1Memory.cc")) != ORV_SUCCESS) return ORV_FAILURE;
    combine<Bit, AddGated, AboveHalf>(frame, matrixOf(op, frame));
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::BandCombine8(OrvOp* op, int) noexcept {
    return bandCombine<Byte>(op, "BandCombine8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::BandCombine16(OrvOp* op, int) noexcept {
    return bandCombine<Short>(op, "BandCombine16Memory.cc");
}
