// The real module: how its builds are found and chosen, what it registers, what a call of it costs.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "orv/host/host.h"

namespace {

using namespace orv::host;
namespace fs = std::filesystem;

const fs::path libraryFolder = fs::path(ORV_BINARY_DIR) / "lib";

template <class F>
std::string errorOf(F&& f) {
    try {
        f();
    } catch (const DeviceError& error) {
        return error.what();
    }
    return "";
}

double seconds(std::chrono::steady_clock::duration d) { return std::chrono::duration<double>(d).count(); }

TEST(LoaderTest, TheBestBuildIsTakenUnlessOneIsNamed) {
    const std::vector<std::string> builds = Device::availableBuilds();
    ASSERT_FALSE(builds.empty());
    EXPECT_EQ(builds.front(), "baseline");
    EXPECT_EQ(Device::open()->build(), builds.back());
    EXPECT_EQ(Device::open({.build = "baseline"})->build(), "baseline");
    EXPECT_EQ(Device::open({.build = "x86-64"})->path(), (libraryFolder / "orvcomputememory.so.1").string());
    EXPECT_EQ(Device::open(), Device::open());
}

TEST(LoaderTest, SeveralBuildsAreOpenAtOnce) {
    std::vector<std::shared_ptr<Device>> devices;
    std::set<void*> handles;
    for (const std::string& build : Device::availableBuilds()) {
        devices.push_back(Device::open({.build = build}));
        handles.insert(devices.back()->handle());
    }
    EXPECT_EQ(handles.size(), devices.size());
    for (const auto& device : devices) EXPECT_TRUE(device->has("add8")) << device->path();
}

TEST(LoaderTest, EveryBuildAddsAlike) {
    for (const std::string& build : Device::availableBuilds()) {
        const Owned<Session> session = Session::open({.build = build});
        const auto a = Image::make(*session, {.width = 100, .height = 3, .bands = 1});
        const auto d = Image::make(*session, {.width = 100, .height = 3, .bands = 1});
        std::uint8_t* const samples = a->storage()->byte.data;
        for (unsigned i = 0; i < 100; ++i) samples[i] = static_cast<std::uint8_t>(2 * i);
        const Owned<Op> op = Op::make(*session, "add8");
        op->setSource(1, a.get());
        op->setSource(2, a.get());
        op->setDestination(d.get());
        const CallResult result = session->run(*op);
        EXPECT_EQ(result.status, ORV_SUCCESS);
        EXPECT_EQ(result.live, LiveObjects{});
        for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(d->storage()->byte.data[i], std::min(4 * i, 255U)) << build;
    }
}

TEST(LoaderTest, WhatCannotBeOpenedSaysWhy) {
    const std::string missing = errorOf([] { Session::open({.folder = "/nowhere/at/all"}); });
    EXPECT_NE(missing.find("orvcomputememory.so.1"), std::string::npos) << missing;
    EXPECT_NE(missing.find("/nowhere/at/all"), std::string::npos) << missing;
    const std::string unknown = errorOf([] { Device::open({.build = "v9"}); });
    EXPECT_NE(unknown.find("no build \"v9\""), std::string::npos) << unknown;
    const std::string noFile = errorOf([] { Device::open({.build = "/nowhere/module.so"}); });
    EXPECT_NE(noFile.find("/nowhere/module.so"), std::string::npos) << noFile;
    const std::string noLibrary = errorOf([] { Device::open({.build = "/proc/self/cmdline"}); }); // a file, no library
    EXPECT_NE(noLibrary.find("cannot be loaded"), std::string::npos) << noLibrary;
    const std::string noDevice = errorOf([] { Device::open({.build = (libraryFolder / "liborv.so.1").string()}); });
    EXPECT_NE(noDevice.find("is no compute device"), std::string::npos) << noDevice;
}

TEST(LoaderTest, FoldersAndSymbolicLinksLeadToTheModule) {
    const fs::path folder = fs::path(ORV_BINARY_DIR) / "tests" / "linked modules";
    fs::remove_all(folder);
    fs::create_directories(folder);
    fs::create_symlink(libraryFolder / "orvcomputememory.so.1", folder / "orvcomputememory.so.1");
    EXPECT_EQ(Device::availableBuilds(folder.string()), std::vector<std::string>{"baseline"});
    const auto device = Device::open({.folder = folder.string()});
    EXPECT_EQ(device->build(), "baseline");
    // However it was reached, one file is one device.
    EXPECT_EQ(device, Device::open({.build = "baseline"}));
    const std::string lacking = errorOf([&] { Device::open({.build = "v3", .folder = folder.string()}); });
    EXPECT_FALSE(lacking.empty());
}

TEST(LoaderTest, AFailedAddFunctionLeavesNoDevice) {
    const std::size_t count = Device::open({.build = "baseline"})->registrations().size();
    ASSERT_GT(count, 0U);
    for (const std::size_t n : {std::size_t{1}, count / 2, count}) {
        const DeviceChoice choice{.build = "baseline", .failAddFunction = static_cast<unsigned>(n)};
        EXPECT_NE(errorOf([&] { Device::open(choice); }).find("could not be set up"), std::string::npos) << n;
    }
    const DeviceChoice beyond{.build = "baseline", .failAddFunction = static_cast<unsigned>(count) + 1};
    EXPECT_EQ(Device::open(beyond)->registrations().size(), count);
}

TEST(LoaderTest, OpeningASessionIsQuick) {
    Device::open();
    double best = 1;
    for (int i = 0; i < 5; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const Owned<Session> session = Session::open(Device::openAnew());
        best = std::min(best, seconds(std::chrono::steady_clock::now() - start));
    }
    std::printf("session with a registration of its own: %.3f ms\n", best * 1e3);
    EXPECT_LT(best, 0.020);
}

TEST(LoaderTest, CallsAreCheapAndKeepNoMemory) {
    const Owned<Session> session = Session::open();
    const auto a = Image::make(*session, {.width = 8, .height = 8, .bands = 1});
    const auto d = Image::make(*session, {.width = 8, .height = 8, .bands = 1});
    const Owned<Op> op = Op::make(*session, "add8");
    const auto call = [&] {
        op->reset("add8");
        op->setSource(1, a.get());
        op->setSource(2, a.get());
        op->setDestination(d.get());
        return session->run(*op).status;
    };
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(call(), ORV_SUCCESS);
    const std::size_t before = mallinfo2().uordblks;
    double best = 1;
    for (int round = 0; round < 20; ++round) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < 2000; ++i) call();
        best = std::min(best, seconds(std::chrono::steady_clock::now() - start) / 2000);
    }
    std::printf("one add8 call on 8 x 8: %.0f ns\n", best * 1e9);
    EXPECT_EQ(mallinfo2().uordblks, before);
#if defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(best, 2e-6);
#endif
}

} // namespace
