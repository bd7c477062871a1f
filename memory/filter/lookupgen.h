// Sums of a kernel row over bit patterns.
#pragma once

/// The sum of the taps that the three low bits select: bit 2 the first, bit 1 the second, bit 0 the third. `bits` is 0
/// to 7.
float lookupgen(float* taps, long bits) noexcept;
