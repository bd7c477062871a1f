// Weights of a general interpolation, and the window of samples that they fall on.
#pragma once

#include <algorithm>

#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"
#include "orv/device/OrvInterpolationTable.h"
#include "orv/device/OrvOp.h"

namespace orvi {

/// One axis of a general interpolation: rows of weights, one row for each subsample position. The copy of the weights
/// that a table hands out is released at the end.
class AxisTaps {
public:
    /// False where the weights could not be had. No table counts as one without taps.
    bool read(OrvInterpolationTable* table) noexcept {
        if (table == nullptr) return true;
        subsamples_ = table->getSubsamples();
        size_ = static_cast<long>(table->getKernelSize());
        weights_.reset(table->getData());
        if (subsamples_ == 0) size_ = 0;
        return static_cast<bool>(weights_);
    }

    long size() const noexcept { return size_; }
    long half() const noexcept { return (size_ - 1) / 2; }

    /// The weights for a fraction of 0 to 1; one that rounds to 1 takes the last row.
    const float* row(float fraction) const noexcept {
        if (size_ == 0) return nullptr;
        const int last = static_cast<int>(subsamples_) - 1;
        const int index = toInt(static_cast<float>(subsamples_) * fraction, 0, last);
        return weights_.get() + index * size_;
    }

private:
    Array<float> weights_;
    long size_ = 0;
    unsigned subsamples_ = 0;
};

/// Both axes of an op, from its parameters 3 and 4, and a sum for each row of a window.
template <class Sum>
struct SeparableTaps {
    AxisTaps h;
    AxisTaps v;
    Array<Sum> rowSums;

    /// False without memory.
    bool open(OrvOp* op) noexcept {
        const bool read = h.read(static_cast<OrvInterpolationTable*>(op->getObjParam(3))) &&
                          v.read(static_cast<OrvInterpolationTable*>(op->getObjParam(4)));
        rowSums = Array<Sum>(static_cast<std::size_t>(v.size()));
        return read && static_cast<bool>(rowSums);
    }
};

/// The samples on one axis that the taps 0, 1, 2, ... fall on.
struct Window {
    long first;
    long count; ///< not above the number of taps; negative: nothing is to be written
};

/// Rows of a window about `at`, in an image whose rows are low to high - 1. At the low edge the window begins at `edge`
/// and the weights do not move along with it: this asymmetry is intended.
inline Window rowWindow(long at, long low, long high, long edge, const AxisTaps& taps) noexcept {
    const long half = taps.half();
    if (at < low + half) return {edge, std::max(0L, at - low + half + 1)};
    if (at >= high) return {at, -1};
    if (at >= high - half) return {at - half, high - at + half};
    return {at - half, taps.size()};
}

/// Columns alike, but that no column is left out.
inline Window columnWindow(long at, long low, long high, long edge, const AxisTaps& taps) noexcept {
    const long half = taps.half();
    if (at < low + half) return {edge, std::max(0L, at - low + half + 1)};
    if (at < high - half) return {at - half, taps.size()};
    return {at - half, std::max(0L, high - at + half)};
}

} // namespace orvi
