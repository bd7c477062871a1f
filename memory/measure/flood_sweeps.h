// A flood by sweeps over whole rows, for regions of many runs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/measure/ClosedRows.h"

namespace orvi {

/// The pixels of a row, 64 in a word, the first at the top.
struct SweptRow {
    static constexpr std::size_t mostWords = 512;
    alignas(lanes::vectorBytes) std::uint64_t words[mostWords];
};

/// Floods onward from all that has been flooded, down the rows and up again, as long as such a pair of sweeps brings
/// enough for its time. True where nothing is left to flood. Rows have SweptRow::mostWords at most.
bool sweep(ClosedRows& rows) noexcept;

/// visit(long column, long row) for open pixels beside flooded ones, until there are none or it answers false; it is
/// to flood all that a pixel leads to. Answers what the last visit did.
template <class Visit>
bool eachOpenBesideFlooded(ClosedRows& rows, Visit visit) noexcept {
    SweptRow flooded;
    SweptRow open;
    SweptRow unused;
    const long end = rows.endRow();
    for (long row = rows.firstRow(); row < end; ++row) {
        rows.take(row, unused.words, flooded.words);
        for (const long beside : {row - 1, row + 1}) {
            if (!rows.hasRow(beside)) continue;
            rows.take(beside, open.words, unused.words);
            for (std::size_t i = 0; i < rows.words(); ++i) {
                for (std::uint64_t starts = window::starts(flooded.words[i] & open.words[i]); starts != 0;) {
                    const int pixel = std::countl_zero(starts);
                    const long column = static_cast<long>(i) * window::pixels + pixel;
                    starts &= ~window::bit(pixel);
                    if (rows.isOpen(column, beside) && !visit(column, beside)) return false;
                }
            }
        }
    }
    return true;
}

/// More runs than any flood has in wait that goes from run to run, those found last first. The rows keep the flooded
/// pixels alone by now.
std::size_t mostRunsInWait(const ClosedRows& rows) noexcept;

} // namespace orvi
