// The op functions that no family has built yet. A family takes its block out when it brings the functions.

#include "memory/frame/OrvDeviceComputeTypeMemory.h"
#include "memory/frame/report.h"

namespace {

OrvStatus unbuilt(OrvOp* op) noexcept { return orvi::fail(op, {"di-unbuilt", 4, 1}, "unbuilt.cc"); }

} // namespace

#define ORV_UNBUILT(NAME)                                                                                              \
    OrvStatus OrvDeviceComputeTypeMemory::NAME(OrvOp* op, int) noexcept { return unbuilt(op); }

// pair arithmetic

ORV_UNBUILT(Add1)
ORV_UNBUILT(Add16)
ORV_UNBUILT(Subtract1)
ORV_UNBUILT(Subtract8)
ORV_UNBUILT(Subtract16)
ORV_UNBUILT(Multiply1)
ORV_UNBUILT(Multiply8)
ORV_UNBUILT(Multiply16)
ORV_UNBUILT(Divide1)
ORV_UNBUILT(Divide8)
ORV_UNBUILT(Divide16)
ORV_UNBUILT(Absolute16)
ORV_UNBUILT(Max8)
ORV_UNBUILT(Max16)
ORV_UNBUILT(Min8)
ORV_UNBUILT(Min16)

// end of pair arithmetic

// logic

ORV_UNBUILT(And1)
ORV_UNBUILT(And8)
ORV_UNBUILT(And16)
ORV_UNBUILT(AndConst1)
ORV_UNBUILT(AndConst8)
ORV_UNBUILT(AndConst16)
ORV_UNBUILT(Or1)
ORV_UNBUILT(Or8)
ORV_UNBUILT(Or16)
ORV_UNBUILT(OrConst1)
ORV_UNBUILT(OrConst8)
ORV_UNBUILT(OrConst16)
ORV_UNBUILT(Xor1)
ORV_UNBUILT(Xor8)
ORV_UNBUILT(Xor16)
ORV_UNBUILT(XorConst1)
ORV_UNBUILT(XorConst8)
ORV_UNBUILT(XorConst16)
ORV_UNBUILT(Not1)
ORV_UNBUILT(Not8)
ORV_UNBUILT(Not16)

// end of logic

// blend

ORV_UNBUILT(Blend1a1)
ORV_UNBUILT(Blend1a8)
ORV_UNBUILT(Blend1a16)
ORV_UNBUILT(Blend8a1)
ORV_UNBUILT(Blend8a8)
ORV_UNBUILT(Blend8a16)
ORV_UNBUILT(Blend16a1)
ORV_UNBUILT(Blend16a8)
ORV_UNBUILT(Blend16a16)

// end of blend

// conversion and bands

ORV_UNBUILT(BandCombine1)
ORV_UNBUILT(BandCombine8)
ORV_UNBUILT(BandCombine16)
ORV_UNBUILT(BlackGeneration8)
ORV_UNBUILT(BlackGeneration16)
ORV_UNBUILT(Convert1to8)
ORV_UNBUILT(Convert1to16)
ORV_UNBUILT(Convert16to1)
ORV_UNBUILT(Convert8to1)
ORV_UNBUILT(Convert16to8)
ORV_UNBUILT(Convert8to16)

// end of conversion and bands

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
