// What the error diffusion paths share: the kernel's check, the full search, the comparisons of sorted lists.
#pragma once

#include <cmath>
#include <cstdint>

#include "memory/quantise/Palette.h"
#include "orv/device/OrvKernel.h"

namespace orvi {

/// A kernel's key, which counts in 16 bits.
inline long diffusionKeyX(OrvKernel* kernel) noexcept { return static_cast<std::uint16_t>(kernel->getKeyX()); }
inline long diffusionKeyY(OrvKernel* kernel) noexcept { return static_cast<std::uint16_t>(kernel->getKeyY()); }

/// 1 where the kernel's values up to and including the key are 0. Whatever the answer, the last value behind the key
/// that is not 0 is rewritten in place, so that the values behind the key add up to 1.
int valid_diffusion_kernel(OrvKernel* kernel) noexcept;

/// 1 for the kernel of Floyd and Steinberg, told by its name or its weights.
int IsFloydSteinbergKernel(OrvKernel* kernel) noexcept;

/// An entry found: its index without the lookup's offset, and its samples, null where the lookup has no entries.
template <class T>
struct Match {
    int index;
    const T* color;
};

/// A full search with the pixel's values as they stand. Among equally near entries the last wins, unlike everywhere
/// else.
template <class T>
Match<T> find_nearest_color(const float* pixel, const Palette<T>& palette, unsigned bands) noexcept {
    if (palette.entries == 0) return {0, nullptr};
    double best = 0;
    unsigned index = 0;
    for (unsigned entry = 0; entry < palette.entries; ++entry) {
        const T* color = palette[entry];
        double sum = 0;
        for (unsigned band = 0; band < bands; ++band) {
            const double d = std::fabs(double{pixel[band]} - static_cast<double>(color[band]));
            sum += d * d;
        }
        if (entry != 0 && !(sum <= best)) continue;
        best = sum;
        index = entry;
    }
    return {static_cast<int>(index), palette[index]};
}

/// A colormap entry of one band in a sorted list.
struct SortedEntry {
    std::uint8_t index;
    std::uint8_t unused;
    std::uint8_t value;
    std::uint8_t unused2;
};

/// Comparisons for qsort: items of 8 bytes by the float, or the integer, in their second word; entries of one band by
/// their value (equal ones by their index), all ascending.
int float_cmp_fx(const void* a, const void* b) noexcept;
int int_cmp_fx(const void* a, const void* b) noexcept;
int cmap_entry_1d_cmp_fx_8(const void* a, const void* b) noexcept;

} // namespace orvi
