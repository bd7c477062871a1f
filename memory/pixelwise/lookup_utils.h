// Tables of samples: how they are applied, made from lookups and kept between calls.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "memory/frame/Raster.h"
#include "memory/frame/RectCursor.h"
#include "memory/frame/orvi_new.h"
#include "orv/device/OrvLookup.h"

/// dest[i] = table[source[i]] for i below `count`, with a table of 256 entries. `dest` may be `source`.
void fast_lookup_write(const unsigned char* source, unsigned char* dest, unsigned count,
                       const unsigned char* table) noexcept;

namespace orvi {

inline constexpr int byteEntries = 256;
inline constexpr int shortEntries = 65536;

/// Samples of `bands` bands, each through its band's table of 256 bytes. `to` may be `from`.
void mapBands(std::uint8_t* to, const std::uint8_t* from, std::size_t pixels, const std::uint8_t* const* tables,
              unsigned bands) noexcept;

/// The same for the first bands of images whose pixels lie equally far apart; false where they do not, or there is no
/// path of its own for them.
bool mapBandsApart(RectCursor& rects, const Raster& to, const Raster& from, const std::uint8_t* const* tables,
                   unsigned bands) noexcept;

/// A table for each band, some of them shared, for the length of one call. One at a time of a type: the pointers are
/// static, since an image may have as many bands as a pixel stride can count.
template <class T>
class BandTables {
public:
    BandTables() noexcept = default;
    BandTables(const BandTables&) = delete;
    BandTables& operator=(const BandTables&) = delete;
    ~BandTables() {
        // Shared tables are those of band 0.
        for (unsigned band = 0; band < bands_; ++band) {
            if (band == 0 || tables_[band] != tables_[0]) orvi_delete(tables_[band]);
        }
    }

    /// The next band's own table, unset, or null.
    T* add(std::size_t entries) noexcept {
        T* table = newArray<T>(entries);
        if (table != nullptr) tables_[bands_++] = table;
        return table;
    }
    /// Gives the next band the table of the first.
    void shareFirst() noexcept { tables_[bands_++] = tables_[0]; }

    const T* const* get() const noexcept { return tables_; }

private:
    static constexpr std::size_t capacity = 65536;
    inline static T* tables_[capacity];
    unsigned bands_ = 0;
};

/// How a lookup makes the samples of one destination band: a sample v of the source band takes the entry v - offset,
/// beyond the ends the nearest one. Entries lie `step` samples apart.
template <class T>
struct LookupBand {
    const T* entries = nullptr;
    std::int64_t count = 0;
    std::int64_t offset = 0;
    std::size_t step = 1;
    unsigned sourceBand = 0;

    T of(std::int64_t value) const noexcept {
        if (count == 0) return T{0};
        return entries[static_cast<std::size_t>(std::clamp<std::int64_t>(value - offset, 0, count - 1)) * step];
    }

    /// Fills a table with the results of all values from `first` on.
    void fill(T* table, int first, int values) const noexcept {
        for (int i = 0; i < values; ++i) table[i] = of(first + i);
    }
};

/// Tables kept between calls, made anew where the lookup is another one or has changed.
template <class T, int Tables>
class LookupCache {
public:
    /// The tables, each of `entries` samples filled by `fill(T* table, unsigned index)`; null where memory could not be
    /// had, the cache then being stale.
    template <class Fill>
    T* const* get(OrvLookup* lookup, std::size_t entries, Fill fill) noexcept {
        OrvVersionNumber version;
        lookup->getVersion(&version);
        if (!(version_ != version)) return tables_;
        version_ = OrvVersionNumber();
        for (unsigned i = 0; i < Tables; ++i) {
            orvi_delete(tables_[i]);
            tables_[i] = newArray<T>(entries);
            if (tables_[i] == nullptr) return nullptr;
            fill(tables_[i], i);
        }
        version_ = version;
        return tables_;
    }

private:
    OrvVersionNumber version_;
    T* tables_[Tables] = {};
};

} // namespace orvi
