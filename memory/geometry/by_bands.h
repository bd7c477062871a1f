// Loops over bands whose number the compiler knows.
#pragma once

#include <type_traits>

namespace orvi {

/// Calls `body` with the number of bands as a constant where that number has code of its own, else with 0.
template <class Body>
auto byBands(unsigned bands, Body body) noexcept {
    switch (bands) {
    case 1:
        return body(std::integral_constant<unsigned, 1>{});
    case 3:
        return body(std::integral_constant<unsigned, 3>{});
    case 4:
        return body(std::integral_constant<unsigned, 4>{});
    default:
        return body(std::integral_constant<unsigned, 0>{});
    }
}

} // namespace orvi
