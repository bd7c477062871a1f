#include "memory/frame/gaps.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__SSSE3__)
#include <immintrin.h>
#endif

namespace orvi {

namespace {

/// Pixels one by one.
template <std::size_t Size>
void movePixels(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep,
                std::size_t pixels) noexcept {
    for (std::size_t i = 0; i < pixels; ++i, to += toStep, from += fromStep) std::memcpy(to, from, Size);
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

constexpr std::size_t vectorBytes = 16;

/// Vectors of some pixels each, whole as long as neither row ends within one.
struct Groups {
    std::size_t pixels = 0; ///< of a group
    std::size_t count = 0;

    Groups(std::ptrdiff_t step, std::size_t size, std::size_t all) noexcept {
        const auto apart = static_cast<std::size_t>(step);
        if (size == 0 || apart <= size || apart > vectorBytes || all * size < vectorBytes) return;
        pixels = vectorBytes / apart;
        const std::size_t room = (all - 1) * apart + size;
        if (room < vectorBytes) return;
        count = 1 + std::min((room - vectorBytes) / (pixels * apart), (all * size - vectorBytes) / (pixels * size));
    }
};

/// For every byte of a pixel of a group: `use(where it lies apart, where it lies side by side)`.
template <class Use>
void eachByte(const Groups& groups, std::ptrdiff_t step, std::size_t size, Use use) noexcept {
    for (std::size_t pixel = 0; pixel < groups.pixels; ++pixel) {
        for (std::size_t byte = 0; byte < size; ++byte) {
            use(pixel * static_cast<std::size_t>(step) + byte, pixel * size + byte);
        }
    }
}

/// A shuffle that leaves 0 where it is told nothing.
struct Shuffle {
    alignas(vectorBytes) std::uint8_t from[vectorBytes];

    Shuffle() noexcept { std::fill_n(from, vectorBytes, std::uint8_t{0x80}); }
    __m128i operator()(const std::byte* bytes) const noexcept {
        return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)),
                                _mm_load_si128(reinterpret_cast<const __m128i*>(from)));
    }
};

std::size_t closeGroups(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
                        std::size_t pixels) noexcept {
    const Groups groups(step, size, pixels);
    Shuffle shuffle;
    eachByte(groups, step, size, [&](std::size_t apart, std::size_t together) {
        shuffle.from[together] = static_cast<std::uint8_t>(apart);
    });
    const std::size_t fromBytes = groups.pixels * static_cast<std::size_t>(step);
    const std::size_t toBytes = groups.pixels * size;
    for (std::size_t i = 0; i < groups.count; ++i) {
        // What is written beyond the group is written again by the next one.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i * toBytes), shuffle(from + i * fromBytes));
    }
    return groups.count * groups.pixels;
}

#else

std::size_t closeGroups(std::byte*, const std::byte*, std::ptrdiff_t, std::size_t, std::size_t) noexcept { return 0; }

#endif

#if defined(__AVX512BW__) && defined(__AVX512VL__)

std::size_t openGroups(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
                       std::size_t pixels) noexcept {
    const Groups groups(step, size, pixels);
    Shuffle shuffle;
    unsigned samples = 0;
    eachByte(groups, step, size, [&](std::size_t apart, std::size_t together) {
        shuffle.from[apart] = static_cast<std::uint8_t>(together);
        samples |= 1U << apart;
    });
    const std::size_t toBytes = groups.pixels * static_cast<std::size_t>(step);
    const std::size_t fromBytes = groups.pixels * size;
    for (std::size_t i = 0; i < groups.count; ++i) {
        _mm_mask_storeu_epi8(to + i * toBytes, static_cast<__mmask16>(samples), shuffle(from + i * fromBytes));
    }
    return groups.count * groups.pixels;
}

#else

std::size_t openGroups(std::byte*, const std::byte*, std::ptrdiff_t, std::size_t, std::size_t) noexcept { return 0; }

#endif

} // namespace

void closeGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
               std::size_t pixels) noexcept {
    const std::size_t done = closeGroups(to, from, step, size, pixels);
    movePixels(to + done * size, static_cast<std::ptrdiff_t>(size), from + static_cast<std::ptrdiff_t>(done) * step,
               step, size, pixels - done);
}

void openGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
              std::size_t pixels) noexcept {
    const std::size_t done = openGroups(to, from, step, size, pixels);
    movePixels(to + static_cast<std::ptrdiff_t>(done) * step, step, from + done * size,
               static_cast<std::ptrdiff_t>(size), size, pixels - done);
}

} // namespace orvi
