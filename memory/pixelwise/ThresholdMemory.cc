// Samples of a range replaced by a value: single, and as the second of two in one pass.

#include <cstdint>

#include "memory/frame/Frame.h"
#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/numbers.h"
#include "memory/pixelwise/band_values.h"
#include "memory/pixelwise/row_actions.h"

namespace {

using namespace orvi;

/// The parameters of one threshold in their order: low, high, map.
const float* parameter(OrvOp* op, int index) noexcept { return static_cast<const float*>(op->getPtrParam(index)); }

/// Low, high and map of one op as samples, an array each.
template <class T>
class Bounds {
public:
    /// False where one of the arrays could not be had.
    bool make(OrvOp* op, unsigned bands) noexcept {
        return convert(low_, parameter(op, 1), bands) && convert(high_, parameter(op, 2), bands) &&
               convert(map_, parameter(op, 3), bands);
    }

    auto low() const noexcept { return valueOf(low_); }
    auto high() const noexcept { return valueOf(high_); }
    auto map() const noexcept { return valueOf(map_); }

private:
    static bool convert(Array<T>& to, const float* from, unsigned bands) noexcept {
        to = Array<T>(bands);
        if (!to) return false;
        for (unsigned band = 0; band < bands; ++band) to[band] = roundTo<T>(from[band]);
        return true;
    }
    static auto valueOf(const Array<T>& values) noexcept {
        return [&values](unsigned band) { return values[band]; };
    }

    Array<T> low_;
    Array<T> high_;
    Array<T> map_;
};

/// A single op: both bounds belong to the range.
struct Inclusive {
    template <class V>
    V operator()(V v, V low, V high, V map) const noexcept {
        return ((v >= low) & (v <= high)) ? map : v;
    }
};

/// The same where no band's range is empty, by one comparison: how far a sample lies above the lowest, which wraps for
/// those below.
struct Within {
    std::uint8_t operator()(std::uint8_t v, std::uint8_t low, std::uint8_t span, std::uint8_t map) const noexcept {
        return static_cast<std::uint8_t>(v - low) <= span ? map : v;
    }
    std::int16_t operator()(std::int16_t v, std::int16_t low, std::int16_t span, std::int16_t map) const noexcept {
        return static_cast<std::uint16_t>(v - low) <= static_cast<std::uint16_t>(span) ? map : v;
    }
    lanes::U8 operator()(lanes::U8 v, lanes::U8 low, lanes::U8 span, lanes::U8 map) const noexcept {
        return v - low <= span ? map : v;
    }
    lanes::I16 operator()(lanes::I16 v, lanes::I16 low, lanes::I16 span, lanes::I16 map) const noexcept {
        return (lanes::U16)v - (lanes::U16)low <= (lanes::U16)span ? map : v;
    }
};

/// A chain: no bound belongs to its range, and the later op tests the source sample as well, not what the earlier one
/// made of it. Running the two in turn gives other results; this is intended.
struct Chained {
    template <class V>
    V operator()(V v, V low, V high, V map, V earlierLow, V earlierHigh, V earlierMap) const noexcept {
        const V earlier = ((v > earlierLow) & (v < earlierHigh)) ? earlierMap : v;
        return ((v > low) & (v < high)) ? map : earlier;
    }
};

/// Replaces what lies between `low(band)` and `high(band)` by `map(band)`.
template <class T, class Low, class High, class Map>
void replaceRanges(Frame& frame, unsigned bands, Low low, High high, Map map) noexcept {
    bool holds = true;
    for (unsigned band = 0; band < bands; ++band) holds = holds && low(band) <= high(band);
    if (!holds) return mapByBands<T>(frame, Inclusive{}, low, high, map);
    const auto span = [&](unsigned band) { return static_cast<T>(high(band) - low(band)); };
    mapByBands<T>(frame, Within{}, low, span, map);
}

template <class T>
OrvStatus threshold(OrvOp* op, int count, const FrameFacts& facts) noexcept {
    OrvOp* const earlierOp = count == 2 ? op->getOp1() : nullptr;
    Frame frame((earlierOp != nullptr ? earlierOp : op)->getSrc1(), nullptr, nullptr, op->getDst());
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    Bounds<T> later;
    Bounds<T> earlier;
    const unsigned all = frame[dst].bands;
    if (!later.make(op, all) || (earlierOp != nullptr && !earlier.make(earlierOp, all))) {
        return fail(frame.image(dst), noMemory, facts.file);
    }
    const unsigned bands = commonBands(frame[dst], frame[src1]);
    if (earlierOp == nullptr) {
        replaceRanges<T>(frame, bands, later.low(), later.high(), later.map());
    } else {
        mapByBands<T>(frame, Chained{}, later.low(), later.high(), later.map(), earlier.low(), earlier.high(),
                      earlier.map());
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::Threshold1(OrvOp* op, int) noexcept {
    static constexpr FrameFacts facts = oneSource<Bit, Bit>("Threshold1Memory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    const float* low = parameter(op, 1);
    const float* high = parameter(op, 2);
    const float* map = parameter(op, 3);
    walkActions(frame, [&](unsigned band) {
        const Inclusive rule;
        const auto resultOf = [&](int bit) {
            return rule(bit, int{toBit(low[band])}, int{toBit(high[band])}, int{toBit(map[band])}) != 0;
        };
        return actionOf(resultOf(0), resultOf(1));
    });
    return ORV_SUCCESS;
}

OrvStatus OrvDeviceComputeTypeMemory::Threshold8(OrvOp* op, int count) noexcept {
    static constexpr FrameFacts facts = oneSource<std::uint8_t, std::uint8_t>("Threshold8Memory.cc");
    return threshold<std::uint8_t>(op, count, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Threshold16(OrvOp* op, int count) noexcept {
    static constexpr FrameFacts facts = oneSource<std::int16_t, std::int16_t>("Threshold16Memory.cc");
    return threshold<std::int16_t>(op, count, facts);
}

OrvStatus OrvDeviceComputeTypeMemory::Threshold8_1Band(OrvOp* op, int) noexcept {
    using T = std::uint8_t;
    static constexpr FrameFacts facts = oneSource<T, T>("Threshold8_1BandMemory.cc");
    Frame frame(op);
    if (frame.open(facts) != ORV_SUCCESS) return ORV_FAILURE;
    // Declines, with the touched region set: the general function does these steps anew.
    if (frame[src1].bands != 1) return ORV_FAILURE;
    const auto bound = [op](int index) { return [op, index](unsigned) { return roundTo<T>(*parameter(op, index)); }; };
    replaceRanges<T>(frame, 1, bound(1), bound(2), bound(3));
    return ORV_SUCCESS;
}
