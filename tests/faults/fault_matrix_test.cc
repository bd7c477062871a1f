// Every function of the device, and every failure of what it asks of its host and of its memory, one at a time and in
// every position. Each call runs in a process of its own, or of its own after a sound one, so that nothing is made
// beforehand; after the failure the same call must do what it does without one.
//
// ORV_FAULT_VARIANTS=N plays N different calls of each function; ORV_FAULT_EVERY=N only every Nth function, for builds
// in which a process costs more than a call; ORV_FAULT_LIST=1 prints every outcome, and whether behaviour names it.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

#include "faults/Outcomes.h"
#include "replay/CaseText.h"
#include "replay/FaultNames.h"
#include "replay/Runner.h"
#include "support/Calls.h"

namespace {

using orvcase::Case;
using orvcase::CaseReport;
using orvcase::Fault;
using orvcase::FaultPoint;
using orvfaults::any;
using orvfaults::Left;
using orvfaults::Role;
using orvfaults::Row;

unsigned fromEnvironment(const char* name, unsigned otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

orvcase::Call& callOf(Case& c) { return std::get<orvcase::Call>(c.steps.front()); }
const orvcase::Call& callOf(const Case& c) { return std::get<orvcase::Call>(c.steps.front()); }

/// A case with what came of it.
struct Played {
    std::string text;
    orvcase::Expectations came;
    std::vector<std::string> wrongs; ///< what no call may do: crash, or write where no sample is
    bool met = false;
};

bool isWrong(const std::string& mismatch) {
    for (const char* sign : {"crashed", "ended early", "no sample", "beside", "cannot"}) {
        if (mismatch.find(sign) != std::string::npos) return true;
    }
    return false;
}

Played played(const CaseReport& report) {
    Played p;
    p.text = report.printed;
    p.met = report.faultsMet > 0;
    for (const auto& mismatch : report.mismatches) {
        if (isWrong(mismatch.text)) p.wrongs.push_back(mismatch.text);
    }
    if (!report.printed.empty()) p.came = callOf(orvcase::readCases(report.printed, "came").at(0)).expect;
    return p;
}

std::vector<Played> play(const std::vector<Case>& cases) {
    std::vector<Played> all;
    for (const CaseReport& report : orvcase::runForked(cases, {.build = "baseline", .keepOutcome = true}, false)) {
        all.push_back(played(report));
    }
    return all;
}

/// The images of a call by their parts; of a chain, the first op's sources come first.
std::map<Role, std::string> partsOf(const Case& c) {
    const orvcase::Call& call = callOf(c);
    std::map<Role, std::string> parts;
    std::vector<std::string> sources;
    if (!c.chains.empty()) sources.assign(c.chains[0].src.begin(), c.chains[0].src.end());
    sources.insert(sources.end(), call.src.begin(), call.src.end());
    std::erase(sources, "");
    constexpr Role roles[] = {Role::first, Role::second, Role::third};
    for (std::size_t i = 0; i < sources.size(); ++i) parts[roles[i]] = sources[i];
    if (!call.dst.empty()) parts[Role::destination] = call.dst;
    return parts;
}

bool allDiffer(const std::map<Role, std::string>& parts) {
    std::set<std::string> names;
    for (const auto& [role, name] : parts) names.insert(name);
    return names.size() == parts.size();
}

class Matrix {
public:
    void function(const orvmodel::Function& f) {
        function_ = &f;
        unsigned found = 0;
        for (std::uint64_t seed = 1; found < variants_ && seed < 200; ++seed) found += variant(seed, nullptr);
        EXPECT_GT(found, 0U) << f.name << ": no call to try";
    }

    /// Looks for calls that meet the rows which none has met so far.
    void seekRows() {
        for (const Row& row : orvfaults::rows()) {
            for (const orvmodel::Function& f : orvmodel::functions()) {
                function_ = &f;
                if (!matches(row.functions)) continue;
                for (std::uint64_t seed = 1; !met_.contains(&row) && seed < 100; ++seed) variant(seed, &row);
            }
        }
    }

    /// Rows that speak of nothing that was played.
    std::vector<std::string> unmet() const {
        std::vector<std::string> all;
        for (const Row& row : orvfaults::rows()) {
            if (!met_.contains(&row)) all.push_back(std::string(row.functions) + ' ' + orvcase::nameOf(row.point).name);
        }
        return all;
    }

    void print() const {
        std::printf("%zu functions, %u calls, %u failures: %u as behaviour names them, %u others\n",
                    orvmodel::functions().size(), calls_, named_ + others_, named_, others_);
    }

private:
    struct Try {
        Fault fault;
        Role role;
    };

    /// A row's calls alone, where one is given.
    bool variant(std::uint64_t seed, const Row* row) {
        Case c = orvmodel::randomCall(*function_, seed);
        if (!allDiffer(partsOf(c))) return false;
        if (row != nullptr && row->when != nullptr && !row->when(c)) return false;
        const Played sound = play({c}).front();
        if (sound.came.status != 0 || !sound.came.errors.empty()) return false;
        case_ = std::move(c);
        sound_ = sound;
        ++calls_;
        host();
        allocations();
        return true;
    }

    /// All that the call asks of its host, several positions in a process.
    void host() {
        using enum FaultPoint;
        std::vector<std::pair<FaultPoint, Role>> points;
        for (const auto& [role, name] : partsOf(case_)) {
            for (const FaultPoint point : {storage, imageRoi, roi, systemState}) points.emplace_back(point, role);
        }
        for (const FaultPoint point : {roiList, rectList, intersect, translate, scale, transpose, clone, createRoi,
                                       createImage, createLookup, createMask, cachedOp, addRect, cube, scratch}) {
            points.emplace_back(point, Role::none);
        }
        unsigned first = 1;
        for (unsigned positions = 1; !points.empty(); first += positions, positions = 8) {
            std::vector<Try> tries;
            for (const auto& [point, role] : points) {
                for (unsigned n = first; n < first + positions; ++n) tries.push_back(tryOf(point, role, n));
            }
            const std::vector<bool> met = run(tries);
            // Only points whose last position was met may have more.
            std::set<std::pair<FaultPoint, Role>> more;
            for (std::size_t i = 0; i < tries.size(); ++i) {
                const Fault& fault = tries[i].fault;
                if (!met[i] || fault.nth != first + positions - 1 || !orvcase::nameOf(fault.point).counted) continue;
                more.insert({fault.point, tries[i].role});
            }
            points.assign(more.begin(), more.end());
        }
    }

    /// Each allocation fails once, in a process that has made no call before: tables are made once in a process.
    void allocations() {
        for (unsigned n = 1; run({tryOf(FaultPoint::newMemory, Role::none, n)})[0]; ++n) {
            ASSERT_LT(n, 5000U) << function_->name;
        }
    }

    Try tryOf(FaultPoint point, Role role, unsigned nth) const {
        Fault fault{.point = point, .nth = nth};
        if (role != Role::none) fault.image = partsOf(case_).at(role);
        return {fault, role};
    }

    /// Runs each failure and then the sound call, all in one process.
    std::vector<bool> run(const std::vector<Try>& tries) {
        std::vector<Case> cases;
        for (const Try& each : tries) {
            cases.push_back(case_);
            callOf(cases.back()).faults = {each.fault};
            cases.push_back(case_);
        }
        const std::vector<Played> all = play(cases);
        std::vector<bool> met;
        for (std::size_t i = 0; i < tries.size(); ++i) {
            met.push_back(all[2 * i].met);
            if (met.back()) judge(tries[i], all[2 * i], all[2 * i + 1]);
        }
        return met;
    }

    std::string describe(const Try& each) const {
        const auto& name = orvcase::nameOf(each.fault.point);
        return function_->name + " [" + case_.name + "] fail " + std::string(name.name) + ' ' +
               (each.fault.image.empty() ? "" : each.fault.image + ' ') + std::to_string(each.fault.nth);
    }

    const Row* rowOf(const Try& each) const {
        for (const Row& row : orvfaults::rows()) {
            if (row.point != each.fault.point || row.role != each.role) continue;
            if (each.fault.nth < row.from || each.fault.nth > row.to) continue;
            if (!matches(row.functions) || (row.when != nullptr && !row.when(case_))) continue;
            return &row;
        }
        return nullptr;
    }

    bool matches(const char* patterns) const {
        std::istringstream list(patterns);
        for (std::string pattern; std::getline(list, pattern, ',');) {
            if (fnmatch(pattern.c_str(), function_->name.c_str(), 0) == 0) return true;
        }
        return false;
    }

    void judge(const Try& each, const Played& failed, const Played& next) {
        const std::string where = describe(each);
        for (const std::string& wrong : failed.wrongs) ADD_FAILURE() << where << ": " << wrong;
        EXPECT_EQ(next.text, sound_.text) << where << ": the next call does something else";
        others(where, failed);
        const Row* row = rowOf(each);
        if (row != nullptr) met_.insert(row);
        (row != nullptr ? named_ : others_) += 1;
        if (row != nullptr) hold(*row, where, failed);
        if (list_)
            std::printf("%s %s: %s\n", row != nullptr ? "named" : "other", where.c_str(), outcome(failed).c_str());
    }

    /// Whatever fails: sources stay as they are, and a failure is either told or declined.
    void others(const std::string& where, const Played& failed) const {
        for (const orvcase::ExpectedImage& image : failed.came.out) {
            EXPECT_TRUE(isDestination(image.image)) << where << ": wrote to " << image.image;
        }
    }

    bool isDestination(const std::string& name) const {
        const std::string& destination = callOf(case_).dst;
        if (destination.empty()) return false;
        return name == destination || name == case_.image(destination).parent;
    }

    static void hold(const Row& row, const std::string& where, const Played& failed) {
        const orvcase::Expectations& came = failed.came;
        EXPECT_EQ(came.status, row.status) << where;
        std::vector<std::string> wanted, reports;
        for (const auto& told : row.reports) wanted.push_back(text(told.id, told.category, told.primary));
        for (const auto& error : came.errors) reports.push_back(text(error));
        EXPECT_EQ(reports, wanted) << where;
        if (row.left != Left::partial) {
            for (const auto& image : came.out) ADD_FAILURE() << where << ": wrote to " << image.image;
        }
        if (row.left == Left::nothing) {
            for (const auto& touch : came.touched) EXPECT_FALSE(touch.region) << where << ": set a touched region";
        }
        if (row.lists != any) {
            EXPECT_EQ(came.live.lists, static_cast<unsigned>(row.lists)) << where << ": lists";
        }
        if (row.rois != any) {
            EXPECT_EQ(came.live.rois, static_cast<unsigned>(row.rois)) << where << ": regions";
        }
        if (row.images != any) {
            EXPECT_EQ(came.live.images, static_cast<unsigned>(row.images)) << where << ": images";
        }
    }

    static std::string text(const std::string& id, int category, int primary) {
        return id + ' ' + std::to_string(category) + ' ' + std::to_string(primary);
    }
    /// What came has both.
    static std::string text(const orvcase::ExpectedError& came) {
        return text(came.id, came.category.value_or(-1), came.primary.value_or(-1));
    }

    static std::string outcome(const Played& p) {
        std::string line = "status " + std::to_string(p.came.status.value_or(-1));
        for (const auto& error : p.came.errors) line += ", " + text(error);
        for (const auto& image : p.came.out) line += ", wrote " + image.image;
        for (const auto& touch : p.came.touched) line += touch.region ? ", touched" : "";
        const auto& live = p.came.live;
        for (const auto& [name, count] :
             {std::pair{"lists", live.lists}, {"regions", live.rois}, {"images", live.images}}) {
            if (count.value_or(0) != 0) line += std::string(", keeps ") + std::to_string(*count) + ' ' + name;
        }
        return line;
    }

    const unsigned variants_ = fromEnvironment("ORV_FAULT_VARIANTS", 1);
    const bool list_ = fromEnvironment("ORV_FAULT_LIST", 0) != 0;
    const orvmodel::Function* function_ = nullptr;
    Case case_;
    Played sound_;
    std::set<const Row*> met_;
    unsigned calls_ = 0;
    unsigned named_ = 0;
    unsigned others_ = 0;
};

TEST(Faults, everyFunctionAndEveryFailure) {
    Matrix matrix;
    const unsigned every = fromEnvironment("ORV_FAULT_EVERY", 1);
    const auto& functions = orvmodel::functions();
    for (std::size_t i = 0; i < functions.size(); i += every) matrix.function(functions[i]);
    if (every == 1) matrix.seekRows();
    matrix.print();
    if (every != 1) return;
    for (const std::string& row : matrix.unmet()) ADD_FAILURE() << "nothing met the row " << row;
}

} // namespace
