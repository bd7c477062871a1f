// The test chart: patches, ramps, a zone plate, edges, text-like marks and noise.
#pragma once

#include "orv/orv.h"

namespace orv::tool {

/// One band of bits, or three bands of bytes or (unsigned, shifted) 16-bit samples. The same on every machine.
Image drawChart(Session& session, unsigned width, unsigned height, Type type);

} // namespace orv::tool
