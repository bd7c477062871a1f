#include "catalogue/rows.h"

namespace orv {

std::span<const Operation> quantiseRows() noexcept { return {}; }

} // namespace orv
