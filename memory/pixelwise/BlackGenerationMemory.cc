// A black band from cyan, magenta and yellow, and what it takes away from them.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/band_vectors.h"
#include "memory/frame/byte_permutation.h"
#include "memory/frame/lanes.h"
#include "memory/frame/numbers.h"
#include "memory/frame/row_moves.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/short_pixels.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/constants.h"

namespace {

using namespace orvi;
using Byte = std::uint8_t;
using Short = std::int16_t;

template <class T>
constexpr Fetch blackFetches[] = {
    {src1, dataTypeOf<T>, {"di-9", 1, 1}, src1},
    {dst, dataTypeOf<T>, {"di-10", 1, 1}, dst},
};

constexpr unsigned inks = 3;
constexpr unsigned allBands = 4;

constexpr std::size_t chunk = 256;

/// What the parameters say: the black band and what the inks lose, as shares of the least ink.
struct Shares {
    float black;
    float undercolor;

    bool operator==(const Shares&) const noexcept = default;
};

/// The inks of a chunk, each as a plane, and what becomes of them.
struct Planes {
    alignas(64) float samples[inks][chunk];
    alignas(64) std::int32_t results[allBands][chunk];
};

template <class T>
void separatePlanes(Planes& planes, Shares shares) noexcept {
    using lanes::F32;
    const auto put = [&planes](unsigned band, std::size_t at, F32 value) {
        lanes::store(planes.results[band] + at, lanes::rounded(value, lowest<T>, highest<T>));
    };
    for (std::size_t i = 0; i < chunk; i += lanes::count<float>) {
        F32 ink[inks];
        for (unsigned band = 0; band < inks; ++band) ink[band] = lanes::load<F32>(planes.samples[band] + i);
        const F32 k = lanes::smaller<F32>(lanes::smaller<F32>(ink[0], ink[1]), ink[2]);
        const F32 removed = k * shares.undercolor;
        for (unsigned band = 0; band < inks; ++band) put(band, i, ink[band] - removed);
        put(inks, i, k * shares.black);
    }
}

/// The source's black takes no part.
template <unsigned SourceBands, class T>
void separate(T* d, const T* s, std::size_t pixels, Shares shares) noexcept {
    static Planes planes;
    for (std::size_t done = 0; done < pixels; done += chunk, d += chunk * allBands, s += chunk * SourceBands) {
        const std::size_t count = std::min(chunk, pixels - done);
        for (std::size_t i = 0; i < count; ++i) {
            for (unsigned ink = 0; ink < inks; ++ink) {
                planes.samples[ink][i] = static_cast<float>(s[SourceBands * i + ink]);
            }
        }
        separatePlanes<T>(planes, shares);
        for (std::size_t i = 0; i < count; ++i) {
            for (unsigned band = 0; band < allBands; ++band) {
                d[allBands * i + band] = static_cast<T>(planes.results[band][i]);
            }
        }
    }
}

/// Bytes by tables of the least ink k, of which there are 256. What an ink x becomes is x - loss(k), saturated, plus 1
/// where x is above last(k): with the half of a rounding next to a whole number it depends on the size of the
/// difference, in single precision, to which side that goes.
class ByteTables {
public:
    /// Tables for the shares; null where no such tables serve, because a share is no number or far too large.
    static const ByteTables* of(Shares shares) noexcept {
        static ByteTables tables;
        if (!tables.made_ || !(tables.shares_ == shares)) tables.make(shares);
        return tables.serves_ ? &tables : nullptr;
    }

    template <unsigned SourceBands>
    void separate(Byte* d, const Byte* s, std::size_t pixels) const noexcept {
#if defined(__AVX512BW__)
        if (SourceBands == allBands && lanes::bytePermutation && !hasLast_) {
            const std::size_t done =
                gains_ ? separateVectors<true>(d, s, pixels) : separateVectors<false>(d, s, pixels);
            d += done * allBands;
            s += done * allBands;
            pixels -= done;
        }
#endif
        for (std::size_t done = 0; done < pixels; done += most, d += most * allBands, s += most * SourceBands) {
            const std::size_t count = std::min(most, pixels - done);
            alignas(64) Byte ink[allBands][most];
            split<SourceBands>(s, ink, count);
            change(ink, count);
            joinFour(ink[0], ink[1], ink[2], ink[inks], d, count);
        }
    }

private:
#if defined(__AVX512BW__)
    /// Whole vectors of pixels; how many pixels that were.
    template <bool Gains>
    [[gnu::flatten, gnu::target("avx512vbmi")]] std::size_t separateVectors(Byte* d, const Byte* s,
                                                                            std::size_t pixels) const noexcept {
        using lanes::U8;
        using Pixels = lanes::VectorsOfBands<allBands>;
        constexpr std::size_t n = lanes::vectorBytes;
        const lanes::PermutedBytes lossOf(loss_);
        const lanes::PermutedBytes blackOf(black_);
        const std::size_t whole = pixels / n * n;
        for (std::size_t i = 0; i < allBands * whole; i += allBands * n) {
            fetchAhead<allBands>(s + i);
            Pixels v;
            for (std::size_t band = 0; band < allBands; ++band) v.of[band] = lanes::load<U8>(s + i + band * n);
            v = v.apart();
            const auto turned = [](U8 of, unsigned places) { return Pixels::turned(of, static_cast<int>(places)); };
            const U8 two = lanes::smaller<U8>(v.of[0], turned(v.of[1], 1));
            const U8 least = lanes::smaller<U8>(two, turned(v.of[2], 2));
            const U8 loss = lossOf(least);
            for (unsigned ink = 0; ink < inks; ++ink) {
                const U8 change = turned(loss, allBands - ink);
                v.of[ink] =
                    Gains ? lanes::addSaturated(v.of[ink], change) : lanes::subtractSaturated(v.of[ink], change);
            }
            v.of[inks] = turned(blackOf(least), allBands - inks);
            v = v.together();
            for (std::size_t band = 0; band < allBands; ++band) lanes::store(d + i + band * n, v.of[band]);
        }
        return whole;
    }
#endif

    static constexpr int levels = 256;
    static constexpr std::size_t most = 1024;

    template <unsigned SourceBands>
    static void split(const Byte* s, Byte (&ink)[allBands][most], std::size_t pixels) noexcept {
        if constexpr (SourceBands == inks) {
            lanes::splitBands(s, ink[0], ink[1], ink[2], pixels);
        } else {
            splitThreeOfFour(s, ink[0], ink[1], ink[2], pixels);
        }
    }

    void change(Byte (&ink)[allBands][most], std::size_t pixels) const noexcept {
        alignas(64) Byte least[most];
        alignas(64) Byte loss[most];
        alignas(64) Byte last[most];
        const auto smaller = [](auto a, auto b) { return lanes::smaller<decltype(a)>(a, b); };
        mapSamples(least, pixels, smaller, ink[0], ink[1]);
        mapSamples(least, pixels, smaller, least, ink[2]);
        lanes::mapBytes(loss, least, pixels, loss_);
        if (hasLast_) lanes::mapBytes(last, least, pixels, last_);
        for (unsigned band = 0; band < inks; ++band) take(ink[band], loss, last, pixels);
        lanes::mapBytes(ink[inks], least, pixels, black_);
    }

    void take(Byte* ink, const Byte* loss, const Byte* last, std::size_t pixels) const noexcept {
        const auto moved = [gains = gains_](auto x, auto by) {
            return gains ? lanes::addSaturated(x, by) : lanes::subtractSaturated(x, by);
        };
        if (!hasLast_) {
            mapSamples(ink, pixels, moved, ink, loss);
            return;
        }
        const auto raised = [moved](auto x, auto by, auto end) {
            if constexpr (std::is_same_v<decltype(x), Byte>) return moved(x, by) + (x > end);
            // A comparison of vectors gives -1.
            if constexpr (std::is_same_v<decltype(x), lanes::U8>) return moved(x, by) - (lanes::U8)(x > end);
        };
        mapSamples(ink, pixels, raised, ink, loss, last);
    }

    void make(Shares shares) noexcept {
        shares_ = shares;
        made_ = true;
        hasLast_ = false;
        gains_ = shares.undercolor < 0;
        serves_ = true;
        for (int k = 0; k < levels && serves_; ++k) {
            const auto least = static_cast<float>(k);
            black_[k] = roundTo<Byte>(least * shares.black);
            serves_ = level(k, least * shares.undercolor);
        }
    }

    /// The tables' entries of a level; false where there are none.
    bool level(int k, float removed) noexcept {
        constexpr float far = 65536; // beyond all that inks can lose, and small enough for what follows
        if (!(removed > -far && removed < far)) return false;
        const int whole = static_cast<int>(std::ceil(double{removed} - 0.5));
        loss_[k] = saturate<Byte>(gains_ ? -whole : whole);
        last_[k] = Byte{levels - 1};
        // Differences of so many bits less are exact, and others too far from a half to be rounded across it.
        constexpr float exactParts = 0x1p13F;
        const float parts = removed * exactParts;
        const bool exact = parts == std::trunc(parts);
        const double fromHalf = std::fabs(double{removed} - std::floor(double{removed}) - 0.5);
        if (exact || fromHalf > 1 / double{exactParts}) return true;
        return findLast(k, removed);
    }

    /// No ink is below the least of them.
    bool findLast(int k, float removed) noexcept {
        for (int x = levels - 1; x >= k; --x) {
            const int plain = gains_ ? saturate<Byte>(x + loss_[k]) : saturate<Byte>(x - loss_[k]);
            const int result = roundTo<Byte>(static_cast<float>(x) - removed);
            const bool above = result == plain + 1;
            if (!above && result != plain) return false;
            if (above && x != last_[k]) return false;
            if (!above) continue;
            last_[k] = static_cast<Byte>(x - 1);
            hasLast_ = true;
        }
        return true;
    }

    Shares shares_;
    bool made_;
    bool serves_;
    bool gains_;
    bool hasLast_;
    Byte black_[levels];
    Byte loss_[levels];
    Byte last_[levels];
};

/// Runs that are worth the tables.
constexpr std::size_t worthTables = 256;

template <unsigned SourceBands>
void separateRun(Byte* d, const Byte* s, std::size_t pixels, Shares shares) noexcept {
    const ByteTables* tables = pixels >= worthTables ? ByteTables::of(shares) : nullptr;
    if (tables != nullptr) return tables->separate<SourceBands>(d, s, pixels);
    separate<SourceBands>(d, s, pixels, shares);
}

#if defined(ORV_SHORT_PIXELS)

/// Shorts by vectors of pixels.
template <unsigned SourceBands, Floats known>
void separateVector(Short* d, const Short* s, Shares shares) noexcept {
    using lanes::F32;
    using lanes::I32;
    I32 ink[inks];
    if constexpr (SourceBands == inks) {
        const lanes::PixelShorts bands = lanes::loadPixelShorts(s);
        for (unsigned band = 0; band < inks; ++band) ink[band] = bands.band(band);
    } else {
        const lanes::FourShorts bands = lanes::loadFourShorts(s);
        ink[0] = bands.firstTwo << 16 >> 16;
        ink[1] = bands.firstTwo >> 16;
        ink[2] = bands.lastTwo << 16 >> 16;
    }
    const F32 k = lanes::toFloat(lanes::smaller<I32>(lanes::smaller<I32>(ink[0], ink[1]), ink[2]));
    const F32 removed = k * shares.undercolor;
    const auto result = [removed](I32 x) { return toShort<known>(lanes::toFloat(x) - removed); };
    lanes::storeFourShorts(d, result(ink[0]), result(ink[1]), result(ink[2]), toShort<known>(k * shares.black));
}

template <unsigned SourceBands, Floats known>
void separateVectors(Short* d, const Short* s, std::size_t pixels, Shares shares) noexcept {
    constexpr std::size_t n = lanes::shortPixels;
    std::size_t i = 0;
    for (; i + n <= pixels; i += n) separateVector<SourceBands, known>(d + i * allBands, s + i * SourceBands, shares);
    if (i == pixels) return;
    Short source[n * SourceBands] = {};
    Short result[n * allBands];
    std::memcpy(source, s + i * SourceBands, (pixels - i) * SourceBands * sizeof(Short));
    separateVector<SourceBands, known>(result, source, shares);
    std::memcpy(d + i * allBands, result, (pixels - i) * allBands * sizeof(Short));
}

template <unsigned SourceBands>
void separateRun(Short* d, const Short* s, std::size_t pixels, Shares shares) noexcept {
    constexpr float most = smallLimit / (1 - 2 * static_cast<float>(lowest<Short>));
    const bool small = std::fabs(shares.black) < most && std::fabs(shares.undercolor) < most;
    small ? separateVectors<SourceBands, Floats::small>(d, s, pixels, shares)
          : separateVectors<SourceBands, Floats::any>(d, s, pixels, shares);
}

#else

template <unsigned SourceBands>
void separateRun(Short* d, const Short* s, std::size_t pixels, Shares shares) noexcept {
    separate<SourceBands>(d, s, pixels, shares);
}

#endif

template <class T>
OrvStatus blackGeneration(OrvOp* op, const char* file) noexcept {
    Frame frame(op);
    if (frame.open({file, blackFetches<T>, {"di-12", 0, 1}, src1}) != ORV_SUCCESS) return ORV_FAILURE;
    const Shares shares{constantOf(op->getFloatParam(1)), constantOf(op->getFloatParam(2))};
    const unsigned sourceBands = std::min(frame[src1].bands, allBands);
    if (sourceBands < inks || frame[dst].bands < allBands) return ORV_SUCCESS;
    walkRuns<T, T>(
        frame.rects(),
        [=](T* d, const T* s, std::size_t pixels) {
            if (sourceBands == inks) return separateRun<inks>(d, s, pixels, shares);
            separateRun<allBands>(d, s, pixels, shares);
        },
        Operand{&frame[dst], allBands}, Operand{&frame[src1], sourceBands});
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::BlackGeneration8(OrvOp* op, int) noexcept {
    return blackGeneration<Byte>(op, "BlackGeneration8Memory.cc");
}
OrvStatus OrvDeviceComputeTypeMemory::BlackGeneration16(OrvOp* op, int) noexcept {
    return blackGeneration<Short>(op, "BlackGeneration16Memory.cc");
}
