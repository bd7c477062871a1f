#include "cell/common/AdaptiveColormapSelection.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "memory/frame/report.h"

namespace {

using namespace orvi;

constexpr const char* file = "AdaptiveColormapSelection.cc";

constexpr int beyondAll = 196608; // three times 256 squared

void reportNoMemory(int line) noexcept { fail(static_cast<OrvSystemState*>(nullptr), {"di-1", 1, 1, line}, file); }

} // namespace

AdaptiveColormapSelection::AdaptiveColormapSelection() noexcept {
    const SquaresTable squares;
    makeTables();
}

void AdaptiveColormapSelection::makeTables() noexcept {
    blocks_ = newArray<std::uint8_t>(std::size_t{mostBlocks} * cells);
    if (blocks_ == nullptr) return reportNoMemory(180);
    if (!fillRandomNumbers()) return reportNoMemory(197);
    buckets_ = newArray<Bucket*>(buckets);
    if (buckets_ == nullptr) return reportNoMemory(220);
    std::fill_n(buckets_, buckets, nullptr);
    differences_ = newArray<std::int32_t>(2 * (mostColors + 1));
    if (differences_ == nullptr) return reportNoMemory(239);
    difference_ = differences_ + mostColors;
    for (int d = 0; d <= mostColors; ++d) difference_[d] = difference_[-d] = d;
    fillComponentTables();
    clearStatTables();
    ok_ = 1;
}

AdaptiveColormapSelection::~AdaptiveColormapSelection() {
    freeBuckets();
    orvi_delete(blocks_);
    orvi_delete(randoms_);
    orvi_delete(static_cast<void*>(buckets_));
    orvi_delete(differences_);
}

AdaptiveColormapSelection* AdaptiveColormapSelection::ok() noexcept {
    if (ok_ == 1) return this;
    delete this;
    return nullptr;
}

bool AdaptiveColormapSelection::fillRandomNumbers() noexcept {
    randoms_ = newArray<double>(randomNumbers);
    if (randoms_ == nullptr) return false;
    // The process's own generator is seeded, so that every object draws the same numbers.
    unsigned short seed[3] = {0x005a, 0x0015, 0x0000};
    seed48(seed);
    for (int i = 0; i < randomNumbers; ++i) randoms_[i] = drand48();
    return true;
}

double AdaptiveColormapSelection::random() noexcept {
    const double number = randoms_[nextRandom_];
    nextRandom_ = (nextRandom_ + 1) % randomNumbers;
    return number;
}

void AdaptiveColormapSelection::fillComponentTables() noexcept {
    for (int v = 0; v < mostColors; ++v) {
        share2_[v] = v >> 4 & 15;
        share1_[v] = share2_[v] << 4;
        share0_[v] = share2_[v] << 8;
        fine2_[v] = v >> 2;
        fine1_[v] = fine2_[v] << 6;
        fine0_[v] = fine2_[v] << 12;
    }
}

void AdaptiveColormapSelection::freeBuckets() noexcept {
    if (buckets_ == nullptr) return;
    for (int i = 0; i < buckets; ++i) {
        Bucket* bucket = buckets_[i];
        if (bucket == nullptr) continue;
        orvi_delete(bucket->cubes);
        orvi_delete(bucket->candidates);
        orvi_delete(bucket);
        buckets_[i] = nullptr;
    }
}

void AdaptiveColormapSelection::useNewColormap(const UsedCmapTable& table) noexcept {
    freeBuckets();
    colorCount_ = std::min(static_cast<std::int32_t>(table.count()), mostColors);
    blockCount_ = 0;
    for (int i = 0; i < colorCount_; ++i) {
        used_[i] = table.used()[i];
        for (int component = 0; component < 3; ++component) {
            colors_[component][i] = table.colors()[i].bytes[component + 1];
        }
    }
    clearStatTables();
}

void AdaptiveColormapSelection::clearStatTables() noexcept {
    bucketCount_ = 0;
    firstAnswers_ = 0;
    equalAnswers_ = 0;
    newBlocks_ = 0;
    blockAnswers_ = 0;
    refusedBlocks_ = 0;
    forgottenAnswers_ = 0;
    std::fill_n(hits_, mostColors, 0);
    std::fill_n(totalErrors_, mostColors, 0);
    for (int component = 0; component < 3; ++component) {
        std::fill_n(sums_[component], mostColors, 0);
        std::fill_n(squareSums_[component], mostColors, 0);
    }
}

void AdaptiveColormapSelection::printStats() const noexcept {
    std::printf("buckets %d, first answers %d, equal answers %d, new blocks %d, answers in blocks %d, "
                "blocks refused %d, answers forgotten %d\n",
                bucketCount_, firstAnswers_, equalAnswers_, newBlocks_, blockAnswers_, refusedBlocks_,
                forgottenAnswers_);
}

void AdaptiveColormapSelection::initBucket(int bucket) noexcept {
    const int low[3] = {(bucket >> 8 & 15) * 16, (bucket >> 4 & 15) * 16, (bucket & 15) * 16};
    int nearest[mostColors]; // the least squared distance from an entry to a colour of the bucket
    int limit = beyondAll;   // the least of the greatest ones: some entry is as near to every colour
    for (int i = 0; i < colorCount_; ++i) {
        if (used_[i] <= 0) continue;
        int least = 0;
        int greatest = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const int toLow = difference_[colors_[axis][i] - low[axis]];
            const int toHigh = difference_[colors_[axis][i] - (low[axis] + 15)];
            const bool inside = toLow + toHigh == 15;
            least += inside ? 0 : SquaresTable::squares[std::min(toLow, toHigh)];
            greatest += SquaresTable::squares[std::max(toLow, toHigh)];
        }
        nearest[i] = least;
        limit = std::min(limit, greatest);
    }

    std::fill_n(scratch_, mostColors + 1, -1);
    int kept = 0;
    for (int i = 0; i < colorCount_; ++i) {
        if (used_[i] > 0 && nearest[i] <= limit) scratch_[kept++] = i;
    }

    auto* list = newArray<std::int32_t>(static_cast<std::size_t>(kept) + 1);
    buckets_[bucket]->candidates = list;
    if (list == nullptr) return reportNoMemory(504);
    std::copy_n(scratch_, kept + 1, list);
}

bool AdaptiveColormapSelection::makeBucket(int bucket) noexcept {
    Array<Bucket> pair(1);
    if (!pair) return false;
    Array<SubCube> cubes(cells);
    if (!cubes) return false;
    std::fill_n(cubes.get(), cells, SubCube{});
    pair[0] = {nullptr, cubes.get()};
    buckets_[bucket] = pair.get();
    initBucket(bucket);
    if (pair[0].candidates == nullptr) {
        buckets_[bucket] = nullptr;
        return false;
    }
    cubes.release();
    pair.release();
    ++bucketCount_;
    return true;
}

int AdaptiveColormapSelection::searchAll(int c0, int c1, int c2) const noexcept {
    int best = beyondAll;
    int result = 0;
    for (int i = 0; i < colorCount_; ++i) {
        if (used_[i] <= 0) continue;
        const int distance = squaredDistance(i, c0, c1, c2);
        if (distance >= best) continue;
        best = distance;
        result = i;
    }
    return result;
}

int AdaptiveColormapSelection::selectCheck(int bucket, int c0, int c1, int c2) const noexcept {
    const std::int32_t* candidate = buckets_[bucket]->candidates;
    if (candidate[0] >= 0 && candidate[1] < 0) return candidate[0];
    int best = beyondAll;
    int result = 0;
    for (; *candidate >= 0; ++candidate) {
        const int distance = squaredDistance(*candidate, c0, c1, c2);
        if (distance >= best) continue;
        best = distance;
        result = *candidate;
    }
    return result;
}

int AdaptiveColormapSelection::selectInNewBucket(int bucket, int c0, int c1, int c2) noexcept {
    // Without memory for the bucket nothing is remembered, and the next colour in it tries again.
    if (!makeBucket(bucket)) return searchAll(c0, c1, c2);
    return selectIndex(c0, c1, c2);
}

void AdaptiveColormapSelection::spread(SubCube& cube, std::uint8_t* block) noexcept {
    for (unsigned cell = 0; cell < cells; ++cell) {
        if ((cube.known[cell >> 5] >> (cell & 31) & 1) != 0) block[cell] = static_cast<std::uint8_t>(cube.answer);
    }
}

int AdaptiveColormapSelection::learn(SubCube& cube, unsigned cell, int bucket, int c0, int c1, int c2) noexcept {
    const int index = selectCheck(bucket, c0, c1, c2);
    std::uint32_t& known = cube.known[cell >> 5];
    const std::uint32_t bit = 1U << (cell & 31);

    if (cube.known[0] == 0 && cube.known[1] == 0) {
        ++firstAnswers_;
        cube.answer = index;
    } else if (cube.answer < 0) {
        ++forgottenAnswers_;
        return index;
    } else if (cube.answer >= mostColors) {
        ++blockAnswers_;
        blockOf(cube)[cell] = static_cast<std::uint8_t>(index);
    } else if (cube.answer == index) {
        ++equalAnswers_;
    } else if (blockCount_ < mostBlocks) {
        ++newBlocks_;
        std::uint8_t* block = blocks_ + std::size_t{blockCount_} * cells;
        spread(cube, block);
        block[cell] = static_cast<std::uint8_t>(index);
        cube.answer = mostColors + static_cast<std::int32_t>(blockCount_++);
    } else {
        ++refusedBlocks_;
        cube.answer = -1;
        return index;
    }
    known |= bit;
    return index;
}

int AdaptiveColormapSelection::selectIndexAdaptive(int c0, int c1, int c2) noexcept {
    const int index = selectIndex(c0, c1, c2);
    const int components[3] = {c0, c1, c2};
    for (int component = 0; component < 3; ++component) {
        sums_[component][index] += components[component];
        squareSums_[component][index] += sqrs_table[components[component]];
    }
    ++hits_[index];
    totalErrors_[index] += squaredDistance(index, c0, c1, c2);
    return index;
}
