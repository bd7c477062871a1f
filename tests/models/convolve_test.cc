// Convolution and the fused pair against a model that lists, for each pixel, the samples and weights in the order in
// which they are summed.

#include "FilterModel.h"

#include <cstdint>

namespace {

using namespace filtermodel;

struct Kernel {
    long width;
    long height;
    long keyX; // as the user gives it
    long keyY;
    std::vector<float> data;

    long turnedKeyX() const { return static_cast<std::int16_t>(width - keyX - 1); }
    long turnedKeyY() const { return static_cast<std::int16_t>(height - keyY - 1); }
    /// The weight of the turned kernel.
    float turned(long column, long row) const {
        return data[static_cast<std::size_t>(width * height - 1 - (row * width + column))];
    }
};

enum class Sum { afterEach, once, fixedPoint, bits };

double clampRound(OrvDataType type, float sum) {
    const float rounded = static_cast<float>(sum < 0 ? sum - 0.5 : sum + 0.5);
    const double low = type == ORV_BYTE ? 0 : -32768;
    const double high = type == ORV_BYTE ? 255 : 32767;
    if (rounded > high) return high;
    if (rounded >= low) return std::trunc(static_cast<double>(rounded));
    return low;
}

double fixedPoint(const std::vector<std::pair<double, float>>& terms) {
    std::uint32_t total = 0;
    for (const auto& [sample, tap] : terms) {
        const double product = std::trunc(sample * 65536.0 * static_cast<double>(tap));
        if (!(std::fabs(product) < 9223372036854775808.0)) continue;
        const double low = std::fmod(product, 4294967296.0);
        total += static_cast<std::uint32_t>(static_cast<std::int64_t>(low));
    }
    const double value = std::floor(static_cast<std::int32_t>(total) / 65536.0);
    return std::clamp(value, 0.0, 255.0);
}

double addUp(OrvDataType type, Sum how, const std::vector<std::pair<double, float>>& terms) {
    if (how == Sum::fixedPoint) return fixedPoint(terms);
    double once = 0;
    float each = 0;
    for (const auto& [sample, tap] : terms) {
        if (how == Sum::bits) {
            if (sample != 0) each = each + tap;
            continue;
        }
        once += sample * static_cast<double>(tap);
        each = static_cast<float>(each + sample * static_cast<double>(tap));
    }
    if (how == Sum::bits) return each < 0.5F ? 0 : 1;
    return clampRound(type, how == Sum::once ? static_cast<float>(once) : each);
}

std::vector<long> upward(long count) {
    std::vector<long> order;
    for (long i = 0; i < count; ++i) order.push_back(i);
    return order;
}

/// Elements of a window that starts at `first` of an axis of `extent` samples, split at the axis' end.
std::vector<long> splitOrder(long count, long first, long extent, bool insideFirst) {
    std::vector<long> inside;
    std::vector<long> beyond;
    for (long i = 0; i < count; ++i) (first + i < extent ? inside : beyond).push_back(i);
    std::reverse(inside.begin(), inside.end());
    std::vector<long> order = insideFirst ? inside : beyond;
    const std::vector<long>& rest = insideFirst ? beyond : inside;
    order.insert(order.end(), rest.begin(), rest.end());
    return order;
}

class ConvolveModel {
public:
    ConvolveModel(const Image& source, const Image& destination, const Kernel& kernel, long edge)
        : source_(source), destination_(destination), kernel_(kernel), edge_(edge), result_(destination.data) {}

    orvcase::Values run() {
        const Pixels written = common(pixelsOf(destination_), pixelsOf(source_));
        const auto regions =
            nineRegions(written, source_, kernel_.width, kernel_.height, kernel_.turnedKeyX(), kernel_.turnedKeyY());
        for (int region = 0; region < 9; ++region) {
            for (const Rect& rect : regions[static_cast<std::size_t>(region)]) rectangle(region, rect);
        }
        return result_;
    }

private:
    void rectangle(int region, const Rect& rect) {
        if (region != 4 && edge_ != 1 && edge_ != 2) return;
        const unsigned bands = std::min(source_.bands, destination_.bands);
        for (unsigned band = 0; band < bands; ++band) {
            for (long y = rect.y; y < rect.y + rect.height; ++y) {
                for (long x = rect.x; x < rect.x + rect.width; ++x) {
                    const double value = region != 4 && edge_ == 1 ? 0 : pixel(region, rect, x, y, band);
                    result_[destination_.index(static_cast<unsigned>(x + originX(destination_)),
                                               static_cast<unsigned>(y + originY(destination_)), band)] = value;
                }
            }
        }
    }

    Sum kind(int region) const {
        const long w = kernel_.width;
        const long h = kernel_.height;
        if (source_.type == ORV_BIT) return Sum::bits;
        if (region != 4) return Sum::afterEach;
        if (source_.type == ORV_BYTE) return w == h && (w == 3 || w == 5) ? Sum::fixedPoint : Sum::afterEach;
        const std::set<std::pair<long, long>> shapes = {{3, 3}, {1, 3}, {3, 1}, {5, 5}, {5, 1}, {1, 5}};
        return shapes.contains({w, h}) ? Sum::once : Sum::afterEach;
    }

    double pixel(int region, const Rect& rect, long x, long y, unsigned band) const {
        const long w = source_.width;
        const long h = source_.height;
        const long left = x + originX(source_) - kernel_.turnedKeyX();
        const long top = y + originY(source_) - kernel_.turnedKeyY();
        const std::vector<long> rows = region >= 6 ? splitOrder(kernel_.height, top, h, true) : upward(kernel_.height);
        const std::vector<long> columns =
            region % 3 == 2 ? splitOrder(kernel_.width, left, w, false) : upward(kernel_.width);
        std::vector<std::pair<double, float>> terms;
        for (long row : rows) {
            for (long column : columns) {
                const long sx = source_.type == ORV_BIT ? bitColumn(region, rect, left + column) : left + column;
                const long sy = source_.type == ORV_BIT ? bitRow(region, y, top, row) : top + row;
                terms.emplace_back(source_.at(static_cast<unsigned>(std::clamp(sx, 0L, w - 1)),
                                              static_cast<unsigned>(std::clamp(sy, 0L, h - 1)), band),
                                   kernel_.turned(column, row));
            }
        }
        return addUp(source_.type, kind(region), terms);
    }

    long bitRow(int region, long y, long top, long row) const {
        if (region > 2 || top >= 0) return top + row;
        const long current = y + originY(source_);
        const long rowsAbove = -top;
        return row < rowsAbove ? current : current + row - rowsAbove;
    }

    long bitColumn(int region, const Rect& rect, long column) const {
        const long first = rect.x + originX(source_);
        if (region % 3 == 0 && column < 0) return first;
        if (region == 3) return std::min<long>(first + column, source_.width - 1);
        if (region % 3 == 2 && column >= source_.width) return first + rect.width - 1;
        return column;
    }

    const Image& source_;
    const Image& destination_;
    const Kernel& kernel_;
    long edge_;
    orvcase::Values result_;
};

float randomTap(Dice& dice, int style) {
    switch (style) {
    case 0:
        return static_cast<float>(dice.between(-16, 16)) / 8;
    case 1:
        return static_cast<float>(dice.real(-1, 1));
    case 2:
        return static_cast<float>(dice.real(0, 0.1));
    case 3:
        return static_cast<float>(std::ldexp(dice.real(-1, 1), static_cast<int>(dice.between(-60, 40))));
    case 4:
        return static_cast<float>(std::ldexp(dice.real(-1, 1), static_cast<int>(dice.between(-149, 127))));
    case 6:
        return static_cast<float>(std::ldexp(dice.real(0.5, 1), static_cast<int>(dice.between(-45, -3))));
    case 5:
        return dice.chance(70) ? 0.0F : static_cast<float>(dice.between(-2, 2));
    default:
        return static_cast<float>(dice.between(0, 65536)) / 65536 / 9;
    }
}

Kernel randomKernel(Dice& dice) {
    const long odd[] = {1, 3, 5, 3, 5, 7};
    Kernel kernel{};
    kernel.width = dice.chance(60) ? odd[dice.between(0, 5)] : dice.between(1, 8);
    kernel.height = dice.chance(50) ? kernel.width : dice.chance(60) ? odd[dice.between(0, 5)] : dice.between(1, 8);
    kernel.keyX = dice.chance(50) ? kernel.width / 2 : dice.between(0, kernel.width - 1);
    kernel.keyY = dice.chance(50) ? kernel.height / 2 : dice.between(0, kernel.height - 1);
    if (dice.chance(6)) kernel.keyX = dice.chance(50) ? dice.between(0, 15) : 65536 + dice.between(-6, 9);
    if (dice.chance(6)) kernel.keyY = dice.chance(50) ? dice.between(0, 15) : 65536 + dice.between(-6, 9);
    const int style = static_cast<int>(dice.between(0, 7));
    for (long i = 0; i < kernel.width * kernel.height; ++i) kernel.data.push_back(randomTap(dice, style));
    return kernel;
}

orvcase::Kernel asCaseKernel(const std::string& name, const Kernel& kernel) {
    return {.name = name,
            .width = static_cast<unsigned>(kernel.width),
            .height = static_cast<unsigned>(kernel.height),
            .keyX = static_cast<unsigned>(kernel.keyX),
            .keyY = static_cast<unsigned>(kernel.keyY),
            .data = orvcase::Values(kernel.data.begin(), kernel.data.end())};
}

Case randomConvolution(Dice& dice, OrvDataType type) {
    Case c = randomImages(dice, type);
    const Kernel kernel = randomKernel(dice);
    const long edge = dice.chance(60) ? 2 : dice.between(-1, 3);
    c.kernels.push_back(asCaseKernel("k", kernel));
    orvcase::Call& call = c.addCall({.op = opName("convolve", type),
                                     .src = {"a"},
                                     .dst = "d",
                                     .params = {orvcase::Param::ref("k"), orvcase::Param::l(edge)}});
    call.expect.out = {
        {.image = "d", .values = asExpected(ConvolveModel(c.images[0], c.images[1], kernel, edge).run())}};
    return c;
}

TEST(Convolve, bitsAsModel) {
    repeat("convolve1", 400, [](Dice& dice) { return randomConvolution(dice, ORV_BIT); });
}
TEST(Convolve, bytesAsModel) {
    repeat("convolve8", 600, [](Dice& dice) { return randomConvolution(dice, ORV_BYTE); });
}
TEST(Convolve, shortsAsModel) {
    repeat("convolve16", 600, [](Dice& dice) { return randomConvolution(dice, ORV_SHORT); });
}

/// The pair as two passes over an image that has every pixel of the source.
orvcase::Values pairModel(const Image& source, const Image& destination, const Kernel& inner, const Kernel& outer) {
    const Kernel& wide = outer.width == 5 ? outer : inner;
    const Kernel& high = outer.width == 5 ? inner : outer;
    const long keyX = wide.turnedKeyX();
    const long keyY = high.turnedKeyY();
    orvcase::Values result = destination.data;
    const auto regions = nineRegions(common(pixelsOf(destination), pixelsOf(source)), source, 5, 5, keyX, keyY);
    const auto sample = [&](long column, long row, unsigned band) {
        return source.at(static_cast<unsigned>(std::clamp<long>(column, 0, source.width - 1)),
                         static_cast<unsigned>(std::clamp<long>(row, 0, source.height - 1)), band);
    };
    const auto pixel = [&](long left, long top, unsigned band) {
        std::vector<std::pair<double, float>> outerTerms;
        for (long i = 0; i < 5; ++i) {
            std::vector<std::pair<double, float>> innerTerms;
            for (long j = 0; j < 5; ++j) {
                const long column = outer.width == 5 ? i : j;
                const long row = outer.width == 5 ? j : i;
                innerTerms.emplace_back(sample(left + column, top + row, band),
                                        inner.data[static_cast<std::size_t>(4 - j)]);
            }
            outerTerms.emplace_back(addUp(source.type, Sum::once, innerTerms),
                                    outer.data[static_cast<std::size_t>(4 - i)]);
        }
        return addUp(source.type, Sum::once, outerTerms);
    };
    for (std::size_t region = 0; region < 9; ++region) {
        for (const Rect& rect : regions[region]) {
            for (long y = rect.y; y < rect.y + rect.height; ++y) {
                for (long x = rect.x; x < rect.x + rect.width; ++x) {
                    for (unsigned band = 0; band < source.bands; ++band) {
                        const double value =
                            region == 4 ? pixel(x + originX(source) - keyX, y + originY(source) - keyY, band) : 0;
                        result[destination.index(static_cast<unsigned>(x + originX(destination)),
                                                 static_cast<unsigned>(y + originY(destination)), band)] = value;
                    }
                }
            }
        }
    }
    return result;
}

Case randomPair(Dice& dice, OrvDataType type) {
    Case c = randomImages(dice, type);
    const auto kernel = [&](bool row) {
        Kernel k{.width = row ? 5 : 1, .height = row ? 1 : 5, .keyX = 0, .keyY = 0, .data = {}};
        k.keyX = dice.between(0, 4);
        k.keyY = dice.between(0, 4);
        const int style = static_cast<int>(dice.between(0, 7));
        for (int i = 0; i < 5; ++i) k.data.push_back(randomTap(dice, style));
        return k;
    };
    const bool outerIsRow = dice.chance(50);
    const Kernel inner = kernel(!outerIsRow);
    const Kernel outer = kernel(outerIsRow);
    c.kernels = {asCaseKernel("i", inner), asCaseKernel("o", outer)};
    const std::string op = opName("convolve", type);
    c.chains.push_back(
        {.name = "first", .op = op, .src = {"a"}, .params = {orvcase::Param::ref("i"), orvcase::Param::l(1)}});
    orvcase::Call& call =
        c.addCall({.op = op, .dst = "d", .op1 = "first", .params = {orvcase::Param::ref("o"), orvcase::Param::l(1)}});
    call.expect.out = {{.image = "d", .values = asExpected(pairModel(c.images[0], c.images[1], inner, outer))}};
    return c;
}

TEST(ConvolvePair, bytesAsModel) {
    repeat("convolve8/convolve8", 300, [](Dice& dice) { return randomPair(dice, ORV_BYTE); });
}
TEST(ConvolvePair, shortsAsModel) {
    repeat("convolve16/convolve16", 300, [](Dice& dice) { return randomPair(dice, ORV_SHORT); });
}

} // namespace
