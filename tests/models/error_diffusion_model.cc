// Error diffusion that keeps the whole image as floats.
#include "QuantiseModel.h"
#include "models/Answers.h"

namespace orvmodel {
namespace {

/// The kernel as the op leaves it: the last weight makes the sum 1.
orvcase::Values rewritten(const orvcase::Kernel& kernel) {
    orvcase::Values values = kernel.data;
    const std::size_t behind = kernel.keyY * kernel.width + kernel.keyX + 1;
    std::size_t last = 0;
    for (std::size_t i = behind; i < values.size(); ++i) {
        if (values[i] != 0) last = i;
    }
    double sum = 0;
    for (std::size_t i = behind; i < last; ++i) sum += values[i];
    values[last] = static_cast<double>(static_cast<float>(1.0 - sum));
    return values;
}

/// Weights of pixels that are not decided yet.
void onlyBehindKey(const orvcase::Kernel& kernel) {
    const auto end = kernel.data.begin() + kernel.keyY * kernel.width + kernel.keyX + 1;
    onlyWithin(0, {kernel.data.begin(), end});
}

/// How a path looks for the entry of a pixel.
class Search {
public:
    Search(const orvcase::Lookup& map, OrvDataType from, OrvDataType to)
        : map_(map),
          bytesToBits_(from == ORV_BYTE && to == ORV_BIT),
          bytesToBytes_(from == ORV_BYTE && to == ORV_BYTE) {}

    unsigned operator()(const std::vector<float>& pixel) const {
        if (bytesToBits_ && pixel.size() == 1) return byThreshold(pixel[0]);
        if (bytesToBits_ && pixel.size() == 3) return nearerOfTwo(pixel);
        if (bytesToBytes_ && pixel.size() == 3) return firstNearest(pixel);
        return lastNearest(pixel);
    }
    double color(unsigned entry, std::size_t band) const { return map_.tables[0].data[entry * map_.bands + band]; }
    unsigned entries() const { return static_cast<unsigned>(map_.tables[0].data.size()) / map_.bands; }

private:
    double distance(const std::vector<float>& pixel, unsigned entry) const {
        double sum = 0;
        for (std::size_t band = 0; band < pixel.size(); ++band) {
            const double d = static_cast<double>(pixel[band]) - color(entry, band);
            sum += d * d;
        }
        return sum;
    }

    unsigned byThreshold(float pixel) const {
        if (entries() == 1) return 0;
        const unsigned higher = color(1, 0) >= color(0, 0) ? 1 : 0;
        return static_cast<double>(pixel) >= (color(0, 0) + color(1, 0)) / 2 ? higher : 1 - higher;
    }

    unsigned nearerOfTwo(const std::vector<float>& pixel) const {
        if (entries() == 1) return 0;
        const double d0 = distance(pixel, 0);
        const double d1 = distance(pixel, 1);
        if (d0 != d1) return d0 < d1 ? 0 : 1;
        const double sum0 = color(0, 0) + color(0, 1) + color(0, 2);
        const double sum1 = color(1, 0) + color(1, 1) + color(1, 2);
        return sum0 > sum1 ? 0 : 1;
    }

    // Three bands of bytes: single precision, the lowest index of equals.
    unsigned firstNearest(const std::vector<float>& pixel) const {
        float best = 0;
        unsigned index = 0;
        for (unsigned entry = 0; entry < entries(); ++entry) {
            const float d0 = pixel[0] - static_cast<float>(color(entry, 0));
            const float d1 = pixel[1] - static_cast<float>(color(entry, 1));
            const float d2 = pixel[2] - static_cast<float>(color(entry, 2));
            const float sum = d0 * d0 + d1 * d1 + d2 * d2;
            if (entry != 0 && sum >= best) continue;
            best = sum;
            index = entry;
        }
        return index;
    }

    // Of equals the last; on one band of bytes, of those on both sides of the pixel the larger.
    unsigned lastNearest(const std::vector<float>& pixel) const {
        const bool sorted = bytesToBytes_ && pixel.size() == 1;
        double best = 0;
        unsigned index = 0;
        for (unsigned entry = 0; entry < entries(); ++entry) {
            const double sum = distance(pixel, entry);
            if (entry != 0 && sum > best) continue;
            if (entry != 0 && sorted && sum == best && color(entry, 0) < color(index, 0)) continue;
            best = sum;
            index = entry;
        }
        return index;
    }

    const orvcase::Lookup& map_;
    bool bytesToBits_;
    bool bytesToBytes_;
};

} // namespace

void answerErrorDiffusion(const orvcase::Case& c, orvcase::Call& call, Scene& scene) {
    const std::string source = call.src[0];
    const orvcase::Image& image = scene.image(source);
    const OrvDataType to = scene.image(call.dst).type;
    const orvcase::Kernel& kernel = c.kernels.at(0);
    const orvcase::Lookup& map = c.lookups.at(0);
    onlyWithin(1, kernel.data);
    onlyBehindKey(kernel);
    const orvcase::Values weights = rewritten(kernel);
    call.expect.now = {{.name = call.params[1].name, .values = {weights.begin(), weights.end()}}};
    call.expect.live = {.lists = 0, .rois = 0, .images = 0};

    const Search search(map, image.type, to);
    const auto rects = scene.rects({source, call.dst});
    scene.touch(call.dst, rects);
    long rows = 0;
    for (const orvcase::Rect& r : rects) rows = std::max(rows, r.y + r.height + scene.originY(source));

    const long width = image.width;
    std::vector<std::vector<std::vector<float>>> pixels(static_cast<std::size_t>(rows));
    for (long y = 0; y < rows; ++y) {
        for (long x = 0; x < width; ++x) {
            auto& pixel = pixels[static_cast<std::size_t>(y)].emplace_back();
            for (unsigned band = 0; band < image.bands; ++band) {
                pixel.push_back(static_cast<float>(scene.sample(source, x, y, band)));
            }
        }
    }
    const auto at = [&](long x, long y) -> std::vector<float>& {
        return pixels[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
    };
    std::vector<std::vector<long>> indices(static_cast<std::size_t>(rows));
    for (long y = 0; y < rows; ++y) {
        for (long x = 0; x < width; ++x) {
            const std::vector<float> pixel = at(x, y);
            const unsigned entry = search(pixel);
            indices[static_cast<std::size_t>(y)].push_back(static_cast<long>(entry) + map.tables[0].offset);
            std::vector<float> error;
            for (unsigned band = 0; band < image.bands; ++band) {
                error.push_back(pixel[band] - static_cast<float>(search.color(entry, band)));
            }
            if (std::all_of(error.begin(), error.end(), [](float e) { return e == 0; })) continue;
            for (long row = kernel.keyY; row < static_cast<long>(kernel.height); ++row) {
                for (long column = 0; column < static_cast<long>(kernel.width); ++column) {
                    if (row == kernel.keyY && column <= static_cast<long>(kernel.keyX)) continue;
                    const long toX = x + column - static_cast<long>(kernel.keyX);
                    const long toY = y + row - static_cast<long>(kernel.keyY);
                    if (toX < 0 || toX >= width || toY >= rows) continue;
                    const double weight = static_cast<double>(static_cast<float>(
                        weights[static_cast<std::size_t>(row * static_cast<long>(kernel.width) + column)]));
                    for (unsigned band = 0; band < image.bands; ++band) {
                        float& gains = at(toX, toY)[band];
                        gains =
                            static_cast<float>(static_cast<double>(gains) + static_cast<double>(error[band]) * weight);
                    }
                }
            }
        }
    }
    eachPixel(rects, [&](long x, long y) {
        const auto row = static_cast<std::size_t>(y + scene.originY(source));
        const auto column = static_cast<std::size_t>(x + scene.originX(source));
        scene.put(call.dst, x, y, 0, indexSample(to, indices[row][column]));
    });
}

} // namespace orvmodel
