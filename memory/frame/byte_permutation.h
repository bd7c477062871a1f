// Permutations of the bytes of a vector, which not every processor has that runs the build for the widest vectors.
#pragma once

#if defined(__AVX512BW__)

#include "memory/frame/lanes.h"

namespace orvi::lanes {

/// Whether the processor has them.
extern const bool bytePermutation;

/// Entries of a table of bytes by permutations of bytes.
class PermutedBytes {
public:
    explicit PermutedBytes(const std::uint8_t* table) noexcept
        : table_(table),
          quarters_{load<Raw>(table), load<Raw>(table + 64), load<Raw>(table + 128), load<Raw>(table + 192)} {}

    std::uint8_t operator()(std::uint8_t index) const noexcept { return table_[index]; }
    [[gnu::target("avx512vbmi")]] U8 operator()(U8 index) const noexcept {
        const Raw low = _mm512_permutex2var_epi8(quarters_[0], (Raw)index, quarters_[1]);
        const Raw high = _mm512_permutex2var_epi8(quarters_[2], (Raw)index, quarters_[3]);
        return (U8)_mm512_mask_mov_epi8(low, _mm512_movepi8_mask((Raw)index), high);
    }

private:
    const std::uint8_t* table_;
    Raw quarters_[4];
};

} // namespace orvi::lanes

#endif
