// The rows of the catalogue, a source per group.
#pragma once

#include <span>

#include "orv/Catalogue.h"

namespace orv {

std::span<const Operation> pixelwiseRows() noexcept;
std::span<const Operation> filterRows() noexcept;
std::span<const Operation> geometryRows() noexcept;
std::span<const Operation> warpRows() noexcept;
std::span<const Operation> quantiseRows() noexcept;
std::span<const Operation> measureRows() noexcept;
std::span<const Operation> recipeRows() noexcept;

} // namespace orv
