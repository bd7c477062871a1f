// The way of a call: from an op's name to the functions that stand there.

#include <mutex>

#include "dispatch/OpTree.h"
#include "dispatch/Running.h"
#include "objects/SessionState.h"
#include "orv/host/Image.h"
#include "orv/host/Op.h"
#include "orv/host/Session.h"

namespace orv::host {
namespace {

/// A device keeps tables between calls and guards none of them: one of its functions runs at a time in a process.
std::mutex& callMutex() {
    static std::mutex mutex;
    return mutex;
}

const OpNode& nodeOf(const Session& session, const Op& op, int count) {
    if (!session.device()) throw DispatchError(op.name() + ": the session has no compute device to run it on");
    if (count != 1 && count != 2) {
        throw DispatchError(op.name() + ": a call has a count of 1 or 2, not " + std::to_string(count));
    }
    if (count == 2 && !op.op1()) {
        throw DispatchError(op.name() + ": a call with a count of 2 needs an op that feeds the first source");
    }
    OpTree& tree = session.device()->tree();
    const OpNode* const node = count == 2 ? tree.find(op.name(), op.op1()->name()) : tree.findToRun(op.name());
    if (node) return *node;
    const std::string path = count == 2 ? op.name() + "\" fed by \"" + op.op1()->name() : op.name();
    throw DispatchError("the device " + session.device()->path() + " has no operation \"" + path + "\"");
}

/// Tries the functions until one does not decline.
CallResult tryFunctions(const OpNode& node, Running& running, Op& op, int count) {
    CallResult result{.status = ORV_FAILURE, .declined = true};
    const auto& functions = node.functions();
    for (auto f = functions.rbegin(); f != functions.rend() && result.declined; ++f) {
        const unsigned before = running.reports();
        result.status = (f->device->*f->function)(&op, count);
        result.declined = result.status == ORV_FAILURE && running.reports() == before;
        op.restore();
    }
    if (op.op1()) op.op1()->restore();
    return result;
}

} // namespace

DispatchError::~DispatchError() = default;

CallResult Session::run(Op& op) { return run(op, op.op1() ? 2 : 1); }

CallResult Session::run(Op& op, int count) {
    CallResult result;
    std::vector<Running::Told> told;
    {
        const std::lock_guard lock(callMutex());
        Running running(*this, op);
        result = tryFunctions(nodeOf(*this, op, count), running, op, count);
        result.live = running.reclaim();
        result.reports = running.reports();
        result.faultsMet = faults_.met();
        told = running.takeReports();
    }
    if (op.destination()) op.destination()->samplesChanged();
    for (Running::Told& t : told) {
        t.report.severity = result.status == ORV_FAILURE ? Severity::error : Severity::warning;
        SessionState::of(*t.session).deliver(t.report);
    }
    return result;
}

} // namespace orv::host
