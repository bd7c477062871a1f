// The one-bit scratch image of a flood, and searches in its rows.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "memory/frame/Raster.h"
#include "memory/frame/lanes.h"

namespace orvi {

/// An image that the device makes for the time of a call, of the size and origin of another.
class Scratch {
public:
    Scratch() noexcept = default;
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { orv_destroy(image_); }

    /// False where the image or its storage cannot be had.
    bool make(OrvImage* like, OrvDataType type) noexcept;

    const Raster& raster() const noexcept { return raster_; }

private:
    OrvImage* image_ = nullptr;
    Raster raster_;
};

/// Which pixels a flood may not enter.
class Barrier {
public:
    static constexpr unsigned chunkPixels = 512;
    static constexpr unsigned chunkBytes = chunkPixels / 8;

    /// Writes, for up to chunkPixels pixels of a row (storage positions), a bit each: set where the flood may not
    /// enter. What fills up the last byte is unset.
    virtual void bits(long column, long row, unsigned pixels, std::uint8_t* to) noexcept = 0;

protected:
    Barrier() noexcept = default;
    Barrier(const Barrier&) = default;
    Barrier& operator=(const Barrier&) = default;
    ~Barrier() = default;
};

/// Columns from..end - 1 of a row.
struct Run {
    long from;
    long end;
};

/// Turns a word just loaded so that the first byte in memory is at the top, or back.
inline std::uint64_t firstByteHighest(std::uint64_t word) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
        return __builtin_bswap64(word);
    } else {
        return word;
    }
}

/// 64 pixels of a row in a word, the first at the top.
namespace window {

inline constexpr int pixels = 64;

constexpr std::uint64_t bit(int pixel) noexcept { return std::uint64_t{1} << (pixels - 1 - pixel); }

constexpr std::uint64_t span(int from, int to) noexcept {
    constexpr std::uint64_t all = ~std::uint64_t{0};
    return (all >> from) & ~(all >> 1 >> to);
}

/// The set pixels that do not follow a set one.
constexpr std::uint64_t starts(std::uint64_t set) noexcept { return set & ~(set >> 1); }

struct Run {
    bool whole; ///< the word holds the run and what ends it; else nothing is told of it
    int from;
    int to;
};
/// The run of pixels about an unset one.
constexpr Run runAbout(std::uint64_t closed, int pixel) noexcept {
    const std::uint64_t before = closed >> (pixels - 1 - pixel);
    const std::uint64_t behind = closed << pixel;
    return {before != 0 && behind != 0, pixel - std::countr_zero(before) + 1, pixel + std::countl_zero(behind) - 1};
}

} // namespace window

/// The rows of a flood's scratch image: a bit is set where the flood may not go (on), be it kept out by the barrier or
/// have been there. Rows are made when the flood first comes to them; since it comes to neighbours of earlier rows
/// alone, those made are always one run of rows. Positions are those of the storage.
class ClosedRows {
public:
    ClosedRows(const Raster& scratch, Barrier& barrier, long width, long height) noexcept;

    long width() const noexcept { return width_; }
    long height() const noexcept { return height_; }
    bool hasRow(long row) const noexcept { return row >= 0 && row < height_; }
    bool isOpen(long column, long row) noexcept {
        if (column < 0 || column >= width_ || !hasRow(row)) return false;
        return (use(row)[column >> 3] & (0x80U >> (column & 7))) == 0;
    }

    /// The first column from `from` to `end` - 1 that is open or closed, else `end` (or `from`, where that is beyond).
    long firstOpen(long row, long from, long end) noexcept { return firstBit(use(row), from, end, ~std::uint64_t{0}); }
    long firstClosed(long row, long from, long end) noexcept { return firstBit(use(row), from, end, 0); }
    /// The last closed column up to `from`, or -1.
    long lastClosed(long row, long from) noexcept;
    /// Closes the columns from `from` to `end` - 1.
    void close(long row, long from, long end) noexcept;
    /// Closes the run of open pixels about an open one, and answers it.
    Run closeRun(long row, long column) noexcept;

    /// Whether rows are wide enough for windows.
    bool hasWindows() const noexcept { return rowBytes_ >= sizeof(std::uint64_t); }
    /// Where the window begins that has a column in its middle, or as near to it as the row's ends allow.
    long windowAbout(long column) const noexcept {
        constexpr long wordBytes = sizeof(std::uint64_t);
        return std::clamp((column >> 3) - wordBytes / 2 + 1, 0L, static_cast<long>(rowBytes_) - wordBytes) * 8;
    }
    /// The closed pixels of a row's window.
    std::uint64_t window(long first, long row) noexcept {
        return firstByteHighest(lanes::load<std::uint64_t>(use(row) + (first >> 3)));
    }
    void setWindow(long first, long row, std::uint64_t closed) noexcept {
        lanes::store(use(row) + (first >> 3), firstByteHighest(closed));
    }

    /// visit(long column) for each column of `from`..`end` - 1 that is open and does not follow an open one of them, as
    /// long as it answers true; answers what the last visit did.
    template <class Visit>
    bool eachOpenRun(long row, long from, long end, Visit visit) noexcept {
        while ((from = firstOpen(row, from, end)) < end) {
            if (!visit(from)) return false;
            from = firstClosed(row, from, end);
        }
        return true;
    }

    /// Words in which a row lies, in blocks of a chunk of the barrier.
    std::size_t words() const noexcept {
        return (rowBytes_ + Barrier::chunkBytes - 1) / Barrier::chunkBytes * blockWords;
    }
    static constexpr std::size_t blockWords = Barrier::chunkBytes / sizeof(std::uint64_t);
    /// The open pixels of a row and those where the flood has been, 64 in a word, the first at the top. What fills up
    /// the words counts as such, and is never open.
    void take(long row, std::uint64_t* open, std::uint64_t* flooded) noexcept;
    /// Closes the pixels that are set.
    void close(long row, const std::uint64_t* pixels) noexcept;
    /// The closed pixels of a row that the flood came to, in such words. What fills them up is not closed.
    void takeClosed(long row, std::uint64_t* closed) const noexcept;

    /// Forgets what was flooded.
    void forget() noexcept { first_ = end_ = 0; }

    /// Leaves in the scratch the pixels where the flood has been alone: from now on "closed" means flooded.
    void keepFlooded() noexcept;
    /// The rows that the flood came to: from..end - 1.
    long firstRow() const noexcept { return first_; }
    long endRow() const noexcept { return end_; }

    /// Where a column's bit lies, in a row that the flood came to.
    BitPosition bit(long column, long row) const noexcept {
        return {at(row) + (column >> 3), static_cast<unsigned>(column & 7)};
    }

private:
    static constexpr long wordBits = 64;

    std::uint8_t* at(long row) const noexcept { return data_ + row * stride_; }
    std::uint8_t* use(long row) noexcept {
        if (row < first_ || row >= end_) make(row);
        return at(row);
    }
    void make(long row) noexcept;
    long firstBit(const std::uint8_t* row, long from, long end, std::uint64_t flip) const noexcept;

    std::uint8_t* data_;
    std::ptrdiff_t stride_;
    Barrier& barrier_;
    long width_;
    long height_;
    std::size_t rowBytes_;
    long first_ = 0;
    long end_ = 0;
};

} // namespace orvi
