#include "orv/host/Session.h"

#include <cstdio>
#include <new>

#include "dispatch/Running.h"
#include "objects/SessionState.h"
#include "orv/host/Image.h"
#include "orv/host/Tables.h"
#include "regions/Roi.h"

namespace orv::host {

void printReport(const Report& report) noexcept {
    const char* const kind = report.severity == Severity::warning ? "warning" : "error";
    try {
        const std::string line = std::string("orv: ") + kind + ": " + describe(report) + "\n";
        std::fputs(line.c_str(), stderr);
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "orv: %s: out of memory while a report was written\n", kind);
    }
}

void SessionState::letGo() noexcept {
    if (holders_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete &session_;
}

void SessionState::close() noexcept {
    // The ring is walked by its first object: freeing one may free, or take out, others.
    while (true) {
        OrvObject* left = nullptr;
        {
            const std::lock_guard lock(mutex_);
            left = owned_.first;
        }
        if (!left) break;
        ObjectAccess::end(left);
    }
    letGo();
}

void SessionState::own(OrvObject& object) noexcept {
    const std::lock_guard lock(mutex_);
    ObjectAccess::link(owned_, object);
    ObjectAccess::setOwner(object, Owner::session);
}

void SessionState::disown(OrvObject& object) noexcept {
    const std::lock_guard lock(mutex_);
    ObjectAccess::unlink(owned_, object);
}

void SessionState::deliver(const Report& report) noexcept {
    try {
        ErrorHandler handler;
        {
            const std::lock_guard lock(mutex_);
            if (report.severity == Severity::error) lastError_ = report;
            handler = handler_;
        }
        handler ? handler(report) : printReport(report);
    } catch (...) {
        // A handler that throws has had its say; the call that reported goes on.
    }
}

void SessionState::setHandler(ErrorHandler handler) {
    const std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
}

std::optional<Report> SessionState::lastError() const {
    const std::lock_guard lock(mutex_);
    return lastError_;
}

void SessionState::clearLastError() noexcept {
    const std::lock_guard lock(mutex_);
    lastError_.reset();
}

Session::Session() : own_(new SessionState(*this)) { ObjectAccess::setUp(*this, *this, Kind::session); }

Session::~Session() = default;

Owned<Session> Session::open(const DeviceChoice& choice) { return open(Device::open(choice)); }

Owned<Session> Session::open(std::shared_ptr<Device> device) {
    Owned<Session> session = openWithoutDevice();
    session->device_ = std::move(device);
    return session;
}

Owned<Session> Session::openWithoutDevice() { return Owned<Session>(new Session); }

void Session::setErrorHandler(ErrorHandler handler) { own_->setHandler(std::move(handler)); }

std::optional<Report> Session::lastError() const { return own_->lastError(); }

void Session::clearLastError() { own_->clearLastError(); }

void adopt(OrvObject& object) noexcept { ObjectAccess::takeOut(object); }

namespace {

/// An object that a device made and that is to live beyond its call.
template <class T>
T* madeByDevice(Session& session, Owned<T> object) noexcept {
    if (object) SessionState::of(session).own(*object);
    return object.release();
}

Report reportOf(OrvErrorCategory category, const char* id, int primary, int line, const char* file, OrvObject* object) {
    Report report;
    report.category = category;
    report.id = id ? id : "";
    report.primary = primary;
    report.line = line;
    report.file = file ? file : "";
    report.object = object;
    return report;
}

} // namespace
} // namespace orv::host

using namespace orv::host;

void OrvSystemState::notifyError(OrvErrorCategory category, const char* id, int primary, int line, const char* file,
                                 OrvObject* object) noexcept {
    orv_notify_error(this, category, id, primary, line, file, object);
}

void orv_notify_error(OrvSystemState* stateOrNull, OrvErrorCategory category, const char* id, int primary, int line,
                      const char* file, OrvObject* object) noexcept {
    Session* const session = static_cast<Session*>(stateOrNull);
    try {
        Report report = reportOf(category, id, primary, line, file, object);
        if (Running* const running = Running::current()) {
            running->report(session, std::move(report));
        } else if (session) {
            SessionState::of(*session).deliver(report);
        } else {
            printReport(report);
        }
    } catch (const std::bad_alloc&) {
        if (Running* const running = Running::current()) running->countReport();
        std::fprintf(stderr, "orv: error: out of memory while a report was made\n");
    }
}

OrvRoi* OrvSystemState::createRoi() noexcept {
    if (Running::faultHits(FaultPoint::createRoi)) return nullptr;
    return Running::handOut(Roi::make(*static_cast<Session*>(this), Region()));
}

OrvImage* OrvSystemState::createImage(unsigned width, unsigned height, unsigned nbands, OrvDataType type) noexcept {
    if (Running::faultHits(FaultPoint::createImage)) return nullptr;
    const bool bare = Running::faultHits(FaultPoint::scratch);
    Session& session = *static_cast<Session*>(this);
    const Shape shape{.type = type, .width = width, .height = height, .bands = nbands};
    Owned<Image> image = bare ? Image::makeWithoutStorage(session, shape) : Image::makeDense(session, shape);
    return Running::handOut(image.release());
}

OrvLookup* OrvSystemState::createLookup(OrvDataType input, OrvDataType output, unsigned nbands, unsigned entries,
                                        short offset, void* data) noexcept {
    if (Running::faultHits(FaultPoint::createLookup)) return nullptr;
    Session& session = *static_cast<Session*>(this);
    return madeByDevice(session, Lookup::makeSingle(session, input, output, nbands, entries, offset, data));
}

OrvDitherMask* OrvSystemState::createDitherMask(unsigned width, unsigned height, unsigned nbands,
                                                float* data) noexcept {
    if (Running::faultHits(FaultPoint::createMask)) return nullptr;
    Session& session = *static_cast<Session*>(this);
    return madeByDevice(session, DitherMask::make(session, width, height, nbands, data));
}
