#include "memory/frame/lanes.h"

#include <bit>

#include "memory/frame/band_tables.h"
#include "memory/frame/byte_permutation.h"
#include "memory/frame/sample_rows.h"

namespace orvi::lanes {

#if defined(__AVX512BW__)

namespace {

bool permutesBytes() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512vbmi") != 0;
}

} // namespace

const bool bytePermutation = permutesBytes();

#endif

namespace plain {

namespace {

/// Sum of the powers of 2 whose exponents are multiples of 9: a product with it brings bit 7 - m of a byte to the place
/// of byte m's lowest bit, or the other way round, without carries.
constexpr std::uint64_t diagonal = 0x8040201008040201ULL;
constexpr std::uint64_t lowBits = 0x0101010101010101ULL;

/// Bytes in the order of memory from the lowest on.
std::uint64_t lowestFirst(std::uint64_t word) noexcept {
    return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
}

} // namespace

void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) store(to + 8 * i, lowestFirst(((from[i] * diagonal) >> 7) & lowBits));
}

void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) {
        const std::uint64_t word = lowestFirst(load<std::uint64_t>(from + 8 * i));
        const std::uint64_t set = ((((word & (0x7f * lowBits)) + 0x7f * lowBits) | word) >> 7) & lowBits;
        to[i] = static_cast<std::uint8_t>((set * diagonal) >> 56);
    }
}

void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        band0[i] = from[3 * i];
        band1[i] = from[3 * i + 1];
        band2[i] = from[3 * i + 2];
    }
}

void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        to[3 * i] = band0[i];
        to[3 * i + 1] = band1[i];
        to[3 * i + 2] = band2[i];
    }
}

void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept {
    for (std::size_t i = 0; i < samples; ++i) to[i] = table[from[i]];
}

void mapBytes(std::int16_t* to, const std::uint8_t* from, std::size_t samples, const std::int16_t* table) noexcept {
    for (std::size_t i = 0; i < samples; ++i) to[i] = table[from[i]];
}

void mapThreeBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels,
                   const std::uint8_t* const* tables) noexcept {
    for (std::size_t i = 0; i < 3 * pixels; i += 3) {
        to[i] = tables[0][from[i]];
        to[i + 1] = tables[1][from[i + 1]];
        to[i + 2] = tables[2][from[i + 2]];
    }
}

} // namespace plain

namespace {

#if defined(__AVX2__)

/// Eight bytes made of one: which byte, which of its bits; and eight bytes turned round.
struct Spread {
    alignas(64) std::uint8_t place[64];
    alignas(64) std::uint8_t bit[64];
    alignas(64) std::uint8_t turned[64];

    constexpr Spread() noexcept : place{}, bit{}, turned{} {
        for (unsigned i = 0; i < 64; ++i) {
            place[i] = static_cast<std::uint8_t>(i / 8);
            bit[i] = static_cast<std::uint8_t>(0x80 >> (i % 8));
            turned[i] = static_cast<std::uint8_t>((i % 16) ^ 7);
        }
    }
};
constexpr Spread spread;

/// Shuffles between three planes of 16 samples and the 48 bytes of their pixels. A plane's samples stand at other
/// places in each of the three vectors of 16 bytes, so that one shuffle serves all three: what belongs to a plane is
/// picked by masks before it, or after it on the way back.
struct ThreeBands {
    alignas(64) std::uint8_t owner[3][3][16]; // [vector of the pixels][plane]: 0xff where the byte is the plane's
    alignas(64) std::uint8_t split[3][16];    // [plane]: from the places in the pixels to the order of the plane
    alignas(64) std::uint8_t join[3][16];     // [plane]: the other way round

    constexpr ThreeBands() noexcept : owner{}, split{}, join{} {
        for (unsigned byte = 0; byte < 48; ++byte) {
            const unsigned plane = byte % 3;
            owner[byte / 16][plane][byte % 16] = 0xff;
            split[plane][byte / 3] = static_cast<std::uint8_t>(byte % 16);
            join[plane][byte % 16] = static_cast<std::uint8_t>(byte / 3);
        }
    }
};
constexpr ThreeBands threeBands;
constexpr std::size_t shuffledPixels = 32;

__m256i twice(const std::uint8_t* half) noexcept {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(half)));
}

/// Two halves, the second `distance` bytes after the first.
__m256i loadHalves(const std::uint8_t* from, std::size_t distance) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load<__m128i>(from)), load<__m128i>(from + distance), 1);
}
void storeHalves(std::uint8_t* to, std::size_t distance, __m256i value) noexcept {
    store(to, _mm256_castsi256_si128(value));
    store(to + distance, _mm256_extracti128_si256(value, 1));
}

__m256i shuffled(__m256i value, const std::uint8_t (&places)[16]) noexcept {
    return _mm256_shuffle_epi8(value, twice(places));
}

/// Each byte from the one of three vectors whose mask is set there.
__m256i picked(const __m256i (&parts)[3], const std::uint8_t* mask0, const std::uint8_t* mask1,
               const std::uint8_t* mask2) noexcept {
    return _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(parts[0], twice(mask0)), _mm256_and_si256(parts[1], twice(mask1))),
        _mm256_and_si256(parts[2], twice(mask2)));
}

/// The samples of a plane among the three vectors of the pixels.
__m256i planeOf(const __m256i (&pixels)[3], unsigned plane) noexcept {
    const auto& owner = threeBands.owner;
    return shuffled(picked(pixels, owner[0][plane], owner[1][plane], owner[2][plane]), threeBands.split[plane]);
}

#endif

#if defined(__AVX512BW__)

/// Three vectors made of three others: where each byte comes from. Places count through the first two; bytes of the
/// third are marked.
struct Weave {
    alignas(64) std::uint8_t places[3][64];
    std::uint64_t third[3];

    /// `from` tells the byte, of all 192, that goes to byte `i` of vector `v`.
    template <class From>
    constexpr explicit Weave(From from) noexcept : places{}, third{} {
        for (unsigned v = 0; v < 3; ++v) {
            for (unsigned i = 0; i < 64; ++i) {
                const unsigned place = from(v, i);
                places[v][i] = static_cast<std::uint8_t>(place & 127);
                third[v] |= std::uint64_t{place >= 128} << i;
            }
        }
    }
};
constexpr Weave splitting([](unsigned plane, unsigned pixel) { return 3 * pixel + plane; });
constexpr Weave joining([](unsigned vector, unsigned i) {
    const unsigned byte = 64 * vector + i;
    return byte % 3 * 64 + byte / 3;
});

/// Whole vectors by permutations of bytes; how many pixels that were. `from` and `to` are three addresses each, that
/// move on by a step.
[[gnu::target("avx512vbmi")]] std::size_t weave(const Weave& how, const std::uint8_t* const (&from)[3],
                                                std::size_t fromStep, std::uint8_t* const (&to)[3], std::size_t toStep,
                                                std::size_t pixels) noexcept {
    const Raw places[3] = {load<Raw>(how.places[0]), load<Raw>(how.places[1]), load<Raw>(how.places[2])};
    const std::size_t vectors = pixels / vectorBytes;
    for (std::size_t i = 0; i < vectors; ++i) {
        const Raw in[3] = {load<Raw>(from[0] + i * fromStep), load<Raw>(from[1] + i * fromStep),
                           load<Raw>(from[2] + i * fromStep)};
        for (unsigned v = 0; v < 3; ++v) {
            const Raw most = _mm512_permutex2var_epi8(in[0], places[v], in[1]);
            store(to[v] + i * toStep, _mm512_mask_permutexvar_epi8(most, how.third[v], places[v], in[2]));
        }
    }
    return vectors * vectorBytes;
}

#endif

} // namespace

void spreadBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    std::size_t i = 0;
#if defined(__AVX2__)
    // Each byte of the source eight times, one bit of it each time.
#if defined(__AVX512BW__)
    using Word = long long;
    const auto everywhere = [](Word word) { return _mm512_set1_epi64(word); };
#else
    using Word = int;
    const auto everywhere = [](Word word) { return _mm256_set1_epi32(word); };
#endif
    const Raw places = load<Raw>(spread.place);
    const U8 bits = load<U8>(spread.bit);
    const auto spreadWord = [&](std::size_t at) {
        const Raw copies = ORV_LANES(shuffle_epi8)(everywhere(load<Word>(from + at)), places);
        store(to + 8 * at, smaller<U8>((U8)copies & bits, 1 - U8{}));
    };
    for (; i + sizeof(Word) <= bytes; i += sizeof(Word)) spreadWord(i);
    if (i < bytes && bytes >= sizeof(Word)) return spreadWord(bytes - sizeof(Word));
#endif
    plain::spreadBits(to + 8 * i, from + i, bytes - i);
}

void gatherBits(std::uint8_t* to, const std::uint8_t* from, std::size_t bytes) noexcept {
    std::size_t i = 0;
#if defined(__AVX2__)
    // The first of eight bytes is the highest bit.
    const Raw places = load<Raw>(spread.turned);
    const auto gatherVector = [&](std::size_t at) {
        const U8 turned = (U8)ORV_LANES(shuffle_epi8)(load<Raw>(from + 8 * at), places);
        const std::uint64_t set = ~zeroSamples(turned);
        std::memcpy(to + at, &set, vectorBytes / 8);
    };
    for (; i + vectorBytes / 8 <= bytes; i += vectorBytes / 8) gatherVector(i);
    if (i < bytes && bytes >= vectorBytes / 8) return gatherVector(bytes - vectorBytes / 8);
#endif
    plain::gatherBits(to + i, from + 8 * i, bytes - i);
}

void splitBands(const std::uint8_t* from, std::uint8_t* band0, std::uint8_t* band1, std::uint8_t* band2,
                std::size_t pixels) noexcept {
    std::size_t i = 0;
#if defined(__AVX512BW__)
    if (bytePermutation) i = weave(splitting, {from, from + 64, from + 128}, 192, {band0, band1, band2}, 64, pixels);
#endif
#if defined(__AVX2__)
    for (; i + shuffledPixels <= pixels; i += shuffledPixels) {
        const std::uint8_t* const at = from + 3 * i;
        const __m256i parts[3] = {loadHalves(at, 48), loadHalves(at + 16, 48), loadHalves(at + 32, 48)};
        store(band0 + i, planeOf(parts, 0));
        store(band1 + i, planeOf(parts, 1));
        store(band2 + i, planeOf(parts, 2));
    }
#endif
    plain::splitBands(from + 3 * i, band0 + i, band1 + i, band2 + i, pixels - i);
}

void joinBands(const std::uint8_t* band0, const std::uint8_t* band1, const std::uint8_t* band2, std::uint8_t* to,
               std::size_t pixels) noexcept {
    std::size_t i = 0;
#if defined(__AVX512BW__)
    if (bytePermutation) i = weave(joining, {band0, band1, band2}, 64, {to, to + 64, to + 128}, 192, pixels);
#endif
#if defined(__AVX2__)
    for (; i + shuffledPixels <= pixels; i += shuffledPixels) {
        std::uint8_t* const at = to + 3 * i;
        const __m256i parts[3] = {shuffled(load<__m256i>(band0 + i), threeBands.join[0]),
                                  shuffled(load<__m256i>(band1 + i), threeBands.join[1]),
                                  shuffled(load<__m256i>(band2 + i), threeBands.join[2])};
        for (unsigned vector = 0; vector < 3; ++vector) {
            const auto& owner = threeBands.owner[vector];
            storeHalves(at + std::size_t{16} * vector, 48, picked(parts, owner[0], owner[1], owner[2]));
        }
    }
#endif
    plain::joinBands(band0 + i, band1 + i, band2 + i, to + 3 * i, pixels - i);
}

#if defined(__AVX512BW__)

namespace {

/// Entries of a table of bytes, found as words by a permutation: the table is four vectors of two halves.
class PermutedTable {
public:
    explicit PermutedTable(const std::uint8_t* table) noexcept
        : quarters_{load<Raw>(table), load<Raw>(table + 64), load<Raw>(table + 128), load<Raw>(table + 192)} {}

    /// The entries of 32 words below 256.
    U16 operator()(U16 index) const noexcept {
        const Raw word = (Raw)(index >> 1);
        const Raw low = _mm512_permutex2var_epi16(quarters_[0], word, quarters_[1]);
        const Raw high = _mm512_permutex2var_epi16(quarters_[2], word, quarters_[3]);
        const U16 pair = (U16)_mm512_mask_mov_epi16(low, _mm512_movepi16_mask((Raw)(index << 8)), high);
        return (U16)_mm512_srlv_epi16((Raw)pair, (Raw)((index & 1) << 3)) & 255;
    }

private:
    Raw quarters_[4];
};

[[gnu::flatten, gnu::target("avx512vbmi")]] void permuteBytes(std::uint8_t* to, const std::uint8_t* from,
                                                              std::size_t samples, const std::uint8_t* table) noexcept {
    mapSamples(to, samples, PermutedBytes(table), from);
}

/// The same for a table of shorts, as one of low and one of high bytes.
[[gnu::target("avx512vbmi")]] std::size_t permuteToShorts(std::int16_t* to, const std::uint8_t* from,
                                                          std::size_t samples, const std::int16_t* table) noexcept {
    alignas(64) std::uint8_t bytes[2][256];
    for (int i = 0; i < 256; ++i) {
        bytes[0][i] = static_cast<std::uint8_t>(table[i]);
        bytes[1][i] = static_cast<std::uint8_t>(table[i] >> 8);
    }
    Raw quarters[2][4];
    for (int half = 0; half < 2; ++half) {
        for (int quarter = 0; quarter < 4; ++quarter) {
            quarters[half][quarter] = load<Raw>(bytes[half] + quarter * vectorBytes);
        }
    }
    // Unpacking takes turns with the quarters of a vector.
    const Raw order = _mm512_set_epi64(7, 3, 6, 2, 5, 1, 4, 0);
    std::size_t i = 0;
    for (; i + vectorBytes <= samples; i += vectorBytes) {
        const Raw index = _mm512_maskz_permutexvar_epi64(0xff, order, load<Raw>(from + i));
        Raw found[2];
        for (int half = 0; half < 2; ++half) {
            const Raw low = _mm512_permutex2var_epi8(quarters[half][0], index, quarters[half][1]);
            const Raw high = _mm512_permutex2var_epi8(quarters[half][2], index, quarters[half][3]);
            found[half] = _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(index), high);
        }
        store(to + i, _mm512_unpacklo_epi8(found[0], found[1]));
        store(to + i + vectorBytes / 2, _mm512_unpackhi_epi8(found[0], found[1]));
    }
    return i;
}

} // namespace

void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept {
    constexpr std::size_t worthwhile = 256; // where it takes permutations of words
    std::size_t i = 0;
    if (bytePermutation) {
        permuteBytes(to, from, samples, table);
        return;
    }
    if (samples >= worthwhile) {
        const PermutedTable entries(table);
        for (; i + count<std::uint8_t> <= samples; i += count<std::uint8_t>) {
            const U16 pairs = load<U16>(from + i);
            store(to + i, entries(pairs & 255) | entries(pairs >> 8) << 8);
        }
    }
    plain::mapBytes(to + i, from + i, samples - i, table);
}

void mapBytes(std::int16_t* to, const std::uint8_t* from, std::size_t samples, const std::int16_t* table) noexcept {
    constexpr std::size_t worthwhile = 1024;
    const bool permuted = bytePermutation && samples >= worthwhile;
    const std::size_t done = permuted ? permuteToShorts(to, from, samples, table) : 0;
    plain::mapBytes(to + done, from + done, samples - done, table);
}

void mapThreeBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels,
                   const std::uint8_t* const* tables) noexcept {
    if (permuteBands(to, from, pixels, tables, 3)) return;
    // Where tables fit into vectors of words alone it pays to take the bands apart.
    constexpr std::size_t chunk = 2048;
    std::size_t done = 0;
    std::uint8_t bands[3][chunk];
    for (; done + chunk <= pixels; done += chunk) {
        splitBands(from + 3 * done, bands[0], bands[1], bands[2], chunk);
        for (int band = 0; band < 3; ++band) mapBytes(bands[band], bands[band], chunk, tables[band]);
        joinBands(bands[0], bands[1], bands[2], to + 3 * done, chunk);
    }
    plain::mapThreeBands(to + 3 * done, from + 3 * done, pixels - done, tables);
}

#else

void mapBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t samples, const std::uint8_t* table) noexcept {
    plain::mapBytes(to, from, samples, table);
}

void mapBytes(std::int16_t* to, const std::uint8_t* from, std::size_t samples, const std::int16_t* table) noexcept {
    plain::mapBytes(to, from, samples, table);
}

void mapThreeBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels,
                   const std::uint8_t* const* tables) noexcept {
    plain::mapThreeBands(to, from, pixels, tables);
}

#endif

} // namespace orvi::lanes

namespace orvi {

namespace {

template <class T>
void choose(T* to, const std::uint8_t* bits, std::size_t bytes, T zero, T one) noexcept {
    std::size_t i = 0;
#if defined(__AVX512BW__)
    // A bit of a mask for each sample.
    const auto all = [](T value) { return (lanes::Raw)(value - lanes::Vec<T>{}); };
    const lanes::Raw places = lanes::load<lanes::Raw>(lanes::spread.place);
    const lanes::Raw bit = lanes::load<lanes::Raw>(lanes::spread.bit);
    const lanes::Raw zeros = all(zero);
    const lanes::Raw ones = all(one);
    for (; i + 8 <= bytes; i += 8) {
        const auto eight = _mm512_set1_epi64(lanes::load<long long>(bits + i));
        const std::uint64_t set = _mm512_test_epi8_mask(_mm512_shuffle_epi8(eight, places), bit);
        if constexpr (sizeof(T) == 1) {
            lanes::store(to + 8 * i, _mm512_mask_blend_epi8(set, zeros, ones));
        } else {
            lanes::store(to + 8 * i, _mm512_mask_blend_epi16(static_cast<__mmask32>(set), zeros, ones));
            lanes::store(to + 8 * i + 32, _mm512_mask_blend_epi16(static_cast<__mmask32>(set >> 32), zeros, ones));
        }
    }
#endif
    constexpr std::size_t most = 64;
    std::uint8_t chosen[8 * most];
    while (i < bytes) {
        const std::size_t count = bytes - i < most ? bytes - i : most;
        lanes::spreadBits(chosen, bits + i, count);
        for (std::size_t k = 0; k < 8 * count; ++k) to[8 * i + k] = static_cast<T>(zero ^ ((zero ^ one) & -chosen[k]));
        i += count;
    }
}

} // namespace

void chooseByBits(std::uint8_t* to, const std::uint8_t* bits, std::size_t bytes, std::uint8_t zero,
                  std::uint8_t one) noexcept {
    choose(to, bits, bytes, zero, one);
}
void chooseByBits(std::int16_t* to, const std::uint8_t* bits, std::size_t bytes, std::int16_t zero,
                  std::int16_t one) noexcept {
    choose(to, bits, bytes, zero, one);
}

} // namespace orvi
