#include "memory/frame/row_moves.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "memory/frame/lanes.h"

namespace orvi {

namespace {

template <class T>
void repeatEach(T* to, const T* from, std::size_t samples) noexcept {
    for (std::size_t i = 0; i < samples; ++i, to += 3) to[0] = to[1] = to[2] = from[i];
}

} // namespace

namespace plain {

void repeatThrice(std::uint8_t* to, const std::uint8_t* from, std::size_t samples) noexcept {
    repeatEach(to, from, samples);
}
void repeatThrice(std::int16_t* to, const std::int16_t* from, std::size_t samples) noexcept {
    repeatEach(to, from, samples);
}

void splitThreeOfFour(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                      std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        band0[i] = from[4 * i];
        band1[i] = from[4 * i + 1];
        band2[i] = from[4 * i + 2];
    }
}

void joinFour(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2,
              const std::uint8_t* band3, std::uint8_t* to, std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        to[4 * i] = band0[i];
        to[4 * i + 1] = band1[i];
        to[4 * i + 2] = band2[i];
        to[4 * i + 3] = band3[i];
    }
}

} // namespace plain

#if defined(__AVX512BW__)

namespace {

using lanes::load;
using lanes::Raw;
using lanes::store;
using lanes::vectorBytes;

/// Three vectors of samples of a size, each three times, made of one. Shuffles of bytes do not leave a part of 16
/// bytes: its words come first.
struct Repeats {
    alignas(64) std::int32_t words[3][16];
    alignas(64) std::uint8_t bytes[3][64];

    constexpr explicit Repeats(unsigned size) noexcept : words{}, bytes{} {
        const auto source = [size](unsigned byte) { return byte / size / 3 * size + byte % size; };
        for (unsigned byte = 0; byte < 192; ++byte) {
            const unsigned firstWord = source(byte / 16 * 16) / 4;
            bytes[byte / 64][byte % 64] = static_cast<std::uint8_t>(source(byte) - 4 * firstWord);
            const unsigned word = std::min(firstWord + byte / 4 % 4, 15U);
            words[byte / 64][byte / 4 % 16] = static_cast<std::int32_t>(word);
        }
    }
};
template <class T>
constexpr Repeats repeats(sizeof(T));

template <class T>
void repeatVectors(T* to, const T* from, std::size_t samples) noexcept {
    const auto& how = repeats<T>;
    const Raw words[3] = {load<Raw>(how.words[0]), load<Raw>(how.words[1]), load<Raw>(how.words[2])};
    const Raw bytes[3] = {load<Raw>(how.bytes[0]), load<Raw>(how.bytes[1]), load<Raw>(how.bytes[2])};
    constexpr std::size_t n = lanes::count<T>;
    std::size_t i = 0;
    for (; i + n <= samples; i += n) {
        const Raw source = load<Raw>(from + i);
        for (std::size_t v = 0; v < 3; ++v) {
            const Raw part = _mm512_maskz_permutexvar_epi32(0xffff, words[v], source);
            store(to + 3 * i + v * n, _mm512_shuffle_epi8(part, bytes[v]));
        }
    }
    repeatEach(to + 3 * i, from + i, samples - i);
}

/// The words of a vector as those of a square of four by four with rows and columns exchanged, and the bytes of each
/// part of 16 likewise.
struct Exchanged {
    alignas(64) std::int32_t words[16];
    alignas(64) std::uint8_t bytes[64];

    constexpr Exchanged() noexcept : words{}, bytes{} {
        for (int i = 0; i < 16; ++i) words[i] = i % 4 * 4 + i / 4;
        for (int i = 0; i < 64; ++i) bytes[i] = static_cast<std::uint8_t>(i % 4 * 4 + i % 16 / 4);
    }
};
constexpr Exchanged exchanged;

Raw exchangeWords(Raw v) noexcept { return _mm512_maskz_permutexvar_epi32(0xffff, load<Raw>(exchanged.words), v); }

constexpr std::uint64_t everyByte = ~std::uint64_t{0};
constexpr __mmask32 everyShort = 0xffffffff;
constexpr __mmask16 everyWord = 0xffff;
constexpr __mmask8 everyHalf = 0xff;

} // namespace

void splitThreeOfFour(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                      std::size_t pixels) noexcept {
    const Raw bytes = load<Raw>(exchanged.bytes);
    std::size_t i = 0;
    for (; i + vectorBytes <= pixels; i += vectorBytes) {
        // Each part holds words of four samples of a band: two vectors' first two bands, then four vectors' one.
        const auto part = [&](std::size_t v) {
            return _mm512_shuffle_epi8(load<Raw>(from + 4 * i + v * vectorBytes), bytes);
        };
        const Raw v[4] = {part(0), part(1), part(2), part(3)};
        const Raw low01 = _mm512_maskz_unpacklo_epi32(everyWord, v[0], v[1]);
        const Raw low23 = _mm512_maskz_unpacklo_epi32(everyWord, v[2], v[3]);
        const Raw high01 = _mm512_maskz_unpackhi_epi32(everyWord, v[0], v[1]);
        const Raw high23 = _mm512_maskz_unpackhi_epi32(everyWord, v[2], v[3]);
        store(band0 + i, exchangeWords(_mm512_maskz_unpacklo_epi64(everyHalf, low01, low23)));
        store(band1 + i, exchangeWords(_mm512_maskz_unpackhi_epi64(everyHalf, low01, low23)));
        store(band2 + i, exchangeWords(_mm512_maskz_unpacklo_epi64(everyHalf, high01, high23)));
    }
    plain::splitThreeOfFour(from + 4 * i, band0 + i, band1 + i, band2 + i, pixels - i);
}

void joinFour(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2,
              const std::uint8_t* band3, std::uint8_t* to, std::size_t pixels) noexcept {
    std::size_t i = 0;
    for (; i + vectorBytes <= pixels; i += vectorBytes) {
        const auto band = [i](const std::uint8_t* samples) { return exchangeWords(load<Raw>(samples + i)); };
        const Raw bands[4] = {band(band0), band(band1), band(band2), band(band3)};
        const Raw low01 = _mm512_maskz_unpacklo_epi8(everyByte, bands[0], bands[1]);
        const Raw low23 = _mm512_maskz_unpacklo_epi8(everyByte, bands[2], bands[3]);
        const Raw high01 = _mm512_maskz_unpackhi_epi8(everyByte, bands[0], bands[1]);
        const Raw high23 = _mm512_maskz_unpackhi_epi8(everyByte, bands[2], bands[3]);
        std::uint8_t* const at = to + 4 * i;
        store(at, _mm512_maskz_unpacklo_epi16(everyShort, low01, low23));
        store(at + vectorBytes, _mm512_maskz_unpackhi_epi16(everyShort, low01, low23));
        store(at + 2 * vectorBytes, _mm512_maskz_unpacklo_epi16(everyShort, high01, high23));
        store(at + 3 * vectorBytes, _mm512_maskz_unpackhi_epi16(everyShort, high01, high23));
    }
    plain::joinFour(band0 + i, band1 + i, band2 + i, band3 + i, to + 4 * i, pixels - i);
}

void repeatThrice(std::uint8_t* to, const std::uint8_t* from, std::size_t samples) noexcept {
    repeatVectors(to, from, samples);
}
void repeatThrice(std::int16_t* to, const std::int16_t* from, std::size_t samples) noexcept {
    repeatVectors(to, from, samples);
}

void copyPast(void* to, const void* from, std::size_t bytes) noexcept {
    auto* target = static_cast<std::byte*>(to);
    const auto* source = static_cast<const std::byte*>(from);
    std::size_t i = std::min(bytes, beforeLine(target));
    if (i > 0) std::memcpy(target, source, i);
    for (; i + vectorBytes <= bytes; i += vectorBytes) {
        _mm512_stream_si512(reinterpret_cast<Raw*>(target + i), load<Raw>(source + i));
    }
    if (i < bytes) std::memcpy(target + i, source + i, bytes - i);
}

void endPast() noexcept { _mm_sfence(); }

#else

void repeatThrice(std::uint8_t* to, const std::uint8_t* from, std::size_t samples) noexcept {
    lanes::joinBands(from, from, from, to, samples);
}
void repeatThrice(std::int16_t* to, const std::int16_t* from, std::size_t samples) noexcept {
    plain::repeatThrice(to, from, samples);
}
void copyPast(void* to, const void* from, std::size_t bytes) noexcept { std::memcpy(to, from, bytes); }
void endPast() noexcept {}
void splitThreeOfFour(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                      std::size_t pixels) noexcept {
    plain::splitThreeOfFour(from, band0, band1, band2, pixels);
}
void joinFour(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2,
              const std::uint8_t* band3, std::uint8_t* to, std::size_t pixels) noexcept {
    plain::joinFour(band0, band1, band2, band3, to, pixels);
}

#endif

void copyLinesPast(std::byte* to, std::ptrdiff_t stride, const std::byte* from, std::size_t bytes,
                   std::size_t rows) noexcept {
    for (; rows > 0; --rows, to += stride, from += bytes) copyPast(to, from, bytes);
}

} // namespace orvi
