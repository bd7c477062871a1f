// What the processor can run.
#pragma once

namespace orv::host {

/// Whether every instruction set of x86-64-v3, or of x86-64-v4, is there and the operating system keeps its registers.
bool processorHasV3() noexcept;
bool processorHasV4() noexcept;

} // namespace orv::host
