// What an op on bits does to a row, where the result depends on the source bit alone.
#pragma once

#include "memory/frame/Frame.h"
#include "memory/frame/bit_blocks.h"
#include "memory/frame/walk.h"

namespace orvi {

enum class RowAction { clear, copy, set, invert };

/// The action that makes the results `zero` of a 0 and `one` of a 1.
constexpr RowAction actionOf(bool zero, bool one) noexcept {
    if (zero) return one ? RowAction::set : RowAction::invert;
    return one ? RowAction::copy : RowAction::clear;
}

inline void act(RowAction action, std::size_t rows, unsigned length, BitRows to, BitRows from) noexcept {
    switch (action) {
    case RowAction::clear:
    case RowAction::set:
        return setBitRows(to, rows, length, action == RowAction::set);
    case RowAction::copy:
        return copyBitRows(to, from, rows, length);
    case RowAction::invert:
        return combineBitRows(
            to, rows, length, [](auto bits) { return ~bits; }, from);
    }
}

/// Runs `actionOfBand(band)` over the rows of each band that source and destination have.
template <class ActionOfBand>
void walkActions(Frame& frame, ActionOfBand actionOfBand) noexcept {
    walkBitBlocks(
        frame.rects(), commonBands(frame[dst], frame[src1]),
        [&](std::size_t rows, unsigned length, unsigned band, BitRows to, BitRows from) {
            act(actionOfBand(band), rows, length, to, from);
        },
        frame[dst], frame[src1]);
}

} // namespace orvi
