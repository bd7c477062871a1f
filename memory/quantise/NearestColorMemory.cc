// The nearest colour of a lookup for each pixel, as an index.
//
// Among equally near entries the lowest index wins.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "cell/common/AdaptiveColormapSelection.h"
#include "cell/common/CmapTable.h"
#include "cis/SquaresTable.h"
#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/walk.h"
#include "memory/quantise/Palette.h"
#include "orv/device/OrvDitherMask.h"
#include "orv/device/OrvSystemState.h"

namespace {

using namespace orvi;

using Device = OrvDeviceComputeTypeMemory;
using Member = OrvStatus (Device::*)(OrvOp*, int);

/// What a destination's pixel becomes: a bit is set where offset plus index is not 0.
template <class D>
SampleOf<D> asSample(int index) noexcept {
    if constexpr (std::is_same_v<D, Bit>) return index != 0 ? 1 : 0;
    return static_cast<SampleOf<D>>(index);
}

/// How distances are measured: squares of the differences of small samples in integers, others in doubles.
template <class S, class T>
struct Measure {
    using Sum = double;
    static constexpr Sum beyondAll = 281474976710656.0; // 2 to the power 48
    static Sum square(S a, T b) noexcept {
        const double d = static_cast<double>(a) - static_cast<double>(b);
        return d * d;
    }
};
template <>
struct Measure<std::uint8_t, std::uint8_t> {
    using Sum = std::uint32_t;
    static constexpr Sum beyondAll = 0x7fffffff;
    static Sum square(std::uint8_t a, std::uint8_t b) noexcept {
        return static_cast<Sum>(SquaresTable::squares[a - b]);
    }
};

/// A full search over the bands given.
template <class S, class T>
int nearest(const S* pixel, const Palette<T>& palette, unsigned bands) noexcept {
    auto best = Measure<S, T>::beyondAll;
    int index = 0;
    for (unsigned entry = 0; entry < palette.entries; ++entry) {
        const T* color = palette[entry];
        typename Measure<S, T>::Sum sum = 0;
        for (unsigned band = 0; band < bands; ++band) sum += Measure<S, T>::square(pixel[band], color[band]);
        if (sum >= best) continue;
        best = sum;
        index = static_cast<int>(entry);
    }
    return index;
}

/// Indices from 0, or from the lookup's offset.
enum class Base { zero, offset };

/// The plain path: a full search for each pixel.
template <class S, class D>
OrvStatus searchEach(OrvImage* source, OrvImage* destination, OrvLookup* lookup, const char* file,
                     Base base = Base::offset) noexcept {
    const SquaresTable squares;
    const FrameFacts facts = oneSource<S, D>(file);
    Frame frame(source, nullptr, nullptr, destination);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    return withPalette(lookup, [&](const auto& palette) {
        const unsigned sourceBands = frame[src1].bands;
        const unsigned bands = std::min(sourceBands, palette.bands);
        const int first = base == Base::offset ? palette.offset : 0;
        const auto kernel = [&](SampleOf<D>* d, const SampleOf<S>* s, std::size_t pixels) {
            for (std::size_t i = 0; i < pixels; ++i, s += sourceBands) {
                d[i] = asSample<D>(first + nearest(s, palette, bands));
            }
        };
        walkRuns<D, S>(frame.rects(), kernel, Operand{&frame[dst], 1}, Operand{&frame[src1], sourceBands});
        return ORV_SUCCESS;
    });
}

constexpr const char* file8to8 = "NearestColor8to8Memory.cc";

constexpr unsigned gridSize = 256;

/// Fills a table that maps each sample to the index of the nearest entry, with the lookup's offset.
void get_1d_grid(unsigned char* grid, OrvLookup* lookup) noexcept {
    withPalette(lookup, [grid](const auto& palette) {
        for (int value = 0; value < static_cast<int>(gridSize); ++value) {
            int best = 0x7fffffff;
            int index = 0;
            for (unsigned entry = 0; entry < palette.entries; ++entry) {
                const int difference = std::abs(value - palette[entry][0]);
                if (difference >= best) continue;
                best = difference;
                index = static_cast<int>(entry);
            }
            grid[value] = static_cast<unsigned char>(index + palette.offset);
        }
        return 0;
    });
}

/// Whether a cache that was built from `cached` is stale for the lookup; then `cached` becomes the lookup's version.
bool renew(OrvVersionNumber& cached, OrvLookup* lookup) noexcept {
    OrvVersionNumber now;
    lookup->getVersion(&now);
    if (!(cached != now)) return false;
    cached = now;
    return true;
}

/// The grid of the last lookup that one-band images were mapped to.
struct {
    unsigned char* values = nullptr;
    OrvVersionNumber lookup;
} bandGrid;

OrvStatus band1_8_to_8_grid(OrvImage* source, OrvImage* destination, OrvLookup* lookup) noexcept {
    static constexpr Fetch fetches[] = {
        {src1, ORV_BYTE, {"di-9", 1, 0, 308}, src1},
        {dst, ORV_BYTE, {"di-10", 1, 0, 320}, dst},
    };
    static constexpr FrameFacts facts = {file8to8, fetches, {"di-12", 0, 0, 350}, src1};
    Frame frame(source, nullptr, nullptr, destination);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    if (bandGrid.values == nullptr) {
        bandGrid.values = newArray<unsigned char>(gridSize);
        if (bandGrid.values == nullptr) return fail(lookup, {"di-1", 1, 1, 333}, file8to8);
    }
    if (renew(bandGrid.lookup, lookup)) get_1d_grid(bandGrid.values, lookup);
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const auto kernel = [](std::uint8_t* d, const std::uint8_t* s, std::size_t pixels) {
        const unsigned char* grid = bandGrid.values;
        for (std::size_t i = 0; i < pixels; ++i) d[i] = grid[s[i]];
    };
    walkRuns<std::uint8_t, std::uint8_t>(frame.rects(), kernel, Operand{&frame[dst], 1}, Operand{&frame[src1], 1});
    return ORV_SUCCESS;
}

/// Answers of the selection by colour, side by side for colours that lie close together, so that a picture finds most
/// of them in the nearest caches. A bucket of 16 by 16 by 16 colours takes a page: memory is used as colours are met.
class Answers {
public:
    Answers() noexcept {
        for (unsigned v = 0; v < 256; ++v) {
            const unsigned bucket = (v >> 4) << 12;
            const unsigned cube = (v >> 2 & 3) << 6;
            place_[0][v] = bucket << 8 | cube << 4 | (v & 3) << 4;
            place_[1][v] = bucket << 4 | cube << 2 | (v & 3) << 2;
            place_[2][v] = bucket | cube | (v & 3);
        }
    }

    /// One more than the index, 0 where it is not known. Index 255 is never known: it would be 256.
    std::uint8_t& of(const std::uint8_t* pixel) noexcept {
        return answers[place_[0][pixel[0]] | place_[1][pixel[1]] | place_[2][pixel[2]]];
    }

    void note(std::uint8_t& answer, int index) noexcept {
        answer = static_cast<std::uint8_t>(index + 1);
        used_[(&answer - answers) / page] = true;
    }

    void forget() noexcept {
        for (unsigned bucket = 0; bucket < std::size(used_); ++bucket) {
            if (used_[bucket]) std::memset(answers + std::size_t{bucket} * page, 0, page);
            used_[bucket] = false;
        }
    }

private:
    static constexpr std::size_t page = 4096;
    static inline std::uint8_t answers[page * page];
    bool used_[page] = {};
    std::uint32_t place_[3][256];
};
Answers answers;

/// The colormap of the last lookup that three-band images were mapped to, and what was learned of it.
struct {
    UsedCmapTable* table = nullptr;
    AdaptiveColormapSelection* selection = nullptr;
    OrvVersionNumber lookup;

    bool make() noexcept {
        if (selection != nullptr) return true;
        table = new (std::nothrow) UsedCmapTable(COLOR_RGB, gridSize, gridSize);
        if (table != nullptr && table->ok(1) == 0) table = nullptr;
        selection = table != nullptr ? new (std::nothrow) AdaptiveColormapSelection : nullptr;
        if (selection != nullptr) selection = selection->ok();
        if (selection != nullptr) return true;
        delete table;
        table = nullptr;
        return false;
    }

    OrvStatus fit(OrvLookup* newLookup) noexcept {
        if (!renew(lookup, newLookup)) return ORV_SUCCESS;
        if (table->setAsColormapTable(static_cast<const unsigned char*>(newLookup->getData()), COLOR_RGB,
                                      static_cast<std::uint16_t>(newLookup->getNumEntries())) != ORV_SUCCESS) {
            lookup = OrvVersionNumber();
            return ORV_FAILURE;
        }
        selection->useNewColormap(*table);
        answers.forget();
        return ORV_SUCCESS;
    }
} colormap;

int select(const std::uint8_t* pixel) noexcept {
    const int index = colormap.selection->selectIndex(pixel[0], pixel[1], pixel[2]);
    if (colormap.selection->knowsBucketOf(pixel[0], pixel[1], pixel[2])) answers.note(answers.of(pixel), index);
    return index;
}

OrvStatus band3_8_to_8_grid(OrvImage* source, OrvImage* destination, OrvLookup* lookup) noexcept {
    static constexpr Fetch fetches[] = {
        {src1, ORV_BYTE, {"di-9", 1, 0, 424}, src1},
        {dst, ORV_BYTE, {"di-10", 1, 0, 436}, dst},
    };
    static constexpr FrameFacts facts = {file8to8, fetches, {"di-12", 0, 0, 473}, src1};
    const SquaresTable squares;
    Frame frame(source, nullptr, nullptr, destination);
    if (frame.fetch(facts) != ORV_SUCCESS) return ORV_FAILURE;
    if (!colormap.make()) return fail(source, {"di-1", 1, 1, 457}, file8to8);
    if (colormap.fit(lookup) != ORV_SUCCESS) return ORV_FAILURE;
    if (frame.list(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const int offset = lookup->getOffset();
    const auto kernel = [offset](std::uint8_t* d, const std::uint8_t* s, std::size_t pixels) {
        for (std::size_t i = 0; i < pixels; ++i, s += 3) {
            const std::uint8_t known = answers.of(s);
            d[i] = static_cast<std::uint8_t>((known != 0 ? known - 1 : select(s)) + offset);
        }
    };
    walkRuns<std::uint8_t, std::uint8_t>(frame.rects(), kernel, Operand{&frame[dst], 1}, Operand{&frame[src1], 3});
    return ORV_SUCCESS;
}

/// A lookup of three bytes an entry, as the selection takes it.
bool fitsSelection(OrvLookup* lookup) noexcept {
    return lookup->getNBands() == 3 && lookup->getOutputDataType() != ORV_SHORT;
}

OrvLookup* lookupOf(OrvOp* op) noexcept { return static_cast<OrvLookup*>(op->getObjParam(1)); }

/// The colours of a cube need no search: a dither whose thresholds are all one half rounds each band to the nearest
/// level.
constexpr unsigned flatSize = 4;

/// Gives the op that mask; false where there was no memory for it.
bool giveFlatMask(OrvOp* op, unsigned bands, Array<float>& thresholds) noexcept {
    const std::size_t count = std::size_t{flatSize} * flatSize * bands;
    thresholds = Array<float>(count);
    OrvSystemState* state = op->getSrc1()->getSystemState();
    if (!thresholds || state == nullptr) return false;
    std::fill_n(thresholds.get(), count, 0.5F);
    OrvDitherMask* mask = state->createDitherMask(flatSize, flatSize, bands, thresholds.get());
    if (mask == nullptr) return false;
    op->setObjParam(2, mask, 1);
    return true;
}

/// The refusal of a lookup that has more entries than the destination can count.
struct Limit {
    unsigned below; ///< 0: any number will do
    int line;
    const char* file;
};

OrvStatus check(OrvOp* op, const Limit& limit) noexcept {
    if (limit.below == 0 || lookupOf(op)->getNumEntries() < limit.below) return ORV_SUCCESS;
    return fail(op->getSrc1(), {"di-166", 4, 1, limit.line}, limit.file);
}

/// The order of most members: a cube first, then the limit, then the search.
template <class Path>
OrvStatus nearestColor(Device* device, OrvOp* op, int count, Member dither, const Limit& limit, Path path) noexcept {
    Array<float> thresholds;
    if (lookupOf(op)->getIsColorCube() != 0 && giveFlatMask(op, op->getSrc1()->getBands(), thresholds)) {
        return (device->*dither)(op, count);
    }
    if (check(op, limit) != ORV_SUCCESS) return ORV_FAILURE;
    return path(op->getSrc1(), op->getDst(), lookupOf(op), limit.file);
}

template <class S, class D, Base base = Base::offset>
constexpr auto plain = [](OrvImage* source, OrvImage* destination, OrvLookup* lookup, const char* file) noexcept {
    return searchEach<S, D>(source, destination, lookup, file, base);
};

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::NearestColor1_1(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {3, 71, "NearestColor1to1Memory.cc"};
    // Two entries are all that a bit can tell, of a cube too: this member alone asks for the limit first.
    if (check(op, limit) != ORV_SUCCESS) return ORV_FAILURE;
    return nearestColor(this, op, count, &Device::OrderedDither1_1, limit, plain<Bit, Bit>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor1_8(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {257, 104, "NearestColor1to8Memory.cc"};
    return nearestColor(this, op, count, &Device::OrderedDither1_8, limit, plain<Bit, std::uint8_t>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor1_16(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {65537, 104, "NearestColor1to16Memory.cc"};
    return nearestColor(this, op, count, &Device::OrderedDither1_16, limit, plain<Bit, std::int16_t>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor8_1(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {3, 101, "NearestColor8to1Memory.cc"};
    return nearestColor(this, op, count, &Device::OrderedDither8_1, limit, plain<std::uint8_t, Bit>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor8_8(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {257, 106, file8to8};
    const auto byBands = [](OrvImage* source, OrvImage* destination, OrvLookup* lookup, const char* file) noexcept {
        const unsigned bands = source->getBands();
        if (bands == 1) return band1_8_to_8_grid(source, destination, lookup);
        if (bands == 3 && fitsSelection(lookup)) return band3_8_to_8_grid(source, destination, lookup);
        return searchEach<std::uint8_t, std::uint8_t>(source, destination, lookup, file);
    };
    return nearestColor(this, op, count, &Device::OrderedDither8_8, limit, byBands);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor8_16(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {0, 0, "NearestColor8to16Memory.cc"};
    return nearestColor(this, op, count, &Device::OrderedDither8_16, limit, plain<std::uint8_t, std::int16_t>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor16_1(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {3, 102, "NearestColor16to1Memory.cc"};
    return nearestColor(this, op, count, &Device::OrderedDither16_1, limit, plain<std::int16_t, Bit>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor16_8(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {257, 101, "NearestColor16to8Memory.cc"};
    // The one member that does not add the lookup's offset, as intended.
    return nearestColor(this, op, count, &Device::OrderedDither16_8, limit,
                        plain<std::int16_t, std::uint8_t, Base::zero>);
}

OrvStatus OrvDeviceComputeTypeMemory::NearestColor16_16(OrvOp* op, int count) noexcept {
    static constexpr Limit limit = {65537, 101, "NearestColor16to16Memory.cc"};
    return nearestColor(this, op, count, &Device::OrderedDither16_16, limit, plain<std::int16_t, std::int16_t>);
}
