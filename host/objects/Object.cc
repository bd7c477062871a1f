#include "orv/host/Object.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dispatch/Running.h"
#include "objects/ObjectAccess.h"
#include "objects/SessionState.h"
#include "orv/device/device.h"
#include "orv/host/Image.h"
#include "orv/host/Session.h"
#include "orv/host/Tables.h"

namespace orv::host {

namespace {

/// A list of rectangles, made for every call, has nothing of its session's.
bool holdsSession(Kind kind) { return kind != Kind::session && kind != Kind::roiList; }

} // namespace

void ObjectAccess::setUp(OrvObject& object, Session& session, Kind kind) noexcept {
    object.kind_ = static_cast<std::uint8_t>(kind);
    object.state_ = &session;
    if (holdsSession(kind)) SessionState::of(session).hold();
}

void ObjectAccess::tearDown(OrvObject& object) noexcept {
    std::free(object.name_);
    if (object.state_ && holdsSession(kind(object))) SessionState::of(*session(object)).letGo();
}

Session* ObjectAccess::session(const OrvObject& object) noexcept { return static_cast<Session*>(object.state_); }

std::uint64_t ObjectAccess::version(OrvObject& object) noexcept {
    // One counter for the whole process: a cache that outlives an object must not take a later one for it.
    static std::atomic<std::uint64_t> last = 0;
    if (kind(object) == Kind::kernel && static_cast<Kernel&>(object).noteContents()) forgetVersion(object);
    if (object.version_ == 0) object.version_ = ++last;
    return object.version_;
}

bool ObjectAccess::rename(OrvObject& object, const char* name) noexcept {
    char* const copy = name ? strdup(name) : nullptr;
    if (name && !copy) return false;
    std::free(object.name_);
    object.name_ = copy;
    return true;
}

void ObjectAccess::link(Ring& ring, OrvObject& object) noexcept {
    object.previous_ = nullptr;
    object.next_ = ring.first;
    if (ring.first) ring.first->previous_ = &object;
    ring.first = &object;
}

void ObjectAccess::unlink(Ring& ring, OrvObject& object) noexcept {
    if (object.previous_) {
        object.previous_->next_ = object.next_;
    } else {
        ring.first = object.next_;
    }
    if (object.next_) object.next_->previous_ = object.previous_;
    object.previous_ = object.next_ = nullptr;
}

void ObjectAccess::takeOut(OrvObject& object) noexcept {
    if (owner(object) == Owner::call) Running::current()->takeBack(object);
    if (owner(object) == Owner::session) SessionState::of(*session(object)).disown(object);
    if (owner(object) == Owner::keeper) Image::stopKeeping(object);
    setOwner(object, Owner::caller);
}

void ObjectAccess::end(OrvObject* object) noexcept {
    if (!object) return;
    takeOut(*object);
    if (kind(*object) == Kind::session) {
        SessionState::of(*session(*object)).close();
    } else if (kind(*object) == Kind::image) {
        static_cast<Image*>(object)->drop();
    } else {
        delete object;
    }
}

void renewVersion(OrvObject& object) noexcept { ObjectAccess::forgetVersion(object); }

bool setName(OrvObject& object, const char* name) noexcept { return ObjectAccess::rename(object, name); }

} // namespace orv::host

using orv::host::FaultPoint;
using orv::host::Kind;
using orv::host::ObjectAccess;
using orv::host::Owner;
using orv::host::Running;

OrvObject::~OrvObject() { ObjectAccess::tearDown(*this); }

OrvSystemState* OrvObject::getSystemState() noexcept {
    return Running::faultHits(FaultPoint::systemState, this) ? nullptr : state_;
}

void OrvObject::destroy() noexcept {
    const bool hosts = ObjectAccess::owner(*this) == Owner::image;
    const bool sessionInUse = ObjectAccess::kind(*this) == Kind::session && Running::current();
    if (hosts || sessionInUse) return;
    ObjectAccess::end(this);
}

void OrvObject::getVersion(OrvVersionNumber* out) noexcept { *out = OrvVersionNumber(ObjectAccess::version(*this)); }

const char* OrvObject::getName() noexcept { return name_; }

void orv_destroy(OrvObject* objectOrNull) noexcept {
    if (objectOrNull) objectOrNull->destroy();
}

// The destructors of the interface classes stand here, so that each class has one home for its table of virtual
// operations.
OrvImageType::~OrvImageType() = default;
OrvImage::~OrvImage() = default;
OrvRoiList::~OrvRoiList() = default;
OrvRoi::~OrvRoi() = default;
OrvLookup::~OrvLookup() = default;
OrvKernel::~OrvKernel() = default;
OrvSel::~OrvSel() = default;
OrvDitherMask::~OrvDitherMask() = default;
OrvHistogram::~OrvHistogram() = default;
OrvInterpolationTable::~OrvInterpolationTable() = default;
OrvColorspace::~OrvColorspace() = default;
OrvOp::~OrvOp() = default;
OrvSystemState::~OrvSystemState() = default;
OrvDeviceComputeType::~OrvDeviceComputeType() = default;
OrvDeviceType::~OrvDeviceType() = default;

OrvDeviceType::OrvDeviceType(const char* name) noexcept : name_(name) {}

void OrvDeviceType::printStatus() noexcept { std::printf("%s: ready\n", name_); }

void OrvDeviceType::optimizeMemoryUsage() noexcept {}

void orv_memcpy(void* dst, const void* src, unsigned n) noexcept {
    if (n) std::memcpy(dst, src, n);
}

void orv_memset(void* dst, int value, unsigned n) noexcept {
    if (n) std::memset(dst, value, n);
}
