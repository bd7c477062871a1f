#include "prepare.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include <fmt/format.h>

namespace orv::tool {

namespace {

bool hasAlpha(const Image& image) {
    return image.encoding() == Encoding::rgba || image.encoding() == Encoding::grayAlpha;
}

/// Levels of the colour bands in memory's order, 0 to 255.
std::vector<double> groundOf(const std::string& text, unsigned colours) {
    struct Named {
        std::string_view name;
        unsigned rgb;
    };
    constexpr Named names[] = {{"white", 0xffffff}, {"black", 0}, {"gray", 0x808080}};
    unsigned rgb = 0;
    int end = 0;
    const auto* named = std::ranges::find(names, text, &Named::name);
    if (named != std::end(names))
        rgb = named->rgb;
    else if (std::sscanf(text.c_str(), "#%6x%n", &rgb, &end) != 1 || end != 7 || text.size() != 7)
        throw Usage(fmt::format("--background: '{}' came, white, black, gray or #rrggbb wanted", text));
    const double r = rgb >> 16;
    const double g = rgb >> 8 & 255;
    const double b = rgb & 255;
    if (colours == 1) return {0.299 * r + 0.587 * g + 0.114 * b};
    return {b, g, r};
}

/// Lays a picture of bytes over a colour, in place.
void layOver(Image& image, const std::vector<double>& ground) {
    const Pixels pixels = image.pixels();
    const auto colours = static_cast<unsigned>(ground.size());
    for (unsigned y = 0; y < image.height(); ++y) {
        std::byte* at = pixels.data + static_cast<std::ptrdiff_t>(y) * pixels.stride;
        for (unsigned x = 0; x < image.width(); ++x, at += pixels.pixel) {
            const double alpha = std::to_integer<int>(at[colours]) / 255.0;
            for (unsigned b = 0; b < colours; ++b) {
                const double level = std::to_integer<int>(at[b]) * alpha + ground[b] * (1 - alpha);
                at[b] = static_cast<std::byte>(level + 0.5);
            }
        }
    }
    image.samplesChanged();
}

} // namespace

Image readPrepared(Session& session, const std::string& path, const Flags& flags) {
    Image image = session.read(path, flags.reading());
    if (!hasAlpha(image) || (flags.alpha != "drop" && flags.background.empty())) return image;
    const unsigned colours = image.bands() - 1;
    if (!flags.background.empty()) {
        if (image.type() != Type::byte)
            throw Error("read", fmt::format("{}: --background is for 8-bit pictures; use --alpha drop", path));
        layOver(image, groundOf(flags.background, colours));
    }
    return image.child({0, 0, image.width(), image.height()}, 0, colours).copy(session);
}

} // namespace orv::tool
