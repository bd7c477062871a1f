// The nearest entry of a colormap of at most 256 colours, asked for very often.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "cell/common/CmapTable.h"
#include "cis/SquaresTable.h"
#include "memory/frame/orvi_new.h"

/// Answers what a full search of the used entries would, the lowest index winning a tie, and remembers answers.
///
/// Colour space is cut into 4096 buckets of 16 by 16 by 16, each set up by the first colour that falls in it: with the
/// short list of entries that can be nearest to anything inside, and with 64 sub-cubes of 4 by 4 by 4 cells for what
/// has been answered so far. A sub-cube whose answers are all one entry takes 12 bytes; only one with two different
/// answers takes a block of 64 bytes, out of a fixed pool.
class AdaptiveColormapSelection {
public:
    static constexpr int mostColors = 256;
    static constexpr int mostBlocks = 8192;
    static constexpr int cells = 64;
    static constexpr int buckets = 4096;
    static constexpr int randomNumbers = 1027;

    AdaptiveColormapSelection() noexcept;
    AdaptiveColormapSelection(const AdaptiveColormapSelection&) = delete;
    AdaptiveColormapSelection& operator=(const AdaptiveColormapSelection&) = delete;
    ~AdaptiveColormapSelection();

    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return orvi_new(bytes); }
    static void operator delete(void* selection) noexcept { orvi_delete(selection); }
    static void operator delete(void* selection, const std::nothrow_t&) noexcept { orvi_delete(selection); }

    /// The object (which must come from new) where its construction succeeded; else it is destroyed and null given.
    AdaptiveColormapSelection* ok() noexcept;

    /// Installs a colormap and forgets all that was learned of the former one.
    void useNewColormap(const UsedCmapTable& table) noexcept;

    /// The nearest used entry to a colour of components 0 to 255.
    int selectIndex(int c0, int c1, int c2) noexcept {
        const int bucket = bucketOf(c0, c1, c2);
        const Bucket* known = buckets_[bucket];
        if (known == nullptr) return selectInNewBucket(bucket, c0, c1, c2);
        const unsigned cell = cellOf(c0, c1, c2);
        SubCube& cube = known->cubes[cubeOf(c0, c1, c2)];
        if ((cube.known[cell >> 5] >> (cell & 31) & 1) == 0 || cube.answer < 0)
            return learn(cube, cell, bucket, c0, c1, c2);
        return cube.answer < mostColors ? cube.answer : blockOf(cube)[cell];
    }

    /// The same, counted in the statistics of the entry.
    int selectIndexAdaptive(int c0, int c1, int c2) noexcept;

    /// The nearest entry of a bucket's list of candidates.
    int selectCheck(int bucket, int c0, int c1, int c2) const noexcept;

    /// Makes a bucket's list of candidates; without one after a report.
    void initBucket(int bucket) noexcept;

    void clearStatTables() noexcept;
    void printStats() const noexcept;

    /// Derives the next colormap from the statistics: entries move towards what they were chosen for, those that were
    /// hardly chosen are handed to those that were chosen most, and what is left gets random colours of YUV. Writes as
    /// many entries as `next` and the map both have; all of them are used.
    void getNextColorMap(UsedCmapTable& next) noexcept;

    void setHitThresholds(std::int32_t lower, std::int32_t upper) noexcept {
        lowerHits_ = lower;
        upperHits_ = upper;
    }
    double meanSquaredError() const noexcept { return meanSquaredError_; }
    std::int32_t hits(int entry) const noexcept { return hits_[entry]; }
    std::int32_t totalError(int entry) const noexcept { return totalErrors_[entry]; }
    std::int32_t sum(int component, int entry) const noexcept { return sums_[component][entry]; }
    std::int32_t sumOfSquares(int component, int entry) const noexcept { return squareSums_[component][entry]; }
    /// Whether the bucket of a colour has been set up, so that answers in it may be relied on until the next colormap.
    bool knowsBucketOf(int c0, int c1, int c2) const noexcept { return buckets_[bucketOf(c0, c1, c2)] != nullptr; }
    int blocksInUse() const noexcept { return static_cast<int>(blockCount_); }
    int bucketsInUse() const noexcept { return bucketCount_; }

private:
    /// What is known of 64 cells: a bit for each, and their answer. An answer from 0 to 255 is that of every known
    /// cell; -1 says that answers differ and that no block could be had; from 256 up it is 256 plus the number of the
    /// block that holds an answer for each cell.
    struct SubCube {
        std::uint32_t known[2];
        std::int32_t answer;
    };
    struct Bucket {
        std::int32_t* candidates; ///< ended by -1
        SubCube* cubes;
    };

    int bucketOf(int c0, int c1, int c2) const noexcept { return share0_[c0] | share1_[c1] | share2_[c2]; }
    static unsigned cubeOf(int c0, int c1, int c2) noexcept {
        return static_cast<unsigned>((c0 & 12) << 2 | (c1 & 12) | (c2 & 12) >> 2);
    }
    static unsigned cellOf(int c0, int c1, int c2) noexcept {
        return static_cast<unsigned>((c0 & 3) << 4 | (c1 & 3) << 2 | (c2 & 3));
    }
    std::uint8_t* blockOf(const SubCube& cube) const noexcept {
        return blocks_ + static_cast<std::size_t>(cube.answer - mostColors) * cells;
    }

    void makeTables() noexcept;
    bool fillRandomNumbers() noexcept;
    void fillComponentTables() noexcept;
    double random() noexcept;
    void freeBuckets() noexcept;
    bool makeBucket(int bucket) noexcept;
    int searchAll(int c0, int c1, int c2) const noexcept;
    int selectInNewBucket(int bucket, int c0, int c1, int c2) noexcept;
    int learn(SubCube& cube, unsigned cell, int bucket, int c0, int c1, int c2) noexcept;
    void spread(SubCube& cube, std::uint8_t* block) noexcept;
    int squaredDistance(int entry, int c0, int c1, int c2) const noexcept {
        return SquaresTable::squares[colors_[0][entry] - c0] + SquaresTable::squares[colors_[1][entry] - c1] +
               SquaresTable::squares[colors_[2][entry] - c2];
    }

    struct Refinement;

    std::int32_t ok_ = 0;
    std::int32_t* differences_ = nullptr;
    std::int32_t* difference_ = nullptr; ///< the middle of the table: indexed by -256 to 256
    std::uint8_t* blocks_ = nullptr;
    std::uint32_t blockCount_ = 0;
    Bucket** buckets_ = nullptr;
    std::int32_t scratch_[mostColors + 1];
    double* randoms_ = nullptr;
    int nextRandom_ = 0;
    std::int32_t colorCount_ = 0;
    std::int32_t colors_[3][mostColors];
    std::int32_t used_[mostColors];
    std::int32_t sums_[3][mostColors];
    std::int32_t hits_[mostColors];
    std::int32_t squareSums_[3][mostColors];
    std::int32_t totalErrors_[mostColors];
    std::int32_t share0_[mostColors];
    std::int32_t share1_[mostColors];
    std::int32_t share2_[mostColors];
    std::int32_t fine0_[mostColors];
    std::int32_t fine1_[mostColors];
    std::int32_t fine2_[mostColors];
    std::int32_t lowerHits_ = 0;
    std::int32_t upperHits_ = 0;
    double meanSquaredError_ = 0;

    std::int32_t bucketCount_ = 0;
    std::int32_t firstAnswers_ = 0;
    std::int32_t equalAnswers_ = 0;
    std::int32_t newBlocks_ = 0;
    std::int32_t blockAnswers_ = 0;
    std::int32_t refusedBlocks_ = 0;
    std::int32_t forgottenAnswers_ = 0;
};
