// The neighbourhood filters, each sample of each window looked at by itself: convolution lists the samples and weights
// of a pixel in the order in which they are summed, edge detection reads through a clamp, dilation and erosion look at
// every member of the element.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <set>

#include "models/Answers.h"
#include "models/Filters.h"

namespace filtermodel {
namespace {

double magnitude(OrvDataType type, double gx, double gy) {
    if (type == ORV_BIT) return static_cast<float>(std::sqrt(gx * gx / 4 + gy * gy / 4)) >= 0.5F ? 1 : 0;
    const double high = type == ORV_BYTE ? 255 : 32767;
    const double root =
        static_cast<float>(std::sqrt(type == ORV_BYTE ? gx * gx * 0.25 + gy * gy * 0.25 : gx * gx + gy * gy));
    const float rounded = static_cast<float>(root * (type == ORV_BYTE ? 1 : 0.5) + 0.5);
    return rounded > high ? high : std::trunc(static_cast<double>(rounded));
}

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
    std::vector<long> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 0L);
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

} // namespace

orvcase::Values morphologyModel(const Image& source, const Image& destination, const orvcase::Sel& element,
                                bool dilate) {
    orvcase::Values result = destination.data;
    const double low = source.type == ORV_SHORT ? -32768 : 0;
    const double high = source.type == ORV_SHORT ? 32767 : source.type == ORV_BYTE ? 255 : 1;
    for (const auto& [y, columns] : common(pixelsOf(destination), pixelsOf(source))) {
        for (long x : columns) {
            for (unsigned band = 0; band < source.bands; ++band) {
                double value = dilate ? low : high;
                for (unsigned row = 0; row < element.height; ++row) {
                    for (unsigned column = 0; column < element.width; ++column) {
                        if (element.data[std::size_t{row} * element.width + column] == 0) continue;
                        const long sx = x + column - static_cast<int>(element.keyX) + originX(source);
                        const long sy = y + row - static_cast<int>(element.keyY) + originY(source);
                        if (sx < 0 || sx >= source.width || sy < 0 || sy >= source.height) continue;
                        const double sample = source.at(static_cast<unsigned>(sx), static_cast<unsigned>(sy), band);
                        value = dilate ? std::max(value, sample) : std::min(value, sample);
                    }
                }
                result[destination.index(static_cast<unsigned>(x + originX(destination)),
                                         static_cast<unsigned>(y + originY(destination)), band)] = value;
            }
        }
    }
    return result;
}

orvcase::Values sobelModel(const Image& source, const Image& destination) {
    orvcase::Values result = destination.data;
    const auto regions = nineRegions(common(pixelsOf(destination), pixelsOf(source)), source, 3, 3, 1, 1);
    for (std::size_t region = 0; region < 9; ++region) {
        const bool corner = region % 2 == 0 && region != 4;
        for (const Rect& rect : regions[region]) {
            for (long y = rect.y; y < rect.y + rect.height; ++y) {
                for (long x = rect.x; x < rect.x + rect.width; ++x) {
                    for (unsigned band = 0; band < source.bands; ++band) {
                        const bool fixed = corner && source.type != ORV_BIT; // one position and one band serve all
                        const long column = fixed ? (region % 3 == 0 ? 0 : source.width - 1) : x + originX(source);
                        const long row = fixed ? (region < 3 ? 0 : source.height - 1) : y + originY(source);
                        const auto p = [&](long c, long r) {
                            return source.at(static_cast<unsigned>(std::clamp<long>(column + c, 0, source.width - 1)),
                                             static_cast<unsigned>(std::clamp<long>(row + r, 0, source.height - 1)),
                                             fixed ? 0 : band);
                        };
                        const double gx = p(-1, -1) + 2 * p(-1, 0) + p(-1, 1) - p(1, -1) - 2 * p(1, 0) - p(1, 1);
                        const double gy = p(-1, -1) + 2 * p(0, -1) + p(1, -1) - p(-1, 1) - 2 * p(0, 1) - p(1, 1);
                        result[destination.index(static_cast<unsigned>(x + originX(destination)),
                                                 static_cast<unsigned>(y + originY(destination)), band)] =
                            magnitude(source.type, gx, gy);
                    }
                }
            }
        }
    }
    return result;
}

orvcase::Values convolveModel(const Image& source, const Image& destination, const Kernel& kernel, long edge) {
    return ConvolveModel(source, destination, kernel, edge).run();
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

} // namespace filtermodel

namespace orvmodel {
namespace {

using orvcase::Call;
using orvcase::Case;

/// The images of a call on their own.
struct Images {
    Images(const Call& call, const Scene& scene)
        : source(alone(scene, call.src[0])), destination(alone(scene, call.dst)) {}
    orvcase::Image source;
    orvcase::Image destination;
};

filtermodel::Kernel kernelOf(const Case& c, const std::vector<orvcase::Param>& params) {
    for (const orvcase::Kernel& each : c.kernels) {
        if (each.name != params[0].name) continue;
        onlyWithin(1e30, each.data);
        return {.width = each.width,
                .height = each.height,
                .keyX = each.keyX,
                .keyY = each.keyY,
                .data = {each.data.begin(), each.data.end()}};
    }
    throw Unanswered{};
}

} // namespace

void answerMorphology(const Case& c, Call& call, Scene& scene) {
    onlyApart(call);
    const Images images(call, scene);
    const bool dilate = call.op.starts_with("dilate");
    put(scene, call.dst, filtermodel::morphologyModel(images.source, images.destination, c.sels.at(0), dilate));
}

void answerSobel(const Case&, Call& call, Scene& scene) {
    onlyApart(call);
    const Images images(call, scene);
    put(scene, call.dst, filtermodel::sobelModel(images.source, images.destination));
}

void answerConvolve(const Case& c, Call& call, Scene& scene) {
    onlyApart(call);
    const filtermodel::Kernel kernel = kernelOf(c, call.params);
    if (call.op1.empty()) {
        const Images images(call, scene);
        const long edge = call.params[1].integer;
        put(scene, call.dst, filtermodel::convolveModel(images.source, images.destination, kernel, edge));
        return;
    }
    Call earlier = call;
    earlier.src = c.chains.at(0).src;
    onlyApart(earlier);
    const Images images(earlier, scene);
    const filtermodel::Kernel inner = kernelOf(c, c.chains.at(0).params);
    put(scene, call.dst, filtermodel::pairModel(images.source, images.destination, inner, kernel));
}

} // namespace orvmodel
