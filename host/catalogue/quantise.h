// What the rows of quantisers and the recipes on top of them share.
#pragma once

#include "orv/Values.h"

namespace orv {

class Call;

/// The palette that was given, its colours chosen from the call's picture where it says so.
Palette resolvedPalette(Call& call);

} // namespace orv
