// A picture as it comes into a run: read, and its opacity met as the flags say.
#pragma once

#include <string>

#include "flags.h"
#include "orv/orv.h"

namespace orv::tool {

Image readPrepared(Session& session, const std::string& path, const Flags& flags);

} // namespace orv::tool
