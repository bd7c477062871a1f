// Numbers of case files: decimal integers, and floats in every form of C99, read and written exactly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvcase {

/// A decimal integer in [low, high], or nothing.
std::optional<std::int64_t> parseInteger(std::string_view token, std::int64_t low, std::int64_t high);

/// The binary32 nearest to a decimal or C99 hexadecimal number, inf or nan; or nothing.
std::optional<float> parseFloat(std::string_view token);

/// The shortest text that parseFloat reads as this value.
std::string formatFloat(float value);

} // namespace orvcase
