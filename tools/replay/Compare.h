// Holds what a call did against what it must do.
#pragma once

#include <vector>

#include "Runner.h"
#include "Stage.h"

namespace orvcase {

/// Everything about a call that can be compared, beside what the stage holds.
struct CallFacts {
    orv::host::CallResult result;
    std::vector<orv::host::Report> reports;
    std::map<std::string, Values> contentsBefore; ///< of floats, ulongs, kernels and histograms; for `record` alone
};

/// Appends a mismatch for every expectation that does not hold.
void compare(const Case& c, const Call& call, const CallFacts& facts, Stage& stage, std::vector<Mismatch>& mismatches);

/// What the call did: all that changed, and all that its expectations name.
Expectations record(const Case& c, const Call& call, const CallFacts& facts, Stage& stage);

} // namespace orvcase
