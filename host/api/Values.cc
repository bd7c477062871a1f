#include "orv/Values.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <numeric>
#include <sstream>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "files/Reader.h"
#include "orv/Error.h"

namespace orv {

namespace {

/// "gaussian:5:1.0" as its word and its numbers.
struct Spelled {
    std::string word;
    std::vector<double> numbers;
};

Spelled spell(const std::string& text) {
    Spelled spelled;
    std::istringstream stream(text);
    std::getline(stream, spelled.word, ':');
    for (std::string part; std::getline(stream, part, ':');) {
        std::istringstream sizes(part);
        for (std::string size; std::getline(sizes, size, 'x');) {
            try {
                std::size_t used = 0;
                spelled.numbers.push_back(std::stod(size, &used));
                if (used != size.size()) throw std::invalid_argument(size);
            } catch (const std::exception&) {
                throw Error("value", fmt::format("'{}' in '{}' is not a number", size, text));
            }
        }
    }
    return spelled;
}

/// Whether a text is the name of a file rather than a word with numbers.
bool isPath(const std::string& text) {
    return text.find('/') != std::string::npos || text.starts_with('.') || text.ends_with(".txt") ||
           text.ends_with(".gpl") || files::formatOfName(text).has_value();
}

std::vector<float> ranksAsThresholds(const std::vector<unsigned>& ranks) {
    std::vector<float> thresholds;
    for (const unsigned rank : ranks)
        thresholds.push_back((static_cast<float>(rank) + 0.5F) / static_cast<float>(ranks.size()));
    return thresholds;
}

double numberAt(const Spelled& spelled, std::size_t i, double fallback) {
    return i < spelled.numbers.size() ? spelled.numbers[i] : fallback;
}

unsigned sizeAt(const Spelled& spelled, std::size_t i, double fallback, double largest) {
    const double value = numberAt(spelled, i, fallback);
    if (!(value >= 1 && value <= largest) || value != std::floor(value)) {
        throw Error("value", fmt::format("the size {} in '{}' is not a whole number from 1 to {}", value, spelled.word,
                                         largest));
    }
    return static_cast<unsigned>(value);
}

constexpr double largestSize = 255;

/// Taps as multiples of 1/65536 that add up to exactly `sum`: what rounding leaves goes to the key.
std::vector<float> exactTaps(const std::vector<double>& weights, double sum, std::size_t key) {
    constexpr double unit = 65536.0;
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    std::vector<double> steps(weights.size());
    std::ranges::transform(weights, steps.begin(), [&](double w) { return std::round(w / total * sum * unit); });
    steps[key] += sum * unit - std::accumulate(steps.begin(), steps.end(), 0.0);
    std::vector<float> taps(steps.size());
    std::ranges::transform(steps, taps.begin(), [](double s) { return static_cast<float>(s / unit); });
    return taps;
}

Kernel square(unsigned width, unsigned height, std::vector<float> taps) {
    return {
        .width = width, .height = height, .keyX = width / 2, .keyY = height / 2, .taps = std::move(taps), .name = {}};
}

/// A file of numbers: "WIDTH HEIGHT KEYX KEYY", then the values in rows; # starts a comment.
struct NumberFile {
    unsigned width, height, keyX, keyY;
    std::vector<double> values;
};

NumberFile readNumbers(const std::string& path, std::string_view what) {
    std::ifstream file(path);
    if (!file) {
        throw Error("value", fmt::format("there is no {} '{}' and no file of that name", what, path));
    }
    std::vector<double> numbers;
    for (std::string line; std::getline(file, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        std::istringstream stream(line);
        for (double value = 0; stream >> value;) numbers.push_back(value);
        if (!stream.eof()) throw Error("value", fmt::format("'{}' holds something that is not a number", path));
    }
    if (numbers.size() < 5) throw Error("value", fmt::format("'{}' does not begin with WIDTH HEIGHT KEYX KEYY", path));
    const auto whole = [&](std::size_t i) {
        if (!(numbers[i] >= 0 && numbers[i] <= 65535))
            throw Error("value", fmt::format("'{}' begins with a size that is none", path));
        return static_cast<unsigned>(numbers[i]);
    };
    NumberFile result{whole(0), whole(1), whole(2), whole(3), {numbers.begin() + 4, numbers.end()}};
    if (result.values.size() != std::size_t{result.width} * result.height) {
        throw Error("value", fmt::format("'{}' has {} values, {} x {} wanted", path, result.values.size(), result.width,
                                         result.height));
    }
    return result;
}

Kernel kernelOfFile(const std::string& path, std::string_view what) {
    const NumberFile file = readNumbers(path, what);
    return {.width = file.width,
            .height = file.height,
            .keyX = file.keyX,
            .keyY = file.keyY,
            .taps = {file.values.begin(), file.values.end()},
            .name = {}};
}

/// Calls `use` with the distance from the middle for each position of a square, row by row.
template <class Use>
void forDistances(unsigned size, const Use& use) {
    const double middle = (size - 1) / 2.0;
    for (unsigned y = 0; y < size; ++y) {
        for (unsigned x = 0; x < size; ++x) use(std::hypot(x - middle, y - middle));
    }
}

/// Weights of error diffusion, with the pixel that is quantised in the middle of the first row.
struct DiffusionRow {
    std::string_view name;
    unsigned width;
    unsigned height;
    double total;
    double weights[15];
};

constexpr DiffusionRow diffusions[] = {
    {"floyd-steinberg", 3, 2, 16, {0, 0, 7, 3, 5, 1}},
    {"jarvis-judice-ninke", 5, 3, 48, {0, 0, 0, 7, 5, 3, 5, 7, 5, 3, 1, 3, 5, 3, 1}},
    {"stucki", 5, 3, 42, {0, 0, 0, 8, 4, 2, 4, 8, 4, 2, 1, 2, 4, 2, 1}},
    {"burkes", 5, 2, 32, {0, 0, 0, 8, 4, 2, 4, 8, 4, 2}},
    {"sierra", 5, 3, 32, {0, 0, 0, 5, 3, 2, 4, 5, 4, 2, 0, 2, 3, 2, 0}},
};

/// A picture of bytes, in rows of samples in the order of memory.
struct Picture {
    files::PictureInfo info;
    std::vector<std::byte> samples;
};

Picture readPicture(const std::string& path, std::string_view what) {
    const auto reader = files::Reader::open(path, {.maxPixels = std::uint64_t{1} << 24});
    Picture picture{reader->info(), {}};
    const files::PictureInfo& info = picture.info;
    if (info.type != ORV_BYTE || info.bands > 4)
        throw Error("value", fmt::format("'{}' is no {}: a picture of 8 bits a sample is wanted", path, what));
    picture.samples.resize(std::size_t{info.width} * info.height * info.bands);
    reader->read({.data = picture.samples.data(),
                  .stride = std::ptrdiff_t{info.width} * info.bands,
                  .pixel = info.bands,
                  .bandStride = 0,
                  .offset = 0});
    return picture;
}

/// White lays the whole colour on, black nothing.
Kernel brushOfPicture(const std::string& path) {
    const Picture picture = readPicture(path, "brush");
    Kernel brush{.width = picture.info.width,
                 .height = picture.info.height,
                 .keyX = picture.info.width / 2,
                 .keyY = picture.info.height / 2,
                 .taps = {},
                 .name = {}};
    for (std::size_t at = 0; at < picture.samples.size(); at += picture.info.bands)
        brush.taps.push_back(static_cast<float>(std::to_integer<int>(picture.samples[at])) / 255.0F);
    return brush;
}

} // namespace

Kernel Kernel::gaussian(unsigned size, double sigma) { return gaussian(size, size, sigma); }

Kernel Kernel::gaussian(unsigned width, unsigned height, double sigma) {
    std::vector<double> weights;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const double d = std::hypot(x - (width - 1) / 2.0, y - (height - 1) / 2.0);
            weights.push_back(std::exp(-d * d / (2 * sigma * sigma)));
        }
    }
    return square(width, height, exactTaps(weights, 1.0, std::size_t{height / 2} * width + width / 2));
}

Kernel Kernel::box(unsigned width, unsigned height) {
    if (height == 0) height = width;
    const std::vector<double> weights(std::size_t{width} * height, 1.0);
    return square(width, height, exactTaps(weights, 1.0, std::size_t{height / 2} * width + width / 2));
}

Kernel Kernel::sharpen() { return square(3, 3, {0, -1, 0, -1, 5, -1, 0, -1, 0}); }
Kernel Kernel::laplace() { return square(3, 3, {0, -1, 0, -1, 4, -1, 0, -1, 0}); }
// Turned round by the convolution, these weigh the right against the left, and the lower against the upper neighbours.
Kernel Kernel::sobelX() { return square(3, 3, {1, 0, -1, 2, 0, -2, 1, 0, -1}); }
Kernel Kernel::sobelY() { return square(3, 3, {1, 2, 1, 0, 0, 0, -1, -2, -1}); }
Kernel Kernel::identity() { return square(1, 1, {1}); }

Kernel Kernel::parse(const std::string& text) {
    const Spelled spelled = spell(isPath(text) ? "" : text);
    if (spelled.word == "gaussian") {
        const unsigned size = sizeAt(spelled, 0, 5, largestSize);
        const double sigma = numberAt(spelled, 1, size / 5.0);
        if (!(sigma > 0)) throw Error("value", fmt::format("the width {} in '{}' is not above 0", sigma, text));
        return gaussian(size, sigma);
    }
    if (spelled.word == "box") {
        const unsigned width = sizeAt(spelled, 0, 3, largestSize);
        return box(width, sizeAt(spelled, 1, width, largestSize));
    }
    if (text == "sharpen") return sharpen();
    if (text == "laplace") return laplace();
    if (text == "sobel-x") return sobelX();
    if (text == "sobel-y") return sobelY();
    if (text == "identity") return identity();
    return kernelOfFile(text, "kernel");
}

Kernel Brush::disk(double radius) {
    const auto reach = static_cast<unsigned>(std::ceil(radius));
    const unsigned size = 2 * reach + 1;
    std::vector<float> weights;
    // The rim covers its pixels in part.
    forDistances(size,
                 [&](double d) { weights.push_back(static_cast<float>(std::clamp(radius + 0.5 - d, 0.0, 1.0))); });
    return square(size, size, std::move(weights));
}

Kernel Brush::soft(double radius) {
    const unsigned size = 2 * static_cast<unsigned>(std::ceil(radius)) + 1;
    std::vector<float> weights;
    forDistances(size, [&](double d) {
        const double t = std::clamp(1 - d / (radius + 0.5), 0.0, 1.0);
        weights.push_back(static_cast<float>(t * t * (3 - 2 * t)));
    });
    return square(size, size, std::move(weights));
}

Kernel Brush::parse(const std::string& text) {
    const Spelled spelled = spell(isPath(text) ? "" : text);
    if (spelled.word == "disk" || spelled.word == "soft") {
        const double radius = numberAt(spelled, 0, 8);
        constexpr double largestRadius = 500;
        if (!(radius >= 0 && radius <= largestRadius))
            throw Error("value", fmt::format("the radius {} in '{}' is not 0 to {}", radius, text, largestRadius));
        return spelled.word == "disk" ? disk(radius) : soft(radius);
    }
    if (files::formatOfName(text)) return brushOfPicture(text);
    return kernelOfFile(text, "brush");
}

Kernel Diffusion::named(std::string_view name) {
    const auto row = std::ranges::find(diffusions, name, &DiffusionRow::name);
    if (row == std::end(diffusions)) {
        if (name == "atkinson") {
            throw Error("value",
                        "atkinson spreads three quarters of the error, but the device makes the last weight up "
                        "so that all of it is spread: the result would not be Atkinson's; take sierra or "
                        "stucki");
        }
        throw Error("value", fmt::format("there is no diffusion kernel '{}'", name));
    }
    Kernel kernel{.width = row->width,
                  .height = row->height,
                  .keyX = row->width / 2,
                  .keyY = 0,
                  .taps = {},
                  .name = std::string(name)};
    for (unsigned i = 0; i < row->width * row->height; ++i)
        kernel.taps.push_back(static_cast<float>(row->weights[i] / row->total));
    return kernel;
}

Kernel Diffusion::parse(const std::string& text) {
    return isPath(text) ? kernelOfFile(text, "diffusion kernel") : named(text);
}

Element Element::rect(unsigned width, unsigned height) {
    return {width, height, width / 2, height / 2, std::vector<unsigned>(std::size_t{width} * height, 1)};
}

Element Element::disk(unsigned radius) {
    const unsigned size = 2 * radius + 1;
    Element element{size, size, radius, radius, {}};
    // A position belongs to the disk where its centre lies within half a pixel more than the radius.
    const double limit = (radius + 0.5) * (radius + 0.5);
    for (unsigned y = 0; y < size; ++y) {
        for (unsigned x = 0; x < size; ++x) {
            const double dx = double(x) - radius;
            const double dy = double(y) - radius;
            element.members.push_back(dx * dx + dy * dy <= limit ? 1 : 0);
        }
    }
    return element;
}

Element Element::cross(unsigned radius) {
    const unsigned size = 2 * radius + 1;
    Element element{size, size, radius, radius, std::vector<unsigned>(std::size_t{size} * size, 0)};
    for (unsigned i = 0; i < size; ++i) {
        element.members[std::size_t{radius} * size + i] = 1;
        element.members[std::size_t{i} * size + radius] = 1;
    }
    return element;
}

Element Element::parse(const std::string& text) {
    const Spelled spelled = spell(isPath(text) ? "" : text);
    constexpr double largestRadius = 127;
    if (spelled.word == "rect") {
        const unsigned width = sizeAt(spelled, 0, 3, largestSize);
        return rect(width, sizeAt(spelled, 1, width, largestSize));
    }
    if (spelled.word == "disk") return disk(sizeAt(spelled, 0, 1, largestRadius));
    if (spelled.word == "cross") return cross(sizeAt(spelled, 0, 1, largestRadius));
    const NumberFile file = readNumbers(text, "element");
    Element element{file.width, file.height, file.keyX, file.keyY, {}};
    for (const double value : file.values) element.members.push_back(value != 0 ? 1 : 0);
    return element;
}

Palette Palette::cubeOf(unsigned r, unsigned g, unsigned b) {
    Palette palette;
    palette.cube = {r, g, b};
    const auto level = [](unsigned i, unsigned steps) {
        return static_cast<std::uint8_t>((i * 255 + (steps - 1) / 2) / (steps - 1));
    };
    for (unsigned i = 0; i < r; ++i) {
        for (unsigned j = 0; j < g; ++j) {
            for (unsigned k = 0; k < b; ++k) palette.colours.push_back({level(i, r), level(j, g), level(k, b), 255});
        }
    }
    return palette;
}

Palette Palette::gray(unsigned levels) {
    Palette palette;
    if (levels >= 2) palette.cube = {levels};
    for (unsigned i = 0; i < levels; ++i) {
        const auto v = static_cast<std::uint8_t>(levels < 2 ? 0 : (i * 255 + (levels - 1) / 2) / (levels - 1));
        palette.colours.push_back({v, v, v, 255});
    }
    return palette;
}

Palette Palette::choosing(unsigned colours) {
    Palette palette;
    palette.choose = colours;
    return palette;
}

namespace {

/// A palette file: lines of "R G B", the head of a .gpl file and comments left out, or lines of rrggbb.
Palette readPalette(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw Error("value", fmt::format("there is no palette '{}' and no file of that name", path));
    Palette palette;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || (line[0] == '#' && line.size() != 7)) continue;
        unsigned r = 0;
        unsigned g = 0;
        unsigned b = 0;
        const char* hex = line.c_str() + (line[0] == '#' ? 1 : 0);
        if (std::sscanf(line.c_str(), "%u %u %u", &r, &g, &b) != 3 &&
            std::sscanf(line.c_str(), "%u,%u,%u", &r, &g, &b) != 3) {
            if (std::string(hex).find_first_not_of("0123456789abcdefABCDEF\r") != std::string::npos ||
                std::sscanf(hex, "%2x%2x%2x", &r, &g, &b) != 3) {
                continue;
            }
        }
        if (r > 255 || g > 255 || b > 255)
            throw Error("value", fmt::format("'{}' holds a colour above 255: {}", path, line));
        palette.colours.push_back(
            {static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g), static_cast<std::uint8_t>(b), 255});
    }
    if (palette.colours.empty()) throw Error("value", fmt::format("'{}' holds no colours", path));
    return palette;
}

/// The palette of a palette picture, or the colours of another one in the order in which they are met.
Palette paletteOfPicture(const std::string& path) {
    const Picture picture = readPicture(path, "palette");
    Palette palette;
    palette.colours = picture.info.palette;
    if (!palette.colours.empty()) return palette;
    const unsigned bands = picture.info.bands;
    for (std::size_t at = 0; at < picture.samples.size(); at += bands) {
        const auto sample = [&](unsigned b) { return std::to_integer<std::uint8_t>(picture.samples[at + b]); };
        const PaletteEntry entry = bands >= 3 ? PaletteEntry{sample(2), sample(1), sample(0), 255}
                                              : PaletteEntry{sample(0), sample(0), sample(0), 255};
        if (!palette.colours.empty() && palette.colours.back() == entry) continue;
        if (std::ranges::find(palette.colours, entry) != palette.colours.end()) continue;
        palette.colours.push_back(entry);
        if (palette.colours.size() > 256)
            throw Error("value", fmt::format("'{}' has more than 256 colours; a palette picture has fewer", path));
    }
    return palette;
}

} // namespace

Palette Palette::parse(const std::string& text) {
    const Spelled spelled = spell(isPath(text) ? "" : text);
    if (spelled.word == "cube") {
        const unsigned r = sizeAt(spelled, 0, 6, 256);
        if (std::ranges::any_of(spelled.numbers, [](double n) { return n < 2; }))
            throw Error("value", fmt::format("'{}' came, at least 2 steps wanted in each direction", text));
        return cubeOf(r, sizeAt(spelled, 1, r, 256), sizeAt(spelled, 2, r, 256));
    }
    if (spelled.word == "gray") return gray(sizeAt(spelled, 0, 16, 256));
    if (spelled.word == "choose") return choosing(sizeAt(spelled, 0, 16, 256));
    if (text == "bw") return gray(2);
    return files::formatOfName(text) ? paletteOfPicture(text) : readPalette(text);
}

Mask Mask::bayer(unsigned size) {
    if (size != 2 && size != 4 && size != 8 && size != 16) {
        throw Error("value", fmt::format("there is no bayer mask of size {} (2, 4, 8, 16)", size));
    }
    std::vector<unsigned> ranks{0};
    for (unsigned n = 1; n < size; n *= 2) {
        std::vector<unsigned> next(std::size_t{4} * n * n);
        constexpr unsigned quadrant[2][2] = {{0, 2}, {3, 1}};
        for (unsigned y = 0; y < 2 * n; ++y) {
            for (unsigned x = 0; x < 2 * n; ++x)
                next[std::size_t{y} * 2 * n + x] = 4 * ranks[std::size_t{y % n} * n + x % n] + quadrant[y / n][x / n];
        }
        ranks = std::move(next);
    }
    Mask mask{.width = size, .height = size, .thresholds = {}, .screen = {}};
    // In the middle of their steps, so that neither black nor white is ever disturbed.
    mask.thresholds = ranksAsThresholds(ranks);
    return mask;
}

namespace {

/// Heights are told apart to so many steps: what rounding makes of equal ones is less.
constexpr int heightSteps = 1000000;

/// The cosines of half steps, counted up to `last`, where `period` whole steps are a turn.
std::vector<double> wavesOfHalfSteps(unsigned period, long last) {
    std::vector<double> waves;
    for (long step = 0; step <= last; ++step) {
        waves.push_back(std::cos(2 * std::numbers::pi * (static_cast<double>(step) / 2 / period)));
    }
    return waves;
}

/// The highest first, equal ones in their order. A screen of millions of pixels has few heights: they are counted.
std::vector<unsigned> ranksFromHighest(const std::vector<int>& heights) {
    std::unordered_map<int, unsigned> next;
    for (const int height : heights) ++next[height];
    std::vector<int> downwards;
    for (const auto& [height, pixels] : next) downwards.push_back(height);
    std::ranges::sort(downwards, std::ranges::greater{});
    unsigned higher = 0;
    for (const int height : downwards) higher += std::exchange(next[height], higher);
    std::vector<unsigned> ranks;
    for (const int height : heights) ranks.push_back(next[height]++);
    return ranks;
}

} // namespace

Mask Mask::dot(double period, double degrees) {
    constexpr double least = 2;
    constexpr double most = 64;
    if (!(period >= least && period <= most)) {
        throw Error("value", fmt::format("dots {:.3g} pixels apart came, {} to {} wanted (the resolution over the "
                                         "lines per inch)",
                                         period, least, most));
    }
    // A screen repeats in a square only where its lines go through whole pixels: the nearest such angle is taken.
    const double angle = degrees * std::numbers::pi / 180.0;
    const long p = std::lround(period * std::cos(angle));
    const long q = std::lround(period * std::sin(angle));
    const auto area = static_cast<unsigned>(p * p + q * q);
    const unsigned side = area / static_cast<unsigned>(std::gcd(p, q));
    std::vector<int> heights;
    const std::vector<double> waves = wavesOfHalfSteps(area, 2 * (std::abs(p) + std::abs(q)) * side);
    for (long y = 0; y < side; ++y) {
        for (long x = 0; x < side; ++x) {
            const long u = p * (2 * x + 1) + q * (2 * y + 1);
            const long v = p * (2 * y + 1) - q * (2 * x + 1);
            const double height =
                waves[static_cast<std::size_t>(std::abs(u))] + waves[static_cast<std::size_t>(std::abs(v))];
            heights.push_back(static_cast<int>(std::round(height * heightSteps)));
        }
    }
    const std::vector<unsigned> ranks = ranksFromHighest(heights);
    return {.width = side, .height = side, .thresholds = ranksAsThresholds(ranks), .screen = {}};
}

namespace {

/// "dot:150lpi:45deg", "dot:8:45deg", "dot:8px:45".
Mask parseDot(const std::string& text) {
    std::istringstream stream(text.substr(4));
    std::string size;
    std::string angle;
    std::getline(stream, size, ':');
    std::getline(stream, angle, ':');
    const auto number = [&](std::string part, std::string_view unit, double fallback) {
        if (part.ends_with(unit)) part.resize(part.size() - unit.size());
        if (part.empty()) return fallback;
        try {
            std::size_t used = 0;
            const double value = std::stod(part, &used);
            if (used == part.size()) return value;
        } catch (const std::exception&) {
        }
        throw Error("value", fmt::format("'{}' came, dot:150lpi:45deg or dot:8:45deg wanted", text));
    };
    constexpr double usual = 45;
    const double degrees = number(angle, "deg", usual);
    if (!size.ends_with("lpi")) return Mask::dot(number(size, "px", 8), degrees);
    Mask mask;
    mask.screen = {number(size, "lpi", 0), degrees};
    if (!(mask.screen.lpi > 0)) throw Error("value", fmt::format("'{}' has no lines per inch", text));
    return mask;
}

Mask maskOfPicture(const std::string& path) {
    const Picture picture = readPicture(path, "mask");
    Mask mask{.width = picture.info.width, .height = picture.info.height, .thresholds = {}, .screen = {}};
    for (std::size_t at = 0; at < picture.samples.size(); at += picture.info.bands)
        mask.thresholds.push_back((static_cast<float>(std::to_integer<int>(picture.samples[at])) + 0.5F) / 256.0F);
    return mask;
}

} // namespace

Mask Mask::parse(const std::string& text) {
    if (text.starts_with("dot:")) return parseDot(text);
    if (files::formatOfName(text)) return maskOfPicture(text);
    const Spelled spelled = spell(isPath(text) ? "" : text);
    if (spelled.word == "bayer") return bayer(sizeAt(spelled, 0, 8, 16));
    const NumberFile file = readNumbers(text, "mask");
    return {.width = file.width,
            .height = file.height,
            .thresholds = {file.values.begin(), file.values.end()},
            .screen = {}};
}

Table Table::parse(const std::string& text) {
    std::ifstream file(text);
    if (!file)
        throw Error(
            "value",
            fmt::format("there is no file '{}' with a table (lines of output values, from the first input value up)",
                        text));
    Table table;
    for (std::string line; std::getline(file, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        std::ranges::replace(line, ',', ' ');
        std::istringstream stream(line);
        std::vector<int> row;
        for (int value = 0; stream >> value;) row.push_back(value);
        if (row.empty()) continue;
        if (!table.samples.empty() && row.size() != table.bands)
            throw Error("value", fmt::format("the lines of '{}' are not equally long", text));
        table.bands = static_cast<unsigned>(row.size());
        table.samples.insert(table.samples.end(), row.begin(), row.end());
    }
    if (table.samples.empty()) throw Error("value", fmt::format("'{}' holds no table", text));
    if (std::ranges::any_of(table.samples, [](int v) { return v < 0 || v > 255; })) table.output = Type::int16;
    return table;
}

} // namespace orv
