// The entries of a lookup as colours.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orv/device/OrvLookup.h"

namespace orvi {

/// The entries of a single lookup: `bands` samples each, of T. Valid while the lookup is.
template <class T>
struct Palette {
    const T* samples;
    unsigned entries;
    unsigned bands;
    int offset;

    /// The lookup's samples must be of T; one without a table has no entries.
    explicit Palette(OrvLookup* lookup) noexcept
        : samples(static_cast<const T*>(lookup->getData())),
          entries(lookup->getNumEntries()),
          bands(lookup->getNBands()),
          offset(lookup->getOffset()) {
        if (samples == nullptr) entries = 0;
    }

    const T* operator[](unsigned entry) const noexcept { return samples + std::size_t{entry} * bands; }
};

/// Calls `use` with the palette of a lookup in its own type: shorts, or bytes (BIT tables hold bytes too).
template <class Use>
auto withPalette(OrvLookup* lookup, Use use) noexcept {
    if (lookup->getOutputDataType() == ORV_SHORT) return use(Palette<std::int16_t>(lookup));
    return use(Palette<std::uint8_t>(lookup));
}

} // namespace orvi
