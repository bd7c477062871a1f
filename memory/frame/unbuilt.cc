// The op functions that no family has built yet. A family takes its block out when it brings the functions.

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/report.h"

namespace {

OrvStatus unbuilt(OrvOp* op) noexcept { return orvi::fail(op, {"di-unbuilt", 4, 1}, "unbuilt.cc"); }

} // namespace

#define ORV_UNBUILT(NAME)                                                                                              \
    OrvStatus OrvDeviceComputeTypeMemory::NAME(OrvOp* op, int) noexcept { return unbuilt(op); }

// table warp

ORV_UNBUILT(TableWarp1nearest)
ORV_UNBUILT(TableWarp1bilinear)
ORV_UNBUILT(TableWarp1bicubic)
ORV_UNBUILT(TableWarp1general)
ORV_UNBUILT(TableWarpH1nearest)
ORV_UNBUILT(TableWarpH1bilinear)
ORV_UNBUILT(TableWarpH1bicubic)
ORV_UNBUILT(TableWarpH1general)
ORV_UNBUILT(TableWarpV1nearest)
ORV_UNBUILT(TableWarpV1bilinear)
ORV_UNBUILT(TableWarpV1bicubic)
ORV_UNBUILT(TableWarpV1general)
ORV_UNBUILT(TableWarp8nearest)
ORV_UNBUILT(TableWarp8bilinear)
ORV_UNBUILT(TableWarp8bicubic)
ORV_UNBUILT(TableWarp8general)
ORV_UNBUILT(TableWarpH8nearest)
ORV_UNBUILT(TableWarpH8bilinear)
ORV_UNBUILT(TableWarpH8bicubic)
ORV_UNBUILT(TableWarpH8general)
ORV_UNBUILT(TableWarpV8nearest)
ORV_UNBUILT(TableWarpV8bilinear)
ORV_UNBUILT(TableWarpV8bicubic)
ORV_UNBUILT(TableWarpV8general)
ORV_UNBUILT(TableWarp16nearest)
ORV_UNBUILT(TableWarp16bilinear)
ORV_UNBUILT(TableWarp16bicubic)
ORV_UNBUILT(TableWarp16general)
ORV_UNBUILT(TableWarpH16nearest)
ORV_UNBUILT(TableWarpH16bilinear)
ORV_UNBUILT(TableWarpH16bicubic)
ORV_UNBUILT(TableWarpH16general)
ORV_UNBUILT(TableWarpV16nearest)
ORV_UNBUILT(TableWarpV16bilinear)
ORV_UNBUILT(TableWarpV16bicubic)
ORV_UNBUILT(TableWarpV16general)

// end of table warp

// transpose

ORV_UNBUILT(Transpose1)
ORV_UNBUILT(Transpose8)
ORV_UNBUILT(Transpose16)

// end of transpose

// subsample

ORV_UNBUILT(Subsample1to8)
ORV_UNBUILT(SubsampleAdaptive1)
ORV_UNBUILT(SubsampleAdaptive8)
ORV_UNBUILT(SubsampleAdaptive16)

// end of subsample

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
