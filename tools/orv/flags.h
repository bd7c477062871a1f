// The flags that every operation has: where pictures come from and go to, and how they are read and written.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "orv/orv.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace orv::tool {

struct Flags {
    std::vector<std::string> sources;
    std::string output;
    std::vector<std::string> with;
    /// The operation's last source, where a flag of its own gives it.
    std::string last;
    std::string filesFrom;
    bool keepGoing = false;
    unsigned jobs = 1;

    std::string format;
    std::string build;
    std::string sixteen = "shift";
    std::string polarity = "meaning";
    std::string orient = "upright";
    std::string alpha = "keep";
    std::string background;
    std::string dpi;
    std::string map;
    std::string compression;
    std::string fuse = "exact";
    std::string saveCase;
    int quality = 92;
    std::uint64_t maxPixels = std::uint64_t{1} << 31;
    bool strict = false;
    bool explain = false;
    bool json = false;
    bool plot = false;

    /// Enters the flags; one that `own` has as a parameter is the operation's.
    void declare(CLI::App& app, const Operation* own);
    SessionOptions session() const { return {.build = build, .strict = strict}; }
    ReadOptions reading() const;
    WriteOptions writing() const;
    /// Throws Usage where a flag's words do not fit, before anything is read.
    void check() const;
};

/// A colour, or levels.
Levels levelsOf(const std::string& text);

/// Two different numbers LOW:HIGH.
std::pair<double, double> rangeOf(const std::string& text);

/// Dots per inch as given: one number for both directions, or two.
Resolution resolutionOf(const std::string& text);

} // namespace orv::tool
