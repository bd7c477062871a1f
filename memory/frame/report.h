// How the device reports a failure.
#pragma once

#include <source_location>

#include "orv/device/OrvObject.h"
#include "orv/device/OrvSystemState.h"

namespace orvi {

/// What a failure is reported as. `line` is 0 where the report names the line of the test itself.
struct Failure {
    const char* id;
    int category;
    int primary;
    int line = 0;
};

/// Reports to a system state (null: to the session whose op is running) and answers 2.
inline OrvStatus fail(OrvSystemState* state, const Failure& failure, const char* file,
                      std::source_location where = std::source_location::current()) noexcept {
    const int line = failure.line != 0 ? failure.line : static_cast<int>(where.line());
    orv_notify_error(state, static_cast<OrvErrorCategory>(failure.category), failure.id, failure.primary, line, file,
                     nullptr);
    return ORV_FAILURE;
}

/// The same, to the system state of an object.
inline OrvStatus fail(OrvObject* object, const Failure& failure, const char* file,
                      std::source_location where = std::source_location::current()) noexcept {
    return fail(object->getSystemState(), failure, file, where);
}

/// The usual report of a failed allocation.
inline constexpr Failure noMemory{"di-1", 1, 1};

} // namespace orvi
