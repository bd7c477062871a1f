// Colours in the order in which the device, or other programs, hold them.
#pragma once

#include "orv/Image.h"

namespace orv {

/// Whether two images hold their colours in unlike orders; always false of pictures without colours.
bool orderDiffers(const Image& a, const Image& b) noexcept;

/// The picture itself where its colours lie in this order or where it has none, a reordered copy otherwise.
Image inOrder(Session& session, const Image& picture, ColourOrder order);

/// Copies the samples into an image of the same shape, each to its band's place there.
void copyInOrder(const Image& from, const Image& to);

} // namespace orv
