// The base of every host object.
#pragma once

#include <cstdint>

#include "orv/device/OrvTypes.h"
#include "orv/device/OrvVersionNumber.h"

namespace orv::host {
struct ObjectAccess;
}

/// Base of the host's objects. Objects are made by the host; a device releases those it was given to own with
/// destroy().
class ORV_API OrvObject {
public:
    OrvObject(const OrvObject&) = delete;
    OrvObject& operator=(const OrvObject&) = delete;

    /// The system state that owns this object: errors go there and new objects are made there. May be null.
    OrvSystemState* getSystemState() noexcept;

    /// Releases the object. Use orv_destroy where the pointer may be null.
    void destroy() noexcept;

    /// Writes a value that differs whenever the object's contents have changed. Unique over all objects of a process.
    void getVersion(OrvVersionNumber* out) noexcept;

    /// The object's name, or null. Owned by the object.
    const char* getName() noexcept;

protected:
    OrvObject() noexcept = default;
    virtual ~OrvObject();

private:
    friend struct orv::host::ObjectAccess;

    OrvSystemState* state_ = nullptr;
    char* name_ = nullptr;
    std::uint64_t version_ = 0; ///< 0: drawn when it is next asked for
    OrvObject* previous_ = nullptr;
    OrvObject* next_ = nullptr;
    std::uint8_t kind_ = 0;
    std::uint8_t owner_ = 0;
};

/// Releases an object; does nothing with null.
ORV_API void orv_destroy(OrvObject* objectOrNull) noexcept;
