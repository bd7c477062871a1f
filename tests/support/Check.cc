#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "orv/host/Device.h"
#include "replay/CaseText.h"
#include "replay/Runner.h"
#include "support/ModelKit.h"

namespace orvmodel {
namespace {

std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::strtoull(value, nullptr, 10) : otherwise;
}

} // namespace

const std::vector<std::string>& testedBuilds() {
    static const std::vector<std::string> builds = [] {
        std::vector<std::string> names = orvcase::availableBuilds();
        const std::filesystem::path best = orv::host::Device::open()->path();
        const std::filesystem::path past = best.parent_path() / "past" / best.filename();
        if (std::filesystem::exists(past)) names.push_back(past.string());
        return names;
    }();
    return builds;
}

std::string mismatch(const orvcase::Case& c) {
    for (const std::string& build : testedBuilds()) {
        for (const orvcase::Storage storage : orvcase::allStorages()) {
            const orvcase::Outcome outcome = orvcase::runCase(c, {.build = build, .storage = storage});
            if (outcome.passed()) continue;
            return outcome.mismatches[0].text + " [" + build + ", " + orvcase::storageName(storage) + "]";
        }
    }
    return {};
}

orvcase::Case makeCase(const Model& model, std::uint64_t seed) {
    Maker maker(seed);
    model.make(maker);
    maker.c.name = "seed_" + std::to_string(seed);
    return std::move(maker.c);
}

void check(const Model& model) {
    const std::uint64_t first = fromEnvironment("ORV_SEED", model.seed);
    const std::uint64_t count = fromEnvironment("ORV_CASES", model.cases);
    std::uint64_t answered = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        orvcase::Case c = makeCase(model, seed);
        try {
            answer(model, c);
        } catch (const Unanswered&) {
            continue;
        }
        ++answered;
        const std::string what = mismatch(c);
        if (what.empty()) continue;
        const orvcase::Case small = shrink(c, [&](orvcase::Case& smaller) {
            answer(model, smaller);
            return !mismatch(smaller).empty();
        });
        ADD_FAILURE() << "ORV_SEED=" << seed << ": " << what << "\nthe same, shrunk: " << mismatch(small) << "\n"
                      << orvcase::writeCase(small);
        return;
    }
    // A model that answers next to nothing tests next to nothing.
    EXPECT_GE(answered * 2, count) << "the model answered only " << answered << " of " << count << " cases";
}

} // namespace orvmodel
