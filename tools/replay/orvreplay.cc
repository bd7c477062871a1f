// Runs the cases of case files against the device and compares.
#include <fnmatch.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "CaseText.h"
#include "CommandLine.h"
#include "Runner.h"

namespace {

constexpr const char* usage =
    "usage: orvreplay [options] FILE...\n"
    "Runs the cases of the files and compares. Exit status: 0 all passed, 1 some failed, 2 a file or option cannot be "
    "used.\n"
    "  --isolate         each case in a process of its own\n"
    "  --list            print the cases' names, run nothing\n"
    "  --filter GLOB     only cases whose name matches\n"
    "  --quiet           one line for each failing case\n"
    "  --print           print the cases with what came, as case files; all else goes to standard error\n"
    "  --build NAME      the build of the module (baseline, v3, v4, or a path), or all; the best one when left out\n"
    "  --storage POLICY  where samples lie: heap, ends-at-wall, starts-at-wall, or all; heap when left out\n";

struct Options {
    bool isolate = false;
    bool list = false;
    bool quiet = false;
    bool print = false;
    bool help = false;
    std::string filter = "*";
    std::vector<std::string> builds = {};
    std::vector<orvcase::Storage> storages = {};
    std::vector<std::string> files = {};
};

using orvcase::WrongUse;

Options parse(const std::vector<std::string>& words) {
    Options options;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        const auto next = [&]() -> const std::string& { return orvcase::valueOf(words, i); };
        if (word == "--isolate")
            options.isolate = true;
        else if (word == "--list")
            options.list = true;
        else if (word == "--quiet")
            options.quiet = true;
        else if (word == "--print")
            options.print = true;
        else if (word == "--help")
            options.help = true;
        else if (word == "--filter")
            options.filter = next();
        else if (word == "--build")
            options.builds = orvcase::buildsNamed(next());
        else if (word == "--storage")
            options.storages = orvcase::storagesNamed(next());
        else if (word.starts_with("--"))
            throw WrongUse{"unknown option " + word};
        else
            options.files.push_back(word);
    }
    if (options.builds.empty()) options.builds = {""};
    if (options.storages.empty()) options.storages = {orvcase::Storage::heap};
    if (options.files.empty() && !options.help) throw WrongUse{"no file is given"};
    return options;
}

std::vector<orvcase::Case> readAll(const Options& options) {
    std::vector<orvcase::Case> cases;
    for (const std::string& file : options.files) {
        for (orvcase::Case& each : orvcase::readCaseFile(file)) {
            if (fnmatch(options.filter.c_str(), each.name.c_str(), 0) == 0) cases.push_back(std::move(each));
        }
    }
    return cases;
}

class Replay {
public:
    Replay(const Options& options, const std::vector<orvcase::Case>& cases)
        : options_(options), cases_(cases), failed_(cases.size()), messages_(options.print ? stderr : stdout) {}

    int run() {
        for (const std::string& build : options_.builds) {
            for (const orvcase::Storage storage : options_.storages) pass(build, storage);
        }
        const auto failures = std::count(failed_.begin(), failed_.end(), true);
        const auto total = static_cast<std::ptrdiff_t>(failed_.size());
        std::fflush(stdout);
        std::fprintf(messages_, "%td passed, %td failed\n", total - failures, failures);
        return failures == 0 ? 0 : 1;
    }

private:
    /// A pass has processes of its own, so that the module's caches begin as they are at load.
    void pass(const std::string& build, orvcase::Storage storage) {
        const bool several = options_.builds.size() * options_.storages.size() > 1;
        const std::string where = several ? " [" + build + ", " + orvcase::storageName(storage) + "]" : "";
        const auto reports = orvcase::runForked(
            cases_, {.build = build, .storage = storage, .keepOutcome = options_.print}, options_.isolate);
        for (std::size_t i = 0; i < reports.size(); ++i) {
            if (options_.print) std::fputs(reports[i].printed.c_str(), stdout);
            if (reports[i].mismatches.empty()) continue;
            failed_[i] = true;
            report(cases_[i], reports[i].mismatches, where);
        }
    }

    void report(const orvcase::Case& c, const std::vector<orvcase::Mismatch>& mismatches, const std::string& where) {
        const auto line = [](const orvcase::Mismatch& each) {
            return each.line > 0 ? "line " + std::to_string(each.line) + ": " : std::string();
        };
        std::fprintf(messages_, "FAIL %s:%d case %s: %s%s%s\n", c.file.c_str(), c.line, c.name.c_str(),
                     line(mismatches[0]).c_str(), mismatches[0].text.c_str(), where.c_str());
        if (options_.quiet) return;
        for (std::size_t i = 1; i < mismatches.size(); ++i) {
            std::fprintf(messages_, "    also %s%s\n", line(mismatches[i]).c_str(), mismatches[i].text.c_str());
        }
    }

    const Options& options_;
    const std::vector<orvcase::Case>& cases_;
    std::vector<bool> failed_;
    std::FILE* messages_;
};

int run(const Options& options) {
    if (options.help) {
        std::fputs(usage, stdout);
        return 0;
    }
    const std::vector<orvcase::Case> cases = readAll(options);
    if (!options.list) return Replay(options, cases).run();
    for (const orvcase::Case& each : cases) std::printf("%s\n", each.name.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(parse({argv + 1, argv + argc}));
    } catch (const WrongUse& wrong) {
        std::fprintf(stderr, "orvreplay: %s\n%s", wrong.what.c_str(), usage);
        return 2;
    } catch (const orvcase::ReadError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvreplay: %s\n", error.what());
        return 1;
    }
}
