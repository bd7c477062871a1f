// Sessions: the error channel, and the calls of a device.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>

#include "orv/device/OrvSystemState.h"
#include "orv/host/Device.h"
#include "orv/host/Faults.h"
#include "orv/host/Messages.h"
#include "orv/host/Object.h"

namespace orv::host {

class Op;
class SessionState;

/// A call that names no operation of the device, or cannot be made of its op: nothing was run.
class ORV_API DispatchError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~DispatchError() override;
};

/// Host objects that a call handed to the device and that it had not destroyed when it returned. A region kept as a
/// touched one does not count.
struct LiveObjects {
    unsigned lists = 0;
    unsigned rois = 0;
    unsigned images = 0;
    bool operator==(const LiveObjects&) const = default;
};

/// What a call came to.
struct CallResult {
    OrvStatus status = ORV_SUCCESS;
    bool declined = false; ///< status 2, for every function of the node declined
    unsigned reports = 0;
    unsigned faultsMet = 0; ///< calls of the device's that a fault made fail
    LiveObjects live = {};
};

/// A session. Objects made in it keep it alive; when its owner lets go of it, what a device left behind is freed.
class ORV_API Session final : public OrvSystemState {
public:
    /// A session over the best build of the module, or the build chosen. Throws DeviceError.
    static Owned<Session> open(const DeviceChoice& choice = {});
    static Owned<Session> open(std::shared_ptr<Device> device);
    /// A session that makes objects but can run nothing.
    static Owned<Session> openWithoutDevice();

    /// Null for a session without one.
    Device* device() const noexcept { return device_.get(); }

    /// Takes the reports from now on; an empty handler brings back the default one, which writes a line to standard
    /// error.
    void setErrorHandler(ErrorHandler handler);
    /// The last report of severity error, if there was one.
    std::optional<Report> lastError() const;
    void clearLastError();

    /// The faults of the next call.
    FaultPlan& faults() noexcept { return faults_; }

    /// Runs the op: the function of its name with count 1, or, where it has an op1, that of the two-level path with
    /// count 2. The functions of the node are tried from the last entered to the first, each distinct one once, until
    /// one does not decline. One call at a time runs in a process. Objects counted in `live` are freed afterwards.
    /// Throws DispatchError.
    CallResult run(Op& op);
    /// The same with a count of 1 or 2 that the op must fit.
    CallResult run(Op& op, int count);

private:
    friend class SessionState;

    Session();
    ~Session() override;

    std::unique_ptr<SessionState> own_;
    std::shared_ptr<Device> device_;
    FaultPlan faults_;
};

/// Makes an object that a device made (a lookup in a slot, say) the caller's: it is no longer freed with the session.
ORV_API void adopt(OrvObject& object) noexcept;
template <class T>
Owned<T> adopted(T* object) noexcept {
    if (object) adopt(*object);
    return Owned<T>(object);
}

} // namespace orv::host
