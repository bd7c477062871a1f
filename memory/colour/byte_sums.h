// Bytes of values in single precision: sums in lanes that come near enough to what the chain comes to for nearly every
// pixel to be told by them.
#pragma once

#include "memory/colour/near_values.h"

namespace orvi::colour {

namespace byte_sums {

using lanes::F32;
using lanes::I32;
using near_values::Sum;

/// A coding of the weighed values, rounded. They are numbers of a `unit` and come to `most` with it; `errors` are those
/// in single precision whose roundings reach the chain's sum.
constexpr Sum sumOf(Weights w, Coding coding, double unit, double most, int errors) noexcept {
    using near_values::magnitude, near_values::toSingle;
    constexpr double half = 0.5;
    constexpr double top = 256;
    const auto single = [&](double weight) { return static_cast<float>(weight * coding.factor * unit); };
    const double size = magnitude(coding.factor) * most * (magnitude(w.r) + magnitude(w.g) + magnitude(w.b));
    // Three weights, three sums, what is doubted; the last rounding of the chain.
    const double computed = size * 0x1p-24 + 5 * toSingle(coding.offset + 1 + size);
    const double chain = errors * toSingle(most) * coding.factor + toSingle(top);
    return {single(w.r), single(w.g), single(w.b), static_cast<float>(coding.offset + half),
            static_cast<float>(computed + chain + near_values::doubles)};
}

template <Space S>
constexpr std::array<Sum, 3> codedSums(double unit, double most) noexcept {
    using near_values::chromaErrors;
    constexpr Weights w = factsOf<S>.weights;
    constexpr const Coding* codings = factsOf<S>.bytes;
    return {sumOf(w, codings[0], unit, most, near_values::lumaErrors),
            sumOf({-w.r, -w.g, 1 - w.b}, codings[1], unit, most, chromaErrors),
            sumOf({1 - w.r, -w.g, -w.b}, codings[2], unit, most, chromaErrors)};
}
constexpr std::array<Sum, 1> lumaSum(Weights w, double most) noexcept {
    return {sumOf(w, factsOf<ycc601>.bytes[0], 1, most, near_values::lumaErrors)};
}

constexpr double bytesOfOne = 1.0 / Scale<std::uint8_t>::full;
/// Luma with chroma comes to less.
constexpr double mostOfYcc = 4;

/// What stages up to some make of a pixel in lanes, and the sums behind that.
template <class... Stages>
struct SumsOf {
    static constexpr bool exists = false;
};
template <Space S>
struct SumsOf<FromRgb, Normalise, ToYcc<S>> {
    static constexpr bool exists = true;
    using Values = Chain<FromRgb>;
    static constexpr auto sums = codedSums<S>(bytesOfOne, 1);
};
template <Space From, Weights W>
struct SumsOf<FromYcc<From>, Matrix<From>, Weigh<W>, Hold, ToY> {
    static constexpr bool exists = true;
    using Values = Chain<FromYcc<From>, Matrix<From>>;
    static constexpr auto sums = lumaSum(W, mostOfYcc);
};
template <class First, class... Held, Weights W>
struct SumsOf<First, Table<Held...>, Weigh<W>, Hold, ToY> {
    static constexpr bool exists = true;
    using Values = Chain<First, Table<Held...>>;
    static constexpr auto sums = lumaSum(W, 1);
};

/// Bands of a vector of pixels; false where one may be another.
template <const auto& Sums, class V>
bool near(Rgb<V> values, Pixel<Sums.size(), I32>& bands) noexcept {
    const auto single = [](V v) {
        if constexpr (std::is_same_v<V, I32>) return lanes::toFloat(v);
        if constexpr (std::is_same_v<V, F32>) return v;
    };
    const Rgb<F32> v{single(values.r), single(values.g), single(values.b)};
    I32 unlike{};
    for (std::size_t band = 0; band < Sums.size(); ++band) {
        const F32 sum = Sums[band].of(v, Sums[band].start);
        const auto clamped = [](F32 value) {
            constexpr float full = Scale<std::uint8_t>::full;
            return lanes::truncate(lanes::smaller<F32>(lanes::larger<F32>(value, F32{}), F32{} + full));
        };
        bands[band] = clamped(sum - Sums[band].doubt);
        unlike |= bands[band] ^ clamped(sum + Sums[band].doubt);
    }
    return !lanes::any(unlike);
}

} // namespace byte_sums

} // namespace orvi::colour
