#include "orv/Values.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <sstream>

#include <fmt/format.h>

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

} // namespace

Kernel Kernel::gaussian(unsigned size, double sigma) {
    const double middle = (size - 1) / 2.0;
    std::vector<double> weights;
    for (unsigned y = 0; y < size; ++y) {
        for (unsigned x = 0; x < size; ++x) {
            const double d2 = (x - middle) * (x - middle) + (y - middle) * (y - middle);
            weights.push_back(std::exp(-d2 / (2 * sigma * sigma)));
        }
    }
    const std::size_t key = std::size_t{size / 2} * size + size / 2;
    return square(size, size, exactTaps(weights, 1.0, key));
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
    const Spelled spelled = spell(text.find('/') == std::string::npos && text.find('.') != 0 ? text : "");
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
    const NumberFile file = readNumbers(text, "kernel");
    return {.width = file.width,
            .height = file.height,
            .keyX = file.keyX,
            .keyY = file.keyY,
            .taps = {file.values.begin(), file.values.end()},
            .name = {}};
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
    const Spelled spelled = spell(text.find('/') == std::string::npos && text.find('.') != 0 ? text : "");
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
    for (unsigned i = 0; i < levels; ++i) {
        const auto v = static_cast<std::uint8_t>(levels < 2 ? 0 : (i * 255 + (levels - 1) / 2) / (levels - 1));
        palette.colours.push_back({v, v, v, 255});
    }
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

} // namespace

Palette Palette::parse(const std::string& text) {
    const Spelled spelled =
        spell(text.find('/') == std::string::npos && text.find('.') == std::string::npos ? text : "");
    if (spelled.word == "cube") {
        const unsigned r = sizeAt(spelled, 0, 6, 256);
        return cubeOf(r, sizeAt(spelled, 1, r, 256), sizeAt(spelled, 2, r, 256));
    }
    if (spelled.word == "gray") return gray(sizeAt(spelled, 0, 16, 256));
    if (text == "bw") return gray(2);
    return readPalette(text);
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
    Mask mask{size, size, {}};
    // In the middle of their steps, so that neither black nor white is ever disturbed.
    for (const unsigned rank : ranks)
        mask.thresholds.push_back((static_cast<float>(rank) + 0.5F) / static_cast<float>(size * size));
    return mask;
}

Mask Mask::parse(const std::string& text) {
    const Spelled spelled =
        spell(text.find('/') == std::string::npos && text.find('.') == std::string::npos ? text : "");
    if (spelled.word == "bayer") return bayer(sizeAt(spelled, 0, 8, 16));
    const NumberFile file = readNumbers(text, "mask");
    return {file.width, file.height, {file.values.begin(), file.values.end()}};
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
