// Table warps against a model that looks at one pixel after another, and at the warp table as plain memory.

#include <gtest/gtest.h>

#include "models/Answers.h"
#include "models/table_warp.h"

namespace {

using namespace orvmodel;
using namespace orvmodel::table_warp;

std::string opName(const Member& m) {
    const std::string form = m.form == 'b' ? "" : std::string(1, m.form);
    const char* digits = m.type == ORV_BIT ? "1" : m.type == ORV_BYTE ? "8" : "16";
    return "tablewarp" + form + digits + interpolations[m.kind];
}

void makeTable(Maker& maker, const std::string& name, unsigned bands) {
    const std::string made = maker.image(name, ORV_SHORT, bands);
    const long reach = maker.random.pick({0L, 20L, 60L, 400L});
    for (orvcase::Image& image : maker.c.images) {
        if (image.type != ORV_SHORT || (image.name != made && image.name != maker.c.image(made).parent)) continue;
        if (!image.parent.empty()) continue;
        image.data.assign(image.sampleCount(), 0);
        const bool sameForAll = maker.random.chance(20);
        const long fixed = maker.random.between(-reach, reach);
        for (double& v : image.data) {
            v = static_cast<double>(sameForAll ? fixed : maker.random.between(-reach, reach));
            if (maker.random.chance(3)) v = maker.random.pick({-32768.0, 32767.0, -1.0, 15.0, 16.0});
        }
    }
}

void makeInterp(Maker& maker, const char* name) {
    orvcase::Interp table{.name = name};
    table.size = 1 + maker.random.below(6);
    table.subsamples = 1 + maker.random.below(18);
    for (unsigned i = 0; i < table.size * table.subsamples; ++i) {
        table.data.push_back(static_cast<double>(maker.random.real(-0.4F, 1.0F)));
    }
    maker.c.interps.push_back(table);
}

void makeCall(Maker& maker, OrvDataType type, int kind, const std::string& suffix) {
    Member member{maker.random.pick({'b', 'h', 'v'}), type, kind};
    const unsigned bands = maker.bands();
    const std::string d = maker.image("d" + suffix, type, bands);
    const std::string s = maker.image("s" + suffix, type, bands);
    makeTable(maker, "t" + suffix,
              member.form == 'b' ? maker.random.pick({2U, 2U, 3U}) : maker.random.pick({1U, 1U, 2U}));
    orvcase::Call call{.op = opName(member), .src = {s, "t" + suffix}, .dst = d};
    if (kind == general) {
        call.params = {orvcase::Param::null(), orvcase::Param::null(), orvcase::Param::ref("h"),
                       orvcase::Param::ref("v")};
    }
    maker.c.addCall(std::move(call));
}

auto warps(OrvDataType type, int kind) {
    return [type, kind](Maker& maker) {
        if (kind == general) {
            makeInterp(maker, "h");
            makeInterp(maker, "v");
        }
        // Pictures that grow and shrink from call to call: addresses are kept between calls.
        const unsigned calls = maker.random.pick({1U, 1U, 3U});
        for (unsigned i = 0; i < calls; ++i) makeCall(maker, type, kind, std::to_string(i));
    };
}

void hold(OrvDataType type, int kind) {
    check({.make = warps(type, kind),
           .expect = answerTableWarp,
           .cases = 120,
           .seed = static_cast<std::uint64_t>(10 * type + kind + 1) * 1000});
}

TEST(TableWarp, NearestBits) { hold(ORV_BIT, nearest); }
TEST(TableWarp, BilinearBits) { hold(ORV_BIT, bilinear); }
TEST(TableWarp, BicubicBits) { hold(ORV_BIT, bicubic); }
TEST(TableWarp, GeneralBits) { hold(ORV_BIT, general); }
TEST(TableWarp, NearestBytes) { hold(ORV_BYTE, nearest); }
TEST(TableWarp, BilinearBytes) { hold(ORV_BYTE, bilinear); }
TEST(TableWarp, BicubicBytes) { hold(ORV_BYTE, bicubic); }
TEST(TableWarp, GeneralBytes) { hold(ORV_BYTE, general); }
TEST(TableWarp, NearestShorts) { hold(ORV_SHORT, nearest); }
TEST(TableWarp, BilinearShorts) { hold(ORV_SHORT, bilinear); }
TEST(TableWarp, BicubicShorts) { hold(ORV_SHORT, bicubic); }
TEST(TableWarp, GeneralShorts) { hold(ORV_SHORT, general); }

} // namespace
