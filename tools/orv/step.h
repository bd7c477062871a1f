// A step: one operation with its arguments, as the words of a command line give it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "orv/orv.h"

namespace CLI {
class App;
}

namespace orv::tool {

struct Step {
    const Operation* operation = nullptr;
    Arguments arguments;
    std::vector<Rectangle> roi;
    /// Results and sources of a pipe that it takes beside what the step before it made.
    std::vector<std::string> taken;
    /// What its result is kept as; may be empty.
    std::string keptAs;
};

/// Whether -o must name what an operation makes.
constexpr bool makesPictures(const Operation& operation) noexcept {
    return operation.givesImage || operation.instead == Instead::images;
}

/// The operation of a name; throws Usage with the nearest name.
const Operation& operationOf(const std::string& name);

/// Words of an operation that wait for CLI11 to find them.
struct StepWords {
    std::vector<std::pair<const Parameter*, std::string>> given;
    std::vector<std::string> roi;
};

inline constexpr std::string_view roiHelp =
    "X,Y,WIDTH,HEIGHT: pixels of the result to write, from its top left; again for more rectangles";

/// Enters a flag for each parameter of the operation, and --roi.
void declareStep(CLI::App& app, const Operation& operation, StepWords& words);

/// Parses the words of an operation; throws Usage that suggests the nearest flag.
void parseStep(CLI::App& app, const Operation& operation, const Words& words);

/// What was parsed, every text checked; throws Usage.
Step stepOf(const Operation& operation, const StepWords& words);

/// The steps of a pipe: OP flags : OP flags as NAME : OP @NAME.
std::vector<Step> stepsOf(const Words& words);

} // namespace orv::tool
