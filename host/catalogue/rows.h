// The rows of the catalogue, a source per group.
#pragma once

#include <span>

#include "orv/Catalogue.h"

namespace orv {

// How operations work on blocks of a picture. An operation that is none of these says why.
inline constexpr Blocks eachPixel{.reach = Reach::pixel};
inline constexpr Blocks maskFromTheCorner{.reach = Reach::place, .parameter = "mask"};
/// The margin of kernels that may be made a row taller on each side to be rounded, in a block no larger than it.
inline constexpr unsigned roomForRounding = 2;
inline constexpr Blocks pixelsMove{.why = "a pixel of the result may come from any block"};
inline constexpr Blocks errorsRunOn{.why = "the error of each pixel runs on into all that come after it"};
inline constexpr Blocks floodsRunOn{.why = "a flood runs across the borders of blocks, and back"};
inline constexpr Blocks boxesMeet{.why = "the boxes of pixels that are counted together do not end where blocks do"};
inline constexpr Blocks measuresAll{.why = "it tells one thing of all pixels"};

std::span<const Operation> pixelwiseRows() noexcept;
std::span<const Operation> filterRows() noexcept;
std::span<const Operation> geometryRows() noexcept;
std::span<const Operation> warpRows() noexcept;
std::span<const Operation> quantiseRows() noexcept;
std::span<const Operation> measureRows() noexcept;
std::span<const Operation> recipeRows() noexcept;

} // namespace orv
