// Conversion of the data type without any scaling: a sample keeps its value or its low bits.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "memory/frame/BandPattern.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/apart_rows.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/sample_bits.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/beside_bits.h"

namespace {

using namespace orvi;
using Byte = std::uint8_t;
using Short = std::int16_t;

/// Three members report a missing source with the id that others have for the list, as intended.
template <class S, class D>
constexpr Fetch listIdFetches[] = {
    {src1, dataTypeOf<S>, {"di-12", 1, 0}, src1},
    {dst, dataTypeOf<D>, {"di-10", 1, 0}, dst},
};

template <class S, class D>
constexpr FrameFacts withListId(const char* file) noexcept {
    return {file, listIdFetches<S, D>, {"di-12", 0, 0}, src1};
}

bool sameTypes(Frame& frame) noexcept { return frame.image(src1)->getDataType() == frame.image(dst)->getDataType(); }

#if defined(__AVX512BW__)

/// The low bits of a vector of samples, the first one's the highest of the lowest byte.
template <class T>
std::uint64_t lowBits(const T* from) noexcept {
    const lanes::Raw samples = loadTurned(from);
    if constexpr (sizeof(T) == 1) return _mm512_test_epi8_mask(samples, _mm512_set1_epi8(1));
    if constexpr (sizeof(T) == 2) return _mm512_test_epi16_mask(samples, _mm512_set1_epi16(1));
}

template <class T>
void packLowBits(BitPosition to, const T* from, std::size_t pixels) noexcept {
    packSamples(to, from, pixels, [](const T* samples) { return lowBits(samples); });
}

/// A vector of bytes with the last first.
lanes::Raw reversed(lanes::Raw v) noexcept {
    constexpr long long first = 0x08090a0b0c0d0e0f;
    constexpr long long second = 0x0001020304050607;
    const lanes::Raw order = _mm512_set_epi64(second, first, second, first, second, first, second, first);
    const lanes::Raw within = _mm512_shuffle_epi8(v, order);
    return _mm512_maskz_shuffle_i64x2(0xff, within, within, 0b00011011);
}

/// The low bits of three bands, by three vectors of pixels that begin with the last: the bits of a band stand at every
/// third place of their masks, and come together from there.
class ThreePlanes {
public:
    explicit ThreePlanes(std::ptrdiff_t stride) noexcept : stride_(stride) {}

    void operator()(BitPosition to, const Byte* from, std::size_t pixels) const noexcept {
        constexpr std::size_t n = lanes::vectorBytes;
        const auto few = [&](std::size_t count) {
            Byte samples[bands * n] = {};
            std::memcpy(samples, from, bands * count);
            const Words words = wordsOf(samples);
            for (std::size_t band = 0; band < bands; ++band) {
                Byte bytes[sizeof words.of[band]];
                std::memcpy(bytes, &words.of[band], sizeof bytes);
                orv_bit_memcpy(bytes, plane(to, band).byte, static_cast<unsigned>(count), 0, to.offset);
            }
            from += bands * count;
            pixels -= count;
        };
        if (to.offset != 0) {
            few(std::min<std::size_t>(pixels, bitsOfByte - to.offset));
            to = {to.byte + 1, 0};
        }
        for (; pixels >= n; pixels -= n, from += bands * n, to.byte += n / bitsOfByte) {
            const Words words = wordsOf(from);
            for (std::size_t band = 0; band < bands; ++band) {
                std::memcpy(plane(to, band).byte, &words.of[band], n / bitsOfByte);
            }
        }
        if (pixels > 0) few(pixels);
    }

private:
    static constexpr std::size_t bands = 3;
    struct Words {
        std::uint64_t of[bands]; ///< the first pixel's bit the highest of the lowest byte
    };

    BitPosition plane(BitPosition first, std::size_t band) const noexcept {
        return {first.byte + static_cast<std::ptrdiff_t>(band) * stride_, first.offset};
    }

    static Words wordsOf(const Byte* from) noexcept {
        constexpr std::uint64_t everyThird[bands] = {0x9249249249249249, 0x2492492492492492, 0x4924924924924924};
        constexpr int bits[bands] = {22, 21, 21};
        std::uint64_t set[bands];
        for (std::size_t v = 0; v < bands; ++v) {
            const lanes::Raw samples = reversed(lanes::load<lanes::Raw>(from + (bands - 1 - v) * lanes::vectorBytes));
            set[v] = _mm512_test_epi8_mask(samples, _mm512_set1_epi8(1));
        }
        Words words{};
        for (std::size_t band = 0; band < bands; ++band) {
            int place = 0;
            for (std::size_t v = 0; v < bands; ++v) {
                const std::size_t first = (2 * bands - 1 - band - v) % bands;
                words.of[band] |= _pext_u64(set[v], everyThird[first]) << place;
                place += bits[first];
            }
            words.of[band] = __builtin_bswap64(words.of[band]);
        }
        return words;
    }

    std::ptrdiff_t stride_;
};

/// Which byte each of a vector of shorts takes its bit from, and which bit.
struct Spread {
    alignas(64) Byte places[64];
    alignas(64) std::uint16_t bit[32];

    constexpr Spread() noexcept : places{}, bit{} {
        for (unsigned i = 0; i < 32; ++i) {
            places[2 * i] = static_cast<Byte>(i / bitsOfByte);
            places[2 * i + 1] = 0x80;
            bit[i] = static_cast<std::uint16_t>(0x80 >> (i % bitsOfByte));
        }
    }
};
constexpr Spread spread;

void unpackToShorts(Short* to, BitPosition from, std::size_t pixels) noexcept {
    const auto few = [&](std::size_t count) {
        Byte bytes[lanes::count<Byte>];
        unpackBits(from.byte, from.offset, bytes, 1, count);
        for (std::size_t i = 0; i < count; ++i) to[i] = bytes[i];
        to += count;
        pixels -= count;
    };
    if (from.offset != 0) {
        few(std::min<std::size_t>(pixels, bitsOfByte - from.offset));
        from = {from.byte + 1, 0};
    }
    const lanes::Raw places = lanes::load<lanes::Raw>(spread.places);
    const lanes::U16 bit = lanes::load<lanes::U16>(spread.bit);
    constexpr std::size_t n = lanes::count<Short>;
    const std::size_t whole = pixels / n * n;
    for (std::size_t i = 0; i < whole; i += n, from.byte += bytesOfVector<Short>) {
        const lanes::Raw copies = _mm512_shuffle_epi8(_mm512_set1_epi32(lanes::load<int>(from.byte)), places);
        lanes::store(to + i, lanes::smaller<lanes::U16>((lanes::U16)copies & bit, 1 - lanes::U16{}));
    }
    to += whole;
    pixels -= whole;
    if (pixels > 0) few(pixels);
}

constexpr auto asMade = [](auto made) noexcept { return made; };

/// Bytes as shorts.
struct WidenRow {
    template <class Lines>
    void operator()(const Lines& lines, Short* d, const Byte* s) const noexcept {
        constexpr __mmask32 all = 0xffffffff;
        const auto load = [s](std::ptrdiff_t i) {
            fetchAhead<1>(s + i);
            return (lanes::I16)_mm512_maskz_cvtepu8_epi16(all, lanes::load<__m256i>(s + i));
        };
        const auto some = [s](std::ptrdiff_t i, std::uint64_t which) {
            const lanes::U8 bytes = loadSome(s + i, which & all);
            return (lanes::I16)_mm512_maskz_cvtepu8_epi16(all, lanes::load<__m256i>(&bytes));
        };
        makeLines(lines, d, PowerOfTwo{1}, load, some, asMade);
    }
};

/// The same where the pixels of both lie equally far apart; false where they do not.
bool widenedApart(Frame& frame, unsigned bands) noexcept {
    const ImageOf<Short> to{frame[dst]};
    const ImageOf<Byte> from{frame[src1]};
    if (stepApart(bands, to, from) == 0) return false;
    walkApart(frame.rects(), bands, WidenRow{}, to, from);
    return true;
}

lanes::U8 lowBytes(lanes::I16 first, lanes::I16 second) noexcept {
    // Narrowing takes turns with the quarters of its operands.
    const lanes::Raw inTurns = _mm512_packus_epi16((lanes::Raw)(first & 255), (lanes::Raw)(second & 255));
    return (lanes::U8)_mm512_maskz_permutexvar_epi64(0xff, _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0), inTurns);
}

void keepWhole(Byte* to, const Short* from, std::size_t samples) noexcept {
    if (samples == 0) return;
    constexpr std::ptrdiff_t half = lanes::count<Short>;
    const auto load = [from](std::ptrdiff_t i) {
        fetchAhead<2>(from + i);
        return lowBytes(loadOnce<lanes::I16>(from + i), loadOnce<lanes::I16>(from + i + half));
    };
    const auto some = [from](std::ptrdiff_t i, std::uint64_t which) {
        return lowBytes(loadSome(from + i, which), loadSome(from + i + half, which >> half));
    };
    makeLines(RowLines<Byte>(to, samples), to, PowerOfTwo{1}, load, some, asMade);
}

void keepWhole(Short* to, const Byte* from, std::size_t samples) noexcept {
    if (samples > 0) WidenRow{}(RowLines<Short>(to, samples), to, from);
}

#else

template <class D, class S>
void keepWhole(D* to, const S* from, std::size_t samples) noexcept {
    for (std::size_t i = 0; i < samples; ++i) to[i] = static_cast<D>(from[i]);
}

#endif

/// Conversions that need no walk; false where there is none for the images.
template <class S, class D>
bool convertRuns([[maybe_unused]] Frame& frame, [[maybe_unused]] unsigned bands) noexcept {
#if defined(__AVX512BW__)
    if constexpr (std::is_same_v<S, Byte> && std::is_same_v<D, Short>) return widenedApart(frame, bands);
    if constexpr (std::is_same_v<S, Byte> && std::is_same_v<D, Bit>) {
        if (bands == 3) return besideBits<S>(frame, frame[dst], frame[src1], bands, ThreePlanes(frame[dst].bandStride));
    }
    if (bands != 1) return false;
    if constexpr (std::is_same_v<D, Bit>) {
        return besideBits<S>(frame, frame[dst], frame[src1], bands, packLowBits<S>);
    } else if constexpr (std::is_same_v<S, Bit> && std::is_same_v<D, Short>) {
        return besideBits<D>(frame, frame[src1], frame[dst], bands,
                             [](BitPosition from, Short* to, std::size_t pixels) { unpackToShorts(to, from, pixels); });
    }
#endif
    return false;
}

/// d = the low bits of s, or s itself.
template <class S, class D, class Cut>
OrvStatus convert(Frame& frame, const FrameFacts& facts, Cut cut) noexcept {
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    if (convertRuns<S, D>(frame, bands)) return ORV_SUCCESS;
    walkRuns<D, S>(
        frame.rects(),
        [cut, bands](SampleOf<D>* d, const SampleOf<S>* s, std::size_t pixels) {
            // The bound stands in a variable of its own: bytes that are written may be any object's.
            const std::size_t samples = pixels * bands;
            if constexpr (!std::is_same_v<S, Bit> && !std::is_same_v<D, Bit>) return keepWhole(d, s, samples);
            for (std::size_t i = 0; i < samples; ++i) d[i] = static_cast<SampleOf<D>>(cut(s[i]));
        },
        Operand{&frame[dst], bands}, Operand{&frame[src1], bands});
    return ORV_SUCCESS;
}

constexpr auto whole = [](auto sample) noexcept { return sample; };
constexpr auto lowBit = [](auto sample) noexcept { return sample & 1; };

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Convert1to8(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    if (frame.open(withListId<Bit, Byte>("Convert1to8Memory.cc")) != ORV_SUCCESS) return ORV_FAILURE;
    const Raster& to = frame[dst];
    const unsigned bands = commonBands(to, frame[src1]);
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < bands; ++band) {
            for (long y = rect.y; y < rect.y + static_cast<long>(rect.height); ++y) {
                const BitPosition from = frame[src1].bit(rect.x, y, band);
                unpackBits(from.byte, from.offset, to.at<Byte>(rect.x, y) + band, static_cast<std::size_t>(to.pixel),
                           rect.width);
            }
        }
    }
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Convert1to16(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    return convert<Bit, Short>(frame, withListId<Bit, Short>("Convert1to16Memory.cc"), whole);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert8to1(OrvOp* op, int) noexcept {
    Frame frame(op);
    return convert<Byte, Bit>(frame, withListId<Byte, Bit>("Convert8to1Memory.cc"), lowBit);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert16to1(OrvOp* op, int) noexcept {
    Frame frame(op);
    return convert<Short, Bit>(frame, oneSource<Short, Bit>("Convert16to1Memory.cc"), lowBit);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert16to8(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    return convert<Short, Byte>(frame, oneSource<Short, Byte>("Convert16to8Memory.cc"), whole);
}

OrvStatus OrvDeviceComputeTypeMemory::Convert8to16(OrvOp* op, int) noexcept {
    Frame frame(op);
    if (sameTypes(frame)) return ORV_SUCCESS;
    return convert<Byte, Short>(frame, oneSource<Byte, Short>("Convert8to16Memory.cc"), whole);
}
