// The ops on two images, and those on one without parameters, held against a model that follows their rules sample by
// sample.

#include "models/pixel_rules.h"
#include "support/PixelModel.h"

namespace {

using namespace pixelmodel;
using namespace pixelrules;

struct Member {
    const char* name;
    OrvDataType type;
    double (*of)(double a, double b, OrvDataType type);
    int sources = 2;
    bool tellsZeros = false;
};

constexpr Member members[] = {
    {"add", ORV_BIT, add},
    {"add", ORV_BYTE, add},
    {"add", ORV_SHORT, add},
    {"subtract", ORV_BIT, subtract},
    {"subtract", ORV_BYTE, subtract},
    {"subtract", ORV_SHORT, subtract},
    {"multiply", ORV_BIT, multiply},
    {"multiply", ORV_BYTE, multiply},
    {"multiply", ORV_SHORT, multiply},
    {"divide", ORV_BIT, divide, 2, true},
    {"divide", ORV_BYTE, divide, 2, true},
    {"divide", ORV_SHORT, divide, 2, true},
    {"max", ORV_BYTE, largest},
    {"max", ORV_SHORT, largest},
    {"min", ORV_BYTE, smallest},
    {"min", ORV_SHORT, smallest},
    {"and", ORV_BIT, both},
    {"and", ORV_BYTE, both},
    {"and", ORV_SHORT, both},
    {"or", ORV_BIT, either},
    {"or", ORV_BYTE, either},
    {"or", ORV_SHORT, either},
    {"xor", ORV_BIT, oneOf},
    {"xor", ORV_BYTE, oneOf},
    {"xor", ORV_SHORT, oneOf},
    {"not", ORV_BIT, inverse, 1},
    {"not", ORV_BYTE, inverse, 1},
    {"not", ORV_SHORT, inverse, 1},
    {"absolute", ORV_SHORT, absolute, 1},
};

void PrintTo(const Member& member, std::ostream* out) { *out << member.name << typeSuffix(member.type); }

/// Whether the divisors that a call meets hold a zero: the pixels of the call, or for bits the divisor's own region as
/// it stands after the pixels were written.
bool meetsZero(const Case& c, const orvcase::Call& call, const std::string& divisor) {
    Image image = c.image(divisor);
    Pixels pixels = pixelsOf(image);
    if (image.type != ORV_BIT) {
        pixels = common(pixels, common(pixelsOf(c.image(call.src[0])), pixelsOf(c.image(call.dst))));
    } else if (call.dst == divisor) {
        for (std::size_t i = 0; i < image.data.size(); ++i) image.data[i] = *call.expect.out[0].values[i];
    }
    return std::any_of(pixels.begin(), pixels.end(), [&](const Pixel& pixel) {
        for (unsigned band = 0; band < image.bands; ++band) {
            if (sampleAt(image, pixel, band) == 0) return true;
        }
        return false;
    });
}

Case randomCase(Dice& dice, const Member& member) {
    const OrvDataType type = member.type;
    Case c{.name = member.name + typeSuffix(type)};
    const unsigned bands = static_cast<unsigned>(dice.between(1, 5));
    const unsigned width = randomWidth(dice);
    const unsigned height = static_cast<unsigned>(dice.between(1, 5));
    for (const char* name : {"a", "b", "d"}) {
        c.images.push_back(randomImage(dice, name, type, width + dice.upTo(2), height, bands));
    }
    // Divisors without a zero too.
    if (dice.chance(50)) {
        for (double& sample : c.image("b").data) sample = sample == 0 ? 1 : sample;
    }
    static constexpr const char* destinations[] = {"d", "d", "d", "a", "b"};
    static constexpr const char* seconds[] = {"b", "b", "b", "a"};
    const std::string second = member.sources == 2 ? seconds[dice.upTo(3)] : "";
    orvcase::Call call{.op = c.name, .src = {"a", second}, .dst = destinations[dice.upTo(4)]};
    std::vector<std::string> sources{"a"};
    if (member.sources == 2) sources.push_back(second);
    expectPixelwise(c, call, sources, [&](const auto& samples, unsigned band, double) {
        return member.of(samples[0][band], samples.back()[band], type);
    });
    if (member.tellsZeros && meetsZero(c, call, second)) {
        call.expect.errors = {{.id = "di-171", .category = 4, .primary = 1}};
        // The search for a zero bit keeps its list at a hit.
        if (type == ORV_BIT) call.expect.live.lists = 1;
    }
    c.addCall(call);
    return c;
}

class Pairs : public testing::TestWithParam<Member> {};

TEST_P(Pairs, FollowTheModel) {
    rounds(100, 2000, [&](Dice& dice) { return randomCase(dice, GetParam()); });
}

INSTANTIATE_TEST_SUITE_P(All, Pairs, testing::ValuesIn(members));

/// Every pair of bytes, or of shorts near the turns, in rows that vectors fill.
void everyPair(const Member& member, const std::vector<long>& values) {
    Case c{.name = member.name + typeSuffix(member.type)};
    const auto size = static_cast<unsigned>(values.size());
    for (const char* name : {"a", "b", "d"}) {
        c.images.push_back({.name = name, .type = member.type, .width = size, .height = size});
    }
    for (long a : values) {
        for (long b : values) {
            c.image("a").data.push_back(static_cast<double>(a));
            c.image("b").data.push_back(static_cast<double>(b));
        }
    }
    orvcase::Call call{.op = c.name, .src = {"a", "b"}, .dst = "d"};
    expectPixelwise(c, call, {"a", "b"}, [&](const auto& samples, unsigned band, double) {
        return member.of(samples[0][band], samples[1][band], member.type);
    });
    if (member.tellsZeros) call.expect.errors = {{.id = "di-171", .category = 4, .primary = 1}};
    c.addCall(call);
    passes(c);
}

TEST(EveryPair, OfBytes) {
    std::vector<long> bytes;
    for (long value = 0; value < 256; ++value) bytes.push_back(value);
    for (const Member& member : members) {
        if (member.type == ORV_BYTE && member.sources == 2) everyPair(member, bytes);
    }
}

TEST(EveryPair, OfShortsNearTheTurns) {
    std::vector<long> shorts;
    for (long turn : {-32768L, -16384L, -256L, -181L, 0L, 181L, 257L, 16384L, 32767L}) {
        for (long near = turn - 8; near <= turn + 8; ++near) {
            if (near >= -32768 && near <= 32767) shorts.push_back(near);
        }
    }
    for (const Member& member : members) {
        if (member.type == ORV_SHORT && member.sources == 2) everyPair(member, shorts);
    }
}

TEST(EveryPair, OfShortsDividedByRoundedQuotients) {
    // Quotients at and beside every half.
    Dice dice(77);
    Case c{.name = "halves"};
    for (const char* name : {"a", "b", "d"}) {
        c.images.push_back({.name = name, .type = ORV_SHORT, .width = 512, .height = 64});
    }
    for (std::size_t i = 0; i < std::size_t{512} * 64; ++i) {
        const long divisor = dice.between(1, 32767) >> dice.between(0, 14);
        const long b = std::max(1L, divisor) * (dice.chance(50) ? 1 : -1);
        const long quotient = dice.between(-32768 / std::abs(b), 32767 / std::abs(b));
        const long a = quotient * b + b / 2 + dice.between(-1, 1);
        c.image("a").data.push_back(static_cast<double>(std::clamp(a, -32768L, 32767L)));
        c.image("b").data.push_back(static_cast<double>(b));
    }
    orvcase::Call call{.op = "divide16", .src = {"a", "b"}, .dst = "d"};
    expectPixelwise(c, call, {"a", "b"}, [&](const auto& samples, unsigned band, double) {
        return divide(samples[0][band], samples[1][band], ORV_SHORT);
    });
    c.addCall(call);
    passes(c);
}

} // namespace
