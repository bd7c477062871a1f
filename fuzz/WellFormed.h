// Which cases a fuzzer may run: a file can make calls that no host makes, and what comes of those is nobody's promise.
#pragma once

#include "replay/Case.h"

namespace orvfuzz {

/// Whether every call of the case has the images, objects and arrays that its op reads, all of a size worth the time.
bool wellFormed(const orvcase::Case& c);

} // namespace orvfuzz
