#include <cstddef>
#include <limits>

#include "memory/frame/row_moves.h"

namespace orvi {

#if defined(__AVX512BW__)
const std::size_t leastPast = std::size_t{48} << 20;
#else
const std::size_t leastPast = std::numeric_limits<std::size_t>::max(); // lines are not written whole
#endif

} // namespace orvi
