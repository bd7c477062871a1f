#include "prepare.h"

#include <fmt/format.h>

namespace orv::tool {

Image readPrepared(Session& session, const std::string& path, const Flags& flags) {
    return session.read(path, flags.reading());
}

} // namespace orv::tool
