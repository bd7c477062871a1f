#include "memory/measure/flood_sweeps.h"

#include <algorithm>
#include <bit>

namespace orvi {

namespace {

using Word = std::uint64_t;
using Words = lanes::U64;

constexpr std::size_t together = lanes::count<Word>;
static_assert(ClosedRows::blockWords % together == 0);

/// Fills the runs of open pixels in which any is set. First within each word: a sum carries what is set on to a run's
/// first pixel, and shifts take it to the last. Then from word to word.
void fillRuns(Word* set, const Word* open, std::size_t words) noexcept {
    SweptRow first; // the open pixels that a word begins with, and those that it ends with
    SweptRow last;
    for (std::size_t i = 0; i < words; i += together) {
        const auto here = lanes::load<Words>(set + i);
        auto path = lanes::load<Words>(open + i);
        auto closed = ~path;
        auto filled = path & (~(path + here) | here);
        lanes::store(last.words + i, path & ~(path + 1));
        for (int step = 1; step < window::pixels; step *= 2) {
            filled |= path & (filled >> step);
            path &= path >> step;
            closed |= closed >> step;
        }
        lanes::store(set + i, filled);
        lanes::store(first.words + i, ~closed);
    }
    Word before = 0;
    for (std::size_t i = 0; i < words; ++i) set[i] = before = set[i] | (first.words[i] & (0 - (before & 1)));
    Word behind = 0;
    for (std::size_t i = words; i-- > 0;) {
        set[i] = behind = set[i] | (last.words[i] & (0 - (behind >> (window::pixels - 1))));
    }
}

/// Goes over rows in one direction; from each, what is open beside flooded pixels of the row before is flooded.
class Sweep {
public:
    explicit Sweep(ClosedRows& rows) noexcept : rows_(rows), words_(rows.words()) {}

    void go(long row, int direction) noexcept {
        std::fill_n(flooded_.words, words_, Word{0});
        for (bool more = true; rows_.hasRow(row) && (more || isMade(row)); row += direction) more = step(row);
    }

    std::size_t seen() const noexcept { return seen_; }
    std::size_t gained() const noexcept { return gained_; } ///< words of those seen

private:
    bool isMade(long row) const noexcept { return row >= rows_.firstRow() && row < rows_.endRow(); }

    bool step(long row) noexcept {
        SweptRow open;
        SweptRow here;
        SweptRow& found = flooded_;
        rows_.take(row, open.words, here.words);
        Words any{};
        for (std::size_t i = 0; i < words_; i += together) {
            const auto reached = lanes::load<Words>(flooded_.words + i) & lanes::load<Words>(open.words + i);
            lanes::store(found.words + i, reached);
            any |= reached;
        }
        const bool more = lanes::any(any);
        if (more) {
            fillRuns(found.words, open.words, words_);
            rows_.close(row, found.words);
        }
        seen_ += words_;
        Words gained{};
        for (std::size_t i = 0; i < words_; i += together) {
            const auto reached = lanes::load<Words>(found.words + i);
            gained -= (Words)(reached != 0);
            lanes::store(flooded_.words + i, reached | lanes::load<Words>(here.words + i));
        }
        for (std::size_t i = 0; i < together; ++i) gained_ += gained[i];
        return more;
    }

    ClosedRows& rows_;
    std::size_t words_;
    SweptRow flooded_; ///< of the row before
    std::size_t seen_ = 0;
    std::size_t gained_ = 0;
};

/// Pixels of one row alone that follow shared ones of a run and come before others of it: with each, a run has one more
/// beside it.
std::size_t gaps(Word alone, Word shared, Word sharedBehind) noexcept {
    const Word starts = alone & (shared << 1 | sharedBehind >> (window::pixels - 1));
    const Word sum = alone + starts;
    return static_cast<std::size_t>(std::popcount(sum & shared)) + (sum < starts ? 1 : 0);
}

} // namespace

bool sweep(ClosedRows& rows) noexcept {
    constexpr std::size_t worth = 4;
    for (bool first = true;; first = false) {
        Sweep pair(rows);
        pair.go(rows.firstRow(), 1);
        if (!first && pair.gained() == 0) return true;
        pair.go(rows.endRow() - 1, -1);
        if (pair.gained() * worth < pair.seen()) return false;
    }
}

std::size_t mostRunsInWait(const ClosedRows& rows) noexcept {
    std::size_t runs = 2;
    SweptRow above;
    SweptRow here;
    rows.takeClosed(rows.firstRow(), above.words);
    for (long row = rows.firstRow() + 1; row < rows.endRow(); ++row) {
        rows.takeClosed(row, here.words);
        Word behind = 0;
        for (std::size_t i = rows.words(); i-- > 0;) {
            const Word shared = above.words[i] & here.words[i];
            const Word differing = above.words[i] ^ here.words[i];
            if (differing != 0) {
                runs +=
                    gaps(above.words[i] & differing, shared, behind) + gaps(here.words[i] & differing, shared, behind);
            }
            behind = shared;
            above.words[i] = here.words[i];
        }
    }
    return runs;
}

} // namespace orvi
