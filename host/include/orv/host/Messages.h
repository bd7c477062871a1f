// Reports of a device, and the words behind their ids.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "orv/device/OrvTypes.h"

namespace orv::host {

enum class Severity {
    error,
    warning, ///< made by a call that succeeded
};

/// One report. Reports of a call are handed on when the call has ended, in their order; others at once.
struct Report {
    Severity severity = Severity::error;
    OrvErrorCategory category = ORV_ERROR_RESOURCE;
    std::string id; ///< such as "di-9"
    int primary = 0;
    int line = 0;
    std::string file; ///< with its extension
    OrvObject* object = nullptr;
    std::string operation; ///< the op whose call made it, empty outside a call
    bool operator==(const Report&) const = default;
};

using ErrorHandler = std::function<void(const Report&)>;

struct Message {
    const char* id;
    const char* text;
};

/// Every id that a device reports, in the order of their numbers.
ORV_API std::span<const Message> messages() noexcept;

/// The message of an id; a general one for an unknown id, never null.
ORV_API const char* messageText(std::string_view id) noexcept;

/// The report as one line, without a line end: "add8: the first source cannot be brought into memory [di-9, ...]".
ORV_API std::string describe(const Report& report);

} // namespace orv::host
