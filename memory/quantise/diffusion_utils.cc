#include "memory/quantise/diffusion_utils.h"

#include <algorithm>
#include <cstring>

namespace orvi {

namespace {

/// A kernel's table, and the row-major position of its key cut to the table.
struct Weights {
    float* values;
    std::size_t count;
    std::size_t behindKey;

    explicit Weights(OrvKernel* kernel) noexcept
        : values(kernel->getValue()),
          count(std::size_t{kernel->getWidth()} * kernel->getHeight()),
          behindKey(std::min(count, static_cast<std::size_t>(diffusionKeyY(kernel) * kernel->getWidth() +
                                                             diffusionKeyX(kernel) + 1))) {}
};

template <class T>
T secondWord(const void* item) noexcept {
    T word;
    std::memcpy(&word, static_cast<const char*>(item) + 4, sizeof word);
    return word;
}

template <class T>
int order(T a, T b) noexcept {
    if (a < b) return -1;
    return a > b ? 1 : 0;
}

} // namespace

int valid_diffusion_kernel(OrvKernel* kernel) noexcept {
    const Weights weights(kernel);
    const auto isZero = [](float value) { return value == 0.0F; };
    const bool valid = std::all_of(weights.values, weights.values + weights.behindKey, isZero);

    std::size_t last = weights.count;
    while (last > weights.behindKey && weights.values[last - 1] == 0.0F) --last;
    // Without a weight behind the key the table's first value takes the whole error.
    const std::size_t rewritten = last > weights.behindKey ? last - 1 : 0;
    double sum = 0;
    for (std::size_t i = weights.behindKey; i < rewritten; ++i) sum += weights.values[i];
    weights.values[rewritten] = static_cast<float>(1.0 - sum);
    return valid ? 1 : 0;
}

int IsFloydSteinbergKernel(OrvKernel* kernel) noexcept {
    const char* name = kernel->getName();
    if (name != nullptr && std::strcmp(name, "floyd-steinberg") == 0) return 1;
    const std::size_t width = kernel->getWidth();
    const std::size_t x = kernel->getKeyX();
    const std::size_t y = kernel->getKeyY();
    if (x == 0 || x + 1 >= width || y + 1 >= kernel->getHeight()) return 0;
    const float* key = kernel->getValue() + y * width + x;
    const float* below = key + width;
    return key[1] == 0.4375F && below[-1] == 0.1875F && below[0] == 0.3125F && below[1] == 0.0625F ? 1 : 0;
}

int float_cmp_fx(const void* a, const void* b) noexcept { return order(secondWord<float>(a), secondWord<float>(b)); }

int int_cmp_fx(const void* a, const void* b) noexcept {
    return order(secondWord<std::int32_t>(a), secondWord<std::int32_t>(b));
}

int cmap_entry_1d_cmp_fx_8(const void* a, const void* b) noexcept {
    const auto* first = static_cast<const SortedEntry*>(a);
    const auto* second = static_cast<const SortedEntry*>(b);
    const int byValue = order(first->value, second->value);
    return byValue != 0 ? byValue : order(first->index, second->index);
}

} // namespace orvi
