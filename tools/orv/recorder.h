// The calls that a run makes, written as a case file: each call is a case with all that goes in and comes out.
#pragma once

#include <string>
#include <vector>

#include "orv/host/Watcher.h"
#include "orv/orv.h"
#include "replay/Case.h"

namespace orv::tool {

class Recorder final : public host::CallWatcher {
public:
    /// Nothing is recorded where no file is named.
    explicit Recorder(std::string file) : file_(std::move(file)) {}

    void look(Session& session) {
        if (!file_.empty()) session.watch(this);
    }
    /// Writes the file where there was a call. Throws Error.
    void write();

private:
    void before(const host::WatchedCall& call) override;
    void after(const host::WatchedCall& call, OrvStatus status, const std::vector<host::Report>& reports) override;

    std::string file_;
    std::string text_;
    unsigned count_ = 0;
    orvcase::Case current_;
};

} // namespace orv::tool
