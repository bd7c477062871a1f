// Samples mapped through a lookup: nine ops, by the data types of source and destination.

#include <algorithm>
#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/byte_permutation.h"
#include "memory/frame/lanes.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/row_moves.h"
#include "memory/frame/sample_rows.h"
#include "memory/frame/walk.h"
#include "memory/pixelwise/beside_bits.h"
#include "memory/pixelwise/lookup_utils.h"
#include "memory/pixelwise/row_actions.h"

namespace {

using namespace orvi;

// The destination is fetched first.
template <class S, class D>
constexpr Fetch lookupFetches[] = {
    {dst, dataTypeOf<D>, {"di-10", 1, 0}, dst},
    {src1, dataTypeOf<S>, {"di-9", 1, 0}, src1},
};
template <class S, class D>
constexpr FrameFacts lookupFacts(const char* file) noexcept {
    return {file, lookupFetches<S, D>, {"di-12", 0, 0}, src1};
}

/// Which entries of a lookup make which band of the destination. A single lookup of N bands makes N bands of each
/// source band; a combined one has a table for each band.
template <class S, class D>
class BandMap {
public:
    using Sample = SampleOf<D>;

    BandMap(Frame& frame, OrvLookup* lookup) noexcept
        : lookup_(lookup),
          entries_(lookup->getNumEntries()),
          outputs_(std::max(1U, lookup->getNBands())),
          sources_(frame[src1].bands) {
        const unsigned wanted = frame[dst].bands;
        if (combined()) {
            bands_ = std::min({wanted, sources_, outputs_});
            return;
        }
        // Planes and lookup bands that are equally many serve one destination band each.
        planes_ = std::is_same_v<S, Bit> && sources_ == outputs_ && wanted == outputs_;
        bands_ = planes_ ? wanted
                         : static_cast<unsigned>(std::min<std::uint64_t>(wanted, std::uint64_t{sources_} * outputs_));
    }

    bool combined() const noexcept { return entries_ == 0; }
    /// Bands that the destination gets, and that are read of the source.
    unsigned bands() const noexcept { return bands_; }
    unsigned sourceBands() const noexcept { return sourceBandOf(bands_ - 1) + 1; }
    /// One table for every band.
    bool uniform() const noexcept { return !combined() && outputs_ == 1; }

    LookupBand<Sample> band(unsigned index) const noexcept {
        LookupBand<Sample> result = combined() ? combinedBand(index) : singleBand(index);
        result.sourceBand = sourceBandOf(index);
        // Bits are their own entry numbers.
        if (std::is_same_v<S, Bit>) result.offset = 0;
        return result;
    }

private:
    unsigned sourceBandOf(unsigned index) const noexcept { return combined() || planes_ ? index : index / outputs_; }
    LookupBand<Sample> combinedBand(unsigned index) const noexcept {
        return {static_cast<const Sample*>(lookup_->getDataList()[index]), lookup_->getEntriesList()[index],
                lookup_->getOffsetsList()[index]};
    }
    LookupBand<Sample> singleBand(unsigned index) const noexcept {
        return {static_cast<const Sample*>(lookup_->getData()) + index % outputs_, entries_, lookup_->getOffset(),
                outputs_};
    }

    OrvLookup* lookup_;
    unsigned entries_;
    unsigned outputs_;
    unsigned sources_;
    unsigned bands_ = 0;
    bool planes_ = false;
};

/// One band of a run, by the rule itself. Entries for bits count by their lowest bit.
template <class D>
SampleOf<D> resultOf(SampleOf<D> entry) noexcept {
    return std::is_same_v<D, Bit> ? static_cast<SampleOf<D>>(entry & 1) : entry;
}

template <class S, class D>
void mapBand(SampleOf<D>* d, std::size_t step, const SampleOf<S>* s, std::size_t sourceStep, std::size_t pixels,
             const LookupBand<SampleOf<D>>& band) noexcept {
    if constexpr (std::is_same_v<S, Bit>) {
        using Sample = SampleOf<D>;
        const Sample zero = resultOf<D>(band.of(0));
        const Sample change = static_cast<Sample>(zero ^ resultOf<D>(band.of(1)));
        const auto resultAt = [=](int bit) { return static_cast<Sample>(zero ^ (change & -bit)); };
        if (step == 1 && sourceStep == 1) {
            for (std::size_t i = 0; i < pixels; ++i) d[i] = resultAt(s[i]);
        } else {
            for (std::size_t i = 0; i < pixels; ++i) d[i * step] = resultAt(s[i * sourceStep]);
        }
    } else {
        for (std::size_t i = 0; i < pixels; ++i) d[i * step] = resultOf<D>(band.of(s[i * sourceStep]));
    }
}

/// Runs `kernel(d, s, pixels)` over the bands of a map.
template <class S, class D, class Kernel>
void walkMapped(Frame& frame, const BandMap<S, D>& map, Kernel kernel) noexcept {
    const Operand destination{&frame[dst], map.bands()};
    walkRuns<D, S>(frame.rects(), kernel, destination, Operand{&frame[src1], map.sourceBands()});
}

/// A row of bits by its whole bytes, what lies before and behind them by the rule itself.
template <class D>
void chooseRow(D* d, BitPosition bits, std::size_t pixels, const LookupBand<D>& band) noexcept {
    const auto few = [&](std::size_t count) {
        std::uint8_t single[8];
        unpackBits(bits.byte, bits.offset, single, 1, count);
        for (std::size_t i = 0; i < count; ++i) d[i] = band.of(single[i]);
        d += count;
        pixels -= count;
    };
    if (bits.offset != 0) {
        few(std::min<std::size_t>(pixels, 8 - bits.offset));
        bits = {bits.byte + 1, 0};
    }
    const std::size_t bytes = pixels / 8;
    chooseByBits(d, bits.byte, bytes, band.of(0), band.of(1));
    d += 8 * bytes;
    pixels -= 8 * bytes;
    bits.byte += bytes;
    if (pixels > 0) few(pixels);
}

/// One band of bits beside samples that lie side by side.
template <class D>
OrvStatus chooseSamples(Frame& frame, const BandMap<Bit, D>& map) noexcept {
    const Raster& to = frame[dst];
    const Raster& from = frame[src1];
    const LookupBand<D> band = map.band(0);
    for (Rect rect{}; frame.rects().next(rect);) {
        const bool touch = bitRowsTouch(rect, from) && to.stride == to.pixel * static_cast<std::ptrdiff_t>(rect.width);
        const long rows = touch ? 1 : static_cast<long>(rect.height);
        const std::size_t pixels = touch ? std::size_t{rect.width} * rect.height : rect.width;
        for (long row = 0; row < rows; ++row) {
            chooseRow(to.at<D>(rect.x, rect.y + row), from.bit(rect.x, rect.y + row, band.sourceBand), pixels, band);
        }
    }
    return ORV_SUCCESS;
}

/// The path that fits every lookup and every layout.
template <class S, class D>
OrvStatus general(Frame& frame, const BandMap<S, D>& map) noexcept {
    walkMapped(frame, map, [&](SampleOf<D>* d, const SampleOf<S>* s, std::size_t pixels) {
        for (unsigned index = 0; index < map.bands(); ++index) {
            const auto band = map.band(index);
            mapBand<S, D>(d + index, map.bands(), s + band.sourceBand, map.sourceBands(), pixels, band);
        }
    });
    return ORV_SUCCESS;
}

/// Samples through one table, the entry of value 0 at `zero`.
template <class S, class T>
void mapThrough(T* d, const S* s, std::size_t samples, const T* zero) noexcept {
    for (std::size_t i = 0; i < samples; ++i) d[i] = zero[s[i]];
}
template <class T>
void mapThrough(T* d, const std::uint8_t* s, std::size_t samples, const T* table) noexcept {
    lanes::mapBytes(d, s, samples, table);
}

/// Three bands side by side, each through its own table.
template <class S, class T>
void mapThreeThrough(T* d, const S* s, std::size_t pixels, const T* const* zeros) noexcept {
    const T* const first = zeros[0];
    const T* const second = zeros[1];
    const T* const third = zeros[2];
    for (std::size_t i = 0; i < 3 * pixels; i += 3) {
        d[i] = first[s[i]];
        d[i + 1] = second[s[i + 1]];
        d[i + 2] = third[s[i + 2]];
    }
}
void mapThreeThrough(std::uint8_t* d, const std::uint8_t* s, std::size_t pixels,
                     const std::uint8_t* const* tables) noexcept {
    mapBands(d, s, pixels, tables, 3);
}

template <class S>
constexpr int firstValue = lowest<S>;
template <class S>
constexpr int valueCount = highest<S> - lowest<S> + 1;

template <class S, class D>
OrvStatus throughTable(Frame& frame, const BandMap<S, D>& map, const D* table) noexcept {
    walkMapped(frame, map, [&](D* d, const S* s, std::size_t pixels) {
        mapThrough(d, s, pixels * map.bands(), table - firstValue<S>);
    });
    return ORV_SUCCESS;
}

/// The tables of a combined lookup of three bands, kept between calls.
template <class S, class D>
OrvStatus throughThree(Frame& frame, const BandMap<S, D>& map, OrvLookup* lookup, LookupCache<D, 3>& cache,
                       const char* file) noexcept {
    D* const* tables = cache.get(lookup, valueCount<S>, [&](D* table, unsigned index) {
        map.band(index).fill(table, firstValue<S>, valueCount<S>);
    });
    if (tables == nullptr) return fail(frame.image(dst), noMemory, file);
    const D* const zeros[] = {tables[0] - firstValue<S>, tables[1] - firstValue<S>, tables[2] - firstValue<S>};
    walkMapped(frame, map, [&](D* d, const S* s, std::size_t pixels) { mapThreeThrough(d, s, pixels, zeros); });
    return ORV_SUCCESS;
}

/// Bytes through a table that is made for this call.
template <class D>
OrvStatus throughFresh(Frame& frame, const BandMap<std::uint8_t, D>& map, const char* file) noexcept {
    const Array<D> table(byteEntries);
    if (!table) return fail(frame.image(dst), noMemory, file);
    map.band(0).fill(table.get(), 0, byteEntries);
    return throughTable(frame, map, static_cast<const D*>(table.get()));
}

/// Three results of each sample.
void mapRepeated(std::uint8_t* d, const std::uint8_t* s, std::size_t pixels,
                 const std::uint8_t* const* tables) noexcept {
    constexpr std::size_t chunk = 4096;
    for (std::size_t done = 0; done < pixels; done += chunk) {
        const std::size_t count = std::min(chunk, pixels - done);
        repeatThrice(d + 3 * done, s + done, count);
        mapBands(d + 3 * done, d + 3 * done, count, tables, 3);
    }
}

/// Bytes of any layout by tables of our own, one for each band where these are not too many.
template <class D>
OrvStatus throughTables(Frame& frame, const BandMap<std::uint8_t, D>& map) noexcept {
    using Sample = SampleOf<D>;
    constexpr unsigned tableBands = 32;
    static Sample tables[tableBands][byteEntries];
    const unsigned bands = map.bands();
    const unsigned own = map.uniform() ? 1 : bands;
    if (own > tableBands) return general(frame, map);
    unsigned sourceBands[tableBands];
    const Sample* entries[tableBands];
    for (unsigned index = 0; index < own; ++index) {
        const auto band = map.band(index);
        sourceBands[index] = band.sourceBand;
        entries[index] = tables[index];
        for (int v = 0; v < byteEntries; ++v) tables[index][v] = resultOf<D>(band.of(v));
    }
    if constexpr (std::is_same_v<D, std::uint8_t>) {
        for (unsigned index = own; index < bands && index < tableBands; ++index) entries[index] = entries[0];
        const bool bandByBand = map.combined() || map.uniform();
        if (bandByBand && bands <= tableBands && mapBandsApart(frame.rects(), frame[dst], frame[src1], entries, bands))
            return ORV_SUCCESS;
    }
    const unsigned sourceStep = map.sourceBands();
    walkMapped(frame, map, [&](Sample* d, const std::uint8_t* s, std::size_t pixels) {
        if (own == 1) return mapThrough(d, s, pixels * bands, entries[0]);
        if constexpr (sizeof(Sample) == 1) {
            if (map.combined()) return mapBands(d, s, pixels, entries, bands);
            if (bands == 3 && sourceStep == 1) return mapRepeated(d, s, pixels, entries);
        }
        for (std::size_t i = 0; i < pixels; ++i, d += bands, s += sourceStep) {
            for (unsigned index = 0; index < bands; ++index) d[index] = entries[index][s[sourceBands[index]]];
        }
    });
    return ORV_SUCCESS;
}

bool bothStep(const Frame& frame, std::ptrdiff_t sourceBytes, std::ptrdiff_t destinationBytes) noexcept {
    return frame[src1].pixel == sourceBytes && frame[dst].pixel == destinationBytes;
}

/// Pixels of both images are single samples without gaps.
template <class S, class D>
bool singleSamples(const Frame& frame) noexcept {
    return bothStep(frame, sizeof(S), sizeof(D));
}

/// Pixels of both images are three samples without gaps, for a combined lookup.
template <class S, class D>
bool combinedThree(const Frame& frame, const BandMap<S, D>& map) noexcept {
    return map.combined() && map.bands() == 3 && bothStep(frame, 3 * sizeof(S), 3 * sizeof(D));
}

template <class D>
OrvStatus lookupBytes(OrvOp* op, const FrameFacts& facts, LookupCache<D, 3>& cache) noexcept {
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    OrvLookup* lookup = static_cast<OrvLookup*>(op->getObjParam(1));
    const BandMap<std::uint8_t, D> map(frame, lookup);
    if (combinedThree(frame, map)) return throughThree(frame, map, lookup, cache, facts.file);
    if (!map.combined() && singleSamples<std::uint8_t, D>(frame)) return throughFresh(frame, map, facts.file);
    return throughTables(frame, map);
}

#if defined(__AVX512BW__)

/// A bit for each byte, of a table of 256: a permutation finds the byte of eight, and a second one the bit of it.
class BitTable {
public:
    explicit BitTable(const LookupBand<std::uint8_t>& band) noexcept {
        for (int v = 0; v < byteEntries; ++v) {
            rows_[v / 8] = static_cast<std::uint8_t>(rows_[v / 8] | (band.of(v) & 1) << v % 8);
        }
    }

    [[gnu::flatten, gnu::target("avx512vbmi")]] void operator()(BitPosition to, const std::uint8_t* from,
                                                                std::size_t pixels) const noexcept {
        const lanes::Raw rows = lanes::load<lanes::Raw>(rows_);
        const lanes::Raw bits = _mm512_set1_epi64(static_cast<long long>(0x8040201008040201));
        const auto bitsOf = [&](const std::uint8_t* at) __attribute__((target("avx512vbmi"))) {
            const lanes::Raw index = loadTurned(at);
            const lanes::Raw row = _mm512_maskz_permutexvar_epi8(~0ULL, (lanes::Raw)((lanes::U8)index >> 3), rows);
            const lanes::Raw bit = _mm512_shuffle_epi8(bits, (lanes::Raw)((lanes::U8)index & 7));
            return std::uint64_t{_mm512_test_epi8_mask(row, bit)};
        };
        packSamples(to, from, pixels, bitsOf);
    }

private:
    alignas(64) std::uint8_t rows_[lanes::vectorBytes] = {};
};

#endif

/// One band of bytes that lie side by side, as bits; false where the images are not such.
bool choseBits([[maybe_unused]] Frame& frame, [[maybe_unused]] const BandMap<std::uint8_t, Bit>& map) noexcept {
#if defined(__AVX512BW__)
    if (!lanes::bytePermutation || map.bands() != 1) return false;
    return besideBits<std::uint8_t>(frame, frame[dst], frame[src1], 1, BitTable(map.band(0)));
#else
    return false;
#endif
}

/// Members without a table that is kept or asked for.
template <class S, class D>
OrvStatus lookupPlainly(OrvOp* op, const FrameFacts& facts) noexcept {
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const BandMap<S, D> map(frame, static_cast<OrvLookup*>(op->getObjParam(1)));
    if constexpr (std::is_same_v<S, std::uint8_t>)
        return choseBits(frame, map) ? ORV_SUCCESS : throughTables(frame, map);
    if constexpr (std::is_same_v<S, Bit>) {
        if (map.bands() == 1 && frame[dst].pixel == sizeof(D)) return chooseSamples(frame, map);
    }
    return general(frame, map);
}

// The caches, kept between calls as long as the module lives.
LookupCache<std::uint8_t, 3> combinedBytes;
LookupCache<std::int16_t, 3> combinedBytesToShorts;
LookupCache<std::uint8_t, 1> singleShortsToBytes;
LookupCache<std::uint8_t, 3> combinedShortsToBytes;
LookupCache<std::int16_t, 3> combinedShorts;

OrvStatus throughSingleShorts(Frame& frame, const BandMap<std::int16_t, std::uint8_t>& map, OrvLookup* lookup,
                              const char* file) noexcept {
    const auto band = map.band(0);
    if (band.count == shortEntries) {
        // The lookup is the table, where it covers the samples exactly.
        const bool exact = band.offset == firstValue<std::int16_t> && band.step == 1;
        return exact ? throughTable(frame, map, band.entries) : general(frame, map);
    }
    std::uint8_t* const* tables = singleShortsToBytes.get(lookup, shortEntries, [&](std::uint8_t* table, unsigned) {
        band.fill(table, firstValue<std::int16_t>, shortEntries);
    });
    if (tables == nullptr) return fail(frame.image(dst), noMemory, file);
    return throughTable(frame, map, static_cast<const std::uint8_t*>(tables[0]));
}

void actOnPlanes(const Rect& rect, const Raster& to, const Raster& from, unsigned band,
                 const LookupBand<std::uint8_t>& entries) noexcept {
    const RowAction action = actionOf((entries.of(0) & 1) != 0, (entries.of(1) & 1) != 0);
    const bool touch = bitRowsTouch(rect, to, from);
    const std::size_t rows = touch ? 1 : rect.height;
    const unsigned length = touch ? rect.width * rect.height : rect.width;
    act(action, rows, length, {to.bit(rect.x, rect.y, band), to.stride},
        {from.bit(rect.x, rect.y, entries.sourceBand), from.stride});
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Lookup1_1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<Bit, Bit>("Lookup1_1Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const BandMap<Bit, Bit> map(frame, static_cast<OrvLookup*>(op->getObjParam(1)));
    for (Rect rect{}; frame.rects().next(rect);) {
        for (unsigned band = 0; band < map.bands(); ++band) {
            actOnPlanes(rect, frame[dst], frame[src1], band, map.band(band));
        }
    }
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup1_8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<Bit, std::uint8_t>("Lookup1_8Memory.cc");
    return lookupPlainly<Bit, std::uint8_t>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup1_16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<Bit, std::int16_t>("Lookup1_16Memory.cc");
    return lookupPlainly<Bit, std::int16_t>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup8_1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<std::uint8_t, Bit>("Lookup8_1Memory.cc");
    return lookupPlainly<std::uint8_t, Bit>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup8_8(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<std::uint8_t, std::uint8_t>("Lookup8_8Memory.cc");
    return lookupBytes(op, facts, combinedBytes);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup8_16(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<std::uint8_t, std::int16_t>("Lookup8_16Memory.cc");
    return lookupBytes(op, facts, combinedBytesToShorts);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup16_1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = lookupFacts<std::int16_t, Bit>("Lookup16_1Memory.cc");
    return lookupPlainly<std::int16_t, Bit>(op, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup16_8(OrvOp* op, int) noexcept {
    using S = std::int16_t;
    using D = std::uint8_t;
    static constexpr FrameFacts facts = lookupFacts<S, D>("Lookup16_8Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    OrvLookup* lookup = static_cast<OrvLookup*>(op->getObjParam(1));
    const BandMap<S, D> map(frame, lookup);
    if (combinedThree(frame, map)) return throughThree(frame, map, lookup, combinedShortsToBytes, facts.file);
    if (!map.combined() && singleSamples<S, D>(frame)) return throughSingleShorts(frame, map, lookup, facts.file);
    return general(frame, map);
}

OrvStatus OrvDeviceComputeTypeMemory::Lookup16_16(OrvOp* op, int) noexcept {
    using T = std::int16_t;
    static constexpr FrameFacts facts = lookupFacts<T, T>("Lookup16_16Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    OrvLookup* lookup = static_cast<OrvLookup*>(op->getObjParam(1));
    const BandMap<T, T> map(frame, lookup);
    if (combinedThree(frame, map)) return throughThree(frame, map, lookup, combinedShorts, facts.file);
    return general(frame, map);
}
