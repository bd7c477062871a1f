#include "flags.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace orv::tool {

namespace {

Sixteen sixteenNamed(const std::string& name) {
    if (name == "exact") return Sixteen::number;
    if (name == "half") return Sixteen::half;
    if (name == "raw") return Sixteen::raw;
    return Sixteen::shifted;
}

bool isOwn(const Operation* operation, std::string_view flag) {
    if (operation != nullptr && !operation->lastSource.empty() && flag == "--" + dashed(operation->lastSource))
        return true;
    return operation != nullptr && std::ranges::any_of(operation->parameters, [&](const Parameter& parameter) {
               return "--" + dashed(parameter.name) == flag;
           });
}

} // namespace

void Flags::declare(CLI::App& app, const Operation* own) {
    const auto text = [&](const char* name, std::string& place, const char* help, std::vector<std::string> words = {}) {
        if (isOwn(own, name)) return;
        CLI::Option* option = app.add_option(name, place, help);
        if (!words.empty()) option->check(CLI::IsMember(std::move(words)));
    };
    app.add_option("SRC", sources, "the source pictures; - for standard input");
    if (own != nullptr && !own->lastSource.empty())
        app.add_option("--" + dashed(own->lastSource), last, "the last of the source pictures");
    app.add_option("-o,--output", output,
                   "the picture to write; - for standard output; for many sources a folder DIR/ or a pattern with %n");
    if (!isOwn(own, "--with")) app.add_option("--with", with, "a further source that serves every first source");
    text("--files-from", filesFrom, "a file of first sources, one a line; - for standard input");
    app.add_flag("--keep-going", keepGoing, "go on with the other sources where one fails");
    app.add_option("--jobs", jobs, "processes that share many sources")->check(CLI::Range(1, 256));
    text("--format", format, "format of what is written", {"png", "tiff", "jpeg", "pnm", "npy"});
    text("--build", build, "build of the device: baseline, v3, v4");
    text("--u16", sixteen, "unsigned 16-bit pictures: shift, exact, half or raw", {"shift", "exact", "half", "raw"});
    text("--polarity", polarity, "1-bit pictures: meaning (white is set) or raw", {"meaning", "raw"});
    text("--orient", orient, "upright turns the picture as its file says, keep leaves it", {"upright", "keep"});
    text("--alpha", alpha, "keep, or drop the opacity of the sources", {"keep", "drop"});
    text("--background", background, "the colour that pictures with opacity are laid on");
    text("--map", map, "LOW:HIGH: floating-point samples that become black and white of a 16-bit picture");
    text("--dpi", dpi, "dots per inch of what is written: N or X,Y");
    text("--compression", compression, "TIFF: none, lzw, deflate, packbits, g4; PNG: 0 to 9");
    app.add_option("--quality", quality, "JPEG: 1 to 100")->check(CLI::Range(1, 100));
    app.add_option("--max-pixels", maxPixels, "refuse larger pictures");
    app.add_flag("--strict", strict, "a division by zero is an error");
    app.add_flag("--explain", explain, "print the calls of the device on standard error");
    text("--save-case", saveCase, "write the calls of the device as a case file, for orvreplay");
    app.add_flag("--json", json, "print measurements as JSON");
    app.add_flag("--plot", plot, "print long lists of measurements as bars");
}

ReadOptions Flags::reading() const {
    return {.maxPixels = maxPixels,
            .format = {},
            .sixteen = sixteenNamed(sixteen),
            .rawPolarity = polarity == "raw",
            .floats = map.empty() ? std::nullopt : std::optional(rangeOf(map)),
            .keepOrientation = orient == "keep"};
}

WriteOptions Flags::writing() const {
    return {.format = format, .quality = quality, .compression = compression, .rawPolarity = polarity == "raw"};
}

void Flags::check() const {
    if (!dpi.empty()) resolutionOf(dpi);
    if (!map.empty()) rangeOf(map);
    if (!background.empty()) levelsOf(background);
    const std::filesystem::path folder = std::filesystem::path(saveCase).parent_path();
    if (!folder.empty() && !std::filesystem::is_directory(folder))
        throw Error("write", fmt::format("cannot write {}: there is no folder {}", saveCase, folder.string()));
}

Levels levelsOf(const std::string& text) {
    try {
        return Levels::parse(text);
    } catch (const Error& error) {
        throw Usage(fmt::format("--background: {}", error.what()));
    }
}

std::pair<double, double> rangeOf(const std::string& text) {
    double low = 0;
    double high = 0;
    int end = 0;
    if (std::sscanf(text.c_str(), "%lf:%lf%n", &low, &high, &end) != 2 ||
        static_cast<std::size_t>(end) != text.size() || !std::isfinite(low) || !std::isfinite(high) || low == high) {
        throw Usage(fmt::format("--map: '{}' came, two different numbers LOW:HIGH wanted", text));
    }
    return {low, high};
}

Resolution resolutionOf(const std::string& text) {
    Resolution dpi;
    int end = 0;
    const int count = std::sscanf(text.c_str(), "%lf%n,%lf%n", &dpi.x, &end, &dpi.y, &end);
    if (count == 1) dpi.y = dpi.x;
    if (count < 1 || static_cast<std::size_t>(end) != text.size() || !(dpi.x > 0) || !(dpi.y > 0) || dpi.x > 1e6 ||
        dpi.y > 1e6) {
        throw Usage(fmt::format("--dpi: '{}' came, N or X,Y wanted", text));
    }
    return dpi;
}

} // namespace orv::tool
