// The call that is in progress on this thread.
#pragma once

#include <vector>

#include "objects/ObjectAccess.h"
#include "orv/host/Session.h"

namespace orv::host {

/// While a device's function runs, this object stands between the device and the host's objects: faults, counts and
/// reports of the device go through it. Outside a call there is none, so the host's own work is never faulted.
class Running {
public:
    struct Told {
        Session* session;
        Report report;
    };

    Running(Session& session, const Op& op) noexcept;
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    static Running* current() noexcept { return current_; }

    /// Counts a call of the device's; true where it must fail. Always false outside a call.
    static bool faultHits(FaultPoint point, const OrvObject* object = nullptr) noexcept {
        return current_ && !current_->faults_.empty() && current_->faults_.hits(point, object);
    }

    /// Notes an object that is handed to the device, which now owns it. Answers the object; does nothing outside a call
    /// or with null.
    template <class T>
    static T* handOut(T* object) noexcept {
        if (current_ && object) current_->lend(*object);
        return object;
    }
    void takeBack(OrvObject& object) noexcept { ObjectAccess::unlink(lent_, object); }

    /// Keeps a report until the call has ended: only then is it known whether it is an error. Null: the session whose
    /// call this is.
    void report(Session* session, Report&& report);
    /// Counts one that could not be kept.
    void countReport() noexcept { ++reports_; }
    unsigned reports() const noexcept { return reports_; }
    std::vector<Told> takeReports() noexcept { return std::move(told_); }

    /// Counts and frees what the device was handed and did not destroy.
    LiveObjects reclaim() noexcept;

private:
    void lend(OrvObject& object) noexcept;

    /// Every object that a call makes or frees asks for it: found without a call of the loader's.
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Running* current_;

    Session& session_;
    FaultPlan& faults_;
    const Op& op_;
    Ring lent_;
    unsigned reports_ = 0;
    std::vector<Told> told_;
};

} // namespace orv::host
