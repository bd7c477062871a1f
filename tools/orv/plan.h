// What a command line asks for: steps on files, once or for each of many first sources.
#pragma once

#include <string>
#include <vector>

#include "flags.h"
#include "step.h"

namespace orv::tool {

struct Plan {
    /// What messages begin with: the operation, or "pipe".
    std::string name;
    std::vector<Step> steps;
    Flags flags;
    bool isPipe = false;
    /// Pictures that one run takes.
    std::size_t least = 1;
    std::size_t most = 1;
    /// Whether something is written that -o must name.
    bool makesPictures = true;
};

/// Runs it on its sources, in one go or as a batch; the exit status.
int runPlan(const Plan& plan);

/// Where the results of a run go.
struct Job {
    std::vector<std::string> sources;
    std::string output;
};

/// The runs that a plan asks for. Throws Usage where the files do not fit the operation.
std::vector<Job> jobsOf(const Plan& plan);

} // namespace orv::tool
