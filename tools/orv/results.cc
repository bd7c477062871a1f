#include "results.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "files/Target.h"

namespace orv::tool {

namespace {

constexpr std::size_t longList = 8;
constexpr int barWidth = 60;

void plot(const Measurement& measurement) {
    fmt::print("{}\n", measurement.name);
    const double most = std::max(1e-300, *std::ranges::max_element(measurement.values));
    for (std::size_t i = 0; i < measurement.values.size(); ++i) {
        const double value = measurement.values[i];
        const int length = static_cast<int>(std::lround(std::max(0.0, value) / most * barWidth));
        fmt::print("{:>6} {:>12} {}\n", i, value, std::string(static_cast<std::size_t>(length), '#'));
    }
}

/// A count is told as one, not with a decimal point.
nlohmann::json numberOf(double value) {
    constexpr double exact = 9007199254740992; // 2^53: whole numbers beyond are no counts
    if (std::trunc(value) == value && std::abs(value) < exact) return static_cast<std::int64_t>(value);
    return value;
}

std::string textOf(const Result& result) {
    std::string text;
    if (result.palette) {
        text = "GIMP Palette\nName: orv\n#\n";
        for (const PaletteEntry& e : result.palette->colours) text += fmt::format("{:3} {:3} {:3}\n", e.r, e.g, e.b);
    } else if (result.table) {
        const std::vector<int>& samples = result.table->samples;
        for (std::size_t i = 0; i < samples.size(); ++i)
            text += fmt::format("{}{}", samples[i], (i + 1) % result.table->bands == 0 ? '\n' : ' ');
    }
    return text;
}

} // namespace

void printMeasurements(const Result& result, const Flags& flags, const std::string& heading) {
    if (result.measurements.empty()) return;
    if (!heading.empty()) fmt::print("{}\n", heading);
    for (const Measurement& m : result.measurements) {
        if (flags.plot && m.values.size() > longList)
            plot(m);
        else
            fmt::print("{:<10} {}\n", m.name, fmt::join(m.values, "  "));
    }
}

nlohmann::json jsonOf(const Result& result, const std::string& file) {
    nlohmann::json line{{"file", file}};
    for (const Measurement& m : result.measurements) {
        nlohmann::json& numbers = line[m.name] = nlohmann::json::array();
        for (const double value : m.values) numbers.push_back(numberOf(value));
    }
    return line;
}

void writeText(const Result& result, const std::string& output) {
    const std::string text = textOf(result);
    if (text.empty()) return;
    if (output.empty()) {
        fmt::print("{}", text);
        return;
    }
    files::Target target(output);
    std::fwrite(text.data(), 1, text.size(), target.file());
    target.commit();
}

} // namespace orv::tool
