// Samples that become bits, the first of eight the highest of a byte.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/frame/lanes.h"

#if defined(__AVX512BW__)

namespace orvi {

/// Places of bytes that turn every eight samples round: masks begin with their lowest bit.
template <class T>
struct TurnedSamples {
    alignas(64) std::uint8_t places[64];

    constexpr TurnedSamples() noexcept : places{} {
        constexpr unsigned size = sizeof(T);
        for (unsigned i = 0; i < 64; ++i) {
            places[i] = static_cast<std::uint8_t>(i % 16 / (8 * size) * 8 * size + (7 - i % (8 * size) / size) * size +
                                                  i % size);
        }
    }
};
template <class T>
inline constexpr TurnedSamples<T> turnedPlaces;

/// A vector of samples, every eight of them turned round.
template <class T>
lanes::Raw loadTurned(const T* from) noexcept {
    return _mm512_shuffle_epi8(lanes::load<lanes::Raw>(from), lanes::load<lanes::Raw>(turnedPlaces<T>.places));
}

/// The bits of eight bytes as a mask: the highest of the first for the first sample.
inline std::uint64_t maskOf(const std::uint8_t* bits) noexcept {
    const lanes::Raw places =
        _mm512_set_epi64(0x0707070707070707, 0x0606060606060606, 0x0505050505050505, 0x0404040404040404,
                         0x0303030303030303, 0x0202020202020202, 0x0101010101010101, 0);
    const lanes::Raw eight = _mm512_set1_epi64(lanes::load<long long>(bits));
    return _mm512_test_epi8_mask(_mm512_shuffle_epi8(eight, places), _mm512_set1_epi64(0x0102040810204080));
}

/// Bytes of the bits of a vector.
template <class T>
inline constexpr std::size_t bytesOfVector = lanes::count<T> / 8;

} // namespace orvi

#endif
