#include "dispatch/Running.h"

#include "orv/host/Op.h"

namespace orv::host {

constinit thread_local Running* Running::current_ = nullptr;

Running::Running(Session& session, const Op& op) noexcept : session_(session), faults_(session.faults()), op_(op) {
    current_ = this;
}

Running::~Running() {
    reclaim();
    faults_.disarm();
    current_ = nullptr;
}

void Running::lend(OrvObject& object) noexcept {
    ObjectAccess::link(lent_, object);
    ObjectAccess::setOwner(object, Owner::call);
}

void Running::report(Session* session, Report&& report) {
    report.operation = op_.name();
    told_.push_back({session ? session : &session_, std::move(report)});
    ++reports_;
}

LiveObjects Running::reclaim() noexcept {
    LiveObjects live;
    while (OrvObject* const object = lent_.first) {
        const Kind kind = ObjectAccess::kind(*object);
        live.lists += kind == Kind::roiList;
        live.rois += kind == Kind::roi;
        live.images += kind == Kind::image;
        ObjectAccess::end(object);
    }
    return live;
}

} // namespace orv::host
