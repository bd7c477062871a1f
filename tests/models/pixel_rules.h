// What the pixelwise ops make of samples: a function each.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/ModelKit.h"

namespace pixelrules {

using orvmodel::highest;
using orvmodel::lowest;

// One constant a band.

inline float halfAdded(float x) { return static_cast<float>(x >= 0 ? double{x} + 0.5 : double{x} - 0.5); }

inline double rounded(float x, OrvDataType type) {
    if (std::isnan(x)) return 0;
    const float half = halfAdded(x);
    if (half > static_cast<float>(highest(type))) return highest(type);
    if (half < static_cast<float>(lowest(type))) return lowest(type);
    return std::trunc(half);
}

inline double clamped(double value, OrvDataType type) { return std::clamp(value, lowest(type), highest(type)); }

inline double addConst(double v, float c, OrvDataType type) {
    if (type == ORV_BIT) return c >= 0.5F ? 1 : c >= -0.5F ? v : 0;
    if (type == ORV_SHORT) return clamped(v + rounded(c, type), type);
    const float product = static_cast<float>(v) * 1.0F;
    return rounded(product + c, type);
}

inline double subtractFromConst(double v, float c, OrvDataType type) {
    if (type == ORV_BIT) return c >= 1.5F ? 1 : c >= 0.5F ? 1 - v : 0;
    if (type == ORV_SHORT) return clamped(rounded(c, type) - v, type);
    return clamped(std::trunc(c >= 0 ? c : c - 0.5F) - v, type);
}

inline double multiplyConst(double v, float c, OrvDataType type) {
    if (type == ORV_BIT) return c >= 0.5F ? v : 0;
    return rounded(static_cast<float>(v) * c, type);
}

inline double divideIntoConst(double v, float c, OrvDataType type) {
    if (type == ORV_BIT) return c >= 0.5F ? v : 0;
    if (v == 0) {
        if (c == 0) return 0;
        return c < 0 && type == ORV_SHORT ? lowest(type) : highest(type);
    }
    return rounded(c / static_cast<float>(v), type);
}

// Two samples.

inline double add(double a, double b, OrvDataType type) {
    return type == ORV_BIT ? std::max(a, b) : clamped(a + b, type);
}
inline double subtract(double a, double b, OrvDataType type) { return clamped(a - b, type); }
inline double multiply(double a, double b, OrvDataType type) { return clamped(a * b, type); }
inline double divide(double a, double b, OrvDataType type) {
    if (type == ORV_BIT) return a;
    if (b == 0 && a == 0) return 0;
    if (b == 0) return a < 0 ? lowest(type) : highest(type);
    return rounded(static_cast<float>(a) / static_cast<float>(b), type);
}
inline double largest(double a, double b, OrvDataType) { return a > b ? a : b; }
inline double smallest(double a, double b, OrvDataType) { return a < b ? a : b; }

/// A result of bits as a sample of the type.
inline double sampleOf(long bits, OrvDataType type) {
    if (type == ORV_SHORT) return static_cast<std::int16_t>(bits);
    return static_cast<double>(type == ORV_BIT ? bits & 1 : bits & 255);
}
inline double both(double a, double b, OrvDataType type) {
    return sampleOf(static_cast<long>(a) & static_cast<long>(b), type);
}
inline double either(double a, double b, OrvDataType type) {
    return sampleOf(static_cast<long>(a) | static_cast<long>(b), type);
}
inline double oneOf(double a, double b, OrvDataType type) {
    return sampleOf(static_cast<long>(a) ^ static_cast<long>(b), type);
}
inline double inverse(double a, double, OrvDataType type) { return sampleOf(~static_cast<long>(a), type); }
inline double absolute(double a, double, OrvDataType type) { return clamped(a < 0 ? -a : a, type); }

// Scales and bounds.

inline float numberOf(double value) {
    const float number = static_cast<float>(value);
    return std::isnan(number) ? 0 : number;
}

inline double rescaled(double v, float scale, float offset, OrvDataType type) {
    if (type == ORV_BIT) {
        const float sum = scale + offset;
        return (v == 0 ? offset : sum) >= 0.5F ? 1 : 0;
    }
    const float product = static_cast<float>(v) * scale;
    const float sum = product + offset;
    return rounded(sum, type);
}

inline double boundOf(double value, OrvDataType type) {
    const float number = numberOf(value);
    if (type == ORV_BIT) return number >= 0.5F ? 1 : 0;
    return rounded(number, type);
}

// Types and bands.

inline double converted(double sample, OrvDataType to) {
    const long value = static_cast<long>(sample);
    if (to == ORV_BIT) return static_cast<double>(value & 1);
    return static_cast<double>(to == ORV_BYTE ? value & 255 : value);
}

inline double combined(const std::vector<double>& samples, const float* row, unsigned width, OrvDataType type) {
    float sum = 0;
    for (unsigned j = 0; j + 1 < width; ++j) {
        if (type == ORV_BIT && samples[j] == 0) continue;
        sum = static_cast<float>(double{sum} + samples[j] * double{row[j]});
    }
    sum = static_cast<float>(double{sum} + double{row[width - 1]});
    if (type == ORV_BIT) return sum > 0.5F ? 1 : 0;
    return rounded(sum, type);
}

inline double inkOf(const std::vector<double>& inks, unsigned band, float black, float undercolor, OrvDataType type) {
    const float k = static_cast<float>(std::min({inks[0], inks[1], inks[2]}));
    if (band == 3) return rounded(k * black, type);
    const float removed = k * undercolor;
    return rounded(static_cast<float>(inks[band]) - removed, type);
}

// Blends: `of` an alpha and a sample of either image.

using BlendTable = std::array<std::array<std::uint16_t, 256>, 256>;

inline BlendTable makeBlendTable() {
    BlendTable table{};
    for (unsigned v = 0; v < 256; ++v) table[255][v] = static_cast<std::uint16_t>(v << 8);
    for (unsigned a = 1; a < 255; ++a) {
        const float step = static_cast<float>(a) * 1.003921628F;
        float total = step;
        if (a > 127) total = total + 128.0F;
        const unsigned rounding = a > 127 ? 128 : 0;
        table[a][0] = static_cast<std::uint16_t>(rounding);
        table[a][255] = static_cast<std::uint16_t>((a << 8) + rounding);
        for (unsigned v = 1; v < 255; ++v) {
            table[a][v] = static_cast<std::uint16_t>(total);
            total = total + step;
        }
    }
    return table;
}

inline double blendBytes(double alpha, double s1, double s2) {
    static const BlendTable table = makeBlendTable();
    const auto a = static_cast<std::size_t>(alpha);
    return (table[255 - a][static_cast<std::size_t>(s1)] + table[a][static_cast<std::size_t>(s2)]) >> 8;
}

inline float mixed(float alpha, double s1, double s2) {
    return static_cast<float>((1 - double{alpha}) * s1 + double{alpha} * s2);
}

inline double toShort(float x) {
    if (x > 32767.0F) return 32767;
    if (x < -32768.0F) return -32768;
    return std::trunc(static_cast<float>(x >= 0 ? double{x} + 0.5 : double{x} - 0.5));
}

inline double blendBytesUnderShorts(double a, double s1, double s2) {
    const float x = mixed(static_cast<float>(a / 65535.0 + 0.5), s1, s2);
    if (x > 254.5F) return 255;
    return x < 0.5F ? 0 : std::trunc(double{x} + 0.5);
}

struct Blend {
    OrvDataType type;
    OrvDataType alpha;
    double (*of)(double a, double s1, double s2);
};

inline constexpr Blend blends[] = {
    {ORV_BIT, ORV_BIT, [](double a, double s1, double s2) { return a == 1 ? s2 : s1; }},
    {ORV_BIT, ORV_BYTE, [](double a, double s1, double s2) { return a > 127 ? s2 : s1; }},
    {ORV_BIT, ORV_SHORT, [](double a, double s1, double s2) { return a > 0 ? s2 : s1; }},
    {ORV_BYTE, ORV_BIT, [](double a, double s1, double s2) { return a == 1 ? s2 : s1; }},
    {ORV_BYTE, ORV_BYTE, blendBytes},
    {ORV_BYTE, ORV_SHORT, blendBytesUnderShorts},
    {ORV_SHORT, ORV_BIT, [](double a, double s1, double s2) { return a == 1 ? s2 : s1; }},
    {ORV_SHORT, ORV_BYTE,
     [](double a, double s1, double s2) { return toShort(mixed(static_cast<float>(a / 255.0), s1, s2)); }},
    {ORV_SHORT, ORV_SHORT,
     [](double a, double s1, double s2) { return toShort(mixed(static_cast<float>(a / 65535.0), s1, s2)); }},
};

// Lookups.

/// A table's entry for a sample: beyond the ends the nearest one. Bits are their own entry numbers.
inline double entryOf(const orvcase::Lookup::Table& table, unsigned bands, unsigned column, double value,
                      OrvDataType in) {
    const long entries = static_cast<long>(table.data.size() / bands);
    const long offset = in == ORV_BIT ? 0 : table.offset;
    const long entry = std::clamp(static_cast<long>(value) - offset, 0L, entries - 1);
    return table.data[static_cast<std::size_t>(entry) * bands + column];
}

inline double lookUp(const orvcase::Lookup& lookup, const std::vector<double>& source, unsigned band, double old,
                     unsigned wanted) {
    double entry = 0;
    if (lookup.combined) {
        if (band >= source.size()) return old;
        entry = entryOf(lookup.tables[band], 1, 0, source[band], lookup.in);
    } else {
        const unsigned n = lookup.bands;
        const bool planes = lookup.in == ORV_BIT && source.size() == n && wanted == n;
        const unsigned from = planes ? band : band / n;
        if (from >= source.size()) return old;
        entry = entryOf(lookup.tables[0], n, band % n, source[from], lookup.in);
    }
    return lookup.out == ORV_BIT ? std::fmod(entry, 2) : entry;
}

// Copies.

inline double masked(double bits, double sample, double old, OrvDataType type) {
    const long mask = static_cast<long>(bits);
    const long from = static_cast<long>(sample);
    const long to = static_cast<long>(old);
    if (type == ORV_BIT) return (mask & from) != 0 ? 1 : old;
    return static_cast<double>((to & ~mask) | (from & mask));
}

inline double valueOf(float value, OrvDataType type) {
    if (std::isnan(value)) return 0;
    if (type == ORV_BIT) return value >= 0.5F ? 1 : 0;
    const float half = type == ORV_SHORT && value < 0 ? value - 0.5F : value + 0.5F;
    return std::trunc(std::clamp(half, static_cast<float>(lowest(type)), static_cast<float>(highest(type))));
}

inline long ceilingOf(long value, long unit) { return value <= 0 ? 0 : (value + unit - 1) / unit; }

/// The source's pixel for the destination's at image-space position `at` along one axis, or -1.
inline long tiled(long at, long size, long extent, long sourceOrigin, long origin) {
    const long shift = origin > 0 ? ceilingOf(origin, size) * size : 0;
    const long tiles = ceilingOf(extent - origin + sourceOrigin, size) + shift / size;
    const long along = at + sourceOrigin + shift;
    if (along < 0 || along >= tiles * size) return -1;
    return along % size;
}

} // namespace pixelrules
