// What becomes of palettes and alpha before an operation sees a picture.
#pragma once

#include <span>

#include "orv/Image.h"
#include "orv/Session.h"

namespace orv {

/// A palette picture as colours: rgb, or rgba where an entry is not opaque.
Image coloursOf(Session& session, const Image& picture);

bool isOpaque(const Image& picture) noexcept;
/// A copy whose colours are multiplied by their alpha, rounded.
Image withAlphaMultiplied(Session& session, const Image& picture);
/// Takes alpha out of the colours again, in these rectangles, or everywhere.
void divideAlphaOut(Session& session, Image& picture, std::span<const Rectangle> roi);
/// The same samples taken for plain numbers, for sums that are right on shifted samples though their operation is not.
Image withoutShift(const Image& picture);
/// The colours laid over a background, without alpha; a gray picture takes the brightness of a colour.
ORV_API Image over(Session& session, const Image& picture, const Levels& background);

} // namespace orv
