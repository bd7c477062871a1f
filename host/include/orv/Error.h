// What the public API throws.
#pragma once

#include <stdexcept>
#include <string>

#include "orv/device/OrvTypes.h"

namespace orv {

/// A call that was refused or that failed. what() is one line that says what came, what is wanted and what to do.
class ORV_API Error : public std::runtime_error {
public:
    /// `op` is the operation ("convolve"), or "read", "write" for files; `id` the device's message id ("di-9"), empty
    /// where the call was refused before it reached the device.
    Error(std::string op, const std::string& message, std::string id = {});
    ~Error() override;

    const std::string& op() const noexcept { return op_; }
    const std::string& id() const noexcept { return id_; }

private:
    std::string op_;
    std::string id_;
};

/// A parameter that is missing or unknown, or whose value does not fit: the caller's words were wrong, not the
/// pictures.
class ORV_API ArgumentError : public Error {
public:
    using Error::Error;
    ~ArgumentError() override;
};

} // namespace orv
