// Ordered dither to the colours of a cube.
//
// Each band of a pixel is scaled to the levels of the cube; where the fraction left over exceeds the mask's threshold
// at the pixel's place, the level above is taken.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/gaps.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "orv/device/OrvDitherMask.h"
#include "orv/device/OrvLookup.h"
#include "orv/device/OrvSystemState.h"

namespace {

using namespace orvi;

constexpr Failure notACube{"di-205", 4, 1};

constexpr unsigned matrixSize = 8;
constexpr unsigned matrixCells = matrixSize * matrixSize;
constexpr unsigned sampleValues = 256;
constexpr unsigned tableEntries = matrixCells * sampleValues;
constexpr unsigned fastBands = 3;
// Lookups with more bands than this are left to the general path, whose arrays have room for any number.
constexpr unsigned mostFastLookupBands = 64;

/// How the samples of a source are scaled: their full scale is a power of two, so that a product splits into a level
/// and a fraction by its bits.
template <class S>
struct Scale {
    using Threshold = std::uint8_t;
    static constexpr unsigned bits = 8;
    static constexpr double full = 255.0;
    static unsigned level(std::uint8_t sample) noexcept { return sample; }
};
template <>
struct Scale<Bit> : Scale<std::uint8_t> {
    static unsigned level(std::uint8_t bit) noexcept { return bit != 0 ? 255 : 0; }
};
template <>
struct Scale<std::int16_t> {
    using Threshold = std::uint16_t;
    static constexpr unsigned bits = 16;
    static constexpr double full = 65535.0;
    static unsigned level(std::int16_t sample) noexcept { return static_cast<unsigned>(sample + 32768); }
};

template <class S>
typename Scale<S>::Threshold scaled(float threshold) noexcept {
    constexpr double full = Scale<S>::full;
    return static_cast<typename Scale<S>::Threshold>(toInt(threshold * full, 0, static_cast<int>(full)));
}

/// The thresholds of a mask. A band that the mask lacks uses its last one.
struct Thresholds {
    const float* values;
    unsigned bands;
    unsigned cells;

    explicit Thresholds(OrvDitherMask* mask) noexcept
        : values(mask->getValue()), bands(mask->getNBands()), cells(mask->getWidth() * mask->getHeight()) {}

    const float* plane(unsigned band) const noexcept { return values + std::size_t{std::min(band, bands - 1)} * cells; }

    template <class S>
    void scaleTo(typename Scale<S>::Threshold* to, unsigned count) const noexcept {
        for (unsigned band = 0; band < count; ++band, to += cells) {
            const float* from = plane(band);
            for (unsigned i = 0; i < cells; ++i) to[i] = scaled<S>(from[i]);
        }
    }
};

unsigned wrapped(long position, unsigned size) noexcept {
    const long rest = position % static_cast<long>(size);
    return static_cast<unsigned>(rest < 0 ? rest + static_cast<long>(size) : rest);
}

template <class D>
SampleOf<D> asSample(int index) noexcept {
    if constexpr (std::is_same_v<D, Bit>) return index != 0;
    return static_cast<SampleOf<D>>(index);
}

/// A cube and a mask, ready for the pixels.
template <class S>
struct Dither {
    Array<int> multipliers;
    Array<unsigned> highest; ///< levels less 1
    short origin = 0;
    Array<typename Scale<S>::Threshold> mask;
    unsigned width = 1;
    unsigned height = 1;
    unsigned bands = 0;
};

template <class S>
OrvStatus prepare(Dither<S>& dither, Frame& frame, OrvLookup* lookup, OrvDitherMask* mask, const char* file) noexcept {
    const unsigned sourceBands = frame[src1].bands;
    const unsigned lookupBands = lookup->getNBands();
    dither.multipliers = Array<int>(lookupBands);
    dither.highest = Array<unsigned>(lookupBands);
    if (!dither.multipliers || !dither.highest) return fail(frame.image(src1), noMemory, file);
    if (lookup->getColorCubeInfo(dither.multipliers.get(), dither.highest.get(), &dither.origin) == 0) {
        return fail(lookup, notACube, file);
    }
    for (unsigned band = 0; band < lookupBands; ++band) --dither.highest[band];

    const Thresholds thresholds(mask);
    const std::size_t cells = std::size_t{sourceBands} * std::max(thresholds.cells, 1U);
    dither.mask = Array<typename Scale<S>::Threshold>(cells);
    if (!dither.mask) return fail(frame.image(src1), noMemory, file);
    dither.bands = std::min(sourceBands, lookupBands);
    if (thresholds.cells == 0) {
        // No modulo has an answer there: a mask without thresholds counts as one threshold of 0.
        std::fill_n(dither.mask.get(), cells, typename Scale<S>::Threshold{});
        return ORV_SUCCESS;
    }
    thresholds.scaleTo<S>(dither.mask.get(), sourceBands);
    dither.width = mask->getWidth();
    dither.height = mask->getHeight();
    return ORV_SUCCESS;
}

/// The pixels of a stretch of a row, band by band, so that they go many at a time. Results have no more bits than `W`:
/// what is lost above those does not count.
template <class S, class W, class D>
class DitherRows {
public:
    explicit DitherRows(const Dither<S>& dither, unsigned sourceBands) noexcept
        : dither_(dither), sourceBands_(sourceBands) {}

    void operator()(Place place, SampleOf<D>* d, const SampleOf<S>* s, std::size_t pixels) const noexcept {
        const std::size_t row = std::size_t{wrapped(place.y, dither_.height)} * dither_.width;
        for (std::size_t done = 0; done < pixels; done += most) {
            stretch(row, place.x + static_cast<long>(done), d + done, s + done * sourceBands_,
                    std::min(most, pixels - done));
        }
    }

private:
    static constexpr std::size_t most = 256;
    using Threshold = typename Scale<S>::Threshold;

    void stretch(std::size_t row, long x, SampleOf<D>* d, const SampleOf<S>* s, std::size_t pixels) const noexcept {
        const unsigned column = wrapped(x, dither_.width);
        W sums[most];
        std::fill_n(sums, pixels, static_cast<W>(dither_.origin));
        for (unsigned band = 0; band < dither_.bands; ++band) {
            Threshold thresholds[most];
            const Threshold* cells = dither_.mask.get() + std::size_t{band} * dither_.width * dither_.height + row;
            repeat(thresholds, cells, column, pixels);
            SampleOf<S> samples[most];
            const auto highest = static_cast<W>(dither_.highest[band]);
            const auto step = static_cast<W>(static_cast<unsigned>(dither_.multipliers[band]));
            add(sums, plane(samples, s + band, pixels), thresholds, highest, step, pixels);
        }
        for (std::size_t i = 0; i < pixels; ++i) d[i] = asSample<D>(static_cast<int>(sums[i]));
    }

    static void add(W* sums, const SampleOf<S>* samples, const Threshold* thresholds, W highest, W step,
                    std::size_t pixels) noexcept {
        constexpr W fraction = (W{1} << (Scale<S>::bits - 1)) * 2 - 1;
        for (std::size_t i = 0; i < pixels; ++i) {
            const auto total = static_cast<W>(static_cast<W>(Scale<S>::level(samples[i])) * highest);
            const auto above = static_cast<W>((total & fraction) > thresholds[i] ? 1 : 0);
            sums[i] = static_cast<W>(sums[i] + static_cast<W>(static_cast<W>(total >> Scale<S>::bits) + above) * step);
        }
    }

    /// A row of the mask from a column on, as often as it takes.
    void repeat(Threshold* to, const Threshold* cells, unsigned column, std::size_t pixels) const noexcept {
        const std::size_t width = dither_.width;
        std::size_t done = std::min(pixels, width);
        for (std::size_t i = 0; i < done; ++i) to[i] = cells[column + i < width ? column + i : column + i - width];
        while (done < pixels) {
            const std::size_t now = std::min(done - done % width, pixels - done);
            std::memcpy(to + done, to, now * sizeof(Threshold));
            done += now;
        }
    }

    /// The samples of one band side by side.
    const SampleOf<S>* plane(SampleOf<S>* to, const SampleOf<S>* from, std::size_t pixels) const noexcept {
        if (sourceBands_ == 1) return from;
        closeGaps(reinterpret_cast<std::byte*>(to), reinterpret_cast<const std::byte*>(from),
                  static_cast<std::ptrdiff_t>(sourceBands_ * sizeof *from), sizeof *from, pixels);
        return to;
    }

    const Dither<S>& dither_;
    unsigned sourceBands_;
};

/// The general path: any cube, any mask.
template <class S, class D>
OrvStatus ditherAny(OrvImage* source, OrvImage* destination, OrvLookup* lookup, OrvDitherMask* mask,
                    const char* file) noexcept {
    const FrameFacts facts = oneSource<S, D>(file);
    Frame frame(source, nullptr, nullptr, destination);
    Dither<S> dither;
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    if (prepare(dither, frame, lookup, mask, file) != ORV_SUCCESS) return ORV_FAILURE;
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;

    const unsigned sourceBands = frame[src1].bands;
    const Operand to{&frame[dst], 1};
    const Operand from{&frame[src1], sourceBands};
    if constexpr (Scale<S>::bits == 8 && !std::is_same_v<D, Bit>) {
        constexpr unsigned mostLevels = 257; // whose products with a sample fit 16 bits
        if (std::all_of(dither.highest.get(), dither.highest.get() + dither.bands,
                        [](unsigned highest) { return highest <= mostLevels; })) {
            walkPlacedRuns<D, S>(frame.rects(), DitherRows<S, std::uint16_t, D>(dither, sourceBands), to, from);
            return ORV_SUCCESS;
        }
    }
    walkPlacedRuns<D, S>(frame.rects(), DitherRows<S, std::uint32_t, D>(dither, sourceBands), to, from);
    return ORV_SUCCESS;
}

// The fast paths work on a matrix of 8 by 8 and read finished indices from tables that stay between calls.

enum class Built { made, noCube, noMemory };

/// A table with the versions of the mask and the lookup that it was built from.
template <class T>
struct DitherTable {
    T* entries = nullptr;
    OrvVersionNumber mask;
    OrvVersionNumber lookup;

    /// Makes the table fit both objects. After a failure it fits none, so that the next call builds it.
    template <class Build>
    Built fit(OrvLookup* newLookup, OrvDitherMask* newMask, std::size_t count, const char* file, Build build) noexcept {
        OrvVersionNumber maskNow;
        OrvVersionNumber lookupNow;
        newMask->getVersion(&maskNow);
        newLookup->getVersion(&lookupNow);
        if (entries != nullptr && !(mask != maskNow) && !(lookup != lookupNow)) return Built::made;
        mask = OrvVersionNumber();
        if (entries == nullptr) entries = newArray<T>(count);
        if (entries == nullptr) {
            fail(newLookup, noMemory, file);
            return Built::noMemory;
        }
        const Built result = build(newLookup, newMask, entries);
        if (result != Built::made) return result;
        mask = maskNow;
        lookup = lookupNow;
        return result;
    }
};

DitherTable<std::uint8_t> bitTable;
DitherTable<std::int16_t> lut_cache;

struct CubeFacts {
    int multipliers[mostFastLookupBands] = {};
    unsigned dimensions[mostFastLookupBands] = {};
    short origin = 0;

    bool read(OrvLookup* lookup) noexcept { return lookup->getColorCubeInfo(multipliers, dimensions, &origin) != 0; }
    unsigned highest(unsigned band) const noexcept { return dimensions[band] - 1; }
};

constexpr const char* file8to8 = "OrderedDither8to8Memory.cc";
constexpr const char* file8to1 = "OrderedDither8to1Memory.cc";

/// A mask of 4 by 4, tiled to 8 by 8, in a new block with room for three bands; null after a report.
float* convert_dithermask_4x4_to_8x8(const float* values, unsigned bands) noexcept {
    constexpr unsigned small = matrixSize / 2;
    float* matrix = newArray<float>(std::size_t{fastBands} * matrixCells);
    if (matrix == nullptr) {
        fail(static_cast<OrvSystemState*>(nullptr), {"di-1", 1, 1, 782}, file8to8);
        return nullptr;
    }
    for (unsigned row = 0; row < bands * small; ++row, values += small) {
        float* to = matrix + row / small * matrixCells + row % small * matrixSize;
        for (const unsigned at : {0U, small, small * matrixSize, small * matrixSize + small}) {
            std::memcpy(to + at, values, small * sizeof(float));
        }
    }
    return matrix;
}

/// The thresholds as 8 by 8, converted where they are 4 by 4.
struct Matrix {
    Thresholds thresholds;
    Array<float> converted;
    bool ok = true;

    explicit Matrix(OrvDitherMask* mask) noexcept : thresholds(mask) {
        if (thresholds.cells == matrixCells) return;
        thresholds.bands = std::min(thresholds.bands, fastBands);
        converted.reset(convert_dithermask_4x4_to_8x8(thresholds.values, thresholds.bands));
        ok = static_cast<bool>(converted);
        thresholds.values = converted.get();
        thresholds.cells = matrixCells;
    }
};

/// Two levels: the threshold is compared with the sample as it is, whatever the number of levels of the cube.
Built get_1band_lookup(OrvLookup* lookup, OrvDitherMask* mask, std::uint8_t* table) noexcept {
    CubeFacts cube;
    if (!cube.read(lookup)) {
        fail(lookup, {notACube.id, notACube.category, notACube.primary, 265}, file8to1);
        return Built::noCube;
    }
    const Matrix matrix(mask);
    if (!matrix.ok) return Built::noMemory;
    const Array<std::uint8_t> thresholds(matrixCells);
    if (!thresholds) {
        fail(lookup, noMemory, file8to1);
        return Built::noMemory;
    }
    matrix.thresholds.scaleTo<std::uint8_t>(thresholds.get(), 1);
    const auto low = static_cast<std::uint8_t>(cube.origin);
    const auto high = static_cast<std::uint8_t>(low + static_cast<std::uint8_t>(cube.multipliers[0]));
    for (unsigned i = 0; i < tableEntries; ++i) table[i] = i % sampleValues > thresholds[i / sampleValues] ? high : low;
    return Built::made;
}

/// Each band's share of the index, by place in the matrix and sample; the cube's origin is in band 0.
Built get_3band_lookups(OrvLookup* lookup, OrvDitherMask* mask, std::int16_t* table) noexcept {
    CubeFacts cube;
    if (!cube.read(lookup)) {
        fail(lookup, notACube, file8to8);
        return Built::noCube;
    }
    const Matrix matrix(mask);
    if (!matrix.ok) {
        fail(lookup, {"di-1", 1, 1, 309}, file8to8);
        return Built::noMemory;
    }
    const Array<std::uint8_t> thresholds(std::size_t{fastBands} * matrixCells);
    if (!thresholds) {
        fail(lookup, {"di-1", 1, 1, 318}, file8to8);
        return Built::noMemory;
    }
    matrix.thresholds.scaleTo<std::uint8_t>(thresholds.get(), fastBands);
    const Array<std::int16_t> shares(std::size_t{2} * fastBands * sampleValues);
    if (!shares) {
        fail(lookup, noMemory, file8to8);
        return Built::noMemory;
    }
    for (unsigned band = 0; band < fastBands; ++band) {
        std::int16_t* levels = &shares[std::size_t{2} * band * sampleValues];
        std::int16_t* fractions = levels + sampleValues;
        const auto step = static_cast<unsigned>(cube.multipliers[band]);
        const unsigned base = band == 0 ? static_cast<unsigned>(static_cast<int>(cube.origin)) : 0U;
        for (unsigned value = 0; value < sampleValues; ++value) {
            const unsigned total = value * cube.highest(band);
            levels[value] = static_cast<std::int16_t>((total >> 8) * step + base);
            fractions[value] = static_cast<std::int16_t>(total & 255);
        }
        for (unsigned cell = 0; cell < matrixCells; ++cell, table += sampleValues) {
            const int threshold = thresholds[band * matrixCells + cell];
            for (unsigned value = 0; value < sampleValues; ++value) {
                const unsigned above = fractions[value] > threshold ? step : 0U;
                table[value] = static_cast<std::int16_t>(static_cast<unsigned>(levels[value]) + above);
            }
        }
    }
    return Built::made;
}

/// What a fast path did: nothing where the lookup is no cube.
enum class Fast { done, failed, declined };

template <class D, class T, class Build, class Kernel>
Fast ditherFast(OrvImage* source, OrvImage* destination, OrvLookup* lookup, OrvDitherMask* mask, const char* file,
                DitherTable<T>& table, unsigned bands, Build build, Kernel kernel) noexcept {
    const FrameFacts facts = oneSource<std::uint8_t, D>(file);
    Frame frame(source, nullptr, nullptr, destination);
    if (frame.fetch(facts) != ORV_SUCCESS) return Fast::failed;
    const Built built = table.fit(lookup, mask, std::size_t{bands} * tableEntries, file, build);
    if (built != Built::made) return built == Built::noCube ? Fast::declined : Fast::failed;
    if (frame.list(facts) != ORV_SUCCESS) return Fast::failed;
    walkPlacedRuns<D, std::uint8_t>(frame.rects(), kernel, Operand{&frame[dst], 1}, Operand{&frame[src1], bands});
    return Fast::done;
}

Fast dither8to1(OrvImage* source, OrvImage* destination, OrvLookup* lookup, OrvDitherMask* mask) noexcept {
    const auto kernel = [](Place place, std::uint8_t* d, const std::uint8_t* s, std::size_t pixels) {
        const std::uint8_t* row = bitTable.entries + (place.y & 7) * static_cast<long>(matrixSize * sampleValues);
        for (std::size_t i = 0; i < pixels; ++i) {
            d[i] = row[((static_cast<std::size_t>(place.x) + i) & 7) << 8 | s[i]];
        }
    };
    return ditherFast<Bit>(source, destination, lookup, mask, file8to1, bitTable, 1, get_1band_lookup, kernel);
}

Fast dither24to8(OrvImage* source, OrvImage* destination, OrvLookup* lookup, OrvDitherMask* mask) noexcept {
    const auto kernel = [](Place place, std::uint8_t* d, const std::uint8_t* s, std::size_t pixels) {
        const std::int16_t* band0 = lut_cache.entries + (place.y & 7) * static_cast<long>(matrixSize * sampleValues);
        const std::int16_t* band1 = band0 + tableEntries;
        const std::int16_t* band2 = band1 + tableEntries;
        const auto one = [&](std::size_t i, std::size_t cell) {
            const std::uint8_t* p = s + i * fastBands;
            d[i] = static_cast<std::uint8_t>(band0[cell | p[0]] + band1[cell | p[1]] + band2[cell | p[2]]);
        };
        std::size_t i = 0;
        for (; i < pixels && ((static_cast<std::size_t>(place.x) + i) & 7) != 0; ++i) {
            one(i, ((static_cast<std::size_t>(place.x) + i) & 7) << 8);
        }
        for (; i + matrixSize <= pixels; i += matrixSize) {
            for (std::size_t column = 0; column < matrixSize; ++column) one(i + column, column << 8);
        }
        for (std::size_t column = 0; i < pixels; ++i, ++column) one(i, column << 8);
    };
    return ditherFast<std::uint8_t>(source, destination, lookup, mask, file8to8, lut_cache, fastBands,
                                    get_3band_lookups, kernel);
}

bool fitsFastPath(OrvLookup* lookup, OrvDitherMask* mask) noexcept {
    const unsigned width = mask->getWidth();
    const bool square = width == mask->getHeight() && (width == matrixSize || width == matrixSize / 2);
    return square && lookup->getNBands() <= mostFastLookupBands;
}

OrvLookup* lookupOf(OrvOp* op) noexcept { return static_cast<OrvLookup*>(op->getObjParam(1)); }
OrvDitherMask* maskOf(OrvOp* op) noexcept { return static_cast<OrvDitherMask*>(op->getObjParam(2)); }

template <class S, class D>
OrvStatus ditherAny(OrvOp* op, const char* file) noexcept {
    return ditherAny<S, D>(op->getSrc1(), op->getDst(), lookupOf(op), maskOf(op), file);
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither1_1(OrvOp* op, int) noexcept {
    return ditherAny<Bit, Bit>(op, "OrderedDither1to1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither1_8(OrvOp* op, int) noexcept {
    return ditherAny<Bit, std::uint8_t>(op, "OrderedDither1to8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither1_16(OrvOp* op, int) noexcept {
    return ditherAny<Bit, std::int16_t>(op, "OrderedDither1to16Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither8_1(OrvOp* op, int) noexcept {
    OrvImage* source = op->getSrc1();
    if (source->getBands() == 1 && fitsFastPath(lookupOf(op), maskOf(op))) {
        const Fast fast = dither8to1(source, op->getDst(), lookupOf(op), maskOf(op));
        if (fast != Fast::declined) return fast == Fast::done ? ORV_SUCCESS : ORV_FAILURE;
    }
    return ditherAny<std::uint8_t, Bit>(op, file8to1);
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither8_8(OrvOp* op, int) noexcept {
    OrvImage* source = op->getSrc1();
    if (source->getBands() == fastBands && fitsFastPath(lookupOf(op), maskOf(op))) {
        const OrvMemoryStorage* storage = source->getMemoryStorage();
        if (storage == nullptr) {
            // The one failure that answers success, as intended.
            fail(source, {"di-9", 1, 0, 82}, file8to8);
            return ORV_SUCCESS;
        }
        unsigned x = 0;
        unsigned y = 0;
        unsigned band = 0;
        source->getChildOffsets(&x, &y, &band);
        const unsigned step = storage->byte.pixel_stride;
        if (step == fastBands || (step == fastBands + 1 && band == 1)) {
            const Fast fast = dither24to8(source, op->getDst(), lookupOf(op), maskOf(op));
            if (fast != Fast::declined) return fast == Fast::done ? ORV_SUCCESS : ORV_FAILURE;
        }
    }
    return ditherAny<std::uint8_t, std::uint8_t>(op, file8to8);
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither8_16(OrvOp* op, int) noexcept {
    return ditherAny<std::uint8_t, std::int16_t>(op, "OrderedDither8to16Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither16_1(OrvOp* op, int) noexcept {
    return ditherAny<std::int16_t, Bit>(op, "OrderedDither16to1Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither16_8(OrvOp* op, int) noexcept {
    return ditherAny<std::int16_t, std::uint8_t>(op, "OrderedDither16to8Memory.cc");
}

OrvStatus OrvDeviceComputeTypeMemory::OrderedDither16_16(OrvOp* op, int) noexcept {
    return ditherAny<std::int16_t, std::int16_t>(op, "OrderedDither16to16Memory.cc");
}
