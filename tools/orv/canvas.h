// A plain R, G, B drawing for looking at: what a picture of any kind looks like, labels, sheets of small pictures.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "orv/orv.h"

namespace orv::tool {

struct Ink {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
};

class Canvas {
public:
    Canvas(unsigned width, unsigned height, Ink ground = {255, 255, 255});
    /// What an image looks like: inks on paper, alpha over grey, signed samples stretched over the range.
    static Canvas of(const Image& image);

    unsigned width() const noexcept { return width_; }
    unsigned height() const noexcept { return height_; }
    Ink& at(unsigned x, unsigned y) noexcept { return inks_[std::size_t{y} * width_ + x]; }
    const Ink& at(unsigned x, unsigned y) const noexcept { return inks_[std::size_t{y} * width_ + x]; }

    /// The mean of the pixels that fall on each new one.
    Canvas scaled(unsigned width, unsigned height) const;
    /// As large as fits, with the sides in proportion, never enlarged.
    Canvas fitted(unsigned width, unsigned height) const;
    void place(const Canvas& other, unsigned x, unsigned y);
    /// Small letters, digits and a few marks, 6 x 8 pixels each.
    void write(std::string_view text, unsigned x, unsigned y, Ink ink);

    Image image(Session& session) const;

private:
    unsigned width_;
    unsigned height_;
    std::vector<Ink> inks_;
};

} // namespace orv::tool
