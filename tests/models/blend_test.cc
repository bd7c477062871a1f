// The blends held against a model that follows their rules sample by sample; the one of bytes under bytes for every
// alpha and every pair of samples.

#include <array>
#include <cstdint>

#include "replay/Runner.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;

using Table = std::array<std::array<std::uint16_t, 256>, 256>;

Table makeTable() {
    Table table{};
    for (unsigned v = 0; v < 256; ++v) table[255][v] = static_cast<std::uint16_t>(v << 8);
    for (unsigned a = 1; a < 255; ++a) {
        const float step = static_cast<float>(a) * 1.003921628F;
        float total = step;
        if (a > 127) total = total + 128.0F;
        const unsigned rounding = a > 127 ? 128 : 0;
        table[a][0] = static_cast<std::uint16_t>(rounding);
        table[a][255] = static_cast<std::uint16_t>((a << 8) + rounding);
        for (unsigned v = 1; v < 255; ++v) {
            table[a][v] = static_cast<std::uint16_t>(total);
            total = total + step;
        }
    }
    return table;
}

double blendBytes(double alpha, double s1, double s2) {
    static const Table table = makeTable();
    const auto a = static_cast<std::size_t>(alpha);
    return (table[255 - a][static_cast<std::size_t>(s1)] + table[a][static_cast<std::size_t>(s2)]) >> 8;
}

float mixed(float alpha, double s1, double s2) {
    return static_cast<float>((1 - double{alpha}) * s1 + double{alpha} * s2);
}

double toShort(float x) {
    if (x > 32767.0F) return 32767;
    if (x < -32768.0F) return -32768;
    return std::trunc(static_cast<float>(x >= 0 ? double{x} + 0.5 : double{x} - 0.5));
}

double blendBytesUnderShorts(double a, double s1, double s2) {
    const float x = mixed(static_cast<float>(a / 65535.0 + 0.5), s1, s2);
    if (x > 254.5F) return 255;
    return x < 0.5F ? 0 : std::trunc(double{x} + 0.5);
}

struct Member {
    OrvDataType type;
    OrvDataType alpha;
    double (*of)(double a, double s1, double s2);
};

constexpr Member members[] = {
    {ORV_BIT, ORV_BIT, [](double a, double s1, double s2) { return a == 1 ? s2 : s1; }},
    {ORV_BIT, ORV_BYTE, [](double a, double s1, double s2) { return a > 127 ? s2 : s1; }},
    {ORV_BIT, ORV_SHORT, [](double a, double s1, double s2) { return a > 0 ? s2 : s1; }},
    {ORV_BYTE, ORV_BIT, [](double a, double s1, double s2) { return a == 1 ? s2 : s1; }},
    {ORV_BYTE, ORV_BYTE, blendBytes},
    {ORV_BYTE, ORV_SHORT, blendBytesUnderShorts},
    {ORV_SHORT, ORV_BIT, [](double a, double s1, double s2) { return a == 1 ? s2 : s1; }},
    {ORV_SHORT, ORV_BYTE,
     [](double a, double s1, double s2) { return toShort(mixed(static_cast<float>(a / 255.0), s1, s2)); }},
    {ORV_SHORT, ORV_SHORT,
     [](double a, double s1, double s2) { return toShort(mixed(static_cast<float>(a / 65535.0), s1, s2)); }},
};

std::string nameOf(const Member& member) { return "blend" + typeSuffix(member.type) + "a" + typeSuffix(member.alpha); }

void PrintTo(const Member& member, std::ostream* out) { *out << nameOf(member); }

/// Stretches of one alpha, often pure, between others.
void drawRuns(Dice& dice, Image& alpha) {
    std::size_t i = 0;
    while (i < alpha.data.size()) {
        const double value = dice.chance(70) ? (dice.chance(50) ? 0 : 255) : static_cast<double>(dice.upTo(255));
        for (unsigned n = dice.upTo(150); n > 0 && i < alpha.data.size(); --n) alpha.data[i++] = value;
        for (unsigned n = dice.upTo(9); n > 0 && i < alpha.data.size(); --n) alpha.data[i++] = dice.upTo(255);
    }
}

Case randomCase(Dice& dice, const Member& member) {
    Case c{.name = nameOf(member)};
    const unsigned bands = static_cast<unsigned>(dice.chance(40) ? 3 : dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 5));
    for (const char* name : {"a", "b", "d"}) {
        c.images.push_back(randomImage(dice, name, member.type, width + dice.upTo(2), height, bands));
    }
    c.images.push_back(randomImage(dice, "m", member.alpha, width + dice.upTo(2), height, 1));
    if (member.alpha == ORV_BYTE && dice.chance(60)) drawRuns(dice, c.image("m"));
    static constexpr const char* destinations[] = {"d", "d", "d", "a", "b"};
    orvcase::Call call{.op = c.name, .src = {"a", "b", "m"}, .dst = destinations[dice.upTo(4)]};
    expectPixelwise(c, call, {"a", "b", "m"}, [&](const auto& samples, unsigned band, double) {
        return member.of(samples[2][0], samples[0][band], samples[1][band]);
    });
    c.addCall(call);
    return c;
}

class Blends : public testing::TestWithParam<Member> {};

TEST_P(Blends, FollowTheModel) {
    rounds(120, 4000, [&](Dice& dice) { return randomCase(dice, GetParam()); });
}

INSTANTIATE_TEST_SUITE_P(All, Blends, testing::ValuesIn(members));

TEST(BlendOfBytes, EveryAlphaOnEveryPair) {
    Case c{.name = "every"};
    for (const char* name : {"a", "b", "m", "d"}) {
        c.images.push_back({.name = name, .type = ORV_BYTE, .width = 4096, .height = 4096});
        c.images.back().data.resize(c.images.back().sampleCount());
    }
    orvcase::ExpectedImage out{.image = "d"};
    out.values.reserve(c.images[0].sampleCount());
    std::size_t i = 0;
    for (unsigned alpha = 0; alpha < 256; ++alpha) {
        for (unsigned a = 0; a < 256; ++a) {
            for (unsigned b = 0; b < 256; ++b, ++i) {
                c.images[0].data[i] = a;
                c.images[1].data[i] = b;
                c.images[2].data[i] = alpha;
                out.values.push_back(blendBytes(alpha, a, b));
            }
        }
    }
    orvcase::Call call{.op = "blend8a8", .src = {"a", "b", "m"}, .dst = "d"};
    call.expect.out.push_back(std::move(out));
    c.addCall(std::move(call));
    for (const std::string& build : orvcase::availableBuilds()) {
        const orvcase::Outcome outcome = orvcase::runCase(c, {.build = build});
        EXPECT_TRUE(outcome.passed()) << build << ": " << outcome.mismatches.front().text;
    }
}

} // namespace
