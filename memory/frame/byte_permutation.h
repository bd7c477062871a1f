// Permutations of the bytes of a vector, which not every processor has that runs the build for the widest vectors.
#pragma once

#if defined(__AVX512BW__)

namespace orvi::lanes {

/// Whether the processor has them.
extern const bool bytePermutation;

} // namespace orvi::lanes

#endif
