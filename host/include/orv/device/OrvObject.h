// The base of every host object.
#pragma once

#include "orv/device/OrvTypes.h"
#include "orv/device/OrvVersionNumber.h"

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
};

/// Releases an object; does nothing with null.
ORV_API void orv_destroy(OrvObject* objectOrNull) noexcept;
