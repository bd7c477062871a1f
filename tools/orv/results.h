// What a run found out, printed for people or as JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "flags.h"
#include "orv/orv.h"

namespace orv::tool {

/// Measurements as lines, or as bars where the flags ask for it.
void printMeasurements(const Result& result, const Flags& flags, const std::string& heading);

nlohmann::json jsonOf(const Result& result, const std::string& file);

/// Writes a palette or a table as a text file, or prints it where no name is given.
void writeText(const Result& result, const std::string& output);

} // namespace orv::tool
