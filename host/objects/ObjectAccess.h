// What the host keeps in every object, for its own sources alone.
#pragma once

#include <cstdint>

#include "orv/device/OrvObject.h"
#include "orv/host/Object.h"

namespace orv::host {

class Session;

enum class Kind : std::uint8_t { table, kernel, session, image, roi, roiList, op };

/// Who releases an object.
enum class Owner : std::uint8_t {
    caller,  ///< whoever holds it
    call,    ///< handed to the device during the running call, which frees what is left of it
    session, ///< made by the device and freed with the session, unless destroyed or adopted before
    image,   ///< an image's own region: a destroy() is without effect
    keeper,  ///< a touched region, kept by an image
};

/// A ring of objects; each object stands in one ring at most.
struct Ring {
    OrvObject* first = nullptr;
};

struct ObjectAccess {
    /// Says what the object is and ties it to its session, which it keeps alive.
    static void setUp(OrvObject& object, Session& session, Kind kind) noexcept;

    static Kind kind(const OrvObject& object) noexcept { return static_cast<Kind>(object.kind_); }
    static Owner owner(const OrvObject& object) noexcept { return static_cast<Owner>(object.owner_); }
    static void setOwner(OrvObject& object, Owner owner) noexcept { object.owner_ = static_cast<std::uint8_t>(owner); }
    static Session* session(const OrvObject& object) noexcept;
    static const char* name(const OrvObject& object) noexcept { return object.name_; }
    static std::uint64_t version(OrvObject& object) noexcept;

    static void link(Ring& ring, OrvObject& object) noexcept;
    static void unlink(Ring& ring, OrvObject& object) noexcept;

    /// Takes the object out of the ring that its owner keeps it in; it is the caller's from then on.
    static void takeOut(OrvObject& object) noexcept;
    /// Ends the object, whoever owns it.
    static void end(OrvObject* object) noexcept;

    friend class ::OrvObject;
    friend void renewVersion(OrvObject& object) noexcept;
    friend bool setName(OrvObject& object, const char* name) noexcept;

private:
    static void tearDown(OrvObject& object) noexcept;
    static void forgetVersion(OrvObject& object) noexcept { object.version_ = 0; }
    static bool rename(OrvObject& object, const char* name) noexcept;
};

} // namespace orv::host
