// A lookup that packs the values in use into a run without gaps.

#include <algorithm>
#include <cstring>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"
#include "memory/frame/walk.h"
#include "memory/measure/SourceRegion.h"
#include "orv/device/OrvLookup.h"

namespace {

using namespace orvi;

/// Where the searches of a member start, and what its first value in use maps to. The three are unlike on purpose:
/// the 8-bit form alone packs down to 0, and the 16-bit one never finds a smallest value above -1.
struct SqueezeFacts {
    const char* file;
    int lowestValue;
    int smallestStart;
    bool packsToZero;
};

/// The values met, and the span of them.
template <class T, unsigned Values>
class ValuesInUse {
public:
    explicit ValuesInUse(const SqueezeFacts& facts) noexcept
        : lowest_(facts.lowestValue), smallestStart_(facts.smallestStart) {}

    void operator()(const T* samples, std::size_t pixels) noexcept {
        for (std::size_t i = 0; i < pixels && !all_; i += block) { // once all are met none can be new
            const std::size_t end = std::min(pixels, i + block);
            for (std::size_t j = i; j < end; ++j) flags_[samples[j] - lowest_] = 1;
            noted_ += end - i;
            if (noted_ < block) continue;
            noted_ = 0;
            all_ = std::memchr(flags_, 0, Values) == nullptr;
        }
    }

    bool has(int value) const noexcept { return flags_[value - lowest_] != 0; }
    bool hasNone(int from, int end) const noexcept {
        std::uint8_t met = 0;
        for (int value = from; value < end; ++value) met |= flags_[value - lowest_];
        return met == 0;
    }
    bool any() const noexcept { return firstOf(0, Values) != Values; }
    int smallest() const noexcept { return std::min(smallestStart_, lowest_ + static_cast<int>(firstOf(0, Values))); }
    int largest() const noexcept {
        constexpr unsigned step = std::min(Values, 256U);
        unsigned end = Values;
        while (end > step && firstOf(end - step, step) == Values) end -= step;
        while (end > 1 && flags_[end - 1] == 0) --end;
        return lowest_ + static_cast<int>(end) - 1;
    }

private:
    static constexpr std::size_t block = std::max<std::size_t>(4096, std::size_t{Values} * 4);

    /// The first flag set of `count` from `from` on, or the number of all.
    unsigned firstOf(unsigned from, unsigned count) const noexcept {
        const auto* const found = static_cast<const std::uint8_t*>(std::memchr(flags_ + from, 1, count));
        return found != nullptr ? static_cast<unsigned>(found - flags_) : Values;
    }

    std::uint8_t flags_[Values] = {};
    std::size_t noted_ = 0; ///< since it was last seen whether all are met
    bool all_ = false;
    int lowest_;
    int smallestStart_;
};

/// Each value from the smallest to the largest maps to the rank of the nearest value in use at or below it. Where many
/// in a row are not in use, theirs is filled in.
template <class T, class Values>
void fillRanks(T* table, const Values& values, int smallest, int largest, int rank) noexcept {
    constexpr int block = 64;
    for (int value = smallest; value <= largest;) {
        const int end = std::min(largest + 1, value + block);
        if (values.hasNone(value, end)) {
            table = std::fill_n(table, end - value, static_cast<T>(rank));
            value = end;
            continue;
        }
        for (; value < end; ++value) {
            if (values.has(value)) ++rank;
            *table++ = static_cast<T>(rank);
        }
    }
}

template <class S, unsigned Values>
OrvStatus squeezeRange(OrvOp* op, const SqueezeFacts& facts) noexcept {
    using T = SampleOf<S>;
    constexpr OrvDataType type = dataTypeOf<S>;
    const RegionFacts region{facts.file, {"di-10", 1, 0}, {"di-6", 0, 0}, {"di-8", 0, 0}};
    SourceRegion source(op, region);
    if (source.image()->getBands() != 1) return source.report({"di-211", 4, 1});
    if (source.fetch(type) != ORV_SUCCESS) return ORV_FAILURE;
    OrvSystemState* const state = source.image()->getSystemState();
    if (state == nullptr) return fail(state, {"di-209", 0, 0}, facts.file);
    if (source.list() != ORV_SUCCESS) return ORV_FAILURE;

    ValuesInUse<T, Values> values(facts);
    walkReadRuns<S>(source.rects(), values, source.raster());
    auto& result = *static_cast<OrvLookup**>(op->getPtrParam(1));
    if (!values.any()) {
        result = nullptr; // an empty region has no values
        return ORV_SUCCESS;
    }
    const int smallest = values.smallest();
    const int largest = values.largest();
    const auto entries = static_cast<unsigned>(largest - smallest + 1);
    const Array<T> table(entries);
    if (!table) return source.report(noMemory);
    fillRanks(table.get(), values, smallest, largest, facts.packsToZero ? -1 : smallest - 1);
    OrvLookup* const lookup = state->createLookup(type, type, 1, entries, static_cast<short>(smallest), table.get());
    if (lookup == nullptr) {
        source.rects().leak();
        return source.report({"di-210", 1, 0});
    }
    result = lookup;
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::SqueezeRange1(OrvOp* op, int) noexcept {
    return squeezeRange<Bit, 2>(op, {"SqueezeRange1Memory.cc", 0, 1, false});
}

OrvStatus OrvDeviceComputeTypeMemory::SqueezeRange8(OrvOp* op, int) noexcept {
    return squeezeRange<std::uint8_t, 256>(op, {"SqueezeRange8Memory.cc", 0, 255, true});
}

OrvStatus OrvDeviceComputeTypeMemory::SqueezeRange16(OrvOp* op, int) noexcept {
    return squeezeRange<std::int16_t, 65536>(op, {"SqueezeRange16Memory.cc", -32768, -1, false});
}
