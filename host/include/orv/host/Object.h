// Ownership, names and versions of host objects.
#pragma once

#include <memory>

#include "orv/device/OrvObject.h"

namespace orv::host {

struct Release {
    void operator()(OrvObject* object) const noexcept { orv_destroy(object); }
};

/// Owner of a host object.
template <class T>
using Owned = std::unique_ptr<T, Release>;

/// Gives the object a new version. To be called after its contents have changed; for images see
/// Image::samplesChanged().
ORV_API void renewVersion(OrvObject& object) noexcept;

/// Sets a copy of the name; null removes it. False where no memory could be had.
ORV_API bool setName(OrvObject& object, const char* name) noexcept;

} // namespace orv::host
