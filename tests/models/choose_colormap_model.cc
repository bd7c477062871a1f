// The choice of a colormap keeps the pixels of each box, without a histogram and its sums.
#include <array>
#include <tuple>

#include "models/Answers.h"

namespace orvmodel {
namespace {

using Pixel = std::array<int, 3>;

struct Box {
    std::array<int, 3> low = {0, 0, 0};     // exclusive
    std::array<int, 3> high = {32, 32, 32}; // inclusive
    std::vector<Pixel> pixels;
    float variance = 0;
};

int cellOf(int sample) { return sample / 8 + 1; }

float squaredSums(const std::vector<Pixel>& pixels) {
    std::array<float, 3> sums = {};
    for (const Pixel& pixel : pixels) {
        for (unsigned band = 0; band < 3; ++band) sums[band] += static_cast<float>(pixel[band]);
    }
    const float sum = sums[0] * sums[0] + sums[1] * sums[1] + sums[2] * sums[2];
    return sum / static_cast<float>(pixels.size());
}

float variance(const Box& box) {
    const int volume = (box.high[0] - box.low[0]) * (box.high[1] - box.low[1]) * (box.high[2] - box.low[2]);
    if (volume <= 1) return 0;
    float squares = 0;
    for (const Pixel& p : box.pixels) squares += static_cast<float>(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    return squares - squaredSums(box.pixels);
}

std::pair<std::vector<Pixel>, std::vector<Pixel>> halves(const Box& box, unsigned axis, int cut) {
    std::pair<std::vector<Pixel>, std::vector<Pixel>> both;
    for (const Pixel& pixel : box.pixels) {
        (cellOf(pixel[axis]) <= cut ? both.first : both.second).push_back(pixel);
    }
    return both;
}

struct BestCut {
    float value = 0;
    int at = -1;
};

BestCut bestCut(const Box& box, unsigned axis) {
    BestCut best;
    for (int cut = box.low[axis] + 1; cut < box.high[axis]; ++cut) {
        const auto [lower, upper] = halves(box, axis, cut);
        if (lower.empty() || upper.empty()) continue;
        const float value = squaredSums(lower) + squaredSums(upper);
        if (value > best.value) best = {value, cut};
    }
    return best;
}

bool cutInTwo(Box& box, Box& other) {
    const std::array<BestCut, 3> cuts = {bestCut(box, 0), bestCut(box, 1), bestCut(box, 2)};
    unsigned axis = 2;
    if (cuts[1].value >= cuts[0].value && cuts[1].value >= cuts[2].value) axis = 1;
    if (cuts[0].value >= cuts[1].value && cuts[0].value >= cuts[2].value) axis = 0;
    if (axis == 0 && cuts[0].at < 0) return false;
    other = box;
    std::tie(box.pixels, other.pixels) = halves(box, axis, cuts[axis].at);
    box.high[axis] = other.low[axis] = cuts[axis].at;
    return true;
}

std::vector<Box> cutAll(std::vector<Pixel> pixels, long wanted) {
    std::vector<Box> boxes(1);
    boxes[0].pixels = std::move(pixels);
    std::size_t next = 0;
    while (static_cast<long>(boxes.size()) < wanted) {
        Box other;
        if (cutInTwo(boxes[next], other)) {
            boxes[next].variance = variance(boxes[next]);
            other.variance = variance(other);
            boxes.push_back(other);
        } else {
            boxes[next].variance = 0;
        }
        next = 0;
        for (std::size_t i = 1; i < boxes.size(); ++i) {
            if (boxes[i].variance > boxes[next].variance) next = i;
        }
        if (boxes[next].variance <= 0) break;
    }
    return boxes;
}

} // namespace

void answerChooseColormap(const orvcase::Case&, orvcase::Call& call, Scene& scene) {
    const std::string& source = call.src[0];
    // Of each rectangle the size alone counts: it lies at the image's first pixel.
    std::vector<Pixel> pixels;
    for (const orvcase::Rect& rect : scene.region(source)) {
        for (long y = 0; y < rect.height; ++y) {
            for (long x = 0; x < rect.width; ++x) {
                Pixel& pixel = pixels.emplace_back();
                for (unsigned band = 0; band < 3; ++band) {
                    pixel[band] = static_cast<int>(scene.sample(source, x, y, band));
                }
            }
        }
    }
    // So few that all sums are exact in single precision.
    if (pixels.size() > 80) throw Unanswered{};
    const long wanted = call.params[1].integer;
    orvcase::ExpectedLookup result{.slot = call.params[0].name, .bands = 3, .entries = static_cast<unsigned>(wanted)};
    result.values.assign(static_cast<std::size_t>(wanted) * 3, 0);
    const std::vector<Box> boxes = cutAll(pixels, wanted);
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        long sums[3] = {};
        for (const Pixel& pixel : boxes[i].pixels) {
            for (unsigned band = 0; band < 3; ++band) sums[band] += pixel[band];
        }
        for (unsigned band = 0; band < 3 && !boxes[i].pixels.empty(); ++band) {
            const long mean = sums[band] / static_cast<long>(boxes[i].pixels.size());
            result.values[i * 3 + band] = static_cast<double>(mean);
        }
    }
    call.expect.results = {result};
    call.expect.live = {.lists = 0, .images = 0};
}

} // namespace orvmodel
