// Error diffusion to the colours of a lookup.
//
// A pixel's error depends on everything above it and to its left: the pass runs over whole rows from the top left
// corner of the source into a temporary image, always from left to right, down to the last row of the region. Only the
// last step, the copy into the destination, honours the region.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/numbers.h"
#include "memory/frame/walk.h"
#include "memory/quantise/diffusion_utils.h"
#include "memory/quantise/nearest_color_grid.h"
#include "memory/quantise/skewed_colors.h"
#include "memory/quantise/skewed_diffusion.h"

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

/// Rows of floats, as many as the kernel reaches: the row at work, which starts as source values, and the errors of the
/// rows above it.
class Ring {
public:
    Ring(long rows, std::size_t samples) noexcept
        : count_(rows), block_(static_cast<std::size_t>(rows) * samples), rows_(static_cast<std::size_t>(rows)) {
        if (!*this) return;
        for (std::size_t row = 0; row < static_cast<std::size_t>(rows); ++row) rows_[row] = &block_[row * samples];
    }

    explicit operator bool() const noexcept { return block_ && rows_; }
    long size() const noexcept { return count_; }
    /// The row at work is row 0, the one above it row 1.
    float* operator[](long row) const noexcept { return rows_[static_cast<std::size_t>(row)]; }

    /// The row at work becomes the one above; the farthest one's buffer serves the next.
    void rotate() noexcept { std::rotate(rows_.get(), rows_.get() + count_ - 1, rows_.get() + count_); }

private:
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

/// One image on its way through the pass.
struct Pass {
    Raster source; ///< from its own first pixel, whatever the origin
    Raster result;
    long width;
    long rows;
    Reach reach;
};

/// What a pixel gains: the product is exact, and the sum is rounded to single precision once.
float gain(float value, float error, float weight) noexcept {
    return static_cast<float>(double{value} + double{error} * double{weight});
}

void gainRow(float* row, const float* errors, float weight, std::size_t samples) noexcept {
    for (std::size_t i = 0; i < samples; ++i) row[i] = gain(row[i], errors[i], weight);
}

/// A pixel without an error spreads nothing: it matters where a weight is not finite.
bool spreads(const float* errors, float weight, unsigned bands) noexcept {
    if (std::isfinite(weight)) return true;
    return std::any_of(errors, errors + bands, [](float error) { return error != 0.0F; });
}

void gainPixels(float* row, const float* errors, float weight, unsigned bands, std::size_t pixels) noexcept {
    if (std::isfinite(weight)) return gainRow(row, errors, weight, pixels * bands);
    for (std::size_t i = 0; i < pixels; ++i, row += bands, errors += bands) {
        if (spreads(errors, weight, bands)) gainRow(row, errors, weight, bands);
    }
}

/// The row at work gains from the rows above: errors arrive in the order in which the pixels were done.
void gainFromAbove(const Pass& pass, const Ring& ring, long y) noexcept {
    const Reach& reach = pass.reach;
    const long bands = static_cast<long>(pass.source.bands);
    for (long above = std::min(reach.below, y); above >= 1; --above) {
        const float* weights = reach.key + above * reach.width;
        for (long dx = reach.right; dx >= -reach.left; --dx) {
            const long first = std::max(dx, 0L);
            const long count = pass.width - std::abs(dx);
            if (count <= 0) continue;
            gainPixels(ring[0] + first * bands, ring[above] + (first - dx) * bands, weights[dx], pass.source.bands,
                       static_cast<std::size_t>(count));
        }
    }
}

constexpr long chunkPixels = 512;

template <class D>
void storeIndices(const SampleOf<D>* indices, const Raster& image, long x, long y, long count) noexcept {
    if constexpr (std::is_same_v<D, Bit>) {
        const BitPosition to = image.bit(x, y, 0);
        packBits(indices, 1, to.byte, to.offset, static_cast<std::size_t>(count));
    } else if (D* to = image.at<D>(x, y); image.pixelOf<D>() == 1) {
        std::copy_n(indices, count, to);
    } else {
        for (long i = 0; i < count; ++i) to[i * image.pixelOf<D>()] = indices[i];
    }
}

template <class D>
SampleOf<D> asSample(int index) noexcept {
    if constexpr (std::is_same_v<D, Bit>) return index != 0 ? 1 : 0;
    return static_cast<SampleOf<D>>(index);
}

/// Quantises a row from left to right: each pixel gains from those to its left, then turns into its error.
template <class D, unsigned Bands, class Search>
void diffuseRow(const Pass& pass, float* row, long y, const Search& search) noexcept {
    const unsigned bands = Bands != 0 ? Bands : pass.source.bands;
    const Reach& reach = pass.reach;
    SampleOf<D> indices[chunkPixels];
    for (long start = 0; start < pass.width; start += chunkPixels) {
        const long count = std::min(chunkPixels, pass.width - start);
        for (long i = 0; i < count; ++i) {
            float* pixel = row + static_cast<std::size_t>(start + i) * bands;
            for (long dx = std::min(reach.besideKey, start + i); dx >= 1; --dx) {
                const float* errors = pixel - dx * static_cast<long>(bands);
                if (!spreads(errors, reach.key[dx], bands)) continue;
                for (unsigned band = 0; band < bands; ++band)
                    pixel[band] = gain(pixel[band], errors[band], reach.key[dx]);
            }
            indices[i] = asSample<D>(search.quantise(pixel) + search.offset());
        }
        storeIndices<D>(indices, pass.result, start, y, count);
    }
}

/// The same where only the left neighbour gives, as with most kernels: its error stays at hand.
template <class D, unsigned Bands, class Search>
void diffuseRowFromNeighbour(const Pass& pass, float* row, long y, const Search search) noexcept {
    const float weight = pass.reach.key[1];
    SampleOf<D> indices[chunkPixels];
    float error[Bands] = {};
    for (long start = 0; start < pass.width; start += chunkPixels) {
        const long count = std::min(chunkPixels, pass.width - start);
        for (long i = 0; i < count; ++i, row += Bands) {
            for (unsigned band = 0; band < Bands; ++band) error[band] = gain(row[band], error[band], weight);
            indices[i] = asSample<D>(search.quantise(error) + search.offset());
            for (unsigned band = 0; band < Bands; ++band) row[band] = error[band];
        }
        storeIndices<D>(indices, pass.result, start, y, count);
    }
}

template <class D, class Search>
void diffuseRow(const Pass& pass, float* row, long y, const Search& search) noexcept {
    const bool neighbourAlone = pass.reach.besideKey == 1 && std::isfinite(pass.reach.key[1]);
    if constexpr (Search::bandsAre1) {
        if (pass.source.bands == 1 && neighbourAlone) return diffuseRowFromNeighbour<D, 1>(pass, row, y, search);
    }
    if constexpr (Search::bandsAre3) {
        if (pass.source.bands == 3 && neighbourAlone) return diffuseRowFromNeighbour<D, 3>(pass, row, y, search);
    }
    diffuseRow<D, 0>(pass, row, y, search);
}

template <class S, class D, class Search>
void diffuseRows(const Pass& pass, Ring& ring, const Search& search) noexcept {
    for (long y = 0; y < pass.rows; ++y) {
        if (y > 0) ring.rotate();
        readRow<S>(pass.source, y, pass.width, ring[0]);
        gainFromAbove(pass, ring, y);
        diffuseRow<D>(pass, ring[0], y, search);
    }
}

/// Whether a row may follow a little behind the one above it.
bool fitsSkewed(const Pass& pass) noexcept {
    const Reach& reach = pass.reach;
    if (pass.rows == 0 || pass.width > widestSkewed) return false;
    if (reach.besideKey != 1 || reach.left != 1 || reach.below != 1) return false;
    const float* below = reach.key + reach.width;
    return std::isfinite(reach.key[1]) && std::isfinite(below[-1]) && std::isfinite(below[0]) &&
           std::isfinite(below[1]);
}

NearWeights nearWeights(const Reach& reach) noexcept {
    const float* below = reach.key + reach.width;
    return {reach.key[1], below[-1], below[0], below[1]};
}

SkewedSource skewedSource;

/// Eight rows of one band at a time, to bits; `errors` has room for those of a row.
void diffuseEightByEight(const Pass& pass, float* errors, const TwoLevels& levels) noexcept {
    const NearWeights weights = nearWeights(pass.reach);
    std::fill_n(errors, pass.width, 0.0F);
    for (long y = 0; y < pass.rows; y += skewedRows) {
        const long rows = std::min(skewedRows, pass.rows - y);
        std::uint8_t* results[skewedRows] = {};
        for (long row = 0; row < rows; ++row) {
            const std::uint8_t* from = pass.source.at<std::uint8_t>(0, y + row);
            const long step = pass.source.pixelOf<std::uint8_t>();
            auto* to = &skewedSource.samples[row * skewedColumns];
            for (long x = 0; x < pass.width; ++x) to[x][row] = from[x * step];
            results[row] = pass.result.bit(0, y + row, 0).byte;
        }
        diffuseSkewed(skewedSource, errors, pass.width, weights, levels, results, rows);
    }
}

/// A row of three bytes a pixel, none behind the last one.
void readColors(const Pass& pass, long row, quads::Floats* to) noexcept {
    const std::uint8_t* from = pass.source.at<std::uint8_t>(0, row);
    for (long x = 0; x < pass.width; ++x, from += pass.source.pixelOf<std::uint8_t>()) {
        to[x] = quads::ofBytes(from[0] | static_cast<unsigned>(from[1]) << 8 | static_cast<unsigned>(from[2]) << 16);
    }
}

template <class D>
void storeColors(const Pass& pass, long row, const std::uint8_t* found, int offset) noexcept {
    SampleOf<D> indices[chunkPixels];
    for (long start = 0; start < pass.width; start += chunkPixels) {
        const long count = std::min(chunkPixels, pass.width - start);
        for (long i = 0; i < count; ++i) indices[i] = asSample<D>(found[start + i] + offset);
        storeIndices<D>(indices, pass.result, start, row, count);
    }
}

SkewedColors skewedColors;

/// A few rows of three bands at a time.
template <class D>
void diffuseColors(const Pass& pass, const ColorSearch& search, int offset) noexcept {
    const NearWeights weights = nearWeights(pass.reach);
    std::fill_n(skewedColors.above, pass.width, quads::Floats{});
    for (long y = 0; y < pass.rows; y += colorRows) {
        const long rows = std::min(colorRows, pass.rows - y);
        for (long row = 0; row < rows; ++row) readColors(pass, y + row, skewedColors.pixels[row]);
        diffuseSkewedColors(skewedColors, pass.width, rows, weights, search);
        for (long row = 0; row < rows; ++row) storeColors<D>(pass, y + row, skewedColors.indices[row], offset);
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
        walkBitBlocks(
            frame.rects(), 1,
            [](std::size_t rows, unsigned length, unsigned, BitRows to, BitRows from) {
                copyBitRows(to, from, rows, length);
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
    // The error of one pixel: the ring's rows hold it, the allocation stays a part of the pass.
    const Array<float> error(bands);
    if (!ring || !error) return fail(destination, noMemory, lines.file);
    if (!search.template skewed<D>(pass, ring)) diffuseRows<S, D>(pass, ring, search);

    // The temporary image lies as the source does.
    pass.result.ox = frame[src1].ox;
    pass.result.oy = frame[src1].oy;
    copyResult<D>(frame, pass.result);
    return ORV_SUCCESS;
}

// The searches. Each answers a pixel's index and leaves the error in its place.

template <class T>
class SearchBase {
public:
    static constexpr bool bandsAre1 = false;
    static constexpr bool bandsAre3 = false;

    SearchBase(OrvLookup* lookup, unsigned sourceBands) noexcept
        : palette_(lookup), sourceBands_(sourceBands), bands_(std::min(sourceBands, palette_.bands)) {}

    OrvStatus prepare() noexcept { return ORV_SUCCESS; }
    int offset() const noexcept { return palette_.offset; }
    /// Does the whole pass where there is a way to take several rows in turns; false where there is none.
    template <class D>
    bool skewed(const Pass&, Ring&) const noexcept {
        return false;
    }

protected:
    /// Bands that the lookup lacks have no error, nor has a pixel without a colour.
    int take(const Match<T>& match, float* pixel) const noexcept {
        const unsigned bands = match.color != nullptr ? bands_ : 0;
        for (unsigned band = 0; band < bands; ++band) pixel[band] -= static_cast<float>(match.color[band]);
        for (unsigned band = bands; band < sourceBands_; ++band) pixel[band] = 0.0F;
        return match.index;
    }
    Match<T> entry(unsigned index) const noexcept {
        if (index >= palette_.entries) return {static_cast<int>(index), nullptr};
        return {static_cast<int>(index), palette_[index]};
    }

    Palette<T> palette_;
    unsigned sourceBands_;
    unsigned bands_;
};

/// Any lookup: a full search.
template <class T>
class FullSearch : public SearchBase<T> {
public:
    using SearchBase<T>::SearchBase;
    int quantise(float* pixel) const noexcept {
        return this->take(find_nearest_color(pixel, this->palette_, this->bands_), pixel);
    }
};

/// Three bands of bytes: the grid of cells.
class GridSearch : public SearchBase<std::uint8_t> {
public:
    static constexpr bool bandsAre3 = true;

    GridSearch(OrvLookup* lookup, unsigned sourceBands) noexcept : SearchBase(lookup, sourceBands), lookup_(lookup) {}

    OrvStatus prepare() noexcept {
        renew_nc_grid(lookup_);
        return ORV_SUCCESS;
    }
    template <class D>
    bool skewed(const Pass& pass, Ring&) const noexcept {
        if (palette_.entries == 0 || !fitsSkewed(pass)) return false;
        diffuseColors<D>(pass, ColorSearch(lookup_, palette_), offset());
        return true;
    }
    int quantise(float* pixel) const noexcept {
        if (palette_.entries == 0) return take({0, nullptr}, pixel);
        const std::int32_t index = nc_grid_32to8_3(quads::Floats{pixel[0], pixel[1], pixel[2]}, lookup_, palette_);
        return take(entry(static_cast<unsigned>(index)), pixel);
    }

private:
    OrvLookup* lookup_;
};

/// The entries of the last one-band lookup, sorted by their values. An entry is the nearest from the middle between
/// itself and its lower neighbour up, and these middles are multiples of one half: a table by half values answers.
constexpr int halfValues = 511;
/// From here down a difference to an entry is no longer exact, and entries look equally near; no number is near to
/// none.
constexpr float farBelow = -0x1p52F;
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

    std::uint8_t nearest(float value, unsigned count) const noexcept {
        if (!(value > farBelow)) [[unlikely]]
            return walk(value, count);
        return byHalves[toInt(2.0F * value, 0, halfValues - 1)];
    }

private:
    /// Upwards as long as the difference does not grow. What is no number is not below the middle, where the walk then
    /// begins, and nothing is nearer to it.
    std::uint8_t walk(double value, unsigned count) const noexcept {
        if (std::isnan(value)) return entries[count / 2].index;
        const auto difference = [&](unsigned at) { return static_cast<double>(entries[at].value) - value; };
        unsigned at = 0;
        while (at + 1 < count && difference(at + 1) <= difference(at)) ++at;
        return entries[at].index;
    }
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
    static constexpr bool bandsAre1 = true;

    SortedSearch(OrvLookup* lookup, unsigned sourceBands, const PathFacts& facts) noexcept
        : SearchBase(lookup, sourceBands), lookup_(lookup), facts_(facts) {}

    OrvStatus prepare() noexcept { return sortedEntries.fit(lookup_, palette_, facts_); }
    int quantise(float* pixel) const noexcept {
        if (palette_.entries == 0) return take({0, nullptr}, pixel);
        const std::uint8_t index = sortedEntries.nearest(*pixel, palette_.entries);
        *pixel -= static_cast<float>(palette_.samples[index]);
        return index;
    }

private:
    OrvLookup* lookup_;
    const PathFacts& facts_;
};

/// Two entries of one band: a threshold halfway between them. Of equal entries the second counts as the higher.
template <class T>
class ThresholdSearch : public SearchBase<T> {
public:
    static constexpr bool bandsAre1 = true;

    ThresholdSearch(OrvLookup* lookup, unsigned sourceBands) noexcept : SearchBase<T>(lookup, sourceBands) {
        const Palette<T>& palette = this->palette_;
        if (palette.entries != 0) low_ = high_ = static_cast<float>(palette[0][0]);
        if (palette.entries < 2) return;
        const auto second = static_cast<float>(palette[1][0]);
        higher_ = second >= low_ ? 1 : 0;
        low_ = std::min(high_, second);
        high_ = std::max(high_, second);
        threshold_ = (low_ + high_) / 2.0F;
        lower_ = 1 - higher_;
    }
    /// To a temporary image of whole bytes.
    template <class D>
    bool skewed(const Pass& pass, Ring& ring) const noexcept {
        if (this->palette_.entries == 0 || !fitsSkewed(pass) || pass.result.bit(0, 0, 0).offset != 0) return false;
        const TwoLevels levels = {threshold_, low_, high_, lower_ + this->offset() != 0, higher_ + this->offset() != 0};
        diffuseEightByEight(pass, ring[0], levels);
        return true;
    }
    int quantise(float* pixel) const noexcept {
        if (this->palette_.entries == 0) return this->take({0, nullptr}, pixel);
        // Dithered pixels are no branch predictor's friends, and the next one waits for the error: it never leaves the
        // vector registers.
        using Lanes [[gnu::vector_size(16)]] = float;
        const Lanes value = {*pixel};
        const auto high = value >= threshold_;
        const Lanes error = high ? value - high_ : value - low_;
        *pixel = error[0];
        return lower_ + ((higher_ - lower_) & high[0]);
    }

private:
    float threshold_ = 0;
    float low_ = 0;
    float high_ = 0;
    int lower_ = 0;
    int higher_ = 0;
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
    int quantise(float* pixel) const noexcept {
        if (this->palette_.entries < 2) return this->take(this->entry(0), pixel);
        const double toPreferred = distance(pixel, preferred_);
        const double toOther = distance(pixel, 1 - preferred_);
        return this->take(this->entry(toOther < toPreferred ? 1 - preferred_ : preferred_), pixel);
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
