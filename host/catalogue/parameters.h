// Small helpers for the rows of the catalogue.
#pragma once

#include <algorithm>
#include <array>

#include "orv/Catalogue.h"

namespace orv {

/// The parameters of a row.
template <class... P>
constexpr auto list(P... parameters) {
    return std::array<Parameter, sizeof...(P)>{parameters...};
}

/// An op name as a template argument.
template <std::size_t N>
struct Pattern {
    char text[N];
    constexpr Pattern(const char (&name)[N]) { std::copy_n(name, N, text); }
};

inline constexpr Choice typeChoices[] = {
    {"bit", ORV_BIT, "1 bit"}, {"byte", ORV_BYTE, "8 bits"}, {"int16", ORV_SHORT, "signed 16 bits"}};

} // namespace orv
