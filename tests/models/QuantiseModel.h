// What the models of the quantisers share: lookups of random colours, and how an index becomes a sample.
#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <variant>

#include "support/ModelKit.h"

namespace orvmodel {

inline std::string typeSuffix(OrvDataType type) { return type == ORV_BIT ? "1" : type == ORV_BYTE ? "8" : "16"; }

/// A sample of a destination that gets an index: a bit is set where it is not 0, others keep their low bits.
inline double indexSample(OrvDataType type, long index) {
    if (type == ORV_BIT) return index != 0 ? 1 : 0;
    if (type == ORV_BYTE) return static_cast<double>(index & 255);
    return static_cast<double>(static_cast<short>(static_cast<unsigned short>(index & 65535)));
}

/// What a lookup or mask, the only one of a case, holds when the call is made.
inline orvcase::Values contentsAt(orvcase::Values first, const orvcase::Case& c, const orvcase::Call& call) {
    for (const orvcase::Step& step : c.steps) {
        if (const auto* set = std::get_if<orvcase::SetContents>(&step)) first = set->values;
        if (std::get_if<orvcase::Call>(&step) == &call) break;
    }
    return first;
}

/// Colours all over the range, or in clusters, or few different ones.
inline orvcase::Lookup randomColors(Maker& maker, OrvDataType in, OrvDataType out, unsigned bands, unsigned entries) {
    orvcase::Lookup lookup{.name = "map", .in = in, .out = out, .bands = bands};
    orvcase::Lookup::Table table;
    table.offset = static_cast<short>(maker.random.chance(60) ? 0 : maker.random.between(-300, 300));
    const long low = out == ORV_SHORT ? -32768 : 0;
    const long high = out == ORV_SHORT ? 32767 : 255;
    const unsigned style = maker.random.below(3);
    for (unsigned i = 0; i < entries * bands; ++i) {
        long value = maker.random.between(low, high);
        if (style == 1) value = std::clamp((low + high) / 2 + maker.random.between(-6, 6), low, high);
        if (style == 2) value = maker.random.chance(50) ? low + 10 * maker.random.between(0, 3) : high;
        table.data.push_back(static_cast<double>(value));
    }
    lookup.tables.push_back(std::move(table));
    return lookup;
}

} // namespace orvmodel
