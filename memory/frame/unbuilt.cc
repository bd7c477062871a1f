// The op functions that no family has built yet. A family takes its block out when it brings the functions.

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/report.h"

namespace {

OrvStatus unbuilt(OrvOp* op) noexcept { return orvi::fail(op, {"di-unbuilt", 4, 1}, "unbuilt.cc"); }

} // namespace

#define ORV_UNBUILT(NAME)                                                                                              \
    OrvStatus OrvDeviceComputeTypeMemory::NAME(OrvOp* op, int) noexcept { return unbuilt(op); }

// measurement

ORV_UNBUILT(Extrema1)
ORV_UNBUILT(Extrema8)
ORV_UNBUILT(Extrema16)
ORV_UNBUILT(Histogram1)
ORV_UNBUILT(Histogram8)
ORV_UNBUILT(Histogram16)
ORV_UNBUILT(SqueezeRange1)
ORV_UNBUILT(SqueezeRange8)
ORV_UNBUILT(SqueezeRange16)

// end of measurement

// fills

ORV_UNBUILT(Fill1)
ORV_UNBUILT(Fill8)
ORV_UNBUILT(Fill16)
ORV_UNBUILT(SoftFill1)
ORV_UNBUILT(SoftFill8)
ORV_UNBUILT(SoftFill16)

// end of fills

// paint

ORV_UNBUILT(Paint1)
ORV_UNBUILT(Paint8)
ORV_UNBUILT(Paint8_3Band)
ORV_UNBUILT(Paint16)

// end of paint
