// A value that tells whether an object's contents have changed.
#pragma once

#include <cstdint>

#include "orv/device/OrvTypes.h"

/// A small value class. Two numbers are equal only where they were taken from the same object while its contents were
/// the same; a default-constructed number equals no object's, so that a cache built on a fresh number starts stale.
class ORV_API OrvVersionNumber {
public:
    constexpr OrvVersionNumber() noexcept = default;
    constexpr explicit OrvVersionNumber(std::uint64_t value) noexcept : value_(value) {}
    constexpr OrvVersionNumber(const OrvVersionNumber&) noexcept = default;
    constexpr OrvVersionNumber& operator=(const OrvVersionNumber&) noexcept = default;

    constexpr bool operator!=(const OrvVersionNumber& other) const noexcept { return value_ != other.value_; }

private:
    std::uint64_t value_ = 0;
};
