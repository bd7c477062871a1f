// Each band of the result is a weighted sum of the source's bands plus a constant.

#include <algorithm>
#include <cmath>
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

    /// Whether no sum of samples up to `largest` leaves the range of integers.
    bool bounded(double largest) const noexcept {
        constexpr double limit = 1 << 30;
        for (unsigned output = 0; output < outputs; ++output) {
            double sum = std::abs(double{constant(output)});
            for (unsigned input = 0; input < inputs; ++input) sum += std::abs(double{row(output)[input]}) * largest;
            if (!(sum < limit)) return false;
        }
        return true;
    }

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

/// Where the bytes of 16 pixels of three bands stand: four pixels in each quarter of a vector, so that one shuffle
/// makes words of a band's samples, and another makes pixels of the results packed band by band.
struct PixelPlaces {
    static constexpr unsigned bands = 3;
    static constexpr unsigned none = 0x80;
    alignas(64) std::uint32_t apart[16];
    alignas(64) std::uint32_t together[16];
    alignas(64) Byte words[bands][64];
    alignas(64) Byte pixels[64];

    constexpr PixelPlaces() noexcept : apart{}, together{}, words{}, pixels{} {
        for (unsigned word = 0; word < 16; ++word) {
            apart[word] = word % 4 < bands ? word / 4 * bands + word % 4 : 0;
            together[word] = word < 4 * bands ? word / bands * 4 + word % bands : 15;
        }
        for (unsigned byte = 0; byte < 64; ++byte) {
            const unsigned at = byte % 16;
            for (unsigned band = 0; band < bands; ++band) {
                words[band][byte] = static_cast<Byte>(at % 4 == 0 ? at / 4 * bands + band : none);
            }
            pixels[byte] = static_cast<Byte>(at < 4 * bands ? at % bands * 4 + at / bands : none);
        }
    }
};
constexpr PixelPlaces pixelPlaces;

bool suitsThree(const Matrix& matrix) noexcept {
    return matrix.inputs == 3 && matrix.outputs == 3 && matrix.bounded(255) && matrix.exactInDouble(255);
}

/// Three bands of bytes made of three, the most frequent form: all stays in registers, and packing saturates.
void combineThree(const Matrix& matrix, Byte* d, const Byte* s, std::size_t pixels) noexcept {
    constexpr unsigned bands = 3;
    constexpr __mmask16 all = 0xffff;
    F32 weights[bands][bands + 1];
    for (unsigned output = 0; output < bands; ++output) {
        for (unsigned band = 0; band < bands; ++band) weights[output][band] = matrix.row(output)[band] - F32{};
        weights[output][bands] = matrix.constant(output) - F32{};
    }
    const lanes::Raw apart = lanes::load<lanes::Raw>(pixelPlaces.apart);
    const lanes::Raw together = lanes::load<lanes::Raw>(pixelPlaces.together);
    const lanes::Raw toPixels = lanes::load<lanes::Raw>(pixelPlaces.pixels);
    const lanes::Raw toWords[bands] = {lanes::load<lanes::Raw>(pixelPlaces.words[0]),
                                       lanes::load<lanes::Raw>(pixelPlaces.words[1]),
                                       lanes::load<lanes::Raw>(pixelPlaces.words[2])};
    constexpr std::size_t step = lanes::count<float>;
    for (std::size_t i = 0; i < pixels; i += step) {
        const __mmask64 bytes = (1ULL << (bands * std::min(step, pixels - i))) - 1;
        const lanes::Raw row = _mm512_maskz_loadu_epi8(bytes, s + bands * i);
        const lanes::Raw quarters = _mm512_maskz_permutexvar_epi32(all, apart, row);
        F32 samples[bands];
        for (unsigned band = 0; band < bands; ++band) {
            samples[band] = lanes::toFloat((I32)_mm512_shuffle_epi8(quarters, toWords[band]));
        }
        lanes::Raw results[bands];
        for (unsigned output = 0; output < bands; ++output) {
            const F32(&weight)[bands + 1] = weights[output];
            F32 sum = samples[0] * weight[0];
            for (unsigned band = 1; band < bands; ++band) {
                sum = lanes::multiplyAdd(samples[band], weight[band], sum);
            }
            // A negative sum saturates to 0 whichever way the half goes.
            results[output] = (lanes::Raw)lanes::truncate(sum + weight[bands] + 0.5F);
        }
        const lanes::Raw packed =
            _mm512_packus_epi16(_mm512_packs_epi32(results[0], results[1]), _mm512_packs_epi32(results[2], results[2]));
        const lanes::Raw combined =
            _mm512_maskz_permutexvar_epi32(all, together, _mm512_shuffle_epi8(packed, toPixels));
        _mm512_mask_storeu_epi8(d + bands * i, bytes, combined);
    }
}

#endif

template <class T, class Add, class Finish>
void combineChunk(const Matrix& matrix, T* d, const T* s, std::size_t pixels, std::size_t chunk) noexcept {
    takeApart(s, matrix.inputs, pixels, chunk);
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
#if defined(__AVX512BW__)
    if constexpr (std::is_same_v<T, Byte>) {
        if (suitsThree(matrix)) {
            walkRuns<T, T>(
                frame.rects(), [&](T* d, const T* s, std::size_t pixels) { combineThree(matrix, d, s, pixels); },
                Operand{&frame[dst], matrix.outputs}, Operand{&frame[src1], matrix.inputs});
            return ORV_SUCCESS;
        }
    }
#endif
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
