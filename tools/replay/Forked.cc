// Cases run in processes of their own.
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "CaseText.h"
#include "Runner.h"
#include "orv/host/Device.h"

namespace orvcase {
namespace {

/// A report as bytes: numbers in this machine's form, texts after their length.
class Packer {
public:
    void add(std::int64_t number) { bytes_.append(reinterpret_cast<const char*>(&number), sizeof number); }
    void add(const std::string& text) {
        add(static_cast<std::int64_t>(text.size()));
        bytes_ += text;
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

/// Reads what a Packer wrote; a text that ends early ends the process that wrote it, so it is told apart.
class Unpacker {
public:
    explicit Unpacker(const std::string& bytes) : bytes_(bytes) {}

    bool complete() const { return complete_; }
    std::int64_t number() {
        std::int64_t value = 0;
        if (!has(sizeof value)) return 0;
        std::memcpy(&value, bytes_.data() + at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    std::string text() {
        const auto size = static_cast<std::size_t>(number());
        if (!has(size)) return {};
        at_ += size;
        return bytes_.substr(at_ - size, size);
    }

private:
    bool has(std::size_t size) {
        complete_ = complete_ && bytes_.size() - at_ >= size;
        return complete_;
    }
    const std::string& bytes_;
    std::size_t at_ = 0;
    bool complete_ = true;
};

void pack(Packer& to, const CaseReport& report) {
    to.add(static_cast<std::int64_t>(report.mismatches.size()));
    for (const Mismatch& each : report.mismatches) {
        to.add(each.line);
        to.add(each.text);
    }
    to.add(report.printed);
    to.add(static_cast<std::int64_t>(report.faultsMet));
}

CaseReport unpack(Unpacker& from) {
    CaseReport report;
    const std::int64_t count = from.number();
    for (std::int64_t i = 0; i < count && from.complete(); ++i) {
        const int line = static_cast<int>(from.number());
        report.mismatches.push_back({line, from.text()});
    }
    report.printed = from.text();
    report.faultsMet = static_cast<unsigned>(from.number());
    return report;
}

CaseReport runOne(const Case& c, const RunOptions& options) {
    CaseReport report;
    Outcome outcome = runCase(c, options);
    if (options.keepOutcome) report.printed = writeCase(withOutcome(c, outcome));
    report.mismatches = std::move(outcome.mismatches);
    report.faultsMet = outcome.faultsMet;
    return report;
}

void writeAll(int descriptor, const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t written = write(descriptor, bytes.data() + at, bytes.size() - at);
        if (written < 0 && errno != EINTR) std::_Exit(1);
        if (written > 0) at += static_cast<std::size_t>(written);
    }
}

struct Ended {
    std::string bytes; ///< what the process wrote
    int status = 0;
};

/// Runs `work` with the writing end of a pipe in a forked process.
Ended inFork(const std::function<void(int)>& work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe can be had");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process can be had");
    if (child == 0) {
        close(ends[0]);
        // A device prints at times: what it prints is no part of our answer.
        dup2(STDERR_FILENO, STDOUT_FILENO);
        work(ends[1]);
        close(ends[1]);
        std::exit(0); // not _exit: a leak check runs at exit
    }
    close(ends[1]);
    Ended ended;
    std::string block(1 << 16, '\0');
    for (;;) {
        const ssize_t got = read(ends[0], block.data(), block.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        ended.bytes.append(block, 0, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    while (waitpid(child, &ended.status, 0) < 0 && errno == EINTR) {
    }
    return ended;
}

std::string describeEnd(int status) {
    if (WIFSIGNALED(status)) return std::string("the process crashed: ") + strsignal(WTERMSIG(status));
    return "the process ended early, with status " + std::to_string(WEXITSTATUS(status));
}

/// Runs cases[i] for each i of `which` in one forked process, and the rest in another after a crash.
void runTogether(const std::vector<Case>& cases, const std::vector<std::size_t>& which, const RunOptions& options,
                 std::vector<CaseReport>& reports) {
    std::size_t next = 0;
    while (next < which.size()) {
        const Ended ended = inFork([&](int descriptor) {
            for (std::size_t i = next; i < which.size(); ++i) {
                Packer packer;
                pack(packer, runOne(cases[which[i]], options));
                writeAll(descriptor, packer.bytes());
            }
        });
        Unpacker unpacker(ended.bytes);
        while (next < which.size()) {
            CaseReport report = unpack(unpacker);
            if (!unpacker.complete()) break;
            reports[which[next++]] = std::move(report);
        }
        if (ended.status == 0 && next == which.size()) return;
        // The process went down in the case that it did not report, or, with all reported, at its end.
        const std::size_t guilty = next < which.size() ? next++ : which.size() - 1;
        reports[which[guilty]].mismatches.push_back({0, describeEnd(ended.status)});
    }
}

} // namespace

std::vector<CaseReport> runForked(const std::vector<Case>& cases, const RunOptions& options, bool isolate) {
    // Loaded here, before the fork, the module is loaded once; its caches stay as they are at load, for no op runs
    // here.
    const auto device = orv::host::Device::open({.build = options.build});
    std::vector<CaseReport> reports(cases.size());
    std::vector<std::size_t> together;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (isolate || cases[i].fresh)
            runTogether(cases, {i}, options, reports);
        else
            together.push_back(i);
    }
    runTogether(cases, together, options, reports);
    return reports;
}

} // namespace orvcase
