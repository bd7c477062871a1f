#include "orv/Error.h"

#include <utility>

namespace orv {

Error::Error(std::string op, const std::string& message, std::string id)
    : std::runtime_error(message), op_(std::move(op)), id_(std::move(id)) {}

Error::~Error() = default;

ArgumentError::~ArgumentError() = default;

} // namespace orv
