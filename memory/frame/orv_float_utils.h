// Integer-to-float tables, built on first use and kept for the life of the module.
#pragma once

/// Maps a byte to the float of the same value; null, after a report, where there is no memory for it.
const float* orv_float_utils_get_b2f() noexcept;

/// Maps a short to the float of the same value, indexed with the signed short itself; null, after a report, where there
/// is no memory for it.
const float* orv_float_utils_get_s2f() noexcept;
