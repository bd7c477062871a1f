// What the module enters into the op tree: names, order, repeats, and nothing at all after a failure.

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orv/host/Device.h"

namespace {

using orv::host::Device;
using orv::host::DeviceChoice;
using orv::host::DeviceError;

using Names = std::vector<std::string>;

void append(Names& names, std::initializer_list<const char*> more) {
    names.insert(names.end(), more.begin(), more.end());
}

void appendAll(Names& names, const char* stem, std::initializer_list<const char*> ends) {
    for (const char* end : ends) names.push_back(std::string(stem) + end);
}

void appendTableWarps(Names& names, const char* type, int times) {
    for (int time = 0; time < times; ++time) {
        for (const char* form : {"", "h", "v"}) {
            for (const char* way : {"nearest", "bilinear", "bicubic", "general"}) {
                names.push_back(std::string("tablewarp") + form + type + way);
            }
        }
    }
}

// The order that hosts know, told once more and independently of the module's own table.
Names expectedPaths() {
    Names n;
    const auto three = {"1", "8", "16"};
    for (const char* stem : {"add", "addconst", "subtract"}) appendAll(n, stem, three);
    append(n, {"subtractfromconst1"});
    for (const char* stem : {"multiply", "multiplyconst", "divide"}) appendAll(n, stem, three);
    append(n, {"divideintoconst1"});
    for (const char* stem : {"and", "andconst", "or", "orconst", "xor", "xorconst"}) appendAll(n, stem, three);
    append(n, {"absolute16"});
    appendAll(n, "bandCombine", three);
    append(n, {"blackgeneration8", "blackgeneration16"});
    for (const char* stem : {"blend1a", "blend8a", "blend16a"}) appendAll(n, stem, three);
    append(n,
           {"chooseColormap8", "colorconvert", "convert1_8", "convert1_16", "convert16_1", "convert8_1", "convert16_8",
            "convert8_16", "convolve1", "convolve8", "convolve8/convolve8", "convolve16", "convolve16/convolve16"});
    for (const char* stem : {"copy", "copypattern", "copy_with_planemask", "dilate"}) appendAll(n, stem, three);
    append(n, {"divideintoconst8", "divideintoconst16"});
    appendAll(n, "erode", three);
    for (const char* stem :
         {"errordiffusion1_", "errordiffusion8_", "errordiffusion16_", "extrema", "fill", "softfill"}) {
        appendAll(n, stem, three);
    }
    for (const char* type : three) {
        for (const char* stem : {"affine", "translate", "scale", "rotate"}) {
            appendAll(n, (std::string(stem) + type).c_str(), {"nearest", "bilinear", "bicubic", "general"});
        }
    }
    for (const char* stem : {"histogram", "lookup1_", "lookup8_", "lookup16_"}) appendAll(n, stem, three);
    append(n, {"max8", "max16", "min8", "min16", "add8/multiply8"});
    for (const char* stem : {"nearestcolor1_", "nearestcolor8_", "nearestcolor16_", "not", "ordereddither1_",
                             "ordereddither8_", "ordereddither16_"}) {
        appendAll(n, stem, three);
    }
    append(n, {"paint1", "paint8", "paint8", "paint16"});
    for (const char* stem : {"rescale", "setvalue", "edge_detect_sobel", "squeezerange"}) appendAll(n, stem, three);
    append(n, {"subsample1_8"});
    appendAll(n, "subsampleAdaptive", three);
    append(n, {"subtractfromconst8", "subtractfromconst16"});
    for (const char* type : three) appendTableWarps(n, type, 12);
    append(n, {"threshold1", "threshold8", "threshold8/threshold8", "threshold8", "threshold16",
               "threshold16/threshold16"});
    appendAll(n, "transpose", three);
    return n;
}

TEST(Registration, EntersEveryPathInOrder) {
    const std::vector<std::string> paths = Device::openAnew()->registrations();
    EXPECT_EQ(paths.size(), 650U);
    EXPECT_EQ(paths, expectedPaths());
}

TEST(Registration, HoldsTwoHundredFiftyFourPairs) {
    // Two paths hold two functions; every other path holds one.
    const std::vector<std::string> paths = Device::openAnew()->registrations();
    const std::set<std::string> distinct(paths.begin(), paths.end());
    EXPECT_EQ(distinct.size() + 2, 254U);
    EXPECT_EQ(std::ranges::count(paths, "paint8"), 2);
    EXPECT_EQ(std::ranges::count(paths, "threshold8"), 2);
    EXPECT_EQ(std::ranges::count(paths, "tablewarph16general"), 12);
}

class RefusedRegistration : public testing::TestWithParam<unsigned> {};

TEST_P(RefusedRegistration, LeavesNothingBehind) {
    DeviceChoice choice;
    choice.failAddFunction = GetParam();
    EXPECT_THROW(Device::openAnew(choice), DeviceError);
    EXPECT_EQ(Device::openAnew()->registrations().size(), 650U);
}

INSTANTIATE_TEST_SUITE_P(FirstMiddleLast, RefusedRegistration, testing::Values(1U, 2U, 325U, 649U, 650U));

} // namespace
