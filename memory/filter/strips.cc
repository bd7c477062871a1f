#include "memory/filter/strips.h"

namespace orvi {

alignas(64) std::byte stripMemory[stripBytes];

} // namespace orvi
