// What a session holds.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>

#include "objects/ObjectAccess.h"
#include "orv/host/Session.h"

namespace orv::host {

class SessionState {
public:
    explicit SessionState(Session& session) noexcept : session_(session) {}
    static SessionState& of(Session& session) noexcept { return *session.own_; }

    /// Every object of the session holds it; so does the session's owner until close().
    void hold() noexcept { holders_.fetch_add(1, std::memory_order_relaxed); }
    void letGo() noexcept;
    void close() noexcept;

    /// Objects that a device made and that live on after its call.
    void own(OrvObject& object) noexcept;
    void disown(OrvObject& object) noexcept;

    /// Hands a report to the session's handler, and keeps it as the last error if it is one.
    void deliver(const Report& report) noexcept;
    void setHandler(ErrorHandler handler);
    std::optional<Report> lastError() const;
    void clearLastError() noexcept;

private:
    Session& session_;
    std::atomic<long> holders_ = 1;
    mutable std::mutex mutex_;
    Ring owned_;
    ErrorHandler handler_;
    std::optional<Report> lastError_;
};

/// Writes the report to standard error, as one line.
void printReport(const Report& report) noexcept;

} // namespace orv::host
