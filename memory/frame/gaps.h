// Pixels that lie apart, and the same pixels side by side.
#pragma once

#include <cstddef>

namespace orvi {

/// Writes `pixels` pixels of `size` bytes side by side that begin `step` bytes apart.
void closeGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
               std::size_t pixels) noexcept;

/// The other way; what lies between the pixels is neither read nor written.
void openGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size, std::size_t pixels) noexcept;

/// From pixels that begin `fromStep` bytes apart to others, of which none is the same memory.
void copyAcrossGaps(std::byte* to, std::ptrdiff_t toStep, const std::byte* from, std::ptrdiff_t fromStep,
                    std::size_t size, std::size_t pixels) noexcept;

/// From pixels that go backwards to others that lie as far apart, of which none is the same memory; false, and nothing
/// done, where pixels do not fit into vectors.
bool reverseAcrossGaps(std::byte* to, const std::byte* from, std::ptrdiff_t step, std::size_t size,
                       std::size_t pixels) noexcept;

} // namespace orvi
