#include "canvas.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "samples.h"

namespace orv::tool {

namespace {

struct Glyph {
    char letter;
    /// Rows from the top, the leftmost of 5 pixels is bit 4.
    std::array<std::uint8_t, 8> rows;
};

constexpr Glyph glyphs[] = {
    {'a', {0, 0, 14, 1, 15, 17, 15, 0}},    {'b', {16, 16, 30, 17, 17, 17, 30, 0}},
    {'c', {0, 0, 14, 17, 16, 17, 14, 0}},   {'d', {1, 1, 15, 17, 17, 17, 15, 0}},
    {'e', {0, 0, 14, 17, 31, 16, 14, 0}},   {'f', {6, 9, 8, 28, 8, 8, 8, 0}},
    {'g', {0, 0, 15, 17, 17, 15, 1, 14}},   {'h', {16, 16, 30, 17, 17, 17, 17, 0}},
    {'i', {4, 0, 12, 4, 4, 4, 14, 0}},      {'j', {2, 0, 6, 2, 2, 2, 18, 12}},
    {'k', {16, 16, 18, 20, 24, 20, 18, 0}}, {'l', {12, 4, 4, 4, 4, 4, 14, 0}},
    {'m', {0, 0, 26, 21, 21, 21, 21, 0}},   {'n', {0, 0, 30, 17, 17, 17, 17, 0}},
    {'o', {0, 0, 14, 17, 17, 17, 14, 0}},   {'p', {0, 0, 30, 17, 17, 30, 16, 16}},
    {'q', {0, 0, 15, 17, 17, 15, 1, 1}},    {'r', {0, 0, 22, 25, 16, 16, 16, 0}},
    {'s', {0, 0, 15, 16, 14, 1, 30, 0}},    {'t', {8, 8, 28, 8, 8, 9, 6, 0}},
    {'u', {0, 0, 17, 17, 17, 17, 15, 0}},   {'v', {0, 0, 17, 17, 17, 10, 4, 0}},
    {'w', {0, 0, 17, 21, 21, 21, 10, 0}},   {'x', {0, 0, 17, 10, 4, 10, 17, 0}},
    {'y', {0, 0, 17, 17, 17, 15, 1, 14}},   {'z', {0, 0, 31, 2, 4, 8, 31, 0}},
    {'0', {14, 17, 19, 21, 25, 17, 14, 0}}, {'1', {4, 12, 4, 4, 4, 4, 14, 0}},
    {'2', {14, 17, 1, 6, 8, 16, 31, 0}},    {'3', {14, 17, 1, 6, 1, 17, 14, 0}},
    {'4', {2, 6, 10, 18, 31, 2, 2, 0}},     {'5', {31, 16, 30, 1, 1, 17, 14, 0}},
    {'6', {14, 16, 30, 17, 17, 17, 14, 0}}, {'7', {31, 1, 2, 4, 8, 8, 8, 0}},
    {'8', {14, 17, 17, 14, 17, 17, 14, 0}}, {'9', {14, 17, 17, 15, 1, 17, 14, 0}},
    {'-', {0, 0, 0, 14, 0, 0, 0, 0}},       {'_', {0, 0, 0, 0, 0, 0, 0, 31}},
    {'.', {0, 0, 0, 0, 0, 12, 12, 0}},      {',', {0, 0, 0, 0, 0, 12, 4, 8}},
    {'/', {1, 1, 2, 4, 8, 16, 16, 0}},      {':', {0, 12, 12, 0, 12, 12, 0, 0}},
    {'=', {0, 0, 31, 0, 31, 0, 0, 0}},      {'+', {0, 4, 4, 31, 4, 4, 0, 0}},
};

std::uint8_t level(double value) noexcept { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0)); }

/// Brings the samples of an image to 0 to 255.
struct Levels {
    double offset = 0;
    double factor = 1;
    double operator()(int sample) const noexcept { return (sample + offset) * factor; }
};

Levels levelsOf(const Image& image) {
    if (image.type() == Type::bit) return {0, 255};
    if (image.type() == Type::byte) return {};
    if (image.tags().sixteen == Sixteen::shifted) return {32768, 1 / 257.0};
    int low = 0;
    int high = 255;
    SampleRows rows(image);
    for (unsigned y = 0; y < image.height(); ++y) {
        const auto [least, most] = std::ranges::minmax(rows.row(y));
        low = std::min(low, least);
        high = std::max(high, most);
    }
    return {-double(low), 255.0 / (high - low)};
}

Ink over(Ink ink, double alpha) noexcept {
    constexpr double ground = 200;
    const auto mix = [&](std::uint8_t v) { return level((v * alpha + ground * (255 - alpha)) / 255); };
    return {mix(ink.r), mix(ink.g), mix(ink.b)};
}

Ink inkOf(const Image& image, const Levels& levels, const int* samples) {
    const Tags& tags = image.tags();
    const unsigned bands = image.bands();
    if (bands == 1 && tags.encoding == Encoding::palette && !tags.palette.empty()) {
        const PaletteEntry& e = tags.palette[std::min<std::size_t>(static_cast<std::size_t>(std::max(samples[0], 0)),
                                                                   tags.palette.size() - 1)];
        return {e.r, e.g, e.b};
    }
    const auto band = [&](unsigned b) { return level(levels(samples[b])); };
    if (bands < 3) {
        const Ink gray{band(0), band(0), band(0)};
        return bands == 2 ? over(gray, band(1)) : gray;
    }
    if (tags.encoding == Encoding::rgb) return {band(2), band(1), band(0)};
    if (tags.encoding == Encoding::rgba) return over({band(2), band(1), band(0)}, band(3));
    if (tags.encoding != Encoding::cmyk && tags.encoding != Encoding::cmy) return {band(0), band(1), band(2)};
    const double black = bands > 3 ? 255 - band(3) : 255;
    const auto paper = [&](unsigned b) { return level((255 - band(b)) * black / 255); };
    return {paper(0), paper(1), paper(2)};
}

} // namespace

Canvas::Canvas(unsigned width, unsigned height, Ink ground)
    : width_(width), height_(height), inks_(std::size_t{width} * height, ground) {}

Canvas Canvas::of(const Image& image) {
    Canvas canvas(image.width(), image.height());
    const Levels levels = levelsOf(image);
    SampleRows rows(image);
    for (unsigned y = 0; y < image.height(); ++y) {
        const int* samples = rows.row(y).data();
        for (unsigned x = 0; x < image.width(); ++x, samples += image.bands())
            canvas.at(x, y) = inkOf(image, levels, samples);
    }
    return canvas;
}

Canvas Canvas::scaled(unsigned width, unsigned height) const {
    Canvas result(width, height);
    for (unsigned y = 0; y < height; ++y) {
        const unsigned top = static_cast<unsigned>(std::uint64_t{y} * height_ / height);
        const unsigned bottom = std::max(top + 1, static_cast<unsigned>((y + std::uint64_t{1}) * height_ / height));
        for (unsigned x = 0; x < width; ++x) {
            const unsigned left = static_cast<unsigned>(std::uint64_t{x} * width_ / width);
            const unsigned right = std::max(left + 1, static_cast<unsigned>((x + std::uint64_t{1}) * width_ / width));
            std::uint64_t sum[3] = {};
            for (unsigned v = top; v < bottom; ++v) {
                for (unsigned u = left; u < right; ++u) {
                    sum[0] += at(u, v).r;
                    sum[1] += at(u, v).g;
                    sum[2] += at(u, v).b;
                }
            }
            const std::uint64_t count = std::uint64_t{bottom - top} * (right - left);
            const auto mean = [&](std::uint64_t s) { return static_cast<std::uint8_t>((s + count / 2) / count); };
            result.at(x, y) = {mean(sum[0]), mean(sum[1]), mean(sum[2])};
        }
    }
    return result;
}

Canvas Canvas::fitted(unsigned width, unsigned height) const {
    if (width_ <= width && height_ <= height) return *this;
    const double factor = std::min(double(width) / width_, double(height) / height_);
    return scaled(std::max(1U, static_cast<unsigned>(width_ * factor)),
                  std::max(1U, static_cast<unsigned>(height_ * factor)));
}

void Canvas::place(const Canvas& other, unsigned x, unsigned y) {
    for (unsigned v = 0; v < other.height() && y + v < height_; ++v) {
        for (unsigned u = 0; u < other.width() && x + u < width_; ++u) at(x + u, y + v) = other.at(u, v);
    }
}

void Canvas::write(std::string_view text, unsigned x, unsigned y, Ink ink) {
    for (const char c : text) {
        const auto letter = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        const auto* glyph = std::ranges::find(glyphs, letter, &Glyph::letter);
        if (glyph != std::end(glyphs)) {
            for (unsigned v = 0; v < 8 && y + v < height_; ++v) {
                for (unsigned u = 0; u < 5 && x + u < width_; ++u) {
                    if ((glyph->rows[v] >> (4 - u) & 1) != 0) at(x + u, y + v) = ink;
                }
            }
        }
        x += 6;
    }
}

Image Canvas::image(Session& session) const {
    Image image(session, width_, height_, 3, Type::byte);
    const Pixels pixels = image.pixels();
    for (unsigned y = 0; y < height_; ++y) {
        std::byte* to = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride;
        for (unsigned x = 0; x < width_; ++x, to += pixels.pixel) {
            const Ink& ink = at(x, y);
            to[0] = std::byte{ink.b};
            to[1] = std::byte{ink.g};
            to[2] = std::byte{ink.r};
        }
    }
    image.samplesChanged();
    return image;
}

} // namespace orv::tool
