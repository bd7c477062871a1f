#include "Compare.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

#include "Numbers.h"

namespace orvcase {
namespace {

std::string text(double value) {
    if (value == std::trunc(value) && std::fabs(value) < 4294967296.0)
        return std::to_string(static_cast<long long>(value));
    return formatFloat(static_cast<float>(value));
}
std::string text(const std::optional<double>& value) { return value ? text(*value) : "*"; }

template <class T>
std::string orAny(const std::optional<T>& value) {
    if (!value) return "*";
    if constexpr (std::is_same_v<T, std::string>)
        return *value;
    else
        return std::to_string(*value);
}

bool agrees(const std::optional<double>& expected, double actual, double within) {
    if (!expected || *expected == actual) return true;
    if (std::isnan(*expected) && std::isnan(actual)) return true;
    return std::fabs(*expected - actual) <= within;
}

std::string regionText(const std::vector<orv::host::Rect>& rects) {
    if (rects.empty()) return "empty";
    std::string line;
    for (const auto& r : rects) {
        if (!line.empty()) line += ';';
        line += std::to_string(r.x) + ',' + std::to_string(r.y) + ',' + std::to_string(r.width) + ',' +
                std::to_string(r.height);
    }
    return line;
}

std::vector<orv::host::Rect> canonical(const Region& region, orv::host::Session& session) {
    std::vector<orv::host::Rect> rects;
    for (const Rect& r : region) {
        rects.push_back({r.x, r.y, static_cast<unsigned>(r.width), static_cast<unsigned>(r.height)});
    }
    return orv::host::rectsOf(orv::host::makeRoi(session, rects).get());
}

std::string describe(const orv::host::Report& report) {
    return report.id + ' ' + std::to_string(report.category) + ' ' + std::to_string(report.primary) + ' ' +
           std::to_string(report.line) + ' ' + report.file;
}

std::string describe(const ExpectedError& error) {
    std::string line = error.id + ' ' + orAny(error.category) + ' ' + orAny(error.primary);
    if (error.line || error.file) line += ' ' + orAny(error.line) + ' ' + orAny(error.file);
    return line;
}

template <class T, class U>
bool equalOrAny(const std::optional<T>& expected, const U& actual) {
    return !expected || *expected == actual;
}

bool agrees(const ExpectedError& expected, const orv::host::Report& report) {
    return expected.id == report.id && equalOrAny(expected.category, static_cast<int>(report.category)) &&
           equalOrAny(expected.primary, report.primary) && equalOrAny(expected.line, report.line) &&
           equalOrAny(expected.file, report.file);
}

std::string place(unsigned column, unsigned row, unsigned band) {
    return "column " + std::to_string(column) + " row " + std::to_string(row) + " band " + std::to_string(band);
}

class Comparison {
public:
    Comparison(const Case& c, const Call& call, const CallFacts& facts, orv::host::Session& session, Stage& stage,
               std::vector<Mismatch>& mismatches)
        : case_(c), call_(call), facts_(facts), session_(session), stage_(stage), mismatches_(mismatches) {}

    void run() {
        status();
        errors();
        for (const ExpectedImage& expected : call_.expect.out) out(expected);
        for (const StagedImage& image : stage_.images()) storage(image);
        for (const ExpectedTouch& expected : call_.expect.touched) touched(expected);
        for (const ExpectedContents& expected : call_.expect.now) now(expected);
        for (const ExpectedLookup& expected : call_.expect.results) result(expected);
        live();
        if (const std::string name = stage_.overrunArray(); !name.empty()) {
            add(0, "memory beside the array " + name + " was written");
        }
    }

private:
    void add(int line, std::string what) { mismatches_.push_back({line != 0 ? line : call_.line, std::move(what)}); }

    void status() {
        const auto& expected = call_.expect.status;
        if (equalOrAny(expected, facts_.result.status)) return;
        add(0, "status: expected " + orAny(expected) + ", came " + std::to_string(facts_.result.status));
    }

    void errors() {
        const auto& expected = call_.expect.errors;
        const auto& came = facts_.reports;
        for (std::size_t i = 0; i < std::max(expected.size(), came.size()); ++i) {
            if (i >= came.size()) return add(0, "error: expected " + describe(expected[i]) + ", came none");
            if (i >= expected.size()) return add(0, "error: expected none, came " + describe(came[i]));
            if (!agrees(expected[i], came[i])) {
                return add(0, "error: expected " + describe(expected[i]) + ", came " + describe(came[i]));
            }
        }
    }

    /// Calls visit(column, row, band, place in the data) until it answers false.
    template <class Visit>
    static void eachSample(const Image& image, Visit visit) {
        std::size_t i = 0;
        for (unsigned row = 0; row < image.height; ++row) {
            for (unsigned column = 0; column < image.width; ++column) {
                for (unsigned band = 0; band < image.bands; ++band) {
                    if (!visit(column, row, band, i++)) return;
                }
            }
        }
    }

    void out(const ExpectedImage& expected) {
        const StagedImage& image = stage_.image(expected.image);
        const std::size_t count = image.declared->sampleCount();
        if (!expected.values.empty() && expected.values.size() != count) {
            return add(expected.line, "out " + expected.image + ": " + std::to_string(count) + " samples, but " +
                                          std::to_string(expected.values.size()) + " expected");
        }
        std::size_t wrong = 0;
        std::string first;
        eachSample(*image.declared, [&](unsigned column, unsigned row, unsigned band, std::size_t i) {
            const auto& wanted = expected.values.empty() ? expected.fill : expected.values[i];
            const double came = stage_.sample(image, column, row, band);
            if (agrees(wanted, came, expected.within)) return true;
            if (wrong++ == 0) first = place(column, row, band) + ": expected " + text(wanted) + ", came " + text(came);
            return true;
        });
        if (wrong != 0) {
            add(expected.line, "out " + expected.image + " " + first + " (" + std::to_string(wrong) + " of " +
                                   std::to_string(count) + " samples differ)");
        }
    }

    static bool names(const Call& call, const StagedImage& image) {
        const auto& out = call.expect.out;
        return std::any_of(out.begin(), out.end(),
                           [&](const ExpectedImage& e) { return e.image == image.declared->name; });
    }
    bool isNamed(const StagedImage& image) const { return names(call_, image); }

    /// Whether the case speaks of the image. A call that prepares another one may change what only that one names, but
    /// one that must fail may not.
    bool isTold(const StagedImage& image) const {
        if (isNamed(image)) return true;
        return call_.expect.status != ORV_FAILURE && std::ranges::any_of(case_.steps, [&](const Step& step) {
                   const Call* const call = std::get_if<Call>(&step);
                   return call != nullptr && names(*call, image);
               });
    }

    bool isAncestor(const StagedImage& ancestor, const StagedImage& image) const {
        for (std::string parent = image.declared->parent; !parent.empty(); parent = case_.image(parent).parent) {
            if (parent == ancestor.declared->name) return true;
        }
        return false;
    }

    static bool holds(const StagedImage& image, unsigned column, unsigned row, unsigned band) {
        const auto within = [](unsigned at, unsigned from, unsigned size) { return at >= from && at - from < size; };
        return within(column, image.rootX, image.declared->width) && within(row, image.rootY, image.declared->height) &&
               within(band, image.rootBand, image.declared->bands);
    }

    /// All that an image's storage must keep: the bits that hold no sample, and, unless the case speaks of the image,
    /// its samples.
    void storage(const StagedImage& image) {
        const StagedImage& root = stage_.images()[image.root];
        const bool changed = std::memcmp(root.before.data(), root.memory->data(), root.before.size()) != 0;
        if (&root == &image) {
            if (!root.memory->marginsIntact())
                add(0, "memory beside the storage of " + image.declared->name + " was written");
            if (changed) gaps(root);
        }
        if (changed && !isTold(image)) unchanged(image);
    }

    void gaps(const StagedImage& root) {
        const std::vector<unsigned char> bits = stage_.sampleBits(root);
        const unsigned char* now = root.memory->data();
        for (std::size_t i = 0; i < bits.size(); ++i) {
            if (((now[i] ^ root.before[i]) & ~bits[i]) == 0) continue;
            return add(0, "storage of " + root.declared->name + ": byte " + std::to_string(i) +
                              ", which holds bits that are no samples, was " + std::to_string(root.before[i]) +
                              ", is " + std::to_string(now[i]));
        }
    }

    /// Holds an image that nothing is said of against what it was. Its parents and children are left out where they are
    /// named, and so are samples that it shares with another named image.
    void unchanged(const StagedImage& image) {
        std::vector<const StagedImage*> named;
        for (const StagedImage& other : stage_.images()) {
            if (other.root != image.root || !isTold(other)) continue;
            if (isAncestor(other, image) || isAncestor(image, other)) return;
            named.push_back(&other);
        }
        const StagedImage& root = stage_.images()[image.root];
        eachSample(*image.declared, [&](unsigned column, unsigned row, unsigned band, std::size_t) {
            const double was = stage_.sample(image, column, row, band, root.before);
            const double is = stage_.sample(image, column, row, band);
            if (agrees(was, is, 0)) return true;
            const bool shared = std::any_of(named.begin(), named.end(), [&](const StagedImage* other) {
                return holds(*other, column + image.rootX, row + image.rootY, band + image.rootBand);
            });
            if (shared) return true;
            add(0, "image " + image.declared->name + " must not change, but " + place(column, row, band) + " was " +
                       text(was) + ", is " + text(is));
            return false;
        });
    }

    void touched(const ExpectedTouch& expected) {
        const orv::host::Image& image = *stage_.image(expected.image).object;
        const bool called = image.touchedCount() > 0;
        const auto came = orv::host::rectsOf(image.touched());
        const auto wanted = expected.region ? canonical(*expected.region, session_) : std::vector<orv::host::Rect>{};
        if (called == expected.region.has_value() && (!called || came == wanted)) return;
        add(expected.line, "touched " + expected.image + ": expected " +
                               (expected.region ? regionText(wanted) : "none") + ", came " +
                               (called ? regionText(came) : "none"));
    }

    void values(int line, const std::string& what, const ExpectedValues& expected, const Values& came) {
        if (expected.size() != came.size()) {
            return add(line, what + ": expected " + std::to_string(expected.size()) + " values, came " +
                                 std::to_string(came.size()));
        }
        for (std::size_t i = 0; i < came.size(); ++i) {
            if (agrees(expected[i], came[i], 0)) continue;
            return add(line, what + " value " + std::to_string(i) + ": expected " + text(expected[i]) + ", came " +
                                 text(came[i]));
        }
    }

    void now(const ExpectedContents& expected) {
        values(expected.line, "now " + expected.name, expected.values, stage_.contents(expected.name));
    }

    void result(const ExpectedLookup& expected) {
        const orv::host::Lookup* came = stage_.result(expected.slot);
        const std::string wanted =
            "result " + expected.slot + ": expected " + (expected.null ? "null" : describe(expected));
        if (came == nullptr) {
            if (!expected.null) add(expected.line, wanted + ", came null");
            return;
        }
        const ExpectedLookup is = lookupOf(expected.slot, *came);
        if (expected.null || describe(is) != describe(expected)) {
            return add(expected.line, wanted + ", came " + describe(is));
        }
        Values samples;
        for (const auto& value : is.values) samples.push_back(*value);
        values(expected.line, "result " + expected.slot, expected.values, samples);
    }

    static std::string describe(const ExpectedLookup& lookup) {
        return std::string(typeName(lookup.in)) + ' ' + typeName(lookup.out) + ' ' + std::to_string(lookup.bands) +
               ' ' + std::to_string(lookup.offset) + ' ' + std::to_string(lookup.entries);
    }
    static std::string describe(const orv::host::Report& report) { return orvcase::describe(report); }
    static std::string describe(const ExpectedError& error) { return orvcase::describe(error); }

    void live() {
        const auto check = [&](const char* what, const std::optional<unsigned>& expected, unsigned came) {
            if (equalOrAny(expected, came)) return;
            add(0, std::string("live ") + what + ": expected " + orAny(expected) + ", came " + std::to_string(came));
        };
        check("lists", call_.expect.live.lists, facts_.result.live.lists);
        check("rois", call_.expect.live.rois, facts_.result.live.rois);
        check("images", call_.expect.live.images, facts_.result.live.images);
    }

public:
    static ExpectedLookup lookupOf(const std::string& slot, const orv::host::Lookup& lookup) {
        ExpectedLookup made{.slot = slot,
                            .in = lookup.inputType(),
                            .out = lookup.outputType(),
                            .bands = lookup.bands(),
                            .offset = lookup.offset(),
                            .entries = lookup.entries()};
        const auto copy = [&](auto sample) {
            const auto* samples = static_cast<const decltype(sample)*>(lookup.data());
            for (std::size_t i = 0; i < lookup.sampleCount(); ++i) made.values.emplace_back(samples[i]);
        };
        switch (lookup.outputType()) {
        case ORV_BIT:
        case ORV_BYTE:
            copy(static_cast<unsigned char>(0));
            break;
        case ORV_SHORT:
            copy(short{});
            break;
        case ORV_FLOAT:
            copy(float{});
            break;
        }
        return made;
    }

    Expectations record() {
        Expectations made{.status = facts_.result.status};
        for (const auto& report : facts_.reports) {
            made.errors.push_back({report.id, report.category, report.primary, report.line, report.file});
        }
        for (const StagedImage& image : stage_.images()) {
            recordOut(image, made);
            recordTouched(image, made);
        }
        for (const auto& [name, before] : facts_.contentsBefore) recordNow(name, before, made);
        for (const Slot& slot : case_.slots) recordResult(slot.name, made);
        const auto& live = facts_.result.live;
        made.live = {live.lists, live.rois, live.images};
        return made;
    }

private:
    /// An image is recorded where the expectations name it or where it changed; a change of shared samples is told by
    /// the root.
    void recordOut(const StagedImage& image, Expectations& made) {
        const StagedImage& root = stage_.images()[image.root];
        const bool changed =
            &root == &image && std::memcmp(root.before.data(), root.memory->data(), root.before.size()) != 0;
        if (!changed && !isNamed(image)) return;
        ExpectedImage& out = made.out.emplace_back();
        out.image = image.declared->name;
        eachSample(*image.declared, [&](unsigned column, unsigned row, unsigned band, std::size_t) {
            out.values.emplace_back(stage_.sample(image, column, row, band));
            return true;
        });
    }

    void recordTouched(const StagedImage& image, Expectations& made) {
        const auto& expected = call_.expect.touched;
        const std::string& name = image.declared->name;
        const bool named = name == call_.dst || std::any_of(expected.begin(), expected.end(),
                                                            [&](const ExpectedTouch& e) { return e.image == name; });
        const bool called = image.object->touchedCount() > 0;
        if (!named && !called) return;
        ExpectedTouch& touched = made.touched.emplace_back();
        touched.image = name;
        if (!called) return;
        touched.region.emplace();
        for (const auto& r : orv::host::rectsOf(image.object->touched())) {
            touched.region->push_back({r.x, r.y, static_cast<long>(r.width), static_cast<long>(r.height)});
        }
    }

    void recordNow(const std::string& name, const Values& before, Expectations& made) {
        const Values after = stage_.contents(name);
        const auto& expected = call_.expect.now;
        const bool named =
            std::any_of(expected.begin(), expected.end(), [&](const ExpectedContents& e) { return e.name == name; });
        const bool changed = !std::equal(before.begin(), before.end(), after.begin(), after.end(),
                                         [](double a, double b) { return agrees(a, b, 0); });
        if (!named && !changed) return;
        ExpectedContents& now = made.now.emplace_back();
        now.name = name;
        now.values.assign(after.begin(), after.end());
    }

    void recordResult(const std::string& slot, Expectations& made) {
        const auto refersTo = [&](const Param& param) { return param.name == slot; };
        if (std::none_of(call_.params.begin(), call_.params.end(), refersTo)) return;
        const orv::host::Lookup* lookup = stage_.result(slot);
        made.results.push_back(lookup ? lookupOf(slot, *lookup) : ExpectedLookup{.slot = slot, .null = true});
    }

    const Case& case_;
    const Call& call_;
    const CallFacts& facts_;
    orv::host::Session& session_;
    Stage& stage_;
    std::vector<Mismatch>& mismatches_;
};

} // namespace

void compare(const Case& c, const Call& call, const CallFacts& facts, Stage& stage, std::vector<Mismatch>& mismatches) {
    Comparison(c, call, facts, stage.session(), stage, mismatches).run();
}

Expectations record(const Case& c, const Call& call, const CallFacts& facts, Stage& stage) {
    std::vector<Mismatch> none;
    return Comparison(c, call, facts, stage.session(), stage, none).record();
}

} // namespace orvcase
