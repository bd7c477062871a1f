#include "memory/frame/gaps.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "memory/frame/byte_permutation.h"
#include "memory/frame/lanes.h"
#include "memory/frame/row_moves.h"

namespace orvi {

namespace {

/// Pixels one by one. Four count from one place: each would wait for the step of the one before.
template <std::size_t Size>
void movePixels(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep,
                std::size_t pixels) noexcept {
    constexpr std::ptrdiff_t group = 4;
    for (; pixels >= std::size_t{group}; pixels -= group, to += group * toStep, from += group * fromStep) {
#pragma GCC unroll 4
        for (std::ptrdiff_t i = 0; i < group; ++i) std::memcpy(to + i * toStep, from + i * fromStep, Size);
    }
    for (; pixels > 0; --pixels, to += toStep, from += fromStep) std::memcpy(to, from, Size);
}

void movePixels(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep, std::size_t size,
                std::size_t pixels) noexcept {
    switch (size) {
    case 1:
        return movePixels<1>(to, toStep, from, fromStep, pixels);
    case 2:
        return movePixels<2>(to, toStep, from, fromStep, pixels);
    case 3:
        return movePixels<3>(to, toStep, from, fromStep, pixels);
    case 4:
        return movePixels<4>(to, toStep, from, fromStep, pixels);
    case 6:
        return movePixels<6>(to, toStep, from, fromStep, pixels);
    case 8:
        return movePixels<8>(to, toStep, from, fromStep, pixels);
    default:
        for (std::size_t i = 0; i < pixels; ++i, to += toStep, from += fromStep) std::memcpy(to, from, size);
    }
}

#if defined(__SSSE3__)

/// Shuffles of bytes stay within this many.
constexpr std::size_t laneBytes = 16;

/// The pixels of a lane, and how often so many lanes of them can be moved before either row ends within a vector.
struct Groups {
    std::size_t pixels = 0; ///< of a lane
    std::size_t apart = 0;  ///< bytes of a lane's pixels with their gaps
    std::size_t together = 0;
    std::size_t lanes;
    std::size_t count = 0;

    Groups(std::ptrdiff_t step, std::size_t size, std::size_t all, std::size_t laneCount) noexcept : lanes(laneCount) {
        const auto distance = static_cast<std::size_t>(step);
        const std::size_t vector = lanes * laneBytes;
        if (size == 0 || distance <= size || distance > laneBytes || all * size < vector) return;
        pixels = laneBytes / distance;
        apart = pixels * distance;
        together = pixels * size;
        const std::size_t room = (all - 1) * distance + size;
        if (room < vector) return;
        count = 1 + std::min((room - vector) / (lanes * apart), (all * size - vector) / (lanes * together));
    }

    std::size_t moved() const noexcept { return count * lanes * pixels; }
};

/// Which byte of a lane each byte of it comes from, for pixels of a size and distance: one kind closes their gaps, the
/// other opens them. What comes from nowhere is 0.
struct Shuffle {
    alignas(laneBytes) std::array<std::uint8_t, laneBytes> close{};
    alignas(laneBytes) std::array<std::uint8_t, laneBytes> open{};
    std::uint16_t samples = 0; ///< the bytes that are samples where they lie apart

    constexpr Shuffle() noexcept = default;
    constexpr Shuffle(std::size_t step, std::size_t size) noexcept {
        close.fill(0x80);
        open.fill(0x80);
        for (std::size_t pixel = 0; pixel < laneBytes / step; ++pixel) {
            for (std::size_t byte = 0; byte < size; ++byte) {
                const std::size_t apart = pixel * step + byte;
                const std::size_t together = pixel * size + byte;
                close[together] = static_cast<std::uint8_t>(apart);
                open[apart] = static_cast<std::uint8_t>(together);
                samples = static_cast<std::uint16_t>(samples | 1U << apart);
            }
        }
    }
};

/// One of them for each distance of pixels and each size below it.
template <class Moves>
using ByStepAndSize = std::array<std::array<Moves, laneBytes>, laneBytes + 1>;

template <class Moves>
constexpr ByStepAndSize<Moves> makeAll() noexcept {
    ByStepAndSize<Moves> all;
    for (std::size_t step = 2; step <= laneBytes; ++step) {
        for (std::size_t size = 1; size < step; ++size) all[step][size] = Moves(step, size);
    }
    return all;
}
constexpr auto shuffles = makeAll<Shuffle>();

const Shuffle& shuffleOf(const Groups& groups) noexcept {
    return shuffles[groups.apart / groups.pixels][groups.together / groups.pixels];
}

__m128i loadLane(const void* bytes) noexcept { return _mm_loadu_si128(static_cast<const __m128i*>(bytes)); }

/// Writes beyond a group are written again by the next one.
std::size_t closeLanes(std::byte* to, const std::byte* from, const Groups& groups) noexcept {
    if (groups.count == 0) return 0;
    const __m128i shuffle = loadLane(shuffleOf(groups).close.data());
    for (std::size_t i = 0; i < groups.count; ++i) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i * groups.together),
                         _mm_shuffle_epi8(loadLane(from + i * groups.apart), shuffle));
    }
    return groups.moved();
}

#endif

#if defined(__AVX2__)

using lanes::Raw;
constexpr std::size_t vectorLanes = lanes::vectorBytes / laneBytes;

/// Whole vectors, where a lane is full of pixels and their samples fill words.
Groups vectorGroups(std::ptrdiff_t step, std::size_t size, std::size_t pixels) noexcept {
    const Groups groups(step, size, pixels, vectorLanes);
    return groups.apart == laneBytes && groups.together % sizeof(std::uint32_t) == 0 ? groups
                                                                                     : Groups(step, 0, 0, vectorLanes);
}

/// Where the words of a vector come from where gaps are closed and where they are opened, for lanes of some words.
struct WordOrder {
    alignas(lanes::vectorBytes) std::array<std::uint32_t, 4 * vectorLanes> close{};
    alignas(lanes::vectorBytes) std::array<std::uint32_t, 4 * vectorLanes> open{};

    constexpr explicit WordOrder(std::size_t words) noexcept {
        for (std::size_t i = 0; i < vectorLanes * words; ++i) {
            const std::size_t apart = i / words * 4 + i % words;
            close[i] = static_cast<std::uint32_t>(apart);
            open[apart] = static_cast<std::uint32_t>(i);
        }
    }
};
constexpr WordOrder wordOrders[] = {WordOrder(0), WordOrder(1), WordOrder(2), WordOrder(3)};

const WordOrder& wordOrderOf(const Groups& groups) noexcept {
    return wordOrders[groups.together / sizeof(std::uint32_t)];
}

Raw inEveryLane(const std::array<std::uint8_t, laneBytes>& shuffle) noexcept {
#if defined(__AVX512BW__)
    return _mm512_maskz_broadcast_i32x4(0xffff, loadLane(shuffle.data()));
#else
    return _mm256_broadcastsi128_si256(loadLane(shuffle.data()));
#endif
}

Raw inOrder(Raw bytes, Raw words) noexcept {
#if defined(__AVX512BW__)
    return _mm512_maskz_permutexvar_epi32(0xffff, words, bytes);
#else
    return _mm256_permutevar8x32_epi32(bytes, words);
#endif
}

std::size_t closeVectors(std::byte* to, const std::byte* from, const Groups& groups) noexcept {
    if (groups.count == 0) return 0;
    const Raw shuffle = inEveryLane(shuffleOf(groups).close);
    const Raw words = lanes::load<Raw>(wordOrderOf(groups).close.data());
    for (std::size_t i = 0; i < groups.count; ++i) {
        const Raw bytes = ORV_LANES(shuffle_epi8)(lanes::load<Raw>(from + i * lanes::vectorBytes), shuffle);
        lanes::store(to + i * vectorLanes * groups.together, inOrder(bytes, words));
    }
    return groups.moved();
}

#endif

#if defined(__SSE2__) && !defined(__SSSE3__)

/// Pixels of one byte, or of two, with a gap of as many: two vectors of them are packed to one. Two vectors end with a
/// gap, which may lie beyond the row: so there must be a pixel behind them.
std::size_t closePairs(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
                       std::size_t pixels) noexcept {
    constexpr std::size_t bytes = sizeof(__m128i);
    if (step != static_cast<std::ptrdiff_t>(2 * size) || size > 2) return 0;
    const std::size_t group = bytes / size;
    std::size_t i = 0;
    for (; i + group < pixels; i += group, to += bytes, from += 2 * bytes) {
        const __m128i lower = lanes::load<__m128i>(from);
        const __m128i upper = lanes::load<__m128i>(from + bytes);
        const auto low = [](__m128i v) { return _mm_and_si128(v, _mm_set1_epi16(0xff)); };
        const auto extended = [](__m128i v) { return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16); };
        lanes::store(to, size == 1 ? _mm_packus_epi16(low(lower), low(upper))
                                   : _mm_packs_epi32(extended(lower), extended(upper)));
    }
    return i;
}

/// Three bytes of four: each half of a vector is written with a rest that the next one covers, so there must be a pixel
/// behind them too.
std::size_t closeThreesOfFour(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
                              std::size_t pixels) noexcept {
    constexpr std::size_t group = 4;
    if (step != 4 || size != 3) return 0;
    const __m128i first = _mm_set1_epi64x(0xffffff);
    const __m128i second = _mm_slli_epi64(first, 24);
    std::size_t i = 0;
    for (; i + group < pixels; i += group, to += group * size, from += sizeof(__m128i)) {
        const __m128i apart = lanes::load<__m128i>(from);
        const __m128i halves =
            _mm_or_si128(_mm_and_si128(apart, first), _mm_and_si128(_mm_srli_epi64(apart, 8), second));
        lanes::store(to, _mm_cvtsi128_si64(halves));
        lanes::store(to + 2 * size, _mm_cvtsi128_si64(_mm_unpackhi_epi64(halves, halves)));
    }
    return i;
}

#endif

std::size_t closeGroups([[maybe_unused]] std::byte* to, [[maybe_unused]] const std::byte* from,
                        [[maybe_unused]] std::ptrdiff_t step, [[maybe_unused]] std::size_t size,
                        [[maybe_unused]] std::size_t pixels) noexcept {
    std::size_t done = 0;
#if defined(__SSE2__) && !defined(__SSSE3__)
    done = size == 3 ? closeThreesOfFour(to, from, step, size, pixels) : closePairs(to, from, step, size, pixels);
#endif
#if defined(__AVX2__)
    done = closeVectors(to, from, vectorGroups(step, size, pixels));
#endif
#if defined(__SSSE3__)
    done += closeLanes(to + done * size, from + static_cast<std::ptrdiff_t>(done) * step,
                       Groups(step, size, pixels - done, 1));
#endif
    return done;
}

#if defined(__AVX512BW__) && defined(__AVX512VL__)

std::size_t openVectors(std::byte* to, const std::byte* from, const Groups& groups) noexcept {
    if (groups.count == 0) return 0;
    const Raw shuffle = inEveryLane(shuffleOf(groups).open);
    const Raw words = lanes::load<Raw>(wordOrderOf(groups).open.data());
    const std::uint64_t samples = shuffleOf(groups).samples * 0x0001000100010001ULL;
    for (std::size_t i = 0; i < groups.count; ++i) {
        const Raw bytes = inOrder(lanes::load<Raw>(from + i * vectorLanes * groups.together), words);
        _mm512_mask_storeu_epi8(to + i * lanes::vectorBytes, samples, _mm512_shuffle_epi8(bytes, shuffle));
    }
    return groups.moved();
}

std::size_t openLanes(std::byte* to, const std::byte* from, const Groups& groups) noexcept {
    if (groups.count == 0) return 0;
    const Shuffle& bytes = shuffleOf(groups);
    const __m128i shuffle = loadLane(bytes.open.data());
    for (std::size_t i = 0; i < groups.count; ++i) {
        _mm_mask_storeu_epi8(to + i * groups.apart, bytes.samples,
                             _mm_shuffle_epi8(loadLane(from + i * groups.together), shuffle));
    }
    return groups.moved();
}

std::size_t openGroups(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
                       std::size_t pixels) noexcept {
    const std::size_t done = openVectors(to, from, vectorGroups(step, size, pixels));
    return done + openLanes(to + static_cast<std::ptrdiff_t>(done) * step, from + done * size,
                            Groups(step, size, pixels - done, 1));
}

#else

/// Without stores of single bytes under a mask every pixel takes a store of its own: two of them a cycle are the limit.
std::size_t openGroups(std::byte*, const std::byte*, std::ptrdiff_t, std::size_t, std::size_t) noexcept { return 0; }

#endif

#if defined(__AVX512BW__)

/// The lowest bytes of a vector.
std::uint64_t lowBytes(std::size_t count) noexcept {
    return count < lanes::vectorBytes ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
}

constexpr std::uint64_t everyByte = ~std::uint64_t{0};
/// How far ahead lines are asked for, those too that are written: under a mask they must be there.
constexpr std::size_t ahead = 16 * cacheLine;

/// Where the bytes of a vector come from, for pixels of a size and distance: as many as fit with their gaps.
struct Permutation {
    alignas(lanes::vectorBytes) std::array<std::uint8_t, lanes::vectorBytes> close{};
    alignas(lanes::vectorBytes) std::array<std::uint8_t, lanes::vectorBytes> open{};
    std::uint64_t samples = 0; ///< the bytes that are samples where they lie apart
    std::size_t pixels = 0;

    constexpr Permutation() noexcept = default;
    constexpr Permutation(std::size_t step, std::size_t size) noexcept : pixels(lanes::vectorBytes / step) {
        for (std::size_t i = 0; i < lanes::vectorBytes; ++i) {
            // Places count modulo the vector's bytes: where two vectors make one, both have the same.
            close[i] = static_cast<std::uint8_t>((i / size * step + i % size) % lanes::vectorBytes);
            open[i] = static_cast<std::uint8_t>((i / step * size + i % step) % lanes::vectorBytes);
            if (i % step < size && i / step < pixels) samples |= std::uint64_t{1} << i;
        }
    }
};

constexpr auto permutations = makeAll<Permutation>();

bool permutes(std::ptrdiff_t step, std::size_t size) noexcept {
    return lanes::bytePermutation && size > 0 && step <= static_cast<std::ptrdiff_t>(laneBytes) &&
           static_cast<std::ptrdiff_t>(size) < step;
}

[[gnu::target("avx512vbmi")]] void closePermuted(std::byte* to, const std::byte* from, std::size_t step,
                                                 std::size_t size, std::size_t pixels) noexcept {
    const Permutation& permutation = permutations[step][size];
    const Raw places = lanes::load<Raw>(permutation.close.data());
    const std::size_t group = permutation.pixels;
    constexpr std::size_t bytes = lanes::vectorBytes;
    // No load may reach beyond the last sample, and no store beyond the last place.
    if (2 * group * size == bytes && group * step == bytes) {
        constexpr std::uint64_t upper = 0xffffffff00000000;
        for (; pixels > 2 * group; pixels -= 2 * group, to += bytes, from += 2 * bytes) {
            const Raw lower = _mm512_maskz_permutexvar_epi8(everyByte, places, lanes::load<Raw>(from));
            lanes::store(to, _mm512_mask_permutexvar_epi8(lower, upper, places, lanes::load<Raw>(from + bytes)));
        }
    }
    for (; pixels * size >= bytes && pixels > group; pixels -= group, to += group * size, from += group * step) {
        __builtin_prefetch(from + ahead);
        lanes::store(to, _mm512_maskz_permutexvar_epi8(everyByte, places, lanes::load<Raw>(from)));
    }
    for (; pixels > 0; to += group * size, from += group * step) {
        const std::size_t now = std::min(group, pixels);
        const Raw apart = _mm512_maskz_loadu_epi8(lowBytes((now - 1) * step + size), from);
        _mm512_mask_storeu_epi8(to, lowBytes(now * size), _mm512_maskz_permutexvar_epi8(everyByte, places, apart));
        pixels -= now;
    }
}

/// Masked stores that stay within lines take half the time of others.
std::size_t pixelsBeforeLine(const std::byte* to, std::size_t step, std::size_t pixels) noexcept {
    const std::size_t bytes = beforeLine(to);
    return lanes::vectorBytes % step == 0 && bytes % step == 0 ? std::min(pixels, bytes / step) : 0;
}

[[gnu::target("avx512vbmi")]] void openPermuted(std::byte* to, const std::byte* from, std::size_t step,
                                                std::size_t size, std::size_t pixels) noexcept {
    const Permutation& permutation = permutations[step][size];
    const Raw places = lanes::load<Raw>(permutation.open.data());
    const std::uint64_t samples = permutation.samples;
    const std::size_t group = permutation.pixels;
    const auto some = [&](std::size_t now) __attribute__((target("avx512vbmi"))) {
        const Raw together = _mm512_maskz_loadu_epi8(lowBytes(now * size), from);
        _mm512_mask_storeu_epi8(to, samples & lowBytes(now * step),
                                _mm512_maskz_permutexvar_epi8(everyByte, places, together));
        to += now * step;
        from += now * size;
        pixels -= now;
    };
    some(pixelsBeforeLine(to, step, pixels));
    for (; pixels * size >= lanes::vectorBytes; pixels -= group, to += group * step, from += group * size) {
        __builtin_prefetch(to + ahead, 1);
        _mm512_mask_storeu_epi8(to, samples, _mm512_maskz_permutexvar_epi8(everyByte, places, lanes::load<Raw>(from)));
    }
    while (pixels > 0) some(std::min(group, pixels));
}

/// Pixels equally far apart in both rows.
void copyMasked(std::byte* to, const std::byte* from, std::size_t step, std::size_t size, std::size_t pixels) noexcept {
    const std::uint64_t samples = permutations[step][size].samples;
    const std::size_t group = permutations[step][size].pixels;
    const auto some = [&](std::size_t now) {
        const std::uint64_t mask = samples & lowBytes(now * step);
        _mm512_mask_storeu_epi8(to, mask, _mm512_maskz_loadu_epi8(mask, from));
        to += now * step;
        from += now * step;
        pixels -= now;
    };
    some(pixelsBeforeLine(to, step, pixels));
    for (; pixels >= group; pixels -= group, to += group * step, from += group * step) {
        __builtin_prefetch(to + ahead, 1);
        _mm512_mask_storeu_epi8(to, samples, _mm512_maskz_loadu_epi8(samples, from));
    }
    if (pixels > 0) some(pixels);
}

/// Where the bytes of a vector come from, for as many pixels of a distance as fit, in the opposite order.
struct Reversal {
    alignas(lanes::vectorBytes) std::array<std::uint8_t, lanes::vectorBytes> places{};

    constexpr Reversal() noexcept = default;
    constexpr explicit Reversal(std::size_t step) noexcept {
        const std::size_t pixels = lanes::vectorBytes / step;
        for (std::size_t i = 0; i < pixels * step; ++i) {
            places[i] = static_cast<std::uint8_t>((pixels - 1 - i / step) * step + i % step);
        }
    }
};
constexpr auto reversals = [] {
    std::array<Reversal, laneBytes + 1> all;
    for (std::size_t step = 2; step <= laneBytes; ++step) all[step] = Reversal(step);
    return all;
}();

[[gnu::target("avx512vbmi")]] void reversePermuted(std::byte* to, const std::byte* from, std::size_t step,
                                                   std::size_t size, std::size_t pixels) noexcept {
    const Raw places = lanes::load<Raw>(reversals[step].places.data());
    const std::uint64_t samples = permutations[step][size].samples;
    const std::size_t group = permutations[step][size].pixels;
    from -= (group - 1) * step;
    const auto some = [&](std::size_t now) __attribute__((target("avx512vbmi"))) {
        const Raw apart = _mm512_maskz_loadu_epi8(samples & ~lowBytes((group - now) * step), from);
        _mm512_mask_storeu_epi8(to, samples & lowBytes(now * step),
                                _mm512_maskz_permutexvar_epi8(everyByte, places, apart));
        to += now * step;
        from -= now * step;
        pixels -= now;
    };
    some(pixelsBeforeLine(to, step, pixels));
    while (pixels >= group) {
        __builtin_prefetch(to + ahead, 1);
        some(group);
    }
    if (pixels > 0) some(pixels);
}

#endif

#if defined(__AVX512BW__)
constexpr bool byBlocks = true;
#else
constexpr bool byBlocks = false; // without masked stores a block is no faster than its pixels
#endif

} // namespace

void closeGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
               std::size_t pixels) noexcept {
#if defined(__AVX512BW__)
    if (permutes(step, size)) return closePermuted(to, from, static_cast<std::size_t>(step), size, pixels);
#endif
    const std::size_t done = closeGroups(to, from, step, size, pixels);
    movePixels(to + done * size, static_cast<std::ptrdiff_t>(size), from + static_cast<std::ptrdiff_t>(done) * step,
               step, size, pixels - done);
}

void openGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
              std::size_t pixels) noexcept {
#if defined(__AVX512BW__)
    if (permutes(step, size)) return openPermuted(to, from, static_cast<std::size_t>(step), size, pixels);
#endif
    const std::size_t done = openGroups(to, from, step, size, pixels);
    movePixels(to + static_cast<std::ptrdiff_t>(done) * step, step, from + done * size,
               static_cast<std::ptrdiff_t>(size), size, pixels - done);
}

void copyAcrossGaps(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep,
                    std::size_t size, std::size_t pixels) noexcept {
    const auto dense = static_cast<std::ptrdiff_t>(size);
    if (toStep == dense && fromStep == dense) {
        if (size > 0) std::memcpy(to, from, pixels * size);
        return;
    }
    if (toStep == dense) return closeGaps(to, from, fromStep, size, pixels);
    if (fromStep == dense) return openGaps(to, from, toStep, size, pixels);
#if defined(__AVX512BW__)
    if (toStep == fromStep && permutes(toStep, size)) {
        return copyMasked(to, from, static_cast<std::size_t>(toStep), size, pixels);
    }
#endif
    constexpr std::size_t block = 4096;
    const std::size_t most = size > 0 && byBlocks ? block / size : 0;
    if (most == 0) return movePixels(to, toStep, from, fromStep, size, pixels);
    alignas(64) std::byte together[block];
    for (std::size_t done = 0; done < pixels; done += most) {
        const std::size_t now = std::min(most, pixels - done);
        closeGaps(together, from + static_cast<std::ptrdiff_t>(done) * fromStep, fromStep, size, now);
        openGaps(to + static_cast<std::ptrdiff_t>(done) * toStep, together, toStep, size, now);
    }
}

bool reverseAcrossGaps([[maybe_unused]] std::byte* to, [[maybe_unused]] const std::byte* from,
                       [[maybe_unused]] std::ptrdiff_t step, [[maybe_unused]] std::size_t size,
                       [[maybe_unused]] std::size_t pixels) noexcept {
#if defined(__AVX512BW__)
    if (permutes(step, size)) return reversePermuted(to, from, static_cast<std::size_t>(step), size, pixels), true;
#endif
    return false;
}

} // namespace orvi
