// Error diffusion to the colours of a lookup.
//
// A pixel's error depends on everything above it and to its left: the pass runs over whole rows from the top left
// corner of the source into a temporary image, always from left to right, down to the last row of the region. Only the
// last step, the copy into the destination, honours the region.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/walk.h"
#include "memory/quantise/diffusion_utils.h"
#include "memory/quantise/nearest_color_grid.h"

namespace {

using namespace orvi;

/// The kernel as seen from the key.
struct Reach {
    const float* key;
    long width; ///< of the kernel's rows
    long left;
    long right;
    long below;
    long besideKey; ///< columns to the right in the key's own row; none where that row lies below the table

    explicit Reach(OrvKernel* kernel) noexcept {
        width = static_cast<long>(kernel->getWidth());
        left = diffusionKeyX(kernel);
        const long keyY = diffusionKeyY(kernel);
        right = width - left - 1;
        below = std::max(static_cast<long>(kernel->getHeight()) - keyY - 1, -1L);
        besideKey = below < 0 ? 0 : right;
        key = kernel->getValue() + (below < 0 ? 0 : keyY * width + left);
    }
};

/// Source rows as floats, as many as the kernel reaches: source values plus the error received so far.
class Ring {
public:
    Ring(long rows, std::size_t samples) noexcept
        : samples_(samples),
          count_(rows),
          block_(static_cast<std::size_t>(rows) * samples),
          rows_(static_cast<std::size_t>(rows)) {
        if (!*this) return;
        for (long row = 0; row < rows; ++row)
            rows_[static_cast<std::size_t>(row)] = &block_[static_cast<std::size_t>(row) * samples];
    }

    explicit operator bool() const noexcept { return block_ && rows_; }
    long size() const noexcept { return count_; }
    float* operator[](long row) const noexcept { return rows_[static_cast<std::size_t>(row)]; }

    /// The finished row's buffer goes to the end.
    void rotate() noexcept { std::rotate(rows_.get(), rows_.get() + 1, rows_.get() + count_); }

private:
    std::size_t samples_;
    long count_;
    Array<float> block_;
    Array<float*> rows_;
};

template <class S>
void readRow(const Raster& source, long row, long width, float* to) noexcept {
    const unsigned bands = source.bands;
    if constexpr (std::is_same_v<S, Bit>) {
        for (unsigned band = 0; band < bands; ++band) {
            for (long x = 0; x < width; ++x) {
                const BitPosition at = source.bit(x, row, band);
                to[static_cast<std::size_t>(x) * bands + band] = (*at.byte & bit_mask[at.offset]) != 0 ? 1.0F : 0.0F;
            }
        }
    } else {
        const S* from = source.at<S>(0, row);
        for (long x = 0; x < width; ++x, from += source.pixelOf<S>(), to += bands) {
            for (unsigned band = 0; band < bands; ++band) to[band] = static_cast<float>(from[band]);
        }
    }
}

template <class D>
void writeIndex(const Raster& image, long x, long y, int index) noexcept {
    if constexpr (std::is_same_v<D, Bit>) {
        const BitPosition at = image.bit(x, y, 0);
        orv_bit_setvalue(at.byte, index != 0 ? 1 : 0, 1, at.offset);
    } else {
        *image.at<D>(x, y) = static_cast<D>(index);
    }
}

/// The pixel gains a share of the error: the product is exact, and the sum is rounded to single precision once.
void gain(float* pixel, const float* error, float weight, unsigned bands) noexcept {
    for (unsigned band = 0; band < bands; ++band) {
        pixel[band] = static_cast<float>(double{pixel[band]} + double{error[band]} * double{weight});
    }
}

/// One image on its way through the pass.
struct Pass {
    Raster source; ///< from its own first pixel, whatever the origin
    Raster result;
    long width;
    long rows;
    Reach reach;
};

void spread(const Pass& pass, const Ring& ring, long x, long rowsBelow, const float* error) noexcept {
    const Reach& reach = pass.reach;
    const unsigned bands = pass.source.bands;
    const long first = -std::min(reach.left, x);
    const auto pixelAt = [&](long row, long dx) { return ring[row] + static_cast<std::size_t>(x + dx) * bands; };
    for (long dx = 1; dx <= std::min(reach.besideKey, pass.width - 1 - x); ++dx) {
        gain(pixelAt(0, dx), error, reach.key[dx], bands);
    }
    const long last = std::min(reach.right, pass.width - 1 - x);
    for (long row = 1; row <= rowsBelow; ++row) {
        const float* weights = reach.key + row * reach.width;
        for (long dx = first; dx <= last; ++dx) gain(pixelAt(row, dx), error, weights[dx], bands);
    }
}

template <class D, class Search>
void diffuseRow(const Pass& pass, const Ring& ring, long y, float* error, Search& search) noexcept {
    const unsigned bands = pass.source.bands;
    const long rowsBelow = std::min(pass.reach.below, pass.rows - 1 - y);
    for (long x = 0; x < pass.width; ++x) {
        const float* pixel = ring[0] + static_cast<std::size_t>(x) * bands;
        const auto match = search(pixel);
        writeIndex<D>(pass.result, x, y, match.index + search.offset());
        if (match.color == nullptr) continue;
        bool any = false;
        for (unsigned band = 0; band < bands; ++band) {
            error[band] = band < search.bands() ? pixel[band] - static_cast<float>(match.color[band]) : 0.0F;
            any = any || error[band] != 0.0F;
        }
        if (any) spread(pass, ring, x, rowsBelow, error);
    }
}

template <class S, class D, class Search>
void diffuseRows(const Pass& pass, Ring& ring, float* error, Search& search) noexcept {
    for (long row = 0; row < ring.size(); ++row) readRow<S>(pass.source, row, pass.width, ring[row]);
    for (long y = 0; y < pass.rows; ++y) {
        diffuseRow<D>(pass, ring, y, error, search);
        ring.rotate();
        const long next = y + ring.size();
        if (next < pass.rows) readRow<S>(pass.source, next, pass.width, ring[ring.size() - 1]);
    }
}

/// The member's source file and the lines that its reports name, 0 for those of the tests themselves.
struct PathFacts {
    const char* file;
    int sourceLine = 0;
    int destinationLine = 0;
    int imageLine = 0;
    int imageStorageLine = 0;
};

/// A temporary image, destroyed at the end.
class Temporary {
public:
    Temporary(OrvSystemState* state, unsigned width, unsigned height, OrvDataType type) noexcept
        : image_(state != nullptr ? state->createImage(width, height, 1, type) : nullptr) {}
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary() { orv_destroy(image_); }

    OrvImage* get() const noexcept { return image_; }

private:
    OrvImage* image_;
};

/// The rows from the top of the source to the last one of the region.
long rowsToDo(OrvRoi* region, const Raster& source, unsigned height) noexcept {
    long x = 0;
    long y = 0;
    unsigned boxWidth = 0;
    unsigned boxHeight = 0;
    region->getBoundingBox(&x, &y, &boxWidth, &boxHeight);
    return std::clamp(y + static_cast<long>(boxHeight) + source.oy, 0L, static_cast<long>(height));
}

template <class D>
void copyResult(Frame& frame, const Raster& result) noexcept {
    if constexpr (std::is_same_v<D, Bit>) {
        walkBitRows(
            frame.rects(), 1,
            [](BitPosition to, BitPosition from, unsigned length, unsigned) {
                orv_bit_memcpy(from.byte, to.byte, length, from.offset, to.offset);
            },
            frame[dst], result);
    } else {
        walkRuns<D, D>(
            frame.rects(), [](D* d, const D* s, std::size_t pixels) { std::memcpy(d, s, pixels * sizeof(D)); },
            Operand{&frame[dst], 1}, Operand{&result, 1});
    }
}

/// The whole pass; `search` is asked to get ready once nothing but memory can fail.
template <class S, class D, class Search>
OrvStatus diffuse(OrvImage* source, OrvImage* destination, OrvKernel* kernel, const PathFacts& lines,
                  Search search) noexcept {
    const Fetch fetches[] = {
        {src1, dataTypeOf<S>, {"di-216", 1, 0, lines.sourceLine}, dst},
        {dst, dataTypeOf<D>, {"di-10", 1, 0, lines.destinationLine}, dst},
    };
    const FrameFacts facts = {lines.file, fetches, {"di-12", 0, 0}, dst};
    Frame frame(source, nullptr, nullptr, destination);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;

    const unsigned width = source->getWidth();
    const unsigned height = source->getHeight();
    const Temporary image(destination->getSystemState(), width, height, dataTypeOf<D>);
    if (image.get() == nullptr) return fail(destination, {"di-1", 1, 1, lines.imageLine}, lines.file);
    Pass pass{frame[src1], {}, static_cast<long>(width), 0, Reach(kernel)};
    if (!pass.result.read(image.get(), dataTypeOf<D>)) {
        return fail(destination, {"di-10", 1, 0, lines.imageStorageLine}, lines.file);
    }
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;
    pass.source.ox = pass.source.oy = 0;
    pass.result.ox = pass.result.oy = 0;
    pass.rows = rowsToDo(frame.touched(), frame[src1], height);

    if (search.prepare() != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = pass.source.bands;
    Ring ring(std::min(pass.rows, std::max(pass.reach.below, 0L) + 1), std::size_t{width} * bands);
    const Array<float> error(bands);
    if (!ring || !error) return fail(destination, noMemory, lines.file);
    diffuseRows<S, D>(pass, ring, error.get(), search);

    // The temporary image lies as the source does.
    pass.result.ox = frame[src1].ox;
    pass.result.oy = frame[src1].oy;
    copyResult<D>(frame, pass.result);
    return ORV_SUCCESS;
}

// The searches. Each answers an index and the entry's samples.

template <class T>
class SearchBase {
public:
    SearchBase(OrvLookup* lookup, unsigned sourceBands) noexcept
        : palette_(lookup), bands_(std::min(sourceBands, palette_.bands)) {}

    OrvStatus prepare() noexcept { return ORV_SUCCESS; }
    int offset() const noexcept { return palette_.offset; }
    unsigned bands() const noexcept { return bands_; }

protected:
    Match<T> entry(unsigned index) const noexcept {
        if (index >= palette_.entries) return {static_cast<int>(index), nullptr};
        return {static_cast<int>(index), palette_[index]};
    }

    Palette<T> palette_;
    unsigned bands_;
};

/// Any lookup: a full search.
template <class T>
class FullSearch : public SearchBase<T> {
public:
    using SearchBase<T>::SearchBase;
    Match<T> operator()(const float* pixel) const noexcept {
        return find_nearest_color(pixel, this->palette_, this->bands_);
    }
};

/// Three bands of bytes: the grid of cells.
class GridSearch : public SearchBase<std::uint8_t> {
public:
    GridSearch(OrvLookup* lookup, unsigned sourceBands) noexcept : SearchBase(lookup, sourceBands), lookup_(lookup) {}

    OrvStatus prepare() noexcept {
        renew_nc_grid(lookup_);
        return ORV_SUCCESS;
    }
    Match<std::uint8_t> operator()(const float* pixel) const noexcept {
        return nc_grid_32to8_3(pixel, lookup_, palette_);
    }

private:
    OrvLookup* lookup_;
};

/// The entries of the last one-band lookup, sorted by their values. An entry is the nearest from the middle between
/// itself and its lower neighbour up, and these middles are multiples of one half: a table by half values answers.
constexpr int halfValues = 511;
struct {
    SortedEntry* entries = nullptr;
    OrvVersionNumber lookup;
    std::uint8_t byHalves[halfValues];

    OrvStatus fit(OrvLookup* newLookup, const Palette<std::uint8_t>& palette, const PathFacts& facts) noexcept {
        OrvVersionNumber now;
        newLookup->getVersion(&now);
        if (!(lookup != now)) return ORV_SUCCESS;
        orvi_delete(entries);
        entries = newArray<SortedEntry>(palette.entries);
        if (entries == nullptr) {
            lookup = OrvVersionNumber();
            return fail(newLookup, {"di-1", 1, 1, 579}, facts.file);
        }
        lookup = now;
        for (unsigned i = 0; i < palette.entries; ++i) {
            entries[i] = {static_cast<std::uint8_t>(i), 0, palette[i][0], 0};
        }
        std::qsort(entries, palette.entries, sizeof(SortedEntry), cmap_entry_1d_cmp_fx_8);
        fillHalves(palette.entries);
        return ORV_SUCCESS;
    }

private:
    static bool nextIsAsNear(unsigned value, unsigned next, unsigned half) noexcept {
        return value == next || value + next <= half;
    }
    void fillHalves(unsigned count) noexcept {
        unsigned nearest = 0;
        for (unsigned half = 0; half < halfValues && count != 0; ++half) {
            while (nearest + 1 < count && nextIsAsNear(entries[nearest].value, entries[nearest + 1].value, half))
                ++nearest;
            byHalves[half] = entries[nearest].index;
        }
    }
} sortedEntries;

/// One band of bytes: among equally near entries the one with the larger value, then the higher index.
class SortedSearch : public SearchBase<std::uint8_t> {
public:
    SortedSearch(OrvLookup* lookup, unsigned sourceBands, const PathFacts& facts) noexcept
        : SearchBase(lookup, sourceBands), lookup_(lookup), facts_(facts) {}

    OrvStatus prepare() noexcept { return sortedEntries.fit(lookup_, palette_, facts_); }
    Match<std::uint8_t> operator()(const float* pixel) const noexcept {
        if (palette_.entries == 0) return {0, nullptr};
        return entry(sortedEntries.byHalves[toInt(2.0 * double{*pixel}, 0, halfValues - 1)]);
    }

private:
    OrvLookup* lookup_;
    const PathFacts& facts_;
};

/// Two entries of one band: a threshold halfway between them. Of equal entries the second counts as the higher.
template <class T>
class ThresholdSearch : public SearchBase<T> {
public:
    ThresholdSearch(OrvLookup* lookup, unsigned sourceBands) noexcept : SearchBase<T>(lookup, sourceBands) {
        if (this->palette_.entries < 2) return;
        const int first = this->palette_[0][0];
        const int second = this->palette_[1][0];
        threshold_ = static_cast<float>(first + second) / 2.0F;
        higher_ = second >= first ? 1 : 0;
    }
    Match<T> operator()(const float* pixel) const noexcept {
        if (this->palette_.entries < 2) return this->entry(0);
        return this->entry(*pixel >= threshold_ ? higher_ : 1 - higher_);
    }

private:
    float threshold_ = 0;
    unsigned higher_ = 0;
};

/// Two entries of three bands: the nearer one; where both are as near the brighter one, then the second.
template <class T>
class NearerSearch : public SearchBase<T> {
public:
    NearerSearch(OrvLookup* lookup, unsigned sourceBands) noexcept : SearchBase<T>(lookup, sourceBands) {
        if (this->palette_.entries < 2) return;
        int sums[2] = {0, 0};
        for (unsigned entry : {0U, 1U}) {
            for (unsigned band = 0; band < this->bands_; ++band) sums[entry] += this->palette_[entry][band];
        }
        preferred_ = sums[1] >= sums[0] ? 1 : 0;
    }
    Match<T> operator()(const float* pixel) const noexcept {
        if (this->palette_.entries < 2) return this->entry(0);
        const double toPreferred = distance(pixel, preferred_);
        const double toOther = distance(pixel, 1 - preferred_);
        return this->entry(toOther < toPreferred ? 1 - preferred_ : preferred_);
    }

private:
    double distance(const float* pixel, unsigned entry) const noexcept {
        double sum = 0;
        for (unsigned band = 0; band < this->bands_; ++band) {
            const double d = double{pixel[band]} - static_cast<double>(this->palette_[entry][band]);
            sum += d * d;
        }
        return sum;
    }

    unsigned preferred_ = 0;
};

/// The checks of a member: how many entries its destination can tell, and the lines that the four refusals name.
struct Checks {
    const char* file;
    unsigned entriesBelow;
    int lines[4];
    bool ofColors = true; ///< whether type and bands of the lookup must be the source's
};

OrvLookup* lookupOf(OrvOp* op) noexcept { return static_cast<OrvLookup*>(op->getObjParam(1)); }
OrvKernel* kernelOf(OrvOp* op) noexcept { return static_cast<OrvKernel*>(op->getObjParam(2)); }

OrvStatus check(OrvOp* op, const Checks& checks) noexcept {
    OrvImage* source = op->getSrc1();
    OrvLookup* lookup = lookupOf(op);
    const auto refuse = [&](const char* id, int check) {
        return fail(source, {id, 4, 1, checks.lines[check]}, checks.file);
    };
    if (lookup->getNumEntries() >= checks.entriesBelow) return refuse("di-166", 0);
    if (valid_diffusion_kernel(kernelOf(op)) == 0) return refuse("di-289", 1);
    if (!checks.ofColors) return ORV_SUCCESS;
    if (lookup->getOutputDataType() != source->getDataType()) return refuse("di-175", 2);
    if (lookup->getNBands() != source->getBands()) return refuse("di-173", 3);
    return ORV_SUCCESS;
}

template <class S, class D, class Search>
OrvStatus diffuse(OrvOp* op, const PathFacts& facts, Search search) noexcept {
    return diffuse<S, D>(op->getSrc1(), op->getDst(), kernelOf(op), facts, search);
}

/// A member that has but the full search. The lookup's samples are of the source's type.
template <class S, class D>
OrvStatus diffuseDefault(OrvOp* op, const Checks& checks, const PathFacts& facts) noexcept {
    if (check(op, checks) != ORV_SUCCESS) return ORV_FAILURE;
    return diffuse<S, D>(op, facts, FullSearch<SampleOf<S>>(lookupOf(op), op->getSrc1()->getBands()));
}

template <class S, class D>
OrvStatus diffuseDefault(OrvOp* op, const Checks& checks) noexcept {
    return diffuseDefault<S, D>(op, checks, PathFacts{checks.file});
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion1_1(OrvOp* op, int) noexcept {
    return diffuseDefault<Bit, Bit>(op, {"ErrorDiffusion1to1Memory.cc", 3, {79, 86, 92, 96}});
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion1_8(OrvOp* op, int) noexcept {
    return diffuseDefault<Bit, std::uint8_t>(op, {"ErrorDiffusion1to8Memory.cc", 257, {80, 87, 93, 97}});
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion1_16(OrvOp* op, int) noexcept {
    return diffuseDefault<Bit, std::int16_t>(op, {"ErrorDiffusion1to16Memory.cc", 65537, {80, 87, 93, 97}});
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion8_1(OrvOp* op, int) noexcept {
    // The lookup's type and bands are not checked here: whatever it holds is compared.
    static constexpr Checks checks = {"ErrorDiffusion8to1Memory.cc", 3, {91, 98}, false};
    static constexpr PathFacts facts = {checks.file};
    if (check(op, checks) != ORV_SUCCESS) return ORV_FAILURE;
    const unsigned bands = op->getSrc1()->getBands();
    return withPalette(lookupOf(op), [&]<class T>(const Palette<T>&) {
        if (bands == 1) return diffuse<std::uint8_t, Bit>(op, facts, ThresholdSearch<T>(lookupOf(op), bands));
        if (bands == 3) return diffuse<std::uint8_t, Bit>(op, facts, NearerSearch<T>(lookupOf(op), bands));
        return diffuse<std::uint8_t, Bit>(op, facts, FullSearch<T>(lookupOf(op), bands));
    });
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion8_8(OrvOp* op, int) noexcept {
    static constexpr Checks checks = {"ErrorDiffusion8to8Memory.cc", 257, {99, 106, 112, 116}};
    static constexpr PathFacts any = {checks.file, 157, 174, 186, 194};
    static constexpr PathFacts band1 = {checks.file};
    static constexpr PathFacts band3 = {checks.file, 792, 809, 821};
    if (check(op, checks) != ORV_SUCCESS) return ORV_FAILURE;
    using T = std::uint8_t;
    const unsigned bands = op->getSrc1()->getBands();
    if (bands == 1) return diffuse<T, T>(op, band1, SortedSearch(lookupOf(op), bands, band1));
    if (bands == 3) return diffuse<T, T>(op, band3, GridSearch(lookupOf(op), bands));
    return diffuse<T, T>(op, any, FullSearch<T>(lookupOf(op), bands));
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion8_16(OrvOp* op, int) noexcept {
    return diffuseDefault<std::uint8_t, std::int16_t>(op, {"ErrorDiffusion8to16Memory.cc", 65537, {79, 86, 92, 96}});
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion16_1(OrvOp* op, int) noexcept {
    return diffuseDefault<std::int16_t, Bit>(op, {"ErrorDiffusion16to1Memory.cc", 3, {82, 89, 95, 99}});
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion16_8(OrvOp* op, int) noexcept {
    return diffuseDefault<std::int16_t, std::uint8_t>(op, {"ErrorDiffusion16to8Memory.cc", 257, {79, 86, 92, 96}});
}

OrvStatus OrvDeviceComputeTypeMemory::ErrorDiffusion16_16(OrvOp* op, int) noexcept {
    // One entry fewer than the other members with shorts as their destination, as intended.
    return diffuseDefault<std::int16_t, std::int16_t>(op, {"ErrorDiffusion16to16Memory.cc", 65536, {80, 87, 93, 97}});
}
