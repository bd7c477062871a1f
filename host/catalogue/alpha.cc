#include "catalogue/alpha.h"

#include <algorithm>
#include <cstring>

#include "orv/host/Region.h"
#include "orv/host/Session.h"

namespace orv {

namespace {

Rectangle all(const Image& image) noexcept { return {0, 0, image.width(), image.height()}; }

/// How samples stand for shares of full range: the number that means 0, and the range above it.
struct Scale {
    int zero;
    int full;
};

Scale scaleOf(const Image& image) noexcept {
    if (image.type() == Type::byte) return {0, 255};
    if (image.tags().sixteen == Sixteen::shifted) return {-32768, 65535};
    return {0, 32767};
}

template <class T>
T load(const std::byte* at) noexcept {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <class T>
void store(std::byte* at, long value) noexcept {
    const auto sample = static_cast<T>(value);
    std::memcpy(at, &sample, sizeof sample);
}

/// Calls `change(colour, alpha)` for the samples of each pixel, as numbers from 0 to full.
template <class T, class Change>
void changeColours(Image& image, const host::Rect& r, const Change& change) {
    const Pixels p = image.pixels();
    const Scale scale = scaleOf(image);
    const unsigned colours = image.bands() - 1;
    for (unsigned y = 0; y < r.height; ++y) {
        std::byte* pixel = p.data + (r.y + y) * p.stride + r.x * p.pixel;
        for (unsigned x = 0; x < r.width; ++x, pixel += p.pixel) {
            const long alpha = load<T>(pixel + colours * sizeof(T)) - scale.zero;
            for (unsigned b = 0; b < colours; ++b) {
                std::byte* at = pixel + b * sizeof(T);
                store<T>(at, change(load<T>(at) - scale.zero, alpha, scale.full) + scale.zero);
            }
        }
    }
}

template <class Change>
void changeColours(Image& image, const host::Rect& r, const Change& change) {
    if (image.type() == Type::byte) return changeColours<std::uint8_t>(image, r, change);
    changeColours<std::int16_t>(image, r, change);
}

long times(long colour, long alpha, long full) noexcept { return (colour * alpha + full / 2) / full; }

long without(long colour, long alpha, long full) noexcept {
    return alpha <= 0 ? 0 : std::clamp((colour * full + alpha / 2) / alpha, 0L, full);
}

} // namespace

Image coloursOf(Session& session, const Image& picture) {
    const std::vector<PaletteEntry>& palette = picture.tags().palette;
    const bool alpha = std::ranges::any_of(palette, [](const PaletteEntry& e) { return e.a != 255; });
    Table table{.output = Type::byte, .bands = alpha ? 4U : 3U, .first = 0, .samples = {}};
    for (const PaletteEntry& e : palette) {
        for (const int v : {e.r, e.g, e.b}) table.samples.push_back(v);
        if (alpha) table.samples.push_back(e.a);
    }
    if (palette.empty()) table.samples = {0, 0, 0, 255, 255, 255};
    Image indices = picture.child(all(picture));
    indices.tags().encoding = Encoding::gray;
    indices.tags().order = ColourOrder::bgr;
    return session.apply("lookup", std::span(&indices, 1), {{"table", table}}).image;
}

bool isOpaque(const Image& picture) noexcept {
    const int full = scaleOf(picture).zero + scaleOf(picture).full;
    const Pixels p = picture.pixels();
    const bool bytes = picture.type() == Type::byte;
    for (unsigned y = 0; y < picture.height(); ++y) {
        const std::byte* at = p.data + y * p.stride + (picture.bands() - 1) * (bytes ? 1 : 2);
        for (unsigned x = 0; x < picture.width(); ++x, at += p.pixel) {
            if ((bytes ? load<std::uint8_t>(at) : load<std::int16_t>(at)) != full) return false;
        }
    }
    return true;
}

Image withAlphaMultiplied(Session& session, const Image& picture) {
    Image result = picture.copy(session);
    changeColours(result, {0, 0, result.width(), result.height()}, times);
    result.samplesChanged();
    return result;
}

void divideAlphaOut(Session& session, Image& picture, std::span<const Rectangle> roi) {
    std::vector<host::Rect> rects;
    for (const Rectangle& r : roi) rects.push_back({r.x, r.y, r.width, r.height});
    const host::Rect whole{0, 0, picture.width(), picture.height()};
    if (roi.empty()) rects.push_back(whole);
    // Rectangles that overlap must not be changed twice.
    const host::Owned<OrvRoi> given = host::makeRoi(session.object(), rects);
    const host::Owned<OrvRoi> inside = host::makeRoi(session.object(), std::span(&whole, 1));
    if (!given || !inside) throw Error("alpha", "no memory for a region");
    const host::Owned<OrvRoi> both(given->intersect(inside.get()));
    for (const host::Rect& r : host::rectsOf(both.get())) changeColours(picture, r, without);
}

Image withoutShift(const Image& picture) {
    Image same = picture.child(all(picture));
    same.tags().sixteen = Sixteen::number;
    return same;
}

namespace {

/// By the weights of Rec. 601, as the recipe gray has them.
Levels brightnessOf(const Levels& colour) {
    if (colour.values.size() != 3) return colour;
    const double sum = 0.299 * colour.values[0] + 0.587 * colour.values[1] + 0.114 * colour.values[2];
    return Levels(std::vector<double>{sum}, colour.relative);
}

} // namespace

Image over(Session& session, const Image& picture, const Levels& background) {
    const unsigned colours = picture.bands() - 1;
    Image front = picture.child(all(picture), 0, colours);
    Image alpha = picture.child(all(picture), colours, 1);
    alpha.tags().encoding = Encoding::gray;
    Image back(session, picture.width(), picture.height(), colours, picture.type());
    back.tags() = front.tags();
    session.apply("set_value", {}, {{"value", colours == 1 ? brightnessOf(background) : background}},
                  {.destination = back});
    // A mix whose weights add to 1 is right on shifted samples too, where the weights themselves are not shifted.
    const Sixteen sixteen = front.tags().sixteen;
    if (picture.type() == Type::int16) {
        alpha = session.apply("depth", std::span(&alpha, 1), {{"to", std::string("byte")}}).image;
    }
    const Image images[] = {withoutShift(back), withoutShift(front), alpha};
    Image result = session.apply("blend", images).image;
    result.tags().sixteen = sixteen;
    return result;
}

} // namespace orv
