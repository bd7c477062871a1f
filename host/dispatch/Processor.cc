#include "dispatch/Processor.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace orv::host {

#if defined(__x86_64__)

namespace {

bool hasBits(unsigned value, unsigned bits) { return (value & bits) == bits; }

/// The features of x86-64-v3 that not every compiler's __builtin_cpu_supports knows by name.
bool hasUnnamed() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d) || !hasBits(c, bit_MOVBE | bit_F16C | bit_OSXSAVE)) return false;
    return __get_cpuid(0x80000001U, &a, &b, &c, &d) && hasBits(c, bit_LZCNT);
}

} // namespace

bool processorHasV3() noexcept {
    // Each is asked for by itself: the compiler's own name for the level is not known to all of them.
    return __builtin_cpu_supports("popcnt") && __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("avx") &&
           __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
           __builtin_cpu_supports("fma") && hasUnnamed();
}

bool processorHasV4() noexcept {
    return processorHasV3() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512vl");
}

#else

bool processorHasV3() noexcept { return false; }
bool processorHasV4() noexcept { return false; }

#endif

} // namespace orv::host
