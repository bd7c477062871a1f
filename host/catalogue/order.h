// Colours in the order in which the device, or other programs, hold them.
#pragma once

#include "orv/Image.h"

namespace orv {

/// Whether two images hold their colours in unlike orders; always false of pictures without colours.
bool orderDiffers(const Image& a, const Image& b) noexcept;

/// Copies the samples into an image of the same shape, each to its band's place there.
void copyInOrder(const Image& from, const Image& to);

} // namespace orv
