// Block primitives of the host.
#pragma once

#include "orv/device/OrvTypes.h"

/// Copies `n` bytes between blocks that do not overlap.
extern "C" ORV_API void orv_memcpy(void* dst, const void* src, unsigned n) noexcept;

/// Fills `n` bytes with the low byte of `value`.
extern "C" ORV_API void orv_memset(void* dst, int value, unsigned n) noexcept;
