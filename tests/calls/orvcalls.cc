// Makes random calls of every function of the device and prints what came of each as one number, the same on every
// build of the module and on every machine. Each call is made again, on all builds and storages that are asked for: it
// must do the same, and leave alone every byte that holds no sample. In rounds, the same calls come again and again
// over one session: memory must stay flat, and some of the calls are held against processes that never made another
// one. Of each call, made once more when all tables stand, it can tell the bytes and host objects that it leaves
// behind.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "models/Answers.h"
#include "replay/CaseText.h"
#include "replay/CommandLine.h"
#include "replay/Runner.h"
#include "support/Calls.h"

namespace {

constexpr const char* usage =
    "usage: orvcalls [options] [FILE...]\n"
    "Makes random calls of every function of the device. Exit status: 0 all was well, 1 it was not, 2 wrong usage.\n"
    "  --build NAME      the build of the module (baseline, v3, v4, or a path), or all; the best one when left out\n"
    "  --storage POLICY  where samples lie: heap, ends-at-wall, starts-at-wall, or all; heap when left out\n"
    "  --first SEED      of the first call; 1 when left out\n"
    "  --count N         calls; 10000 when left out\n"
    "  --rounds N        makes all calls N times over one session, and watches memory\n"
    "  --models          holds each call against the model of its function, where there is one that knows\n"
    "  --kept            what each call leaves on the heap and of host objects; with FILEs the calls of these case "
    "files\n"
    "  --quiet           no line for each call\n"
    "  --print           the calls as case files, with what came\n";

struct Options {
    std::vector<std::string> builds = {""};
    std::vector<orvcase::Storage> storages = {orvcase::Storage::heap};
    std::uint64_t first = 1;
    std::uint64_t count = 10000;
    unsigned rounds = 1;
    bool models = false;
    bool kept = false;
    std::vector<std::string> files = {};
    bool quiet = false;
    bool print = false;
};

using orvcase::WrongUse;

Options parse(const std::vector<std::string>& words) {
    Options options;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        const auto next = [&]() -> const std::string& { return orvcase::valueOf(words, i); };
        const auto number = [&] { return std::strtoull(next().c_str(), nullptr, 10); };
        if (word == "--build")
            options.builds = next() == "all" ? orvmodel::testedBuilds() : orvcase::buildsNamed(words[i]);
        else if (word == "--storage")
            options.storages = orvcase::storagesNamed(next());
        else if (word == "--first")
            options.first = number();
        else if (word == "--count")
            options.count = number();
        else if (word == "--rounds")
            options.rounds = static_cast<unsigned>(number());
        else if (word == "--models")
            options.models = true;
        else if (word == "--kept")
            options.kept = true;
        else if (word == "--quiet")
            options.quiet = true;
        else if (word == "--print")
            options.print = true;
        else if (word.starts_with("--"))
            throw WrongUse{"unknown option " + word};
        else
            options.files.push_back(word);
    }
    if (!options.files.empty() && !options.kept) throw WrongUse{"case files go with --kept"};
    return options;
}

std::uint64_t hashOf(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return hash;
}

/// Bytes that the program holds on the heap.
std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

class Calls {
public:
    explicit Calls(const Options& options) : options_(options) {}

    bool run() {
        if (!options_.quiet) std::printf("# first seed %llu\n", static_cast<unsigned long long>(options_.first));
        bool well = true;
        if (options_.rounds > 1) remember();
        for (unsigned round = 1; round <= options_.rounds; ++round) {
            for (std::uint64_t i = 0; i < options_.count; ++i) well = call(i, round) && well;
            if (options_.rounds > 1) well = memory(round) && well;
        }
        std::fprintf(stderr, "%llu calls; kept host objects: %u lists, %u regions, %u images\n",
                     static_cast<unsigned long long>(options_.count) * options_.rounds, kept_.lists.value_or(0),
                     kept_.rois.value_or(0), kept_.images.value_or(0));
        if (options_.models) std::fprintf(stderr, "%llu of them held against models\n", held_);
        return well;
    }

private:
    bool call(std::uint64_t i, unsigned round) {
        const std::uint64_t seed = options_.first + i;
        orvcase::Case c = orvmodel::randomCall(seed);
        if (options_.models && round == 1 && !asItsModel(c)) return complain(seed, "its model says otherwise");
        const orvcase::Outcome first =
            orvcase::runCase(c, {.build = options_.builds[0], .storage = options_.storages[0], .keepOutcome = true});
        count(first);
        c = orvcase::withOutcome(std::move(c), first);
        const std::string text = orvcase::writeCase(c);
        const std::uint64_t hash = hashOf(text);
        if (round == 1 && options_.print) std::fputs(text.c_str(), stdout);
        if (round == 1 && !options_.quiet && !options_.print) print(seed, hash);
        if (options_.rounds > 1 && i == hashes_.size()) hashes_.push_back(hash);
        if (i < hashes_.size() && hashes_[i] != hash) return complain(seed, "came out otherwise than at first");
        for (const std::string& build : options_.builds) {
            for (const orvcase::Storage storage : options_.storages) {
                const orvcase::Outcome again = orvcase::runCase(c, {.build = build, .storage = storage});
                if (!again.passed()) {
                    return complain(seed, again.mismatches[0].text + " [" + build + ", " + storageName(storage) + "]");
                }
            }
        }
        return true;
    }

    /// Where a model knows what must come.
    bool asItsModel(orvcase::Case c) {
        if (!orvmodel::answerCase(c)) return true;
        ++held_;
        const orvcase::Outcome outcome = orvcase::runCase(c, {.build = options_.builds[0]});
        if (!outcome.passed()) std::fprintf(stderr, "%s\n", outcome.mismatches[0].text.c_str());
        return outcome.passed();
    }

    /// What some of the calls do as the first of a process; this process has made none yet.
    void remember() {
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(options_.count, alone); ++i) {
            const std::vector<orvcase::Case> one = {orvmodel::randomCall(options_.first + i)};
            const auto reports = orvcase::runForked(one, {.build = options_.builds[0], .keepOutcome = true}, true);
            hashes_.push_back(hashOf(reports[0].printed));
        }
    }

    static void print(std::uint64_t seed, std::uint64_t hash) {
        const auto& functions = orvmodel::functions();
        std::printf("%llu %s %016llx\n", static_cast<unsigned long long>(seed),
                    functions[seed % functions.size()].path.c_str(), static_cast<unsigned long long>(hash));
    }

    static bool complain(std::uint64_t seed, const std::string& what) {
        std::fprintf(stderr, "seed %llu: %s\n%s", static_cast<unsigned long long>(seed), what.c_str(),
                     orvcase::writeCase(orvmodel::randomCall(seed)).c_str());
        return false;
    }

    void count(const orvcase::Outcome& outcome) {
        for (const orvcase::Expectations& each : outcome.calls) {
            kept_.lists = kept_.lists.value_or(0) + each.live.lists.value_or(0);
            kept_.rois = kept_.rois.value_or(0) + each.live.rois.value_or(0);
            kept_.images = kept_.images.value_or(0) + each.live.images.value_or(0);
        }
    }

    /// The second round finds all tables and caches made; from then on nothing may grow.
    bool memory(unsigned round) {
        const std::size_t now = heapInUse();
        std::fprintf(stderr, "round %u: %zu bytes on the heap\n", round, now);
        if (round == 2) settled_ = now;
        if (round <= 2 || now <= settled_ + allowance) return true;
        std::fprintf(stderr, "round %u: memory grew by %zu bytes\n", round, now - settled_);
        return false;
    }

    static constexpr std::uint64_t alone = 1016;   ///< calls that are held against those of new processes
    static constexpr std::size_t allowance = 4096; ///< for texts that are in hand while the heap is looked at

    const Options& options_;
    std::vector<std::uint64_t> hashes_;
    std::size_t settled_ = 0;
    orvcase::LiveCounts kept_;
    unsigned long long held_ = 0; ///< against models
};

/// What calls leave behind when they are made again after all tables and caches are made.
class Kept {
public:
    explicit Kept(const Options& options) : options_(options) {}

    bool run() {
        std::setvbuf(stdout, nullptr, _IONBF, 0); // a buffer would be counted
        for (const std::string& file : options_.files) {
            for (const orvcase::Case& c : orvcase::readCaseFile(file)) play(c);
        }
        for (std::uint64_t i = 0; options_.files.empty() && i < options_.count; ++i) {
            play(orvmodel::randomCall(options_.first + i));
        }
        std::printf(
            "%llu cases, %llu calls: %zu bytes stay on the heap; host objects left for the host to destroy: %u lists, "
            "%u regions, %u images, by %llu calls\n",
            cases_, calls_, bytes_, objects_.lists.value_or(0), objects_.rois.value_or(0), objects_.images.value_or(0),
            leaving_);
        return bytes_ == 0;
    }

private:
    void play(const orvcase::Case& c) {
        const orvcase::RunOptions options = {.build = options_.builds[0], .keepOutcome = true};
        orvcase::runCase(c, options);
        count(c, orvcase::runCase(c, options));
        const std::size_t before = heapInUse();
        for (std::size_t i = 0; i < times; ++i) orvcase::runCase(c, options);
        const std::size_t now = heapInUse();
        ++cases_;
        // Where a block is cut from a larger one, a rest too small for a block of its own goes with it: less than a
        // block may come and go.
        if (now < before + times * smallestBlock) return;
        bytes_ += (now - before) / times;
        std::printf("%s: %zu bytes\n", c.name.c_str(), (now - before) / times);
    }

    void count(const orvcase::Case& c, const orvcase::Outcome& outcome) {
        for (const orvcase::Expectations& each : outcome.calls) {
            ++calls_;
            const orvcase::LiveCounts& live = each.live;
            if (live.lists.value_or(0) + live.rois.value_or(0) + live.images.value_or(0) == 0) continue;
            ++leaving_;
            objects_.lists = objects_.lists.value_or(0) + live.lists.value_or(0);
            objects_.rois = objects_.rois.value_or(0) + live.rois.value_or(0);
            objects_.images = objects_.images.value_or(0) + live.images.value_or(0);
            if (!options_.quiet) {
                std::printf("%s: %u lists, %u regions, %u images%s\n", c.name.c_str(), live.lists.value_or(0),
                            live.rois.value_or(0), live.images.value_or(0), each.status == 0 ? "" : ", failing");
            }
        }
    }

    static constexpr std::size_t times = 8;          ///< that a case is run between two looks at the heap
    static constexpr std::size_t smallestBlock = 32; ///< of the C library's

    const Options& options_;
    unsigned long long cases_ = 0;
    unsigned long long calls_ = 0;
    unsigned long long leaving_ = 0; ///< calls that leave host objects
    std::size_t bytes_ = 0;
    orvcase::LiveCounts objects_;
};

/// The C library keeps freed blocks of each size at hand and counts them as in use, unless it is told otherwise when
/// the program starts.
void startAgainWithoutKeptBlocks(char** argv) {
    const char* given = std::getenv("GLIBC_TUNABLES");
    const std::string tunables = given != nullptr ? given : "";
    if (tunables.find("tcache_count") != std::string::npos) return;
    setenv("GLIBC_TUNABLES", (tunables + (tunables.empty() ? "" : ":") + "glibc.malloc.tcache_count=0").c_str(), 1);
    execv("/proc/self/exe", argv);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parse({argv + 1, argv + argc});
        if (options.rounds > 1 || options.kept) startAgainWithoutKeptBlocks(argv);
        return (options.kept ? Kept(options).run() : Calls(options).run()) ? 0 : 1;
    } catch (const WrongUse& wrong) {
        std::fprintf(stderr, "orvcalls: %s\n%s", wrong.what.c_str(), usage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvcalls: %s\n", error.what());
        return 1;
    }
}
