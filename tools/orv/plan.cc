#include "plan.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include <fmt/format.h>

#include "files/Target.h"
#include "prepare.h"
#include "results.h"

namespace orv::tool {

namespace {

/// One run of the steps on pictures in memory.
class Run {
public:
    Run(Session& session, const Plan& plan, std::vector<Image> sources) : session_(session), plan_(plan) {
        for (std::size_t i = 0; i < sources.size(); ++i) kept_[fmt::format("@{}", i + 1)] = sources[i];
        if (!sources.empty()) last_ = sources.front();
        sources_ = std::move(sources);
    }

    Result all() {
        Result result;
        for (std::size_t i = 0; i < plan_.steps.size(); ++i) {
            const Step& step = plan_.steps[i];
            std::vector<Image> images = imagesOf(step, i == 0);
            forget(i);
            CallOptions options;
            options.roi = step.roi;
            Result made = session_.apply(step.operation->name, images, step.arguments, options);
            if (made.image) last_ = made.image;
            if (!step.keptAs.empty()) kept_["@" + step.keptAs] = last_;
            collect(result, made);
        }
        if (!result.image && plan_.steps.size() > 1 && plan_.makesPictures) result.image = last_;
        return result;
    }

private:
    std::vector<Image> imagesOf(const Step& step, bool first) const {
        // An operation on its own takes the pictures as they come.
        if (plan_.steps.size() == 1 && step.taken.empty()) return sources_;
        std::vector<Image> images;
        for (const std::string& name : step.taken) {
            const auto found = kept_.find(name);
            if (found == kept_.end()) {
                throw Usage(fmt::format("{}: there is no result '{}'; keep one with 'as {}'", step.operation->name,
                                        name, name.substr(1)));
            }
            images.push_back(found->second);
        }
        const std::size_t wanted = step.operation->sources;
        if (images.size() >= wanted && !images.empty()) return images;
        if (first && step.taken.empty() && sources_.size() >= wanted)
            return {sources_.begin(), sources_.begin() + static_cast<std::ptrdiff_t>(wanted)};
        if (wanted > 0) images.insert(images.begin(), last_);
        return images;
    }

    /// Lets go of what no later step takes, so that long pipes hold few pictures.
    void forget(std::size_t current) {
        std::set<std::string> needed;
        for (std::size_t i = current; i < plan_.steps.size(); ++i)
            needed.insert(plan_.steps[i].taken.begin(), plan_.steps[i].taken.end());
        std::erase_if(kept_, [&](const auto& entry) { return !needed.contains(entry.first); });
        sources_.clear();
        if (plan_.steps.size() > 1) last_ = {};
    }

    static void collect(Result& result, Result& made) {
        const auto append = [](auto& to, auto& from) { to.insert(to.end(), from.begin(), from.end()); };
        result.image = made.image;
        append(result.measurements, made.measurements);
        append(result.explained, made.explained);
        append(result.warnings, made.warnings);
        if (made.palette) result.palette = made.palette;
        if (made.table) result.table = made.table;
    }

    Session& session_;
    const Plan& plan_;
    std::vector<Image> sources_;
    std::map<std::string, Image> kept_;
    Image last_;
};

void complainOf(const Result& result, const Flags& flags) {
    if (flags.explain) {
        for (const std::string& line : result.explained) fmt::print(stderr, "{}\n", line);
    }
    for (const std::string& warning : result.warnings) fmt::print(stderr, "orv: warning: {}\n", warning);
}

void runJob(Session& session, const Plan& plan, const Job& job, bool one, nlohmann::json& found) {
    const Flags& flags = plan.flags;
    std::vector<Image> sources;
    for (const std::string& path : job.sources) sources.push_back(readPrepared(session, path, flags));
    Result result = Run(session, plan, std::move(sources)).all();
    complainOf(result, flags);
    const std::string file = job.sources.empty() ? std::string() : job.sources.front();
    if (flags.json && !result.measurements.empty())
        found.push_back(jsonOf(result, file));
    else
        printMeasurements(result, flags, one ? std::string() : file + ":");
    if (result.image && !job.output.empty()) {
        if (!flags.dpi.empty()) result.image.tags().dpi = resolutionOf(flags.dpi);
        session.write(result.image, job.output, flags.writing());
    } else {
        writeText(result, job.output);
    }
}

class Progress {
public:
    explicit Progress(std::size_t all) : all_(all), shown_(all > 1 && isatty(STDERR_FILENO) != 0) {}
    void one() {
        ++done_;
        if (shown_) fmt::print(stderr, "\r{}/{} ", done_, all_);
        if (shown_ && done_ == all_) fmt::print(stderr, "\n");
    }

private:
    std::size_t all_;
    std::size_t done_ = 0;
    bool shown_;
};

/// Runs every `step`th job from `first` on. A picture that fails is told in a line; the others follow where the flags
/// say so.
int runShare(const Plan& plan, const std::vector<Job>& jobs, std::size_t first, std::size_t step, auto finished) {
    Session session(plan.flags.session());
    nlohmann::json found = nlohmann::json::array();
    int status = 0;
    for (std::size_t i = first; i < jobs.size(); i += step) {
        try {
            runJob(session, plan, jobs[i], jobs.size() == 1, found);
        } catch (const Error& error) {
            if (!plan.flags.keepGoing) throw;
            fmt::print(stderr, "orv: {}\n", error.what());
            status = 1;
        }
        finished();
    }
    if (!found.empty()) fmt::print("{}\n", found.dump(2));
    return status;
}

/// A share of the jobs in a process of its own; the device does one call at a time in each.
pid_t startShare(const Plan& plan, const std::vector<Job>& jobs, std::size_t first, std::size_t step, int tell) {
    const pid_t child = fork();
    if (child != 0) return child;
    int status = 1;
    try {
        status = runShare(plan, jobs, first, step, [&] { [[maybe_unused]] const auto n = write(tell, ".", 1); });
    } catch (const std::exception& error) {
        fmt::print(stderr, "orv: {}\n", error.what());
    }
    std::fflush(nullptr);
    _exit(status);
}

int runShared(const Plan& plan, const std::vector<Job>& jobs) {
    const std::size_t count = std::min<std::size_t>(plan.flags.jobs, jobs.size());
    int ends[2];
    if (::pipe(ends) != 0) throw Error("jobs", "no pipe can be made");
    std::fflush(nullptr);
    std::vector<pid_t> children;
    for (std::size_t i = 0; i < count; ++i) children.push_back(startShare(plan, jobs, i, count, ends[1]));
    close(ends[1]);
    Progress progress(jobs.size());
    for (char mark = 0; read(ends[0], &mark, 1) == 1;) progress.one();
    close(ends[0]);
    int worst = 0;
    for (const pid_t child : children) {
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) < 0)
            worst = std::max(worst, 1);
        else if (!WIFEXITED(status))
            worst = std::max(worst, 1);
        else
            worst = std::max(worst, WEXITSTATUS(status));
    }
    return worst;
}

} // namespace

int runPlan(const Plan& plan) {
    plan.flags.check();
    const std::vector<Job> jobs = jobsOf(plan);
    if (plan.flags.output == "-") files::keepStandardOutput();
    // What is printed comes in the order of the sources, from one process.
    if (plan.flags.jobs > 1 && jobs.size() > 1 && plan.makesPictures) return runShared(plan, jobs);
    Progress progress(jobs.size());
    return runShare(plan, jobs, 0, 1, [&] { progress.one(); });
}

} // namespace orv::tool
