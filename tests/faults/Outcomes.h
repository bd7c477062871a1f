// What behaviour says of failures: which function reports what when which of its steps fails, and what it keeps. The
// matrix plays every failure in every position; where a row speaks of it, the row must hold to the letter.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "replay/Case.h"

namespace orvfaults {

/// The image that a failure is about, by the part it plays in the call.
enum class Role { none, first, second, third, destination };

/// One report.
struct Told {
    const char* id;
    int category;
    int primary;
    bool operator==(const Told&) const = default;
};

/// What a call did before the failure, and therefore leaves.
enum class Left {
    nothing, ///< no sample written, no touched region set
    touched, ///< no sample written; the touched region may be set
    partial, ///< samples written so far stay
};

constexpr int any = -1;

struct Row {
    const char* functions; ///< names as shell patterns, with commas between
    orvcase::FaultPoint point;
    Role role = Role::none;
    unsigned from = 1; ///< the positions that the row speaks of
    unsigned to = ~0U;
    std::vector<Told> reports = {}; ///< none: the op says nothing
    int status = 2;
    Left left = Left::nothing;
    int lists = 0; ///< host objects that the call keeps; any: it keeps what it holds at that place
    int rois = 0;
    int images = 0;
    /// The row speaks of these calls alone.
    bool (*when)(const orvcase::Case&) = nullptr;
};

/// The first row that speaks of it wins.
const std::vector<Row>& rows();

} // namespace orvfaults
