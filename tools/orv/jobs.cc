// Which files a command line works on: one run, or one for each first source.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

#include <fmt/format.h>

#include "plan.h"

namespace orv::tool {

namespace {

namespace fs = std::filesystem;

void readList(std::istream& in, std::vector<std::string>& sources) {
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) sources.push_back(line);
    }
}

std::vector<std::string> firstSources(const Flags& flags) {
    std::vector<std::string> sources = flags.sources;
    if (flags.filesFrom.empty()) return sources;
    if (flags.filesFrom == "-") {
        readList(std::cin, sources);
        return sources;
    }
    std::ifstream in(flags.filesFrom);
    if (!in) throw Error("read", fmt::format("cannot read {}: it cannot be opened", flags.filesFrom));
    readList(in, sources);
    return sources;
}

std::string wantedText(const Plan& plan) {
    return plan.least == plan.most ? std::to_string(plan.least) : fmt::format("{} to {}", plan.least, plan.most);
}

bool isPlaceForMany(const std::string& output) {
    return output.ends_with('/') || output.find("%n") != std::string::npos || fs::is_directory(output);
}

/// The file of run `number` (from 1) on a source.
std::string outputFor(const Flags& flags, const std::string& source, std::size_t number) {
    std::string output = flags.output;
    if (output.empty() || output == "-") return output;
    if (output.ends_with('/') || fs::is_directory(output)) {
        fs::path name = fs::path(source).filename();
        if (!flags.format.empty()) name.replace_extension(flags.format == "tiff" ? "tif" : flags.format);
        return fs::path(output) / name;
    }
    if (flags.sources.size() == 1 && flags.filesFrom.empty()) return output;
    if (const std::size_t at = output.find("%n"); at != std::string::npos)
        output.replace(at, 2, std::to_string(number));
    return output;
}

void checkApart(const std::vector<Job>& jobs) {
    std::set<std::string> names;
    for (const Job& job : jobs) {
        if (job.output.empty() || names.insert(job.output).second) continue;
        throw Usage(fmt::format("-o: two sources would be written to {}; use a pattern with %n", job.output));
    }
}

} // namespace

std::vector<Job> jobsOf(const Plan& plan) {
    const Flags& flags = plan.flags;
    const std::vector<std::string> sources = firstSources(flags);
    if (plan.makesPictures && flags.output.empty())
        throw Usage(fmt::format("{}: -o is missing (the picture to write; - for standard output)", plan.name));
    const std::size_t all = sources.size() + flags.with.size();
    const bool forMany = plan.makesPictures ? isPlaceForMany(flags.output) : flags.output.empty();
    const bool once = flags.with.empty() && all >= plan.least && all <= plan.most && (plan.most == 1 || !forMany);
    if (once || (all == plan.least && all == plan.most && sources.size() <= 1)) {
        std::vector<std::string> files = sources;
        files.insert(files.end(), flags.with.begin(), flags.with.end());
        const std::string first = files.empty() ? std::string("out.png") : files.front();
        return {{std::move(files), outputFor(flags, first, 1)}};
    }
    const std::size_t each = flags.with.size() + 1;
    if (sources.empty() || each < plan.least || each > plan.most) {
        std::string example;
        if (plan.steps.size() == 1) example = fmt::format("; for example: {}", plan.steps.front().operation->example);
        throw Usage(fmt::format("{}: {} picture{} came, {} wanted{}", plan.name, all, all == 1 ? "" : "s",
                                wantedText(plan), example));
    }
    if (!forMany && sources.size() > 1) {
        throw Usage(fmt::format("{}: {} first sources came, so -o must be a folder DIR/ or a pattern with %n, not '{}'",
                                plan.name, sources.size(), flags.output));
    }
    std::vector<Job> jobs;
    for (const std::string& source : sources) {
        Job job{{source}, outputFor(flags, source, jobs.size() + 1)};
        job.sources.insert(job.sources.end(), flags.with.begin(), flags.with.end());
        jobs.push_back(std::move(job));
    }
    checkApart(jobs);
    if (flags.output.ends_with('/')) {
        std::error_code problem;
        fs::create_directories(flags.output, problem);
        if (problem) throw Error("write", fmt::format("cannot make {}: {}", flags.output, problem.message()));
    }
    return jobs;
}

} // namespace orv::tool
