// A black band from cyan, magenta and yellow, and what it takes away from them.

#include <algorithm>
#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/constants.h"

namespace {

using namespace orvi;

template <class T>
constexpr Fetch blackFetches[] = {
    {src1, dataTypeOf<T>, {"di-9", 1, 1}, src1},
    {dst, dataTypeOf<T>, {"di-10", 1, 1}, dst},
};

constexpr unsigned inks = 3;
constexpr unsigned allBands = 4;

constexpr std::size_t chunk = 256;

/// The inks of a chunk, each as a plane, and what becomes of them.
struct Planes {
    alignas(64) float samples[inks][chunk];
    alignas(64) std::int32_t results[allBands][chunk];
};

template <class T>
void separatePlanes(Planes& planes, float black, float undercolor) noexcept {
    using lanes::F32;
    const auto put = [&planes](unsigned band, std::size_t at, F32 value) {
        lanes::store(planes.results[band] + at, lanes::rounded(value, lowest<T>, highest<T>));
    };
    for (std::size_t i = 0; i < chunk; i += lanes::count<float>) {
        F32 ink[inks];
        for (unsigned band = 0; band < inks; ++band) ink[band] = lanes::load<F32>(planes.samples[band] + i);
        const F32 k = lanes::smaller<F32>(lanes::smaller<F32>(ink[0], ink[1]), ink[2]);
        const F32 removed = k * undercolor;
        for (unsigned band = 0; band < inks; ++band) put(band, i, ink[band] - removed);
        put(inks, i, k * black);
    }
}

/// The source's black takes no part.
template <class T, unsigned SourceBands>
void separate(T* d, const T* s, std::size_t pixels, float black, float undercolor) noexcept {
    static Planes planes;
    for (std::size_t done = 0; done < pixels; done += chunk, d += chunk * allBands, s += chunk * SourceBands) {
        const std::size_t count = std::min(chunk, pixels - done);
        for (std::size_t i = 0; i < count; ++i) {
            for (unsigned ink = 0; ink < inks; ++ink) {
                planes.samples[ink][i] = static_cast<float>(s[SourceBands * i + ink]);
            }
        }
        separatePlanes<T>(planes, black, undercolor);
        for (std::size_t i = 0; i < count; ++i) {
            for (unsigned band = 0; band < allBands; ++band) {
                d[allBands * i + band] = static_cast<T>(planes.results[band][i]);
            }
        }
    }
}

template <class T>
OrvStatus blackGeneration(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (frame.open({file, blackFetches<T>, {"di-12", 0, 1}, src1}) != ORV_SUCCESS) return ORV_FAILURE;
    const float black = constantOf(op->getFloatParam(1));
    const float undercolor = constantOf(op->getFloatParam(2));
    const unsigned sourceBands = std::min(frame[src1].bands, allBands);
    if (sourceBands < inks || frame[dst].bands < allBands) return ORV_SUCCESS;
    walkRuns<T, T>(
        frame.rects(),
        [=](T* d, const T* s, std::size_t pixels) {
            if (sourceBands == inks) return separate<T, inks>(d, s, pixels, black, undercolor);
            separate<T, allBands>(d, s, pixels, black, undercolor);
        },
        Operand{&frame[dst], allBands}, Operand{&frame[src1], sourceBands});
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::BlackGeneration8(OrvOp* op, int) noexcept {
    return blackGeneration<std::uint8_t>(op, "BlackGeneration8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::BlackGeneration16(OrvOp* op, int) noexcept {
    return blackGeneration<std::int16_t>(op, "BlackGeneration16Memory.cc");
}
