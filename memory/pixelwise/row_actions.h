// What an op on bits does to a row, where the result depends on the source bit alone.
#pragma once

#include "memory/frame/Frame.h"
#include "memory/frame/orv_bit_utils.h"
#include "memory/frame/walk.h"

namespace orvi {

enum class RowAction { clear, copy, set, invert };

/// The action that makes the results `zero` of a 0 and `one` of a 1.
constexpr RowAction actionOf(bool zero, bool one) noexcept {
    if (zero) return one ? RowAction::set : RowAction::invert;
    return one ? RowAction::copy : RowAction::clear;
}

inline void act(RowAction action, BitPosition to, BitPosition from, unsigned length) noexcept {
    switch (action) {
    case RowAction::clear:
    case RowAction::set:
        return orv_bit_setvalue(to.byte, action == RowAction::set, length, to.offset);
    case RowAction::copy:
        return orv_bit_memcpy(from.byte, to.byte, length, from.offset, to.offset);
    case RowAction::invert:
        return orv_bit_not(from.byte, to.byte, length, from.offset, to.offset);
    }
}

/// Runs `actionOfBand(band)` over the rows of each band that source and destination have.
template <class ActionOfBand>
void walkActions(Frame& frame, ActionOfBand actionOfBand) noexcept {
    walkBitRows(
        frame.rects(), commonBands(frame[dst], frame[src1]),
        [&](BitPosition to, BitPosition from, unsigned length, unsigned band) {
            act(actionOfBand(band), to, from, length);
        },
        frame[dst], frame[src1]);
}

} // namespace orvi
