// Prints how long calls of the C++ API take, in microseconds: "NAME SIDE TIME". The Python tests hold theirs against
// it.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

#include "orv/orv.h"

namespace {

using Samples = std::vector<std::byte>;

/// Noise in memory such as numpy's arrays have: it begins where the allocator puts it, which for large ones is 16 bytes
/// behind a page, and that alone costs a call that waits for memory some per cent.
Samples noise(unsigned side) {
    Samples samples(std::size_t{side} * side);
    std::mt19937 random(side);
    for (std::byte& sample : samples) sample = static_cast<std::byte>(random());
    return samples;
}

orv::Image viewOf(orv::Session& session, unsigned side, Samples& samples) {
    return orv::Image::view(session, side, side, 1, orv::Type::byte,
                            {.data = samples.data(), .stride = static_cast<std::ptrdiff_t>(side), .pixel = 1});
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
    Samples first = noise(side);
    Samples second = noise(side);
    Samples written = noise(side);
    const orv::Image pair[] = {viewOf(session, side, first), viewOf(session, side, second)};
    const std::span<const orv::Image> one(pair, 1);
    const orv::Kernel kernel = orv::Kernel::gaussian(5, 1.0);
    const auto print = [&](const char* name, const std::function<void()>& call) {
        std::printf("%s %u %.3f\n", name, side, microseconds(call, count));
    };
    print("add", [&] { session.apply("add", pair); });
    print("add_const", [&] { session.apply("add_const", one, {{"value", 3.0}}); });
    print("convolve", [&] { session.apply("convolve", one, {{"kernel", kernel}}); });
    const orv::Image out = viewOf(session, side, written);
    print("add_out", [&] { session.apply("add", pair, {}, {.destination = out}); });
}

} // namespace

int main() {
    orv::Session session;
    measure(session, 64, 100);
    measure(session, 2048, 1);
    return 0;
}
