// A black band from cyan, magenta and yellow, and what it takes away from them.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

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

/// A source without black.
template <class T>
void separate(T* d, const T* s, std::size_t pixels, float black, float undercolor) noexcept {
    static Planes planes;
    for (std::size_t done = 0; done < pixels; done += chunk, d += chunk * allBands, s += chunk * inks) {
        const std::size_t count = std::min(chunk, pixels - done);
        for (std::size_t i = 0; i < count; ++i) {
            for (unsigned ink = 0; ink < inks; ++ink) {
                planes.samples[ink][i] = static_cast<float>(s[inks * i + ink]);
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

// Pixels of four bands in both images stay together: vectors of words, which hold a pixel of bytes or half a pixel of
// shorts each. The source's black takes no part.

constexpr bool lowestFirst = std::endian::native == std::endian::little;

template <class T>
lanes::U32 separated(lanes::U32 pixels, float black, float undercolor) noexcept;

template <>
lanes::U32 separated<std::uint8_t>(lanes::U32 pixels, float black, float undercolor) noexcept {
    using lanes::F32;
    const auto place = [](unsigned band) { return static_cast<int>(8 * (lowestFirst ? band : allBands - 1 - band)); };
    F32 ink[inks];
    for (unsigned band = 0; band < inks; ++band) ink[band] = lanes::toFloat((lanes::I32)(pixels >> place(band) & 255));
    const F32 k = lanes::smaller<F32>(lanes::smaller<F32>(ink[0], ink[1]), ink[2]);
    const F32 removed = k * undercolor;
    // The sign of the half does not matter to what is clamped to 0.
    const auto byte = [](F32 value) {
        const F32 sum = lanes::larger<F32>(value + 0.5F, F32{});
        return (lanes::U32)lanes::truncate(lanes::smaller<F32>(sum, 255.0F - F32{}));
    };
    lanes::U32 results = byte(k * black) << place(inks);
    for (unsigned band = 0; band < inks; ++band) results |= byte(ink[band] - removed) << place(band);
    return results;
}

/// Words of the first two bands take turns with those of the last two.
template <>
lanes::U32 separated<std::int16_t>(lanes::U32 pixels, float black, float undercolor) noexcept {
    using lanes::F32, lanes::I32, lanes::U32, lanes::U64;
    const auto last = (I32)(lanes::U64{} + (lowestFirst ? 0xffffffff00000000ULL : 0xffffffffULL));
    const F32 earlier = lanes::toFloat((I32)(lowestFirst ? pixels << 16 : pixels) >> 16);
    const F32 later = lanes::toFloat((I32)(lowestFirst ? pixels : pixels << 16) >> 16);
    const F32 either = lanes::smaller<F32>(earlier, last != 0 ? earlier : later);
    const auto turned = (F32)((U64)either >> 32 | (U64)either << 32);
    const F32 k = lanes::smaller<F32>(either, turned);
    const F32 removed = k * undercolor;
    const auto rounded = [](F32 value) {
        return (U32)lanes::rounded(value, lowest<std::int16_t>, highest<std::int16_t>);
    };
    const U32 first = rounded(earlier - removed);
    const U32 second = rounded(last != 0 ? k * black : later - removed);
    return lowestFirst ? (first & 0xffff) | second << 16 : first << 16 | (second & 0xffff);
}

template <class T>
void separateWords(T* d, const T* s, std::size_t pixels, float black, float undercolor) noexcept {
    constexpr std::size_t n = lanes::vectorBytes / sizeof(T);
    const std::size_t samples = pixels * allBands;
    const auto vector = [=](T* to, const T* from) {
        lanes::store(to, separated<T>(lanes::load<lanes::U32>(from), black, undercolor));
    };
    std::size_t i = 0;
    for (; i + n <= samples; i += n) vector(d + i, s + i);
    if (i == samples) return;
    T rest[n] = {};
    std::memcpy(rest, s + i, (samples - i) * sizeof(T));
    vector(rest, rest);
    std::memcpy(d + i, rest, (samples - i) * sizeof(T));
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
            if (sourceBands == inks) return separate<T>(d, s, pixels, black, undercolor);
            separateWords<T>(d, s, pixels, black, undercolor);
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
