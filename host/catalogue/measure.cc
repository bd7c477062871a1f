#include "catalogue/rows.h"

namespace orv {

std::span<const Operation> measureRows() noexcept { return {}; }

} // namespace orv
