#include "chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "commands.h"

namespace orv::tool {

namespace {

struct Colour {
    double r, g, b;
};

constexpr Colour patches[] = {{1, 1, 1},          {1, 1, 0},        {0, 1, 1},        {0, 1, 0},
                              {1, 0, 1},          {1, 0, 0},        {0, 0, 1},        {0, 0, 0},
                              {0.75, 0.55, 0.45}, {0.35, 0.5, 0.7}, {0.3, 0.45, 0.2}, {0.5, 0.5, 0.75},
                              {0.9, 0.5, 0.1},    {0.5, 0.25, 0.4}, {0.7, 0.8, 0.2},  {0.5, 0.5, 0.5}};

/// The same noise on every machine.
double noise(unsigned x, unsigned y) {
    std::uint32_t h = x * 0x9e3779b1U ^ (y + 0x7f4a7c15U) * 0x85ebca6bU;
    h ^= h >> 15;
    h *= 0x2c1b3c6dU;
    h ^= h >> 12;
    return (h & 0xffffU) / 65535.0;
}

/// Marks of the shape of letters: rows of 5 x 7 cells, drawn from the noise of their place.
double letters(double u, double v) {
    const double x = u * 60;
    const double y = v * 18;
    const auto column = static_cast<unsigned>(x);
    const auto row = static_cast<unsigned>(y);
    if (column % 6 == 5 || row % 9 > 6) return 1;
    return noise(column, row) > 0.45 ? 0 : 1;
}

/// The colour at a place of the chart, 0 to 1 in both directions.
Colour at(double u, double v, unsigned x, unsigned y) {
    const auto gray = [](double g) { return Colour{g, g, g}; };
    if (v < 0.2) return patches[(v < 0.1 ? 0 : 8) + static_cast<int>(u * 8) % 8];
    if (v < 0.26) return gray(u);
    if (v < 0.32) {
        const double hue = u * 6;
        const auto wave = [&](double shift) {
            return std::clamp(std::abs(std::fmod(hue + shift, 6.0) - 3) - 1, 0.0, 1.0);
        };
        return {wave(0), wave(4), wave(2)};
    }
    if (v < 0.36) return gray(std::floor(u * 16) / 15);
    if (v < 0.78 && u < 0.5) {
        const double dx = u - 0.25;
        const double dy = (v - 0.57) * 0.75;
        return gray(0.5 + 0.5 * std::cos(700 * std::numbers::pi * (dx * dx + dy * dy)));
    }
    if (v < 0.78 && u < 0.75) {
        // Slanted edges and a disk.
        const double dx = u - 0.625;
        const double dy = (v - 0.57) * 0.75;
        if (dx * dx + dy * dy < 0.0045) return {0.85, 0.3, 0.15};
        return dx + 0.17 * dy > 0 ? gray(0.85) : gray(0.15);
    }
    if (v < 0.78) {
        const auto bars = static_cast<unsigned>(x >> (v < 0.5 ? 0 : v < 0.64 ? 1 : 2));
        return gray((bars & 1U) != 0 ? 1 : 0);
    }
    if (u < 0.6) return gray(letters(u / 0.6, (v - 0.78) / 0.22));
    if (u < 0.8) return {noise(x, y), noise(x + 9001, y), noise(x, y + 7001)};
    return gray(0.5 + (noise(x, y) - 0.5) * 0.3);
}

} // namespace

Image drawChart(Session& session, unsigned width, unsigned height, Type type) {
    Image image(session, width, height, type == Type::bit ? 1 : 3, type);
    if (type == Type::int16) image.tags().sixteen = Sixteen::shifted;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const Colour c = at((x + 0.5) / width, (y + 0.5) / height, x, y);
            if (type == Type::bit) {
                image.setSample(x, y, 0, 0.114 * c.b + 0.587 * c.g + 0.299 * c.r >= 0.5 ? 1 : 0);
                continue;
            }
            const double bands[] = {c.b, c.g, c.r};
            for (unsigned b = 0; b < 3; ++b) {
                const int level = type == Type::byte ? static_cast<int>(std::lround(bands[b] * 255))
                                                     : static_cast<int>(std::lround(bands[b] * 65535)) - 32768;
                image.setSample(x, y, b, level);
            }
        }
    }
    return image;
}

int chart(const Words& words) {
    CLI::App app("draws a test chart", "chart");
    std::string output;
    std::string size = "640x480";
    std::string type = "byte";
    app.add_option("-o,--output", output, "the picture to write")->required();
    app.add_option("--size", size, "WIDTHxHEIGHT");
    app.add_option("--type", type, "bit, byte or int16")->check(CLI::IsMember({"bit", "byte", "int16", "short"}));
    parseWords(app, words);
    unsigned width = 0;
    unsigned height = 0;
    int end = 0;
    if (std::sscanf(size.c_str(), "%ux%u%n", &width, &height, &end) != 2 ||
        static_cast<std::size_t>(end) != size.size() || width == 0 || height == 0 || width > 32768 || height > 32768) {
        throw Usage(fmt::format("chart: --size: '{}' came, WIDTHxHEIGHT up to 32768x32768 wanted", size));
    }
    Session session;
    const Type samples = type == "bit" ? Type::bit : type == "byte" ? Type::byte : Type::int16;
    session.write(drawChart(session, width, height, samples), output);
    return 0;
}

} // namespace orv::tool
