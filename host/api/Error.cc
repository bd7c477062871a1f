#include "orv/Error.h"

#include <utility>

namespace orv {

Error::Error(std::string op, std::string message, std::string id)
    : std::runtime_error(std::move(message)), op_(std::move(op)), id_(std::move(id)) {}

Error::~Error() = default;

} // namespace orv
