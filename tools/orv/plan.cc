#include "plan.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <sys/wait.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <unistd.h>

#include <fmt/format.h>

#include "files/PictureInfo.h"
#include "files/Target.h"
#include "orv/Pipeline.h"
#include "prepare.h"
#include "recorder.h"
#include "results.h"

namespace orv::tool {

namespace {

Fuse fuseNamed(const std::string& name) { return name == "all" ? Fuse::all : name == "off" ? Fuse::off : Fuse::exact; }

/// Runs the steps on pictures in memory.
Result resultOf(Session& session, const Plan& plan, const std::vector<Image>& sources) {
    CallOptions options;
    options.roi = plan.steps.back().roi;
    if (!plan.isPipe) {
        const Step& step = plan.steps.front();
        return session.apply(step.operation->name, sources, step.arguments, options);
    }
    Pipeline pipeline(session);
    pipeline.fuse(fuseNamed(plan.flags.fuse));
    for (const Step& step : plan.steps) {
        pipeline.then(std::string(step.operation->name), step.arguments, step.taken);
        if (!step.keptAs.empty()) pipeline.as(step.keptAs);
    }
    return pipeline.run(sources, options);
}

void complainOf(const Result& result, const Flags& flags) {
    if (flags.explain) {
        for (const std::string& line : result.explained) fmt::print(stderr, "{}\n", line);
    }
    for (const std::string& note : result.notes) fmt::print(stderr, "orv: note: {}\n", note);
    for (const std::string& warning : result.warnings) fmt::print(stderr, "orv: warning: {}\n", warning);
}

/// The name of one of several pictures that a run makes.
std::string numbered(std::string output, std::size_t number) {
    if (const std::size_t at = output.find("%n"); at != std::string::npos)
        return output.replace(at, 2, std::to_string(number));
    const std::size_t dot = output.rfind('.');
    return dot == std::string::npos ? fmt::format("{}-{}", output, number)
                                    : fmt::format("{}-{}{}", output.substr(0, dot), number, output.substr(dot));
}

void runJob(Session& session, const Plan& plan, const Job& job, bool one, nlohmann::json& found) {
    const Flags& flags = plan.flags;
    std::vector<Image> sources;
    sources.reserve(job.sources.size());
    for (const std::string& path : job.sources) sources.push_back(readPrepared(session, path, flags));
    Result result = resultOf(session, plan, sources);
    sources.clear();
    complainOf(result, flags);
    const std::string file = job.sources.empty() ? std::string() : job.sources.front();
    if (flags.json && !result.measurements.empty())
        found.push_back(jsonOf(result, file));
    else
        printMeasurements(result, flags, one ? std::string() : file + ":");
    const auto write = [&](Image& image, const std::string& output) {
        if (!flags.dpi.empty()) image.tags().dpi = resolutionOf(flags.dpi);
        session.write(image, output, flags.writing());
    };
    for (std::size_t i = 0; i < result.images.size(); ++i) write(result.images[i], numbered(job.output, i + 1));
    if (!result.images.empty()) return;
    if (result.image && !job.output.empty())
        write(result.image, job.output);
    else
        writeText(result, job.output);
}

/// What -o says must be something that can be written, before anything is made.
void checkOutput(const Plan& plan) {
    const std::string& output = plan.flags.output;
    if (!plan.makesPictures || output.empty()) return;
    const Operation& last = *plan.steps.back().operation;
    if (output == "-" && !last.givesImage)
        throw Usage(fmt::format("{}: its pictures do not go into one stream; say -o 'out-%n.png'", plan.name));
    if (!plan.flags.format.empty()) return;
    if (output == "-") throw Usage("--format: it is missing; -o - needs png, tiff, jpeg, pnm or npy");
    if (output.ends_with('/') || std::filesystem::is_directory(output) || files::formatOfName(output)) return;
    throw Usage(fmt::format("-o: '{}' ends like no format; say .png, .tif, .jpg, .ppm or .npy, or --format", output));
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
    Recorder recorder(plan.flags.saveCase);
    recorder.look(session);
    nlohmann::json found = nlohmann::json::array();
    int status = 0;
    for (std::size_t i = first; i < jobs.size(); i += step) {
        try {
            runJob(session, plan, jobs[i], jobs.size() == 1, found);
        } catch (const Error& error) {
            if (!plan.flags.keepGoing) {
                recorder.write();
                throw;
            }
            fmt::print(stderr, "orv: {}\n", error.what());
            status = 1;
        }
        finished();
    }
    recorder.write();
    if (!found.empty()) fmt::print("{}\n", found.dump(2));
    return status;
}

/// Has this process interrupted when its parent ends, so that no share goes on alone.
void endWith(pid_t parent) {
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) std::raise(SIGTERM);
#else
    static_cast<void>(parent);
#endif
}

/// A share of the jobs in a process of its own; the device does one call at a time in each.
pid_t startShare(const Plan& plan, const std::vector<Job>& jobs, std::size_t first, std::size_t step, int tell) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) return child;
    endWith(parent);
    int status = 1;
    try {
        status = runShare(plan, jobs, first, step, [&] { [[maybe_unused]] const auto n = write(tell, ".", 1); });
    } catch (const ArgumentError& wrong) {
        fmt::print(stderr, "orv: {}\n", wrong.what());
        status = 2;
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
    children.reserve(count);
    for (std::size_t i = 0; i < count; ++i) children.push_back(startShare(plan, jobs, i, count, ends[1]));
    close(ends[1]);
    Progress progress(jobs.size());
    for (char mark = 0; read(ends[0], &mark, 1) == 1;) progress.one();
    close(ends[0]);
    int worst = 0;
    for (const pid_t child : children) {
        int status = 0;
        const bool ended = child >= 0 && waitpid(child, &status, 0) >= 0 && WIFEXITED(status);
        worst = std::max(worst, ended ? WEXITSTATUS(status) : 1);
    }
    return worst;
}

} // namespace

int runPlan(const Plan& plan) {
    plan.flags.check();
    checkOutput(plan);
    const std::vector<Job> jobs = jobsOf(plan);
    if (plan.flags.output == "-") files::keepStandardOutput();
    // What is printed, and what a case file holds, comes in the order of the sources, from one process.
    const bool inOneProcess = !plan.makesPictures || !plan.flags.saveCase.empty();
    if (plan.flags.jobs > 1 && jobs.size() > 1 && !inOneProcess) return runShared(plan, jobs);
    Progress progress(jobs.size());
    return runShare(plan, jobs, 0, 1, [&] { progress.one(); });
}

} // namespace orv::tool
