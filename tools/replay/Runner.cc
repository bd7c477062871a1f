#include "Runner.h"

#include <map>
#include <new>
#include <stdexcept>

#include "Compare.h"
#include "Stage.h"

namespace orvcase {
namespace {

/// A session over one build, kept for all cases: the module's caches live on from case to case, as they do in a host.
struct OpenBuild {
    orv::host::Owned<orv::host::Session> session;
    std::vector<orv::host::Report> reports;
};

OpenBuild& openBuild(const std::string& name) {
    static std::map<std::string, OpenBuild> open;
    OpenBuild& build = open[name];
    if (!build.session) {
        build.session = orv::host::Session::open({.build = name});
        build.session->setErrorHandler([&build](const orv::host::Report& report) { build.reports.push_back(report); });
    }
    return build;
}

std::map<std::string, Values> contentsOf(const Case& c, const Stage& stage) {
    std::map<std::string, Values> contents;
    const auto add = [&](const auto& objects) {
        for (const auto& each : objects) contents[each.name] = stage.contents(each.name);
    };
    add(c.floats);
    add(c.ulongs);
    add(c.kernels);
    add(c.histograms);
    return contents;
}

class CaseRun {
public:
    CaseRun(const Case& c, const RunOptions& options)
        : case_(c),
          keep_(options.keepOutcome),
          build_(openBuild(options.build)),
          stage_(c, *build_.session, options.storage) {}

    void operator()(const SetContents& set) { stage_.apply(set); }
    void operator()(const Touch& touch) { stage_.apply(touch); }
    void operator()(const Call& call) {
        CallFacts facts;
        if (keep_) facts.contentsBefore = contentsOf(case_, stage_);
        build_.reports.clear();
        facts.result = stage_.run(call);
        facts.reports = build_.reports;
        outcome.faultsMet += facts.result.faultsMet;
        compare(case_, call, facts, stage_, outcome.mismatches);
        if (keep_) outcome.calls.push_back(record(case_, call, facts, stage_));
    }

    Outcome outcome;

private:
    const Case& case_;
    bool keep_;
    OpenBuild& build_;
    Stage stage_;
};

int lineOf(const Step& step) {
    return std::visit([](const auto& each) { return each.line; }, step);
}

} // namespace

Outcome runCase(const Case& c, const RunOptions& options) {
    Outcome outcome;
    int line = c.line;
    try {
        CaseRun run(c, options);
        try {
            for (const Step& step : c.steps) {
                line = lineOf(step);
                std::visit(run, step);
            }
        } catch (...) {
            outcome = std::move(run.outcome);
            throw;
        }
        outcome = std::move(run.outcome);
    } catch (const std::bad_alloc&) {
        outcome.mismatches.push_back({line, "there is not enough memory to run this"});
    } catch (const std::runtime_error& problem) {
        outcome.mismatches.push_back({line, problem.what()});
    }
    return outcome;
}

Case withOutcome(Case c, const Outcome& outcome) {
    std::size_t next = 0;
    for (Step& step : c.steps) {
        auto* call = std::get_if<Call>(&step);
        if (call != nullptr && next < outcome.calls.size()) call->expect = outcome.calls[next++];
    }
    return c;
}

std::vector<std::string> availableBuilds() { return orv::host::Device::availableBuilds(); }

const std::vector<Storage>& allStorages() {
    static const std::vector<Storage> all = {Storage::heap, Storage::endsAtWall, Storage::startsAtWall};
    return all;
}

const char* storageName(Storage storage) {
    switch (storage) {
    case Storage::heap:
        return "heap";
    case Storage::endsAtWall:
        return "ends-at-wall";
    case Storage::startsAtWall:
        return "starts-at-wall";
    }
    return "?";
}

} // namespace orvcase
