// Prints how long calls of the C++ API take, in microseconds: "NAME SIDE TIME". The Python tests hold theirs against
// it.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>

#include "orv/orv.h"

namespace {

orv::Image noise(orv::Session& session, unsigned side) {
    orv::Image image(session, side, side, 1, orv::Type::byte);
    std::mt19937 random(side);
    const orv::Pixels pixels = image.pixels();
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) pixels.data[y * pixels.stride + x] = static_cast<std::byte>(random());
    }
    return image;
}

/// The fastest of many runs of `count` calls, for each call.
double microseconds(const std::function<void()>& call, int count) {
    double best = 1e30;
    for (int i = 0; i < 40; ++i) {
        const auto start = std::chrono::steady_clock::now();
        for (int n = 0; n < count; ++n) call();
        const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count() / count);
    }
    return best;
}

void measure(orv::Session& session, unsigned side, int count) {
    const orv::Image pair[] = {noise(session, side), noise(session, side)};
    const std::span<const orv::Image> one(pair, 1);
    const orv::Kernel kernel = orv::Kernel::gaussian(5, 1.0);
    const auto print = [&](const char* name, const std::function<void()>& call) {
        std::printf("%s %u %.3f\n", name, side, microseconds(call, count));
    };
    print("add", [&] { session.apply("add", pair); });
    print("add_const", [&] { session.apply("add_const", one, {{"value", 3.0}}); });
    print("convolve", [&] { session.apply("convolve", one, {{"kernel", kernel}}); });
    const orv::Image out = noise(session, side);
    print("add_out", [&] { session.apply("add", pair, {}, {.destination = out}); });
}

} // namespace

int main() {
    orv::Session session;
    measure(session, 64, 100);
    measure(session, 2048, 1);
    return 0;
}
