// The op functions of the device and the op names that they are entered under, in the order of registration. A group's
// entries are plain facts; a later entry of a path is tried before an earlier one.

#include <cstddef>
#include <span>

#include "memory/frame/OrvDeviceComputeTypeMemory.h"

namespace {

using Device = OrvDeviceComputeTypeMemory;
using DeviceFunction = OrvStatus (Device::*)(OrvOp*, int);

/// One registration: the op that writes the destination and, in a path of two levels, the op that feeds it.
struct Entry {
    const char* last;
    const char* earlier;
    DeviceFunction function;
};

constexpr Entry tableWarpBlock1[] = {
    {"tablewarp1nearest", nullptr, &Device::TableWarp1nearest},
    {"tablewarp1bilinear", nullptr, &Device::TableWarp1bilinear},
    {"tablewarp1bicubic", nullptr, &Device::TableWarp1bicubic},
    {"tablewarp1general", nullptr, &Device::TableWarp1general},
    {"tablewarph1nearest", nullptr, &Device::TableWarpH1nearest},
    {"tablewarph1bilinear", nullptr, &Device::TableWarpH1bilinear},
    {"tablewarph1bicubic", nullptr, &Device::TableWarpH1bicubic},
    {"tablewarph1general", nullptr, &Device::TableWarpH1general},
    {"tablewarpv1nearest", nullptr, &Device::TableWarpV1nearest},
    {"tablewarpv1bilinear", nullptr, &Device::TableWarpV1bilinear},
    {"tablewarpv1bicubic", nullptr, &Device::TableWarpV1bicubic},
    {"tablewarpv1general", nullptr, &Device::TableWarpV1general},
};

constexpr Entry tableWarpBlock8[] = {
    {"tablewarp8nearest", nullptr, &Device::TableWarp8nearest},
    {"tablewarp8bilinear", nullptr, &Device::TableWarp8bilinear},
    {"tablewarp8bicubic", nullptr, &Device::TableWarp8bicubic},
    {"tablewarp8general", nullptr, &Device::TableWarp8general},
    {"tablewarph8nearest", nullptr, &Device::TableWarpH8nearest},
    {"tablewarph8bilinear", nullptr, &Device::TableWarpH8bilinear},
    {"tablewarph8bicubic", nullptr, &Device::TableWarpH8bicubic},
    {"tablewarph8general", nullptr, &Device::TableWarpH8general},
    {"tablewarpv8nearest", nullptr, &Device::TableWarpV8nearest},
    {"tablewarpv8bilinear", nullptr, &Device::TableWarpV8bilinear},
    {"tablewarpv8bicubic", nullptr, &Device::TableWarpV8bicubic},
    {"tablewarpv8general", nullptr, &Device::TableWarpV8general},
};

constexpr Entry tableWarpBlock16[] = {
    {"tablewarp16nearest", nullptr, &Device::TableWarp16nearest},
    {"tablewarp16bilinear", nullptr, &Device::TableWarp16bilinear},
    {"tablewarp16bicubic", nullptr, &Device::TableWarp16bicubic},
    {"tablewarp16general", nullptr, &Device::TableWarp16general},
    {"tablewarph16nearest", nullptr, &Device::TableWarpH16nearest},
    {"tablewarph16bilinear", nullptr, &Device::TableWarpH16bilinear},
    {"tablewarph16bicubic", nullptr, &Device::TableWarpH16bicubic},
    {"tablewarph16general", nullptr, &Device::TableWarpH16general},
    {"tablewarpv16nearest", nullptr, &Device::TableWarpV16nearest},
    {"tablewarpv16bilinear", nullptr, &Device::TableWarpV16bilinear},
    {"tablewarpv16bicubic", nullptr, &Device::TableWarpV16bicubic},
    {"tablewarpv16general", nullptr, &Device::TableWarpV16general},
};

constexpr Entry group0[] = {
    {"add1", nullptr, &Device::Add1},
    {"add8", nullptr, &Device::Add8},
    {"add16", nullptr, &Device::Add16},
    {"addconst1", nullptr, &Device::AddConst1},
    {"addconst8", nullptr, &Device::AddConst8},
    {"addconst16", nullptr, &Device::AddConst16},
    {"subtract1", nullptr, &Device::Subtract1},
    {"subtract8", nullptr, &Device::Subtract8},
    {"subtract16", nullptr, &Device::Subtract16},
    {"subtractfromconst1", nullptr, &Device::SubtractFromConst1},
    {"multiply1", nullptr, &Device::Multiply1},
    {"multiply8", nullptr, &Device::Multiply8},
    {"multiply16", nullptr, &Device::Multiply16},
    {"multiplyconst1", nullptr, &Device::MultiplyConst1},
    {"multiplyconst8", nullptr, &Device::MultiplyConst8},
    {"multiplyconst16", nullptr, &Device::MultiplyConst16},
    {"divide1", nullptr, &Device::Divide1},
    {"divide8", nullptr, &Device::Divide8},
    {"divide16", nullptr, &Device::Divide16},
    {"divideintoconst1", nullptr, &Device::DivideIntoConst1},
    {"and1", nullptr, &Device::And1},
    {"and8", nullptr, &Device::And8},
    {"and16", nullptr, &Device::And16},
    {"andconst1", nullptr, &Device::AndConst1},
    {"andconst8", nullptr, &Device::AndConst8},
    {"andconst16", nullptr, &Device::AndConst16},
    {"or1", nullptr, &Device::Or1},
    {"or8", nullptr, &Device::Or8},
    {"or16", nullptr, &Device::Or16},
    {"orconst1", nullptr, &Device::OrConst1},
    {"orconst8", nullptr, &Device::OrConst8},
    {"orconst16", nullptr, &Device::OrConst16},
    {"xor1", nullptr, &Device::Xor1},
    {"xor8", nullptr, &Device::Xor8},
    {"xor16", nullptr, &Device::Xor16},
    {"xorconst1", nullptr, &Device::XorConst1},
    {"xorconst8", nullptr, &Device::XorConst8},
    {"xorconst16", nullptr, &Device::XorConst16},
    {"absolute16", nullptr, &Device::Absolute16},
};

constexpr Entry group1[] = {
    {"bandCombine1", nullptr, &Device::BandCombine1},
    {"bandCombine8", nullptr, &Device::BandCombine8},
    {"bandCombine16", nullptr, &Device::BandCombine16},
    {"blackgeneration8", nullptr, &Device::BlackGeneration8},
    {"blackgeneration16", nullptr, &Device::BlackGeneration16},
    {"blend1a1", nullptr, &Device::Blend1a1},
    {"blend1a8", nullptr, &Device::Blend1a8},
    {"blend1a16", nullptr, &Device::Blend1a16},
};

constexpr Entry group2[] = {
    {"blend8a1", nullptr, &Device::Blend8a1},
    {"blend8a8", nullptr, &Device::Blend8a8},
    {"blend8a16", nullptr, &Device::Blend8a16},
    {"blend16a1", nullptr, &Device::Blend16a1},
    {"blend16a8", nullptr, &Device::Blend16a8},
    {"blend16a16", nullptr, &Device::Blend16a16},
    {"chooseColormap8", nullptr, &Device::ChooseColormap8},
    {"colorconvert", nullptr, &Device::ColorConvert},
};

constexpr Entry group3[] = {
    {"convert1_8", nullptr, &Device::Convert1to8},
    {"convert1_16", nullptr, &Device::Convert1to16},
    {"convert16_1", nullptr, &Device::Convert16to1},
    {"convert8_1", nullptr, &Device::Convert8to1},
};

constexpr Entry group4[] = {
    {"convert16_8", nullptr, &Device::Convert16to8},
    {"convert8_16", nullptr, &Device::Convert8to16},
    {"convolve1", nullptr, &Device::Convolve1},
    {"convolve8", nullptr, &Device::Convolve8},
    {"convolve8", "convolve8", &Device::Convolve8Convolve8},
    {"convolve16", nullptr, &Device::Convolve16},
    {"convolve16", "convolve16", &Device::Convolve16Convolve16},
    {"copy1", nullptr, &Device::Copy1},
    {"copy8", nullptr, &Device::Copy8},
    {"copy16", nullptr, &Device::Copy16},
};

constexpr Entry group5[] = {
    {"copypattern1", nullptr, &Device::CopyPattern1},
    {"copypattern8", nullptr, &Device::CopyPattern8},
    {"copypattern16", nullptr, &Device::CopyPattern16},
    {"copy_with_planemask1", nullptr, &Device::CopyWithPlanemask1},
    {"copy_with_planemask8", nullptr, &Device::CopyWithPlanemask8},
    {"copy_with_planemask16", nullptr, &Device::CopyWithPlanemask16},
    {"dilate1", nullptr, &Device::Dilate1},
    {"dilate8", nullptr, &Device::Dilate8},
    {"dilate16", nullptr, &Device::Dilate16},
};

constexpr Entry group6[] = {
    {"divideintoconst8", nullptr, &Device::DivideIntoConst8},
    {"divideintoconst16", nullptr, &Device::DivideIntoConst16},
    {"erode1", nullptr, &Device::Erode1},
    {"erode8", nullptr, &Device::Erode8},
    {"erode16", nullptr, &Device::Erode16},
    {"errordiffusion1_1", nullptr, &Device::ErrorDiffusion1_1},
    {"errordiffusion1_8", nullptr, &Device::ErrorDiffusion1_8},
};

constexpr Entry group7[] = {
    {"errordiffusion1_16", nullptr, &Device::ErrorDiffusion1_16},
    {"errordiffusion8_1", nullptr, &Device::ErrorDiffusion8_1},
    {"errordiffusion8_8", nullptr, &Device::ErrorDiffusion8_8},
    {"errordiffusion8_16", nullptr, &Device::ErrorDiffusion8_16},
    {"errordiffusion16_1", nullptr, &Device::ErrorDiffusion16_1},
    {"errordiffusion16_8", nullptr, &Device::ErrorDiffusion16_8},
    {"errordiffusion16_16", nullptr, &Device::ErrorDiffusion16_16},
    {"extrema1", nullptr, &Device::Extrema1},
};

constexpr Entry group8[] = {
    {"extrema8", nullptr, &Device::Extrema8},   {"extrema16", nullptr, &Device::Extrema16},
    {"fill1", nullptr, &Device::Fill1},         {"fill8", nullptr, &Device::Fill8},
    {"fill16", nullptr, &Device::Fill16},       {"softfill1", nullptr, &Device::SoftFill1},
    {"softfill8", nullptr, &Device::SoftFill8}, {"softfill16", nullptr, &Device::SoftFill16},
};

constexpr Entry group10[] = {
    {"affine1nearest", nullptr, &Device::Affine1nearest},
    {"affine1bilinear", nullptr, &Device::Affine1bilinear},
    {"affine1bicubic", nullptr, &Device::Affine1bicubic},
    {"affine1general", nullptr, &Device::Affine1general},
    {"translate1nearest", nullptr, &Device::Translate1nearest},
    {"translate1bilinear", nullptr, &Device::Translate1bilinear},
    {"translate1bicubic", nullptr, &Device::Translate1bicubic},
    {"translate1general", nullptr, &Device::Translate1general},
    {"scale1nearest", nullptr, &Device::Scale1nearest},
    {"scale1bilinear", nullptr, &Device::Scale1bilinear},
    {"scale1bicubic", nullptr, &Device::Scale1bicubic},
    {"scale1general", nullptr, &Device::Scale1general},
    {"rotate1nearest", nullptr, &Device::Rotate1nearest},
    {"rotate1bilinear", nullptr, &Device::Rotate1bilinear},
    {"rotate1bicubic", nullptr, &Device::Rotate1bicubic},
    {"rotate1general", nullptr, &Device::Rotate1general},
    {"affine8nearest", nullptr, &Device::Affine8nearest},
    {"affine8bilinear", nullptr, &Device::Affine8bilinear},
    {"affine8bicubic", nullptr, &Device::Affine8bicubic},
    {"affine8general", nullptr, &Device::Affine8general},
    {"translate8nearest", nullptr, &Device::Translate8nearest},
    {"translate8bilinear", nullptr, &Device::Translate8bilinear},
    {"translate8bicubic", nullptr, &Device::Translate8bicubic},
    {"translate8general", nullptr, &Device::Translate8general},
    {"scale8nearest", nullptr, &Device::Scale8nearest},
    {"scale8bilinear", nullptr, &Device::Scale8bilinear},
    {"scale8bicubic", nullptr, &Device::Scale8bicubic},
    {"scale8general", nullptr, &Device::Scale8general},
    {"rotate8nearest", nullptr, &Device::Rotate8nearest},
    {"rotate8bilinear", nullptr, &Device::Rotate8bilinear},
    {"rotate8bicubic", nullptr, &Device::Rotate8bicubic},
    {"rotate8general", nullptr, &Device::Rotate8general},
    {"affine16nearest", nullptr, &Device::Affine16nearest},
    {"affine16bilinear", nullptr, &Device::Affine16bilinear},
    {"affine16bicubic", nullptr, &Device::Affine16bicubic},
    {"affine16general", nullptr, &Device::Affine16general},
    {"translate16nearest", nullptr, &Device::Translate16nearest},
    {"translate16bilinear", nullptr, &Device::Translate16bilinear},
    {"translate16bicubic", nullptr, &Device::Translate16bicubic},
    {"translate16general", nullptr, &Device::Translate16general},
    {"scale16nearest", nullptr, &Device::Scale16nearest},
    {"scale16bilinear", nullptr, &Device::Scale16bilinear},
    {"scale16bicubic", nullptr, &Device::Scale16bicubic},
    {"scale16general", nullptr, &Device::Scale16general},
    {"rotate16nearest", nullptr, &Device::Rotate16nearest},
    {"rotate16bilinear", nullptr, &Device::Rotate16bilinear},
    {"rotate16bicubic", nullptr, &Device::Rotate16bicubic},
    {"rotate16general", nullptr, &Device::Rotate16general},
    {"histogram1", nullptr, &Device::Histogram1},
    {"histogram8", nullptr, &Device::Histogram8},
    {"histogram16", nullptr, &Device::Histogram16},
    {"lookup1_1", nullptr, &Device::Lookup1_1},
    {"lookup1_8", nullptr, &Device::Lookup1_8},
    {"lookup1_16", nullptr, &Device::Lookup1_16},
    {"lookup8_1", nullptr, &Device::Lookup8_1},
    {"lookup8_8", nullptr, &Device::Lookup8_8},
    {"lookup8_16", nullptr, &Device::Lookup8_16},
    {"lookup16_1", nullptr, &Device::Lookup16_1},
    {"lookup16_8", nullptr, &Device::Lookup16_8},
    {"lookup16_16", nullptr, &Device::Lookup16_16},
};

constexpr Entry group11[] = {
    {"max8", nullptr, &Device::Max8},   {"max16", nullptr, &Device::Max16},           {"min8", nullptr, &Device::Min8},
    {"min16", nullptr, &Device::Min16}, {"add8", "multiply8", &Device::MultiplyAdd8},
};

constexpr Entry group12[] = {
    {"nearestcolor1_1", nullptr, &Device::NearestColor1_1},
    {"nearestcolor1_8", nullptr, &Device::NearestColor1_8},
    {"nearestcolor1_16", nullptr, &Device::NearestColor1_16},
    {"nearestcolor8_1", nullptr, &Device::NearestColor8_1},
    {"nearestcolor8_8", nullptr, &Device::NearestColor8_8},
    {"nearestcolor8_16", nullptr, &Device::NearestColor8_16},
    {"nearestcolor16_1", nullptr, &Device::NearestColor16_1},
    {"nearestcolor16_8", nullptr, &Device::NearestColor16_8},
    {"nearestcolor16_16", nullptr, &Device::NearestColor16_16},
};

constexpr Entry group13[] = {
    {"not1", nullptr, &Device::Not1},
    {"not8", nullptr, &Device::Not8},
    {"not16", nullptr, &Device::Not16},
    {"ordereddither1_1", nullptr, &Device::OrderedDither1_1},
};

constexpr Entry group14[] = {
    {"ordereddither1_8", nullptr, &Device::OrderedDither1_8},
    {"ordereddither1_16", nullptr, &Device::OrderedDither1_16},
    {"ordereddither8_1", nullptr, &Device::OrderedDither8_1},
    {"ordereddither8_8", nullptr, &Device::OrderedDither8_8},
    {"ordereddither8_16", nullptr, &Device::OrderedDither8_16},
    {"ordereddither16_1", nullptr, &Device::OrderedDither16_1},
    {"ordereddither16_8", nullptr, &Device::OrderedDither16_8},
    {"ordereddither16_16", nullptr, &Device::OrderedDither16_16},
    {"paint1", nullptr, &Device::Paint1},
    {"paint8", nullptr, &Device::Paint8},
};

constexpr Entry group15[] = {
    {"paint8", nullptr, &Device::Paint8_3Band},       {"paint16", nullptr, &Device::Paint16},
    {"rescale1", nullptr, &Device::Rescale1},         {"rescale8", nullptr, &Device::Rescale8},
    {"rescale16", nullptr, &Device::Rescale16},       {"setvalue1", nullptr, &Device::SetValue1},
    {"setvalue8", nullptr, &Device::SetValue8},       {"setvalue16", nullptr, &Device::SetValue16},
    {"edge_detect_sobel1", nullptr, &Device::Sobel1}, {"edge_detect_sobel8", nullptr, &Device::Sobel8},
};

constexpr Entry group16[] = {
    {"edge_detect_sobel16", nullptr, &Device::Sobel16},
    {"squeezerange1", nullptr, &Device::SqueezeRange1},
    {"squeezerange8", nullptr, &Device::SqueezeRange8},
    {"squeezerange16", nullptr, &Device::SqueezeRange16},
    {"subsample1_8", nullptr, &Device::Subsample1to8},
    {"subsampleAdaptive1", nullptr, &Device::SubsampleAdaptive1},
    {"subsampleAdaptive8", nullptr, &Device::SubsampleAdaptive8},
    {"subsampleAdaptive16", nullptr, &Device::SubsampleAdaptive16},
};

constexpr Entry group17[] = {
    {"subtractfromconst8", nullptr, &Device::SubtractFromConst8},
    {"subtractfromconst16", nullptr, &Device::SubtractFromConst16},
};

constexpr Entry group21[] = {
    {"threshold1", nullptr, &Device::Threshold1},      {"threshold8", nullptr, &Device::Threshold8},
    {"threshold8", "threshold8", &Device::Threshold8}, {"threshold8", nullptr, &Device::Threshold8_1Band},
    {"threshold16", nullptr, &Device::Threshold16},    {"threshold16", "threshold16", &Device::Threshold16},
    {"transpose1", nullptr, &Device::Transpose1},      {"transpose8", nullptr, &Device::Transpose8},
    {"transpose16", nullptr, &Device::Transpose16},
};

/// Some entries, entered several times over.
struct Run {
    std::span<const Entry> entries;
    int times = 1;
};

constexpr std::size_t runsOfGroup = 2;
using Group = Run[runsOfGroup];

// The table warp blocks are entered twelve times over, on purpose: a host must take the same function on the same node
// again.
constexpr Group groups[] = {
    {{group0}, {}},
    {{group1}, {}},
    {{group2}, {}},
    {{group3}, {}},
    {{group4}, {}},
    {{group5}, {}},
    {{group6}, {}},
    {{group7}, {}},
    {{group8}, {}},
    {},
    {{group10}, {}},
    {{group11}, {}},
    {{group12}, {}},
    {{group13}, {}},
    {{group14}, {}},
    {{group15}, {}},
    {{group16}, {}},
    {{group17}, {tableWarpBlock1, 6}},
    {{tableWarpBlock1, 6}, {tableWarpBlock8, 3}},
    {{tableWarpBlock8, 9}, {tableWarpBlock16, 1}},
    {{tableWarpBlock16, 10}, {}},
    {{tableWarpBlock16, 1}, {group21}},
    {},
};

OrvStatus enter(Device* device, OrvOpTreeNode* root, const Entry& entry) noexcept {
    OrvOpTreeNode* node = root->branch(entry.last);
    if (node != nullptr && entry.earlier != nullptr) node = node->branch(entry.earlier);
    if (node == nullptr) return ORV_FAILURE;
    return node->addFunction(device, static_cast<OrvOpFunction>(entry.function));
}

OrvStatus enterRun(Device* device, OrvOpTreeNode* root, const Run& run) noexcept {
    for (int time = 0; time < run.times; ++time) {
        for (const Entry& entry : run.entries) {
            if (enter(device, root, entry) == ORV_FAILURE) return ORV_FAILURE;
        }
    }
    return ORV_SUCCESS;
}

OrvStatus describeSomeMembers(Device* device, OrvOpTreeNode* root, const Group& group) noexcept {
    for (const Run& run : group) {
        if (enterRun(device, root, run) == ORV_FAILURE) {
            root->removeFunctions(device);
            return ORV_FAILURE;
        }
    }
    return ORV_SUCCESS;
}

} // namespace

OrvStatus OrvDeviceComputeTypeMemory::describeMembers() noexcept {
    OrvOpTreeNode* root = orv_global_state->getOpTreeBase();
    for (const Group& group : groups) {
        if (describeSomeMembers(this, root, group) == ORV_FAILURE) {
            // The group has removed the functions already; a second removal is harmless and expected.
            root->removeFunctions(this);
            return ORV_FAILURE;
        }
    }
    return ORV_SUCCESS;
}
