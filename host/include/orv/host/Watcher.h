// Looking on while a session calls its device.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "orv/host/Messages.h"

class OrvLookup;

namespace orv::host {

class Image;

/// A parameter of an op: a number, an array, an object, or the cell in which the op leaves a lookup.
using WatchedParameter =
    std::variant<float, long, std::span<const float>, std::span<const std::uint32_t>, OrvObject*, OrvLookup**>;

/// A call of the device, with its images and parameters as they are when it is looked at.
struct WatchedCall {
    std::string op;
    std::vector<Image*> sources;
    Image* destination = nullptr; ///< null where it only measures
    std::vector<WatchedParameter> parameters;
    const WatchedCall* earlier = nullptr; ///< the op that feeds the first source; null for a plain call
};

/// Is told of every call that the typed functions, apply() and pipelines make. A call that the device declines is
/// followed by other ones that do its work.
class CallWatcher {
public:
    virtual void before(const WatchedCall& call) = 0;
    virtual void after(const WatchedCall& call, OrvStatus status, const std::vector<Report>& reports) = 0;

protected:
    ~CallWatcher() = default;
};

} // namespace orv::host
